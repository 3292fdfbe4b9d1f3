// SPDX-License-Identifier: MIT
// The list of settings is read from the dialog's controls, so that a new setting needs no line
// here. A setting is changed as a user does it: the dialog opens, the field is set, OK is pressed,
// and the stored value is compared with the requested one, because the program may have refused or
// corrected it in a box.
#include "ui/console/program_commands.h"

#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"
#include "prefs/address_lists.h"
#include "ui/console/controls_as_text.h"
#include "ui/console/quoting.h"
#include "ui/console/setup_questions.h"
#include "ui/forms/main/outbox_menu.h"

namespace relaybird {
namespace {

bool holdsASetting(const Control& control) {
  switch (control.kind()) {
    case ControlKind::kTextBox:
    case ControlKind::kCheckBox:
    case ControlKind::kOptionButton:
    case ControlKind::kComboBox:
      return true;
    default:
      return false;
  }
}

bool hasOwnCaption(const Control& control) {
  return control.kind() == ControlKind::kCheckBox || control.kind() == ControlKind::kOptionButton;
}

// A list in the form in which the settings dialog shows a stored one.
std::string asList(const std::string& text) {
  StringList entries;
  return FormTextToArray(text, entries) < 0 ? text : MakeStringFromArray(entries);
}

// The dialog stores numbers and lists in its own notation, which differs from what was typed.
bool sameText(const std::string& one, const std::string& other, std::string_view separator) {
  const auto number = readNumber(withPoint(one, separator));
  return one == other || (number && number == readNumber(withPoint(other, separator))) ||
         asList(one) == asList(other);
}

std::string tabCaption(const Control& tabs, int tab) {
  const auto position = static_cast<std::size_t>(tab);
  return position < tabs.list().size() ? tabs.list()[position] : "";
}

}  // namespace

std::string valueOf(const Control& control) {
  if (control.kind() == ControlKind::kTextBox) {
    return control.text();
  }
  if (hasOwnCaption(control)) {
    return control.checked() ? "on" : "off";
  }
  const auto position = static_cast<std::size_t>(control.value());
  return position < control.list().size() ? control.list()[position] : "";
}

bool holdsValue(const Control& control, const std::string& value,
                std::string_view decimalSeparator) {
  if (control.kind() == ControlKind::kTextBox) {
    return sameText(control.text(), value, decimalSeparator);
  }
  const std::string word = asciiLower(value);
  if (hasOwnCaption(control)) {
    return control.checked() == (word == "1" || word == "on");
  }
  return asciiLower(valueOf(control)) == word || std::to_string(control.value()) == value;
}

std::vector<Setting> settingsOf(const Form& form, const Control& tabs) {
  std::vector<Setting> settings;
  std::string before;
  for (const Control* control : form.controls()) {
    if (!control->tab()) {
      continue;
    }
    const std::string caption = plainCaption(control->text());
    if (holdsASetting(*control)) {
      settings.push_back({tabCaption(tabs, *control->tab()), control->name(), valueOf(*control),
                          hasOwnCaption(*control) ? caption : before});
    }
    // A field is described by the label or check box declared before it.
    if (hasOwnCaption(*control) || control->kind() == ControlKind::kLabel) {
      before = caption;
    }
  }
  return settings;
}

ProgramCommands::ProgramCommands(ProgramForms& forms, OutgoingMail& outgoing,
                                 std::function<std::vector<Fact>()> facts, Manual manual,
                                 std::string decimalSeparator,
                                 std::function<void(const std::function<bool()>&)> runUntil)
    : forms_(forms),
      outgoing_(outgoing),
      facts_(std::move(facts)),
      manual_(std::move(manual)),
      decimalSeparator_(std::move(decimalSeparator)),
      runUntil_(std::move(runUntil)) {}

// A user cannot reach the main window behind a modal one, so a command cannot either.
Result<void> ProgramCommands::mainWindowTakesInput() {
  const Form* before = forms_.main().modal();
  if (before == nullptr) {
    return {};
  }
  return Error{0, before->name() + " is open in front of " + forms_.main().name()};
}

// Success is read from the state afterwards, because StartForwarding() reports its failures only in
// boxes.
Result<void> ProgramCommands::start() {
  if (auto ready = mainWindowTakesInput(); !ready) {
    return ready;
  }
  if (forwardingOn()) {
    return Error{0, "forwarding is on already"};
  }
  if (forms_.main().engine().state().m_bBusyFwd) {
    return Error{0, "a check is under way"};
  }
  forms_.main().StartForwarding();
  // A start during a check takes effect at its end, and counts as success.
  if (forwardingOn() || forms_.main().startWaits()) {
    return {};
  }
  return Error{0, "forwarding was not switched on"};
}

Result<void> ProgramCommands::stop() {
  if (auto ready = mainWindowTakesInput(); !ready) {
    return ready;
  }
  if (!forwardingOn() && !forms_.main().startWaits()) {
    return Error{0, "forwarding is off"};
  }
  forms_.main().StopForwarding();
  return {};
}

// The result of the command combines the check and what happened to its forwards, as the closing
// box does.
Result<void> ProgramCommands::test() {
  if (auto ready = mainWindowTakesInput(); !ready) {
    return ready;
  }
  if (!forwardingOn() && !forms_.main().cmdForwardNow.enabled()) {
    return Error{0, "a test is under way"};
  }
  const OutgoingState before = outgoing_.state();
  if (!forms_.main().testCycle()) {
    return Error{0, "the test was not run"};
  }
  const EngineState& state = forms_.main().engine().state();
  // The check still waits for a synchronisation: its closing box will report the result.
  if (state.testCycle) {
    return {};
  }
  if (!state.lastPassCompleted || state.failedThisPass > 0) {
    return Error{0, "there was a problem; see the log"};
  }
  const OutgoingState after = outgoing_.state();
  if (!after.outbox.empty() && hasProblem(before, after)) {
    std::vector<std::string> sentences = holdReasons(after);
    sentences.insert(sentences.begin(), outcomeOf(before, after, outgoing_.waiting()));
    return Error{0, joinSentences(sentences)};
  }
  return {};
}

// These three act through the menu, which refuses them with a reason while they are disabled.
Result<void> ProgramCommands::retry() {
  return clickControl(forms_.main().mnuTryAgain);
}

Result<void> ProgramCommands::waiting() {
  return clickControl(forms_.main().mnuOpenWaiting);
}

Result<void> ProgramCommands::refused() {
  return clickControl(forms_.main().mnuOpenRefused);
}

Result<void> ProgramCommands::readyForSetup() {
  if (auto ready = mainWindowTakesInput(); !ready) {
    return ready;
  }
  if (const MailboxLine& mailbox = forms_.main().mailbox(); mailbox.given()) {
    return Error{0, "there is nothing to set up here: " + mailbox.watched()};
  }
  return {};
}

Result<void> ProgramCommands::setUp() {
  if (auto ready = readyForSetup(); !ready) {
    return ready;
  }
  forms_.main().openSetup();
  auto done = askForSetup(forms_.setup(), forms_.dialogs());
  // The next line of a script may be `start`.
  runUntil_([this] { return !forms_.setup().closesMailbox(); });
  return done;
}

Result<void> ProgramCommands::testSetup() {
  return withSetupOpen(forms_.setup().cmdTestAccount);
}

Result<void> ProgramCommands::sendTestMessage() {
  return withSetupOpen(forms_.setup().cmdSendTest);
}

// The dialog closes by itself when the button's work is over.
Result<void> ProgramCommands::withSetupOpen(Control& button) {
  if (auto ready = readyForSetup(); !ready) {
    return ready;
  }
  if (forms_.main().mailbox().noMailbox()) {
    return Error{0, "there is no mailbox yet; type: setup"};
  }
  forms_.setup().openFor(forms_.main(), button);
  return {};
}

void ProgramCommands::addOutbox(std::vector<Fact>& facts) {
  const OutgoingState state = outgoing_.state();
  if (state.outbox.empty()) {
    return;
  }
  facts.insert(facts.end(), {{"left-since", forms_.main().mailbox().since()},
                             {"outbox", state.outbox},
                             {"waiting", std::to_string(outgoing_.waiting())},
                             {"left", std::to_string(state.left)},
                             {"refused", std::to_string(state.refused)}});
  for (std::string& sentence : holdReasons(state)) {
    facts.emplace_back("outbox-says", std::move(sentence));
  }
}

std::string ProgramCommands::mailboxLine() {
  frmRelaybird& main = forms_.main();
  main.mailbox().show();
  return main.lblMailbox.text();
}

std::vector<Fact> ProgramCommands::status() {
  frmRelaybird& main = forms_.main();
  std::vector<Fact> facts = facts_();
  const std::string& words = main.engine().session().storeWords();
  facts.insert(facts.end(),
               {{"mailbox", main.mailbox().watched()},
                {"delivery", main.mailbox().delivery() + "."},
                {"preferences", main.prf().GetPrefIniFname()},
                {"addresses", main.txtStatusFwdTo.text()},
                {"format", main.picDestCellPhone.visible() ? "cell phone" : "standard e-mail"},
                {"automation", main.txtStatus.text()},
                {"running-since", main.txtRunningSince.text()},
                {"number-forwarded", main.txtNumberForwarded.text()},
                {"minutes-to-next-check", main.txtMinToNextFwd.text()},
                {"action", main.lblCurrentActions.text()}});
  addOutbox(facts);
  if (const auto& failure = main.checkFailure()) {
    facts.emplace_back("checks-fail-since", failure->since);
    facts.emplace_back("last-failure", failure->words);
  }
  if (!words.empty()) {
    facts.emplace_back("mail-store-says", words);
  }
  return facts;
}

// A closed dialog may still hold a refused value, so it is filled first.
std::vector<Setting> ProgramCommands::settings() {
  if (!forms_.settings().visible()) {
    forms_.settings().fillSilently();
  }
  return settingsOf(forms_.settings(), forms_.settings().tabPrefs);
}

// Opening the dialog fills it, so that OK stores the other settings unchanged.
Result<void> ProgramCommands::changeSetting(std::string_view name, const std::string& value) {
  if (auto ready = mainWindowTakesInput(); !ready) {
    return ready;
  }
  frmPrefs& dialog = forms_.settings();
  Control* control = dialog.find(name);
  if (control == nullptr || !control->tab()) {
    return Error{0, "there is no setting " + inQuotes(name) + "; settings lists them"};
  }
  forms_.main().showprefs();
  auto changed = setControl(*control, value);
  if (changed && !holdsValue(*control, value, decimalSeparator_)) {
    changed = Error{0, control->name() + " was not changed: the box that came up says why"};
  }
  if (changed) {
    changed = storeSetting(*control, value);
  }
  if (dialog.visible()) {
    dialog.cmdCancel.click();
  }
  return changed;
}

// Stores with the dialog's OK. A refused value must not stay in the dialog, because switching
// forwarding on stores what the dialog holds.
Result<void> ProgramCommands::storeSetting(const Control& control, const std::string& value) {
  frmPrefs& dialog = forms_.settings();
  if (auto closed = clickControl(dialog.cmdOK); !closed) {
    return closed;
  }
  if (!dialog.stored()) {
    dialog.fillSilently();
    return Error{0, "the settings were not stored: the box that came up says why"};
  }
  if (!holdsValue(control, value, decimalSeparator_)) {
    return Error{
        0, control.name() + " is now " + inQuotes(valueOf(control)) + ", not " + inQuotes(value)};
  }
  return {};
}

}  // namespace relaybird
