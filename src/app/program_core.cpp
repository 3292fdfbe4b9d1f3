// SPDX-License-Identifier: MIT
#include "app/program_core.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "prefs/file/preference_location.h"
#include "stores/maildir/maildir_settings.h"

namespace relaybird {

ProgramCore::ProgramCore(ProgramIdentity identity, EventQueue& events,
                         std::function<void(const StoreNotice&)> notice)
    : trace(files, clock, stateFile("rbxdb.txt"), stateFile("rbxkey/db")),
      identity_(std::move(identity)),
      events_(events),
      notice_(std::move(notice)) {}

std::string ProgramCore::stateFile(const std::string& name) const {
  return folders.stateFolder() + "/rbx/" + name;
}

std::optional<ProgramCore::Refusal> ProgramCore::prepare(InstanceLock::Wait wait) {
  if (auto refusal = openStoreOfPreferences()) return refusal;
  return lockMailbox(wait);
}

std::optional<ProgramCore::Refusal> ProgramCore::openStoreOfPreferences() {
  const std::string file = locatePreferenceFile({files, profiles, folders, osVersion});
  const auto reader = profiles.read(file);
  mailbox_.store = mailStoreName(*reader);
  auto store = openStore(mailbox_.store, *reader, file,
                         {files, clock, events_, folders.stateFolder(), notice_});
  if (!store) return Refusal{kSettingsForbid, store.error().text};
  store_ = std::move(*store);
  mailbox_.place = store_->place();
  return std::nullopt;
}

std::optional<ProgramCore::Refusal> ProgramCore::lockMailbox(InstanceLock::Wait wait) {
  auto lock = InstanceLock::take(
      files, folders.stateFolder(), mailbox_,
      {identity_.name, static_cast<long>(::getpid()), clock.toText(clock.now())}, wait);
  if (!lock) {
    const auto holder = InstanceLock::holder(files, folders.stateFolder(), mailbox_);
    return Refusal{kCannotStart, lock.error().text, lock.error().code == EWOULDBLOCK,
                   holder ? holder->process : 0};
  }
  lock_ = std::move(*lock);
  return std::nullopt;
}

}  // namespace relaybird
