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

/// A word for scripts ("running-since") and what is so.
using Fact = std::pair<std::string, std::string>;

/// One setting of the settings dialog.
struct Setting {
  std::string tab;      ///< the caption of its tab
  std::string name;     ///< its control's
  std::string value;    ///< as `set` takes it
  std::string meaning;  ///< the caption that stands by it
};

/// What the console drives, apart from single controls. An error says in one sentence why nothing
/// was done. Boxes may come up in any call that changes something, and events run while they wait.
class ConsoleProgram {
 public:
  virtual ~ConsoleProgram() = default;
  virtual std::vector<Form*> forms() = 0;

  /// Done where forwarding is on afterwards, or will be once a stopped check has ended.
  virtual Result<void> start() = 0;
  virtual Result<void> stop() = 0;
  /// Done where the check met no problem, or still waits for its synchronisation.
  virtual Result<void> test() = 0;
  /// Tries at once all that waits in the outbox, and lets stopped addresses go on.
  virtual Result<void> retry() = 0;
  /// Says where the messages are that wait, and those that were refused.
  virtual Result<void> waiting() = 0;
  virtual Result<void> refused() = 0;
  /// Where the program stands.
  virtual std::vector<Fact> status() = 0;
  virtual std::vector<Setting> settings() = 0;
  /// As a user would do it in the dialog, who then presses OK. An error where something else is
  /// stored afterwards than what was asked for.
  virtual Result<void> changeSetting(std::string_view name, const std::string& value) = 0;
  /// Every line of the activity log.
  virtual const std::vector<std::string>& log() = 0;
  /// A topic of the user's manual as text; none where there is no such.
  virtual std::optional<std::string> helpTopic(std::string_view words) = 0;
  virtual std::vector<std::string> helpTopics() = 0;

  /// Nothing runs: no check, no synchronisation.
  virtual bool idle() = 0;
  virtual bool forwardingOn() = 0;
};

}  // namespace relaybird
