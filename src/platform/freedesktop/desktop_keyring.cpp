// SPDX-License-Identifier: MIT
// The keyring by libsecret. Its synchronous calls run a main context of their own, so they work on
// any thread and need nothing of the program's loop. Each call here opens the service anew: its
// proxy belongs to the context in which it was made, which ends with the call, and a keyring that
// was restarted meanwhile is found again. libsecret encrypts a secret on its way over the bus where
// the keyring can do that, and keeps it in memory that is neither swapped nor dumped.
#include "platform/freedesktop/desktop_keyring.h"

#include <libsecret/secret.h>

#include "platform/freedesktop/session_bus.h"

namespace relaybird {

namespace {

using End = SecretAnswer::End;

// Without flags libsecret compares the schema's name as well, so that a like entry of another
// program is not taken.
const SecretSchema* schema() {
  static const SecretSchema kSchema = {"org.relaybird.Relaybird.MailServer",
                                       SECRET_SCHEMA_NONE,
                                       {{"protocol", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                        {"user", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                        {"host", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                        {"port", SECRET_SCHEMA_ATTRIBUTE_INTEGER},
                                        {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                       0,
                                       nullptr,
                                       nullptr,
                                       nullptr,
                                       nullptr,
                                       nullptr,
                                       nullptr,
                                       nullptr};
  return &kSchema;
}

using Attributes = std::unique_ptr<GHashTable, Release<g_hash_table_unref>>;

Attributes attributesOf(const SecretKey& key) {
  return Attributes(secret_attributes_build(
      schema(), "protocol", key.protocol == MailProtocol::kImap ? "imap" : "smtp", "user",
      key.user.c_str(), "host", key.host.c_str(), "port", static_cast<int>(key.port), nullptr));
}

SecretAnswer done() {
  return {End::kDone};
}

SecretAnswer notThere() {
  return {End::kNotThere, {}, "The keyring has no such password."};
}

SecretAnswer declined() {
  return {End::kDeclined, {}, "The keyring is locked, and it was not unlocked."};
}

// libsecret reports a prompt that the user has dismissed as cancelled, too.
SecretAnswer failed(const BusError& error, const CancelOnStop& cancel) {
  if (g_cancellable_is_cancelled(cancel.get()) != FALSE) {
    return {End::kCancelled, {}, "The keyring was not asked to the end."};
  }
  if (error.isCancelled() || error.is(SECRET_ERROR, SECRET_ERROR_IS_LOCKED) ||
      error.remoteName() == "org.freedesktop.Secret.Error.IsLocked") {
    return declined();
  }
  return {error.isMissingService() ? End::kNoService : End::kFailed, {}, error.words()};
}

class Service {
 public:
  explicit Service(std::stop_token stop) : cancel_(std::move(stop)) {
    // libsecret would report a missing bus in the same way, but end the process with the bus.
    if (const auto bus = sessionBus(cancel_.get(), error_); !bus) {
      noBus_ = true;
      return;
    }
    service_.reset(secret_service_open_sync(
        SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION, cancel_.get(), error_.place()));
  }

  explicit operator bool() const { return service_ != nullptr; }
  SecretService* get() const { return service_.get(); }
  GCancellable* cancellable() const { return cancel_.get(); }
  GError** error() { return error_.place(); }
  SecretAnswer failure() const {
    SecretAnswer answer = failed(error_, cancel_);
    if (noBus_ && answer.end != End::kCancelled) {
      answer.end = End::kNoService;
    }
    return answer;
  }
  bool hasFailed() const { return static_cast<bool>(error_); }

 private:
  CancelOnStop cancel_;
  BusError error_;
  bool noBus_ = false;
  GObjectOwner<SecretService> service_;
};

struct ItemList {
  ~ItemList() { g_list_free_full(items, g_object_unref); }
  GList* items;
};

}  // namespace

SecretAnswer DesktopKeyring::lookUp(const SecretKey& key, std::stop_token stop) {
  Service service(std::move(stop));
  if (!service) {
    return service.failure();
  }
  constexpr auto kFlags =
      static_cast<SecretSearchFlags>(SECRET_SEARCH_UNLOCK | SECRET_SEARCH_LOAD_SECRETS);
  const ItemList found{secret_service_search_sync(service.get(), schema(), attributesOf(key).get(),
                                                  kFlags, service.cancellable(), service.error())};
  if (service.hasFailed()) {
    return service.failure();
  }
  if (found.items == nullptr) {
    return notThere();
  }
  // Without SECRET_SEARCH_ALL there is one at most.
  auto* const item = static_cast<SecretItem*>(found.items->data);
  const std::unique_ptr<SecretValue, Release<secret_value_unref>> value(
      secret_item_get_secret(item));
  // An item that stays locked comes without its secret.
  if (!value) {
    return declined();
  }
  gsize size = 0;
  const char* const bytes = secret_value_get(value.get(), &size);
  return {End::kDone, Secret({bytes, size}), {}};
}

SecretAnswer DesktopKeyring::store(const SecretKey& key, const Secret& secret,
                                   std::stop_token stop) {
  Service service(std::move(stop));
  if (!service) {
    return service.failure();
  }
  const std::unique_ptr<SecretValue, Release<secret_value_unref>> value(secret_value_new(
      secret.bytes().data(), static_cast<gssize>(secret.bytes().size()), "text/plain"));
  const std::string label = "Relaybird: " + key.user + " at " + key.host;
  const bool stored =
      secret_service_store_sync(service.get(), schema(), attributesOf(key).get(),
                                SECRET_COLLECTION_DEFAULT, label.c_str(), value.get(),
                                service.cancellable(), service.error()) != FALSE;
  return stored ? done() : service.failure();
}

SecretAnswer DesktopKeyring::remove(const SecretKey& key, std::stop_token stop) {
  Service service(std::move(stop));
  if (!service) {
    return service.failure();
  }
  // Clearing leaves locked items out without a word, so the keyring is unlocked first.
  const Attributes attributes = attributesOf(key);
  const ItemList found{secret_service_search_sync(service.get(), schema(), attributes.get(),
                                                  SECRET_SEARCH_UNLOCK, service.cancellable(),
                                                  service.error())};
  if (service.hasFailed()) {
    return service.failure();
  }
  if (found.items == nullptr) {
    return notThere();
  }
  const bool removed = secret_service_clear_sync(service.get(), schema(), attributes.get(),
                                                 service.cancellable(), service.error()) != FALSE;
  if (service.hasFailed()) {
    return service.failure();
  }
  return removed ? done() : declined();
}

}  // namespace relaybird
