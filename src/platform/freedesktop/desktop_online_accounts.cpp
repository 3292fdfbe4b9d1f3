// SPDX-License-Identifier: MIT
// The service describes each account as an object with one interface for what it is (Account), one
// for its mail servers (Mail), and one for how it signs in (OAuth2Based or PasswordBased). It is
// asked anew each time: accounts come and go, and the calls are cheap.
#include "platform/freedesktop/desktop_online_accounts.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "platform/freedesktop/secret_call.h"
#include "platform/freedesktop/session_bus.h"

namespace relaybird {

namespace {

using Cause = OnlineAccountsFailure::Cause;

constexpr const char* kService = "org.gnome.OnlineAccounts";
constexpr const char* kAccount = "org.gnome.OnlineAccounts.Account";
constexpr const char* kMail = "org.gnome.OnlineAccounts.Mail";
constexpr const char* kToken = "org.gnome.OnlineAccounts.OAuth2Based";
constexpr const char* kPassword = "org.gnome.OnlineAccounts.PasswordBased";
// The service asks the provider's server; its own limit is shorter.
constexpr int kTimeLimit = 60'000;  // milliseconds

struct Described {
  OnlineAccount account;
  std::string path;
};

// The properties of one interface of an object. A property that is missing, or of another type,
// reads as empty: versions of the service differ.
class Properties {
 public:
  explicit Properties(GVariant* interfaces, const char* name)
      : values_(g_variant_lookup_value(interfaces, name, G_VARIANT_TYPE_VARDICT)) {}
  explicit operator bool() const { return values_ != nullptr; }
  std::string text(const char* name) const {
    const char* value = nullptr;
    return g_variant_lookup(values_.get(), name, "&s", &value) != FALSE ? value : "";
  }
  bool flag(const char* name) const {
    gboolean value = FALSE;
    return g_variant_lookup(values_.get(), name, "b", &value) != FALSE && value != FALSE;
  }

 private:
  VariantOwner values_;
};

// "host" or "host:port", of which an address without brackets is no port.
void setHost(MailServer& server, const std::string& text) {
  server.host = text;
  const auto colon = text.rfind(':');
  if (colon == text.npos || text.find(':') != colon) {
    return;
  }
  std::uint16_t port = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, port);
  if (error == std::errc{} && stop == end && port != 0) {
    server.host = text.substr(0, colon);
    server.port = port;
  }
}

// The service's switch to accept any certificate is left out on purpose.
std::optional<OnlineAccount::Place> place(const Properties& mail, MailProtocol protocol) {
  const bool imap = protocol == MailProtocol::kImap;
  const auto name = [&](const char* rest) { return (imap ? "Imap" : "Smtp") + std::string(rest); };
  const std::string host = mail.text(name("Host").c_str());
  if (!mail.flag(name("Supported").c_str()) || host.empty()) {
    return std::nullopt;
  }
  OnlineAccount::Place result;
  result.server.protocol = protocol;
  // The ports are the usual ones (RFC 8314), unless the host's name carries one.
  if (mail.flag(name("UseSsl").c_str())) {
    result.server.security = Security::kTls;
    result.server.port = imap ? 993 : 465;
  } else {
    const bool startTls = mail.flag(name("UseTls").c_str());
    result.server.security = startTls ? Security::kStartTls : Security::kNone;
    result.server.port = imap ? 143 : startTls ? 587 : 25;
  }
  setHost(result.server, host);
  // IMAP has no use without a sign-in; a server for sending may take mail from its own network
  // without one.
  if (imap || mail.flag("SmtpUseAuth")) {
    result.user = mail.text(name("UserName").c_str());
  }
  return result;
}

// Nothing for an account without mail, or whose mail the user has switched off in the desktop.
std::optional<OnlineAccount> describe(GVariant* interfaces) {
  const Properties account(interfaces, kAccount);
  const Properties mail(interfaces, kMail);
  if (!account || !mail || account.flag("MailDisabled")) {
    return std::nullopt;
  }
  OnlineAccount result;
  result.id = account.text("Id");
  result.provider = account.text("ProviderName");
  result.identity = account.text("PresentationIdentity");
  result.needsAttention = account.flag("AttentionNeeded");
  result.address = mail.text("EmailAddress");
  result.name = mail.text("Name");
  result.imap = place(mail, MailProtocol::kImap);
  result.smtp = place(mail, MailProtocol::kSmtp);
  result.token = static_cast<bool>(Properties(interfaces, kToken));
  return result;
}

OnlineAccountsFailure attention(const OnlineAccount& account) {
  return {Cause::kNeedsAttention, "The desktop's online account " + account.identity +
                                      " has to be signed in again: open the desktop's settings, "
                                      "Online Accounts."};
}

// A session without a bus, or without the service, is usual on other desktops and on servers.
OnlineAccountsFailure failureOf(const BusError& error, const CancelOnStop& cancel, bool noBus) {
  if (g_cancellable_is_cancelled(cancel.get()) != FALSE || error.isCancelled()) {
    return {Cause::kCancelled, "The online accounts were not asked to the end."};
  }
  if (noBus || error.isMissingService()) {
    return {Cause::kNoService, "This session has no online accounts (" + error.words() + ")."};
  }
  return {Cause::kFailed, "The desktop's online accounts did not answer: " + error.words()};
}

// One conversation with the service, on the calling thread; each call may take up to kTimeLimit.
class Accounts {
 public:
  explicit Accounts(std::stop_token stop)
      : cancel_(std::move(stop)), bus_(sessionBus(cancel_.get(), error_)) {}

