// SPDX-License-Identifier: MIT
// What setting up mail needs from outside: what is found on this computer, the keyring, the test of
// an account, and the mailbox that is opened anew. All calls, and all reports, on the
// user-interface thread. A report is never made inside the call that asked for it, but for that of
// reopen().
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "mail/mail_settings.h"
#include "platform/result.h"
#include "platform/system/online_accounts.h"
#include "platform/system/secret.h"

namespace relaybird {

/// The passwords that the user has typed; empty: the place that the settings name has them.
struct TypedSecrets {
  Secret imap;
  Secret smtp;
};

/// A line of an account's test.
struct TestLine {
  enum class Kind {
    kNote,     ///< what is being done, or an explanation
    kGood,     ///< a step that succeeded
    kProblem,  ///< a step that failed, and why
    kAdvice,   ///< what to do about it
  };
  Kind kind = Kind::kNote;
  std::string text;
};

class MailSetup {
 public:
  virtual ~MailSetup() = default;

  /// The user of this computer.
  virtual LocalIdentity user() const = 0;
  /// Folders on this computer that are Maildirs, the most likely inbox first.
  virtual std::vector<std::string> foundMaildirs() = 0;
  /// Commands on this computer that take a message for delivery, as the settings name them.
  virtual std::vector<std::string> foundCommands() = 0;

  /// Asks the desktop for its accounts. A later call replaces the report of an earlier one.
  virtual void listOnlineAccounts(std::function<void(const OnlineAccountList&)> report) = 0;
  /// Keeps a password in the keyring, which may ask the user to unlock it. The error is a sentence
  /// for the user.
  virtual void keepPassword(const AccountSettings& account, const Secret& password,
                            std::function<void(const Result<void>&)> report) = 0;

  /// Tests mailbox and sending step by step. Nothing is stored, and no mail is sent. `line` gets
  /// each line, then `end` whether all is well. One test at a time.
  virtual void test(const MailSettings& settings, const TypedSecrets& secrets,
                    std::function<void(const TestLine&)> line,
                    std::function<void(bool good)> end) = 0;
  /// Ends the test that runs, which reports its end soon.
  virtual void stopTest() = 0;
  /// Forgets all reports that have not been made: nobody listens any more.
  virtual void forgetReports() = 0;

  /// The settings on disk have changed: closes the mailbox and opens the one that they name.
  /// Nothing may be in use of the old one, and each use of it fails. `report` comes when the new
  /// one is open, inside this call if no server has to be waited for, and is not one of those that
  /// forgetReports() forgets. The error is a sentence for the user; no mailbox is open then, and
  /// each use of it fails with the same sentence. Not to be called again before the report.
  virtual void reopen(std::function<void(const Result<void>&)> report) = 0;
  /// Why no mailbox is open, a sentence for the user; empty while one is.
  virtual std::string whyClosed() const = 0;
  /// The name of the program whose mailbox is watched, where there is nothing to set up; empty
  /// where the user sets mail up.
  virtual std::string givenMailbox() const { return {}; }
};

}  // namespace relaybird
