// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/result.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// A name for scripts ("running-since") and its value.
using Fact = std::pair<std::string, std::string>;

/// One setting of the settings dialog.
struct Setting {
  std::string tab;      ///< caption of its tab
  std::string name;     ///< name of its control
  std::string value;    ///< in the form that `set` takes
  std::string meaning;  ///< caption of the setting
};

/// The program as the console controls it, apart from single controls. An error says in one
/// sentence why nothing was done. Calls that change something may open boxes; events run while a
/// box waits.
class ConsoleProgram {
 public:
  virtual ~ConsoleProgram() = default;
  virtual std::vector<Form*> forms() = 0;

  /// Succeeds if forwarding is on afterwards, or will be once a stopped check has ended.
  virtual Result<void> start() = 0;
  virtual Result<void> stop() = 0;
  /// Succeeds if the check had no problem, or still waits for its synchronisation.
  virtual Result<void> test() = 0;
  /// Tries at once to send what waits in the outbox, and releases stopped addresses.
  virtual Result<void> retry() = 0;
  /// Show the folders of the waiting and of the refused messages.
  virtual Result<void> waiting() = 0;
  virtual Result<void> refused() = 0;
  /// Sets up mail, question by question.
  virtual Result<void> setUp() = 0;
  /// Tests the account that is set up; the result is printed line by line.
  virtual Result<void> testSetup() = 0;
  /// Sends a test message to the addresses that mail is forwarded to.
  virtual Result<void> sendTestMessage() = 0;
  /// The state of the program.
  virtual std::vector<Fact> status() = 0;
  /// The line at the top of the main window: what is watched, how forwards leave, how many wait and
  /// how many have left since when.
  virtual std::string mailboxLine() = 0;
  virtual std::vector<Setting> settings() = 0;
  /// Changes a setting as a user does in the dialog with OK. An error if the stored value is then
  /// not the requested one.
  virtual Result<void> changeSetting(std::string_view name, const std::string& value) = 0;
  /// Every line of the activity log.
  virtual const std::vector<std::string>& log() = 0;
  /// A topic of the user's manual as text; empty if there is none.
  virtual std::optional<std::string> helpTopic(std::string_view words) = 0;
  virtual std::vector<std::string> helpTopics() = 0;

  /// Whether nothing runs: no check, no synchronisation.
  virtual bool idle() = 0;
  virtual bool forwardingOn() = 0;
  /// Whether the mailbox could not be opened because the logon was refused, the last time that the
  /// program has tried.
  virtual bool logonRefused() = 0;
};

}  // namespace relaybird
