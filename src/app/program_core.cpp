// SPDX-License-Identifier: MIT
#include "app/program_core.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "app/program_start.h"
#ifdef RELAYBIRD_KEYRING
#include "platform/freedesktop/desktop_keyring.h"
#include "platform/freedesktop/desktop_online_accounts.h"
#endif
#include "platform/curl/curl_network.h"
#include "prefs/preference_location.h"

namespace relaybird {

ProgramCore::ProgramCore(ProgramIdentity identity, EventQueue& events,
                         std::function<void(const StoreNotice&)> notice,
                         std::function<bool()> keepAlive)
    : trace(files, clock, stateFile("rbxdb.txt"), stateFile("rbxkey/db")),
      identity_(std::move(identity)),
      events_(events),
      notice_(std::move(notice)),
      keepAlive_(std::move(keepAlive)),
      commands_(steadyTime) {
#ifdef RELAYBIRD_KEYRING
  keyring_ = std::make_unique<DesktopKeyring>();
  accounts_ = std::make_unique<DesktopOnlineAccounts>();
#endif
  setup_ = std::make_unique<ProgramMailSetup>(
      AccountTestWorld{files, secretWorld(), [] { return std::make_unique<CurlNetwork>(); },
                       identity_.versionText},
      events_, localIdentity(), [this] { return reopen(); }, [this] { return slot_.why(); });
}

std::string ProgramCore::stateFile(const std::string& name) const {
  return joinPath(folders.stateFolder(), "rbx/" + name);
}

std::optional<ProgramCore::Refusal> ProgramCore::prepare(InstanceLock::Wait wait,
                                                         WrongSettings wrong) {
  if (auto refusal = openStoreOfPreferences()) {
    if (wrong == WrongSettings::kRefuse) {
      return refusal;
    }
    slot_.close(std::move(refusal->text));
    mailbox_ = {"none", locatePreferenceFile(files, profiles, folders, osVersion)};
  }
  return lockMailbox(wait);
}

// The lock is given up before the new one is taken: it may be on the same mailbox.
Result<void> ProgramCore::reopen() {
  slot_.close("No mailbox is open");
  lock_.reset();
  const auto refusal = prepare(InstanceLock::Wait::kNone);
  if (!refusal) {
    return {};
  }
  slot_.close(refusal->text);
  return Error{0, refusal->text};
}

SecretWorld ProgramCore::secretWorld() {
  return {.keyring = keyring_.get(),
          .accounts = accounts_.get(),
          .commands = &commands_,
          .credentialFolder = credentialFolder(),
          .steadyTime = steadyTime};
}

std::optional<ProgramCore::Refusal> ProgramCore::openStoreOfPreferences() {
  const std::string file = locatePreferenceFile(files, profiles, folders, osVersion);
  const auto reader = profiles.read(file);
  mailbox_.store = mailStoreName(*reader);
  auto store =
      openStore(mailbox_.store, *reader, file,
                StoreWorld{.files = files,
                           .clock = clock,
                           .events = events_,
                           .executor = executor_,
                           .commands = commands_,
                           .random = systemRandomBytes,
                           .user = localIdentity(),
                           .version = identity_.versionText,
                           .stateFolder = folders.stateFolder(),
                           .notice = notice_,
                           .lockFolder =
                               [this](const std::string& folder) {
                                 return lock_->takeFolder(folder, InstanceLock::Wait::kNone);
                               },
                           .secrets = secretWorld(),
                           .network = [] { return std::make_unique<CurlNetwork>(); },
                           .verbose = verbose,
                           .keepAlive = keepAlive_});
  if (!store) {
    return Refusal{kSettingsForbid, store.error().text};
  }
  mailbox_.place = (*store)->place();
  slot_.put(std::move(*store));
  return std::nullopt;
}

std::optional<ProgramCore::Refusal> ProgramCore::lockMailbox(InstanceLock::Wait wait) {
  lock_ = std::make_unique<InstanceLock>(
      files, LockHolder{identity_.name, static_cast<long>(::getpid()), clock.toText(clock.now())});
  auto taken = lock_->takeName(folders.stateFolder(), mailbox_, wait);
  // A mailbox that is missing or cannot be read is reported by the store, at every check.
  const std::string place = slot_.store() != nullptr ? slot_.store()->folder() : "";
  if (taken && !place.empty()) {
    auto folder = lock_->takeFolder(place, wait);
    if (!folder && folder.error().code == EWOULDBLOCK) {
      taken = folder.error();
    }
  }
  if (taken) {
    return std::nullopt;
  }
  const auto& holder = lock_->refusedBy();
  Refusal refusal{kCannotStart, taken.error().text, taken.error().code == EWOULDBLOCK,
                  holder ? holder->process : 0};
  lock_.reset();
  return refusal;
}

}  // namespace relaybird