  // Empty after a failure.
  std::vector<Described> all() {
    const VariantOwner reply =
        call("/org/gnome/OnlineAccounts", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects",
             G_VARIANT_TYPE("(a{oa{sa{sv}}})"));
    std::vector<Described> found;
    if (!reply) {
      return found;
    }
    GVariantIter* objects = nullptr;
    g_variant_get(reply.get(), "(a{oa{sa{sv}}})", &objects);
    const char* path = nullptr;
    GVariant* interfaces = nullptr;
    while (g_variant_iter_next(objects, "{&o@a{sa{sv}}}", &path, &interfaces) != FALSE) {
      const VariantOwner owner(interfaces);
      if (auto account = describe(interfaces)) {
        found.push_back({*std::move(account), path});
      }
    }
    g_variant_iter_free(objects);
    return found;
  }

  // Whether the account is signed in; the service renews its token if it has to.
  bool ensureSignedIn(const Described& account) {
    return call(account.path, kAccount, "EnsureCredentials", G_VARIANT_TYPE("(i)")) != nullptr;
  }

  // Not through GLib's connection, which keeps copies of what it reads.
  SecretReply secret(const Described& account, MailProtocol protocol) {
    const char* const which = protocol == MailProtocol::kImap ? "imap-password" : "smtp-password";
    return account.account.token ? callForSecret(kService, account.path, kToken, "GetAccessToken",
                                                 nullptr, cancel_.get(), error_)
                                 : callForSecret(kService, account.path, kPassword, "GetPassword",
                                                 which, cancel_.get(), error_);
  }

  bool isRefused() const {
    return error_.remoteName() == "org.gnome.OnlineAccounts.Error.NotAuthorized";
  }
  std::optional<OnlineAccountsFailure> failure() const {
    if (!error_) {
      return std::nullopt;
    }
    return failureOf(error_, cancel_, bus_ == nullptr);
  }

 private:
  VariantOwner call(const std::string& path, const char* interface, const char* method,
                    const GVariantType* reply) {
    if (!bus_) {
      return nullptr;
    }
    return VariantOwner(g_dbus_connection_call_sync(bus_.get(), kService, path.c_str(), interface,
                                                    method, nullptr, reply, G_DBUS_CALL_FLAGS_NONE,
                                                    kTimeLimit, cancel_.get(), error_.place()));
  }

  CancelOnStop cancel_;
  BusError error_;
  GObjectOwner<GDBusConnection> bus_;
};

OnlineAccountSecret failed(OnlineAccountsFailure failure) {
  return {{}, false, std::nullopt, std::move(failure)};
}

}  // namespace

OnlineAccountList DesktopOnlineAccounts::list(std::stop_token stop) {
  Accounts accounts(std::move(stop));
  OnlineAccountList result;
  for (Described& described : accounts.all()) {
    result.accounts.push_back(std::move(described.account));
  }
  result.failure = accounts.failure();
  return result;
}

OnlineAccountSecret DesktopOnlineAccounts::secret(const std::string& id, MailProtocol protocol,
                                                  std::stop_token stop) {
  Accounts accounts(std::move(stop));
  const std::vector<Described> all = accounts.all();
  if (auto failure = accounts.failure()) {
    return failed(*std::move(failure));
  }
  // The set-up stores the identifier. People who write the settings by hand know the address.
  const auto found = std::ranges::find_if(all, [&](const Described& each) {
    return each.account.id == id || each.account.address == id || each.account.identity == id;
  });
  if (found == all.end()) {
    return failed(
        {Cause::kNoSuchAccount, "The desktop has no online account " + id +
                                    " with mail. Add it in the "
                                    "desktop's settings, Online Accounts, or set up mail again."});
  }
  // The mark is old news once the account is signed in again, so it counts only with a refusal.
  SecretReply reply;
  if (accounts.ensureSignedIn(*found)) {
    reply = accounts.secret(*found, protocol);
  }
  if (auto failure = accounts.failure()) {
    const bool cancelled = failure->cause == Cause::kCancelled;
    const bool asksUser = accounts.isRefused() || found->account.needsAttention;
    return failed(asksUser && !cancelled ? attention(found->account) : *std::move(failure));
  }
  // An empty answer signs nobody in, and only the user can mend that.
  if (reply.secret.empty()) {
    return failed(attention(found->account));
  }
  // A number of 0 means that the service does not know how long the token holds.
  OnlineAccountSecret result{std::move(reply.secret), found->account.token, std::nullopt,
                             std::nullopt};
  if (result.token && reply.number > 0) {
    result.lifetime = std::chrono::seconds{reply.number};
  }
  return result;
}

}  // namespace relaybird
