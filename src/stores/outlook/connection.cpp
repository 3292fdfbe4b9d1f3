// SPDX-License-Identifier: MIT
// One mail application is used at a time. Once it has gone, everything that was obtained from it is
// useless, so the next application gets a Server of its own and the old objects keep the old one.
#include "stores/outlook/connection.h"

#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/win32/win32_text.h"
#include "stores/outlook/items.h"

namespace relaybird::outlook {
namespace {

constexpr std::string_view kNoApplication =
    "No Outlook was found that other programs can use. Relaybird works with the classic desktop "
    "version of Outlook; the new Outlook for Windows and Outlook in a browser cannot be used by "
    "other programs. Install classic Outlook, set up your mailbox in it, and let Relaybird check "
    "again.";
constexpr std::string_view kNotStarted =
    "Outlook could not be started. Start it yourself, answer what it may ask, and let Relaybird "
    "check again. Outlook and Relaybird must run with the same rights: do not start only one of "
    "them as an administrator.";
constexpr std::string_view kNoLibrary =
    "The Redemption library was not found. Relaybird reads and sends mail through it, so that "
    "Outlook's security prompts do not stop unattended forwarding. Install the 64-bit version of "
    "Redemption for your user, and start Relaybird again.";

constexpr std::chrono::hours kOutboxRest{1};

bool meansMissing(HRESULT result) {
  return result == REGDB_E_CLASSNOTREG || result == CO_E_CLASSSTRING || result == E_NOINTERFACE;
}

bool isOfLibrary(std::string_view progId) {
  return asciiLower(progId).starts_with("redemption.");
}

// Held by the Server, and so until the last object of it is gone: COM must not be left before.
struct ComUse {
  ComUse() : result(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
  ~ComUse() {
    if (SUCCEEDED(result)) {
      CoUninitialize();
    }
  }
  ComUse(const ComUse&) = delete;
  ComUse& operator=(const ComUse&) = delete;
  const HRESULT result;
};

std::shared_ptr<Server> makeServer(const StoreWorld& world) {
  return std::make_shared<Server>(
      [sleeper = world.sleeper](std::chrono::milliseconds pause) {
        if (sleeper != nullptr) {
          sleeper->sleep(pause);
        }
      },
      std::make_shared<ComUse>(),
      [notice = world.notice, verbose = world.verbose](const std::string& line) {
        if (verbose != nullptr && *verbose) {
          notice({line, StoreNotice::Kind::kVerbose});
        }
      });
}

}  // namespace

HRESULT createRegistered(std::string_view progId, ComPtr<IDispatch>& object) {
  CLSID identifier{};
  const HRESULT known = CLSIDFromProgID(toWide(progId).c_str(), &identifier);
  if (FAILED(known)) {
    return known;
  }
  void* made = nullptr;
  const HRESULT result = CoCreateInstance(
      identifier, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IDispatch, &made);
  *object.out() = static_cast<IDispatch*>(made);
  return result;
}

Connection::Connection(const StoreWorld& world, ObjectMaker make)
    : world_(world), make_(std::move(make)), server_(makeServer(world)) {}

Object Connection::create(std::string_view progId) {
  // The dictionary is the system's own and stays when the mail application goes.
  const bool ofSystem = asciiLower(progId) == asciiLower(prog_id::kDictionary);
  const auto server = ofSystem ? makeServer(world_) : server_;
  ComPtr<IDispatch> made;
  HRESULT result = server->create([&] { return make_(progId, made); });
  if (SUCCEEDED(result) && !made) {
    result = E_NOINTERFACE;
  }
  if (FAILED(result)) {
    explain(progId, result);
    server->fail(result, progId);
  }
  return {std::move(made), server, server->classNamed(asciiLower(progId))};
}

// Once for each component: the fixed texts of the failure are told every time.
void Connection::explain(std::string_view progId, HRESULT result) {
  std::string_view text;
  if (meansMissing(result)) {
    text = isOfLibrary(progId)                                       ? kNoLibrary
           : asciiLower(progId) == asciiLower(prog_id::kApplication) ? kNoApplication
                                                                     : std::string_view();
  } else if (result == CO_E_SERVER_EXEC_FAILURE || result == CO_E_APPSINGLEUSE) {
    text = kNotStarted;
  }
  if (!text.empty() && explained_.insert(std::string(text)).second) {
    world_.notice(StoreNotice(std::string(text)));
  }
}

std::shared_ptr<Application> Connection::application() {
  if (auto held = application_.lock(); held && !server_->gone()) {
    return held;
  }
  if (server_->gone()) {
    dropMark();
    server_ = makeServer(world_);
  }
  beginPass();
  auto made = makeApplication(shared_from_this(), create(prog_id::kApplication));
  application_ = made;
  return made;
}

// The identifier of a mail item is not registered everywhere; the application makes one as well.
std::shared_ptr<MailItem> Connection::newItem() {
  ComPtr<IDispatch> made;
  const HRESULT result = server_->create([&] { return make_(prog_id::kMailItem, made); });
  if (SUCCEEDED(result) && made) {
    return makeNewItem(shared_from_this(), {std::move(made), server_});
  }
  if (!meansMissing(result)) {
    server_->fail(result, prog_id::kMailItem);
  }
  return application()->CreateItem(kMailItemKind);
}

void Connection::holdMark(HeldMark mark) {
  writeHeldMark();
  held_ = std::move(mark);
}

void Connection::dropMark() {
  held_ = {};
}

void Connection::writeMark(bool forwarded) {
  if (!held_.item) {
    return;
  }
  const HeldMark mark = std::exchange(held_, {});
  try {
    mark.write();
  } catch (const MailStoreError&) {
    // The item may have vanished. Whoever marks it again learns of the failure.
    if (forwarded && !mark.entryId.empty()) {
      unmarked_.insert(mark.entryId);
    }
  }
}

void Connection::beginPass() {
  writeHeldMark();
  pass_ = {};
}

void Connection::itemsLeftOut(std::size_t count, const std::string& why) {
  if (count > leftOut_) {
    world_.notice(
        StoreNotice("Outlook cannot read " + std::to_string(count) +
                    (count == 1 ? " unread message, which is" : " unread messages, which are") +
                    " left out of the checks: " + why));
  }
  leftOut_ = count;
}

void Connection::outboxRefused(std::string why) {
  outboxRefused_ = std::move(why);
  outboxRefusedAt_ = world_.clock.now();
}

// Only sending tells whether the outbox takes messages again, and a forward that fails is not tried
// a second time. So one message an hour is risked for it.
void Connection::requireOutbox() const {
  const auto since = world_.clock.now() - outboxRefusedAt_;
  if (!outboxRefused_.empty() && since >= since.zero() && since < kOutboxRest) {
    throw MailStoreError(outboxRefused_);
  }
}

}  // namespace relaybird::outlook
