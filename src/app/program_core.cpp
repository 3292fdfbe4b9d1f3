// SPDX-License-Identifier: MIT
// What a program is before it shows anything. The preference file names the store; the store names
// the place of its mailbox; and the lock is taken on that place, in that order, because only the
// store knows which place its settings mean. Everything goes through the slot that the forms refer
// to, so that the mailbox can be closed and another one opened while they live.
#include "app/program_core.h"

#include <cerrno>
#include <utility>

#include "app/program_start.h"
#include "platform/paths.h"
#include "prefs/preference_location.h"

namespace relaybird {

ProgramCore::ProgramCore(ProgramPlatform with, ProgramIdentity identity, EventQueue& events,
                         std::function<void(const StoreNotice&)> notice,
                         std::function<bool()> keepAlive)
    : platform(std::move(with)),
      trace(files, *platform.clock,
            platform.traceFile.empty() ? stateFile("rbxdb.txt") : platform.traceFile,
            platform.traceMarker.empty() ? stateFile("rbxkey/db") : platform.traceMarker,
            platform.plainText, [this](const Error& why) { tellOfLostTrace(why); }),
      identity_(std::move(identity)),
      events_(events),
      notice_(std::move(notice)),
      keepAlive_(std::move(keepAlive)) {
  setup_ = std::make_unique<ProgramMailSetup>(
      AccountTestWorld{files, secretWorld(), platform.network, identity_.versionText,
                       platform.user.homeFolder, platform.mayRun},
      events_, platform.user, platform.folders->GetAppDataFolder(),
      [this](auto report) { reopen(std::move(report)); }, [this] { return slot_.why(); },
      [this] { return std::string(givenMailbox(mailbox_.store)); });
}

// Posted, because the log must not change in the middle of the step that is traced.
void ProgramCore::tellOfLostTrace(const Error& why) {
  events_.post([notice = notice_, why] {
    notice("The trace is switched on, but cannot be written: " + why.text);
  });
}

std::string ProgramCore::stateFile(const std::string& name) const {
  return joinPath(platform.folders->stateFolder(), "rbx/" + name);
}

// Asked for again each time: what an older release left elsewhere may have been moved meanwhile.
std::string ProgramCore::preferenceFile() {
  return locatePreferenceFile(files, profiles, *platform.folders, *platform.osVersion);
}

// Settings that cannot be used do not keep the windows from starting, for the user has to correct
// them there; the console's user corrects the file.
std::optional<ProgramCore::Refusal> ProgramCore::prepare(InstanceLock::Wait wait,
                                                         WrongSettings wrong) {
  if (auto refusal = openStoreOfPreferences()) {
    if (wrong == WrongSettings::kRefuse) {
      return refusal;
    }
    slot_.close(std::move(refusal->text));
    mailbox_ = {"none", preferenceFile()};
  }
  return lockMailbox(wait);
}

// While the servers are waited for, the mailbox stays where it is: its locks are held, and what is
// shown of it is right. If the program ends meanwhile, closeStore() waits for them.
void ProgramCore::reopen(std::function<void(const Result<void>&)> report) {
  auto closed = [this, report = std::move(report)] { report(openAgain()); };
  if (slot_.beginToClose(closed)) {
    closed();
  }
}

// The lock is given up before the new one is taken: it may be on the same mailbox.
Result<void> ProgramCore::openAgain() {
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
  return {.keyring = platform.keyring.get(),
          .accounts = platform.accounts.get(),
          .commands = platform.secretCommands.get(),
          .credentialFolder = platform.credentialFolder,
          .steadyTime = platform.steadyTime};
}

std::optional<ProgramCore::Refusal> ProgramCore::openStoreOfPreferences() {
  const std::string file = preferenceFile();
  const auto reader = profiles.read(file);
  mailbox_.store = mailStoreName(*reader);
  auto store =
      openStore(mailbox_.store, {*reader, file},
                StoreWorld{.files = files,
                           .clock = *platform.clock,
                           .events = events_,
                           .executor = executor_,
                           .commands = *platform.commands,
                           .random = platform.random,
                           .user = platform.user,
                           .version = identity_.versionText,
                           .stateFolder = platform.folders->stateFolder(),
                           .notice = notice_,
                           .lockFolder =
                               [this](const std::string& folder) {
                                 return lock_->takeFolder(folder, InstanceLock::Wait::kNone);
                               },
                           .secrets = secretWorld(),
                           .network = platform.network,
                           .verbose = verbose,
                           .keepAlive = keepAlive_,
                           .sleeper = platform.sleeper.get()});
  if (!store) {
    return Refusal{kSettingsForbid, store.error().text};
  }
  mailbox_.place = (*store)->place();
  slot_.put(std::move(*store));
  return std::nullopt;
}

std::optional<ProgramCore::Refusal> ProgramCore::lockMailbox(InstanceLock::Wait wait) {
  lock_ = std::make_unique<InstanceLock>(
      files,
      LockHolder{identity_.name, platform.process, platform.clock->toText(platform.clock->now())});
  const MailStore* store = slot_.store();
  const std::string name = store != nullptr ? store->lockName() : mailbox_.place;
  auto taken = lock_->takeName(platform.folders->stateFolder(), {mailbox_.store, name}, wait);
  // A mailbox that is missing or cannot be read is reported by the store, at every check.
  const std::string place = store != nullptr ? store->folder() : "";
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
