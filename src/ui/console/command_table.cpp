// SPDX-License-Identifier: MIT
// The table of commands, and completion. What can follow depends on the words before: the name of a
// command, then a form or control that it can act on, then a value of that control.
#include "ui/console/command_table.h"

#include <algorithm>
#include <array>

#include "platform/text/ascii_text.h"
#include "ui/console/quoting.h"

namespace relaybird {
namespace {

// What only shows something may run while a box waits. What acts on the program may not, because a
// user cannot reach the windows behind a box either.
constexpr auto kCommands = std::to_array<CommandInfo>({
    {"start", "", "switch forwarding on", false},
    {"stop", "", "switch forwarding off", false},
    {"test", "", "check the inbox once, with questions before", false},
    {"retry", "", "try at once what waits in the outbox, and release stopped addresses", false},
    {"waiting", "", "show the folder of the messages that wait", false},
    {"refused", "", "show the folder of the messages that were refused", false},
    {"setup", "[test|message]", "set up mail by questions; test the account; send a test message",
     false},
    {"status", "", "show how things stand", true},
    {"log", "[N]", "show the last N lines of the activity log (20)", true},
    {"settings", "[NAME VALUE]", "show all settings, or change one", false},
    {"help", "[TOPIC]", "show the commands, or a command or topic of the manual", true},
    {"quit", "", "end the program; exit does the same", true},
    {"exit", "", "end the program", true},
    {"forms", "", "list the windows", true},
    {"show", "FORM[.CONTROL]", "show a window's controls, or all about one", true},
    {"set", "FORM.CONTROL VALUE", "type into a field, check a box, choose an entry", false},
    {"click", "FORM.CONTROL", "press a button, pick a menu entry", false},
    {"key", "FORM.CONTROL KEY", "press a key, such as Ctrl+Shift+Alt+V", false},
    {"close", "FORM", "close a window by its frame", false},
    {"answer", "VALUE...", "answer the box that waits, and those to come", true},
    {"answers", "[clear]", "show, or forget, the answers that no box has taken yet", true},
    {"wait", "idle [SECONDS] | SECONDS", "wait until nothing runs, or for a while", false},
});

bool beginsWith(std::string_view text, std::string_view beginning) {
  return asciiLower(text.substr(0, beginning.size())) == asciiLower(beginning);
}

bool takesControl(const std::string& command) {
  return command == "show" || command == "set" || command == "click" || command == "key";
}

// Names of forms, or, after a point, of those controls of a form that the command can act on.
std::vector<std::string> controlWords(const std::string& command, std::string_view word,
                                      const std::vector<Form*>& forms) {
  std::vector<std::string> words;
  const std::size_t point = word.find('.');
  for (const Form* form : forms) {
    if (point == std::string_view::npos) {
      words.push_back(form->name() + (command == "show" ? "" : "."));
      continue;
    }
    if (asciiLower(form->name()) != asciiLower(word.substr(0, point))) {
      continue;
    }
    for (const Control* control : form->controls()) {
      if (command == "show" || whyNoInput(*control).empty()) {
        words.push_back(form->name() + "." + control->name());
      }
    }
  }
  return words;
}

// A text box offers its present text, so that it can be edited instead of typed again.
std::vector<std::string> valueWords(std::string_view name, const std::vector<Form*>& forms) {
  const std::size_t point = std::min(name.find('.'), name.size());
  const Control* control = nullptr;
  for (const Form* form : forms) {
    if (point < name.size() && asciiLower(form->name()) == asciiLower(name.substr(0, point))) {
      control = form->find(name.substr(point + 1));
    }
  }
  if (control == nullptr) {
    return {};
  }
  switch (control->kind()) {
    case ControlKind::kCheckBox:
      return {"on", "off"};
    case ControlKind::kOptionButton:
      return {"on"};
    case ControlKind::kTextBox:
      // A password is not offered, since completing it would print it.
      return {control->hidesText() ? "" : inQuotes(control->text())};
    case ControlKind::kListBox:
      return {"all", "none"};
    default:
      return control->list();
  }
}

std::vector<std::string> candidates(const std::vector<std::string>& before, std::string_view word,
                                    const std::vector<Form*>& forms) {
  std::vector<std::string> words;
  const std::string command = before.empty() ? "" : asciiLower(before.front());
  if (before.empty() || (command == "help" && before.size() == 1)) {
    for (const CommandInfo& info : kCommands) {
      words.emplace_back(info.name);
    }
  } else if (before.size() == 1 && takesControl(command)) {
    words = controlWords(command, word, forms);
  } else if (before.size() == 2 && command == "set") {
    words = valueWords(before[1], forms);
  } else if (before.size() == 1 && command == "close") {
    for (const Form* form : forms) {
      words.push_back(form->name());
    }
  } else if (before.size() == 1 && command == "setup") {
    words = {"test", "message"};
  } else if (before.size() == 1 && command == "wait") {
    words = {"idle"};
  }
  return words;
}

}  // namespace

std::span<const CommandInfo> commandTable() {
  return kCommands;
}

const CommandInfo* findCommand(std::string_view name) {
  const auto found = std::find_if(kCommands.begin(), kCommands.end(), [&](const CommandInfo& info) {
    return info.name == asciiLower(name);
  });
  return found == kCommands.end() ? nullptr : found;
}

std::string commandList() {
  constexpr std::size_t kSummaryColumn = 32;
  std::string text;
  for (const CommandInfo& info : kCommands) {
    // Two blanks at least part a long entry from its summary.
    std::string line(info.name);
    if (!info.arguments.empty()) {
      line += " " + std::string(info.arguments);
    }
    line.resize(std::max(line.size() + 2, kSummaryColumn), ' ');
    text += (text.empty() ? "" : "\n") + line + std::string(info.summary);
  }
  return text;
}

Completion completions(std::string_view line, const std::vector<Form*>& forms) {
  std::vector<std::string> before;
  std::string_view word = line;
  while (true) {
    std::string_view rest = word;
    const std::string_view taken = takeWord(rest);
    // A word without a blank after it is still being typed. The value of `set` runs to the end of
    // the line.
    const bool value = before.size() == 2 && asciiLower(before.front()) == "set";
    if (value || taken.empty() || taken.data() + taken.size() == line.data() + line.size()) {
      break;
    }
    before.emplace_back(taken);
    word = rest;
  }
  word.remove_prefix(std::min(word.find_first_not_of(" \t"), word.size()));
  Completion found;
  // The word is compared without the blanks before it, and only the word is replaced.
  found.from = line.size() - word.size();
  found.whole = before.size() != 1 || !takesControl(asciiLower(before.front())) ||
                word.find('.') != std::string_view::npos;
  for (std::string& each : candidates(before, word, forms)) {
    if (beginsWith(each, word)) {
      found.words.push_back(std::move(each));
    }
  }
  return found;
}

}  // namespace relaybird
