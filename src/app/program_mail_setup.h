// SPDX-License-Identifier: MIT
// What setting up mail needs, with the real disk, keyring and network. What may wait is done on a
// thread of its own, and its reports are posted to the user-interface thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "app/account_test.h"
#include "platform/event_queue.h"
#include "platform/system/executor.h"
#include "ui/forms/setup/mail_setup.h"

namespace relaybird {

class ProgramMailSetup : public MailSetup {
 public:
  using Reopening = std::function<void(std::function<void(const Result<void>&)>)>;
  /// `configFolder` is where the user's programs keep their configuration: ~/.config. `reopen`
  /// closes the mailbox and opens the one that the preferences name; `whyClosed` says why none is
  /// open; `given` answers givenMailbox(). What `world` and `events` refer to must outlive this
  /// object.
  ProgramMailSetup(
      AccountTestWorld world, EventQueue& events, LocalIdentity user, std::string configFolder,
      Reopening reopen, std::function<std::string()> whyClosed,
      std::function<std::string()> given = [] { return std::string(); });
  ~ProgramMailSetup() override;

  LocalIdentity user() const override { return user_; }
  std::vector<std::string> foundMaildirs() override;
  std::vector<std::string> foundCommands() override;
  void listOnlineAccounts(std::function<void(const OnlineAccountList&)> report) override;
  void keepPassword(const AccountSettings& account, const Secret& password,
                    std::function<void(const Result<void>&)> report) override;
  void test(const MailSettings& settings, const TypedSecrets& secrets,
            std::function<void(const TestLine&)> line, std::function<void(bool good)> end) override;
  void stopTest() override;
  void forgetReports() override;
  void reopen(std::function<void(const Result<void>&)> report) override {
    reopen_(std::move(report));
  }
  std::string whyClosed() const override { return whyClosed_(); }
  std::string givenMailbox() const override { return given_(); }

 private:
  bool isMaildir(const std::string& folder) const;
  std::vector<std::string> foldersOfMbsync() const;
  std::optional<std::string> programAt(const std::string& path) const;
  void post(std::uint64_t round, std::function<void()> report);

  AccountTestWorld world_;
  EventQueue& events_;
  LocalIdentity user_;
  std::string configFolder_;
  Reopening reopen_;
  std::function<std::string()> whyClosed_;
  std::function<std::string()> given_;
  std::uint64_t round_ = 0;  ///< reports of an earlier round are forgotten
  std::shared_ptr<int> alive_ = std::make_shared<int>();
  std::stop_source stop_;  ///< of this round's requests but the test
  std::stop_source testStop_;
  ThreadExecutor executor_;  ///< last: its thread uses the others
};

}  // namespace relaybird
