// SPDX-License-Identifier: MIT
// What setting up mail needs from outside, decided by a test. Reports are made when the test says
// so.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ui/forms/setup/mail_setup.h"

namespace relaybird {

class FakeMailSetup : public MailSetup {
 public:
  LocalIdentity user() const override { return {"/home/ann", "ann@host", "Ann Example"}; }
  std::vector<std::string> foundMaildirs() override { return maildirs; }
  std::vector<std::string> foundCommands() override { return commands; }
  void listOnlineAccounts(std::function<void(const OnlineAccountList&)> report) override {
    onAccounts = std::move(report);
  }
  void keepPassword(const AccountSettings& account, const Secret& password,
                    std::function<void(const Result<void>&)> report) override {
    kept.emplace_back(account.server.host + " " + account.user, std::string(password.bytes()));
    onKept = std::move(report);
  }
  void test(const MailSettings& settings, const TypedSecrets& secrets,
            std::function<void(const TestLine&)> line,
            std::function<void(bool good)> end) override {
    ++tests;
    tested = settings;
    testedPassword = std::string(secrets.imap.bytes());
    testedSmtpPassword = std::string(secrets.smtp.bytes());
    onLine = std::move(line);
    onEnd = std::move(end);
  }
  void stopTest() override { ++stops; }
  void forgetReports() override {
    onAccounts = {};
    onKept = {};
    onLine = {};
    onEnd = {};
  }
  void reopen(std::function<void(const Result<void>&)> report) override {
    ++reopened;
    onClosed = [this, report = std::move(report)] {
      closed = failure;
      report(failure.empty() ? Result<void>() : Error{0, failure});
    };
    if (!saysGoodbye) {
      std::exchange(onClosed, {})();
    }
  }

  std::vector<std::string> maildirs = {"/home/ann/Maildir"};
  std::vector<std::string> commands = {"/usr/sbin/sendmail"};
  std::vector<std::pair<std::string, std::string>> kept;  ///< server and user; password
  int tests = 0;
  int stops = 0;
  int reopened = 0;
  std::string whyClosed() const override { return closed; }
  std::string givenMailbox() const override { return given; }
  std::string failure;       ///< of reopen()
  bool saysGoodbye = false;  ///< the mailbox takes time to close: until onClosed()
  std::string closed;        ///< why no mailbox is open
  std::string given;         ///< the program whose mailbox is watched
  MailSettings tested;
  std::string testedPassword;
  std::string testedSmtpPassword;
  std::function<void(const OnlineAccountList&)> onAccounts;
  std::function<void(const Result<void>&)> onKept;
  std::function<void(const TestLine&)> onLine;
  std::function<void(bool good)> onEnd;
  std::function<void()> onClosed;
};

}  // namespace relaybird
