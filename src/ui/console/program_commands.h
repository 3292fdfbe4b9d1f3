// SPDX-License-Identifier: MIT
// The console's commands over the whole program, and the list of its settings.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ui/console/console_program.h"
#include "ui/forms/model/form.h"
#include "ui/forms/program_forms.h"

namespace relaybird {

/// The settings of a form with tabs: its text boxes, check boxes, options and drop-down lists. The
/// meaning of a field is its own caption, or else the caption before it.
std::vector<Setting> settingsOf(const Form& form, const Control& tabs);

/// Whether a field has the value that `set` was given. Numbers and lists may be written
/// differently, numbers also with `decimalSeparator` in place of the point.
bool holdsValue(const Control& control, const std::string& value,
                std::string_view decimalSeparator);

/// The value of one field, as in settingsOf().
std::string valueOf(const Control& control);

/// The user's manual.
struct Manual {
  /// A topic as text; empty if there is none.
  std::function<std::optional<std::string>(std::string_view words)> find = [](std::string_view) {
    return std::nullopt;
  };
  std::vector<std::string> topics;
};

/// The whole program as the console controls it. Its commands do what the windows' buttons do, and
/// are refused while another window is in front of the main window.
class ProgramCommands : public ConsoleProgram {
 public:
  /// status() begins with what `facts` returns. Numbers may be written with `decimalSeparator` in
  /// place of the point. `runUntil` runs events until its argument returns true or the program
  /// ends. `forms` and `outgoing` must outlive it.
  ProgramCommands(
      ProgramForms& forms, OutgoingMail& outgoing, std::function<std::vector<Fact>()> facts,
      Manual manual, std::string decimalSeparator,
      std::function<void(const std::function<bool()>&)> runUntil = [](const auto&) {});

  std::vector<Form*> forms() override { return forms_.forms(); }
  Result<void> start() override;
  Result<void> stop() override;
  /// Allowed while forwarding is on: the program itself then says why it does not test.
  Result<void> test() override;
  Result<void> retry() override;
  Result<void> waiting() override;
  Result<void> refused() override;
  Result<void> setUp() override;
  Result<void> testSetup() override;
  Result<void> sendTestMessage() override;
  std::vector<Fact> status() override;
  std::string mailboxLine() override;
  std::vector<Setting> settings() override;
  Result<void> changeSetting(std::string_view name, const std::string& value) override;
  const std::vector<std::string>& log() override { return forms_.log().lstLog.list(); }
  std::optional<std::string> helpTopic(std::string_view words) override {
    return manual_.find(words);
  }
  std::vector<std::string> helpTopics() override { return manual_.topics; }
  bool idle() override { return forms_.idle(); }
  bool logonRefused() override { return forms_.main().engine().session().logonRefused(); }
  bool forwardingOn() override { return forms_.main().engine().state().forwardingOn; }

 private:
  Result<void> mainWindowTakesInput();
  Result<void> readyForSetup();
  Result<void> withSetupOpen(Control& button);
  void addOutbox(std::vector<Fact>& facts);
  Result<void> storeSetting(const Control& control, const std::string& value);

  ProgramForms& forms_;
  OutgoingMail& outgoing_;
  std::function<std::vector<Fact>()> facts_;
  Manual manual_;
  std::string decimalSeparator_;
  std::function<void(const std::function<bool()>&)> runUntil_;
};

}  // namespace relaybird
