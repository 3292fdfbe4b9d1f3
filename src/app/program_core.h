// SPDX-License-Identifier: MIT
// The parts that both programs have before they show anything: the preferences, the mail store, and
// the lock on the mailbox, over the platform that the program is given.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/instance_lock.h"
#include "app/program_mail_setup.h"
#include "app/program_platform.h"
#include "app/store_openers.h"
#include "app/store_slot.h"
#include "platform/system/executor.h"
#include "platform/system/trace_log.h"
#include "ui/forms/program_world.h"

namespace relaybird {

/// The name and version of a program.
struct ProgramIdentity {
  std::string name;         ///< "relaybird-console"
  std::string versionText;  ///< "1.2.3"
  ProgramVersion version;
};

/// Exit statuses of the programs; ConsoleSession::exitStatus() has those of a program without
/// input.
inline constexpr int kCannotStart = 1;
inline constexpr int kSettingsForbid = 2;

class ProgramCore {
 public:
  /// The store posts its events to `events`; its notices go to `notice`, and `keepAlive` is
  /// StoreWorld's. All must outlive the store.
  ProgramCore(ProgramPlatform platform, ProgramIdentity identity, EventQueue& events,
              std::function<void(const StoreNotice&)> notice, std::function<bool()> keepAlive);

  /// Why the program cannot start, and its exit status.
  struct Refusal {
    int status;
    std::string text;
    bool mailboxTaken = false;  ///< another instance has the mailbox
    long holder = 0;            ///< the process that has it; 0 where unknown
  };
  /// What settings that name no usable mailbox mean: the program is refused, or it starts so that
  /// the user can correct them, and each use of the mailbox fails with the reason.
  enum class WrongSettings { kRefuse, kStartWithoutMailbox };
  /// Opens the store that the preferences name, and takes the lock on its mailbox. Without a
  /// mailbox the lock is on the preference file's name.
  std::optional<Refusal> prepare(InstanceLock::Wait wait = InstanceLock::Wait::kMoment,
                                 WrongSettings wrong = WrongSettings::kRefuse);

  const ProgramIdentity& identity() const { return identity_; }
  const WatchedMailbox& mailbox() const { return mailbox_; }
  /// The objects of the mailbox that is open now.
  ObjectFactory& objects() { return slot_; }
  OutgoingMail& outgoing() { return slot_; }
  MailSetup& setup() { return *setup_; }
  /// As MailSetup::reopen().
  void reopen(std::function<void(const Result<void>&)> report);
  /// Where passwords and access tokens come from. What it refers to lives as long as this object.
  SecretWorld secretWorld();
  /// To be called before anything that the store reports to is destroyed.
  void closeStore() { slot_.close("The program ends"); }
  /// The path of a file of the program in the state folder.
  std::string stateFile(const std::string& name) const;

  const ProgramPlatform platform;
  FileSystem& files = *platform.files;
  ProfileStrings& profiles = *platform.profiles;
  TraceFile trace;
  /// Whether the verbose log is on: set by the forms, read by the store's threads.
  std::shared_ptr<std::atomic<bool>> verbose = std::make_shared<std::atomic<bool>>(false);

 private:
  void tellOfLostTrace(const Error& why);
  Result<void> openAgain();
  std::string preferenceFile();
  std::optional<Refusal> openStoreOfPreferences();
  std::optional<Refusal> lockMailbox(InstanceLock::Wait wait);

  ProgramIdentity identity_;
  EventQueue& events_;
  std::function<void(const StoreNotice&)> notice_;
  std::function<bool()> keepAlive_;
  WatchedMailbox mailbox_;
  std::unique_ptr<InstanceLock> lock_;  ///< outlives the store, which writes when it is closed
  ThreadExecutor executor_;
  StoreSlot slot_;
  std::unique_ptr<ProgramMailSetup> setup_;
};

}  // namespace relaybird
