// SPDX-License-Identifier: MIT
// First the output, then the input. Input checks whyNoInput() before anything else and then acts on
// the control as a front end does, so that a script can do no more than a user.
#include "ui/console/controls_as_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <set>
#include <utility>

#include "platform/text/ascii_text.h"
#include "ui/console/quoting.h"

namespace relaybird {
namespace {

using Properties = std::vector<std::pair<std::string, std::string>>;

std::string colourText(const Colour& colour) {
  switch (colour.source) {
    case Colour::Source::kWindowBackground:
      return "window-background";
    case Colour::Source::kWindowText:
      return "window-text";
    case Colour::Source::kButtonFace:
      return "button-face";
    case Colour::Source::kButtonText:
      return "button-text";
    case Colour::Source::kGrayText:
      return "gray-text";
    case Colour::Source::kRgb:
    default:
      break;
  }
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text = "#";
  for (const int part : std::array<int, 3>{colour.red, colour.green, colour.blue}) {
    text += kDigits[static_cast<std::size_t>(part / 16)];
    text += kDigits[static_cast<std::size_t>(part % 16)];
  }
  return text;
}

const char* yesNo(bool yes) {
  return yes ? "yes" : "no";
}

std::string positions(const std::set<std::size_t>& selection) {
  std::string text;
  for (const std::size_t position : selection) {
    if (!text.empty()) {
      text += ',';
    }
    text += std::to_string(position);
  }
  return text.empty() ? "none" : text;
}

// Where a control is: its page, its frame or menu, and the options that exclude each other.
void addPlace(Properties& all, const Control& control) {
  if (control.tab()) {
    all.emplace_back("tab", std::to_string(*control.tab()));
  }
  if (control.parent() != nullptr) {
    all.emplace_back("parent", control.parent()->name());
  }
  if (!control.group().empty()) {
    all.emplace_back("group", inQuotes(control.group()));
  }
}

bool isList(ControlKind kind) {
  return kind == ControlKind::kListBox || kind == ControlKind::kComboBox ||
         kind == ControlKind::kTabs;
}

void addList(Properties& all, const Control& control) {
  if (control.kind() == ControlKind::kListBox) {
    all.emplace_back("selection", positions(control.selection()));
    all.emplace_back("extent", std::to_string(control.horizontalExtent()));
  }
  all.emplace_back("entries", std::to_string(control.list().size()));
  std::size_t position = 0;
  for (const std::string& entry : control.list()) {
    all.emplace_back("entry", std::to_string(position++) + " " + inQuotes(entry));
  }
}

}  // namespace

std::string kindWord(ControlKind kind) {
  std::string word(kindName(kind));
  std::replace(word.begin(), word.end(), ' ', '-');
  return word;
}

// "(hidden)" also tells that a password is set; an empty field stays empty.
std::string shownText(const Control& control) {
  return control.hidesText() && !control.text().empty() ? "(hidden)" : control.text();
}

std::string formFields(const Form& form) {
  return form.name() + (form.visible() ? " open " : " closed ") + inQuotes(form.caption());
}

std::string controlFields(const Control& control) {
  std::string fields = control.name() + " " + kindWord(control.kind());
  fields += control.visible() ? " visible" : " hidden";
  fields += control.enabled() ? ",enabled" : ",disabled";
  if (control.locked()) {
    fields += ",locked";
  }
  return fields + " " + std::to_string(control.value()) + " " + inQuotes(shownText(control));
}

Properties controlProperties(const Control& control) {
  const std::string why = whyNoInput(control);
  Properties all{{"name", control.name()},
                 {"kind", kindWord(control.kind())},
                 {"text", inQuotes(shownText(control))},
                 {"value", std::to_string(control.value())},
                 {"visible", yesNo(control.visible())},
                 {"enabled", yesNo(control.enabled())},
                 {"locked", yesNo(control.locked())},
                 {"input", why.empty() ? "yes" : "no, " + why},
                 {"clicks", yesNo(control.takesClicks())},
                 {"fore-color", colourText(control.foreColor())},
                 {"back-color", colourText(control.backColor())},
                 {"tool-tip", inQuotes(control.toolTip())}};
  if (!control.picture().empty()) {
    all.emplace_back("picture", inQuotes(control.picture()));
  }
  addPlace(all, control);
  if (isList(control.kind())) {
    addList(all, control);
  }
  return all;
}

namespace {

Error refusal(const Control& control, const std::string& rest) {
  return {0, control.form().name() + "." + control.name() + " " + rest};
}

std::optional<std::size_t> readPosition(std::string_view text) {
  std::size_t position = 0;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), position);
  if (code != std::errc{} || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return position;
}

std::optional<int> readSwitch(const std::string& value) {
  const std::string word = asciiLower(value);
  if (word == "0" || word == "off") {
    return 0;
  }
  if (word == "1" || word == "on") {
    return 1;
  }
  return std::nullopt;
}

// The check for control characters is repeated here: a quoted value may have brought them in as
// escapes.
Result<void> setText(Control& control, const std::string& value) {
  if (control.locked()) {
    return refusal(control, "cannot be edited");
  }
  if (const std::string why = whyNoCommand(value); !why.empty()) {
    return refusal(control, "takes one line of text without control characters");
  }
  control.setText(value);
  return {};
}

Result<void> check(Control& control, const std::string& value) {
  const auto wanted = readSwitch(value);
  if (!wanted) {
    return refusal(control, "takes 0 or off, 1 or on, not " + inQuotes(value));
  }
  control.setValue(*wanted);
  return {};
}

Result<void> select(Control& control, const std::string& value) {
  if (readSwitch(value) != 1) {
    return refusal(control, "takes 1 or on; another option of its group switches it off");
  }
  control.setValue(1);
  return {};
}

// The text of an entry wins over its position, for entries that are numbers themselves.
Result<void> choose(Control& control, const std::string& value) {
  const auto& entries = control.list();
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < entries.size() && !found; ++i) {
    if (asciiLower(entries[i]) == asciiLower(value)) {
      found = i;
    }
  }
  if (!found) {
    found = readPosition(value);
  }
  if (!found || *found >= entries.size()) {
    return refusal(control, "has no entry " + inQuotes(value) + "; it has " +
                                std::to_string(entries.size()) + ", counted from 0");
  }
  control.setValue(static_cast<int>(*found));
  return {};
}

// Nothing is selected before the whole list has been read, so that an error changes nothing.
Result<void> selectEntries(Control& control, const std::string& value) {
  std::set<std::size_t> positions;
  const std::string word = asciiLower(value);
  const std::size_t count = control.list().size();
  if (word == "all") {
    for (std::size_t i = 0; i < count; ++i) {
      positions.insert(positions.end(), i);
    }
  }
  std::string_view rest = word == "all" || word == "none" ? std::string_view{} : value;
  if (rest.empty() && word != "all" && word != "none") {
    return refusal(control, "takes positions from 0 with commas between, all, or none");
  }
  while (!rest.empty()) {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    const auto position = readPosition(trimBlanks(rest.substr(0, comma)));
    if (!position || *position >= count) {
      return refusal(control, "has no entry " + inQuotes(rest.substr(0, comma)) + "; it has " +
                                  std::to_string(count) + ", counted from 0");
    }
    positions.insert(*position);
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  control.setSelection(std::move(positions));
  return {};
}

// Before every action: a disabled, hidden or covered control takes no input from a user either.
Result<void> takesInput(const Control& control) {
  if (std::string why = whyNoInput(control); !why.empty()) {
    return Error{0, std::move(why)};
  }
  return {};
}

std::string a(ControlKind kind) {
  const std::string name(kindName(kind));
  return (name.front() == 'o' ? "an " : "a ") + name;
}

// Virtual-key codes (winuser.h) of the keys with names.
constexpr std::array<std::pair<std::string_view, int>, 11> kKeys{{{"enter", 0x0D},
                                                                  {"escape", 0x1B},
                                                                  {"esc", 0x1B},
                                                                  {"space", 0x20},
                                                                  {"tab", 0x09},
                                                                  {"delete", 0x2E},
                                                                  {"left", 0x25},
                                                                  {"up", 0x26},
                                                                  {"right", 0x27},
                                                                  {"down", 0x28},
                                                                  {"backspace", 0x08}}};
constexpr int kF1 = 0x70;
constexpr std::size_t kFunctionKeys = 24;

std::optional<int> keyCode(std::string_view key) {
  const std::string name = asciiLower(key);
  // The codes of letters and digits are their ASCII codes; letters have those of the capitals.
  if (name.size() == 1 && ((name[0] >= 'a' && name[0] <= 'z') || readPosition(name))) {
    return asciiUpper(name).front();
  }
  for (const auto& [known, code] : kKeys) {
    if (known == name) {
      return code;
    }
  }
  if (name.empty() || name.front() != 'f') {
    return std::nullopt;
  }
  const auto number = readPosition(std::string_view(name).substr(1));
  if (!number || *number < 1 || *number > kFunctionKeys) {
    return std::nullopt;
  }
  return kF1 + static_cast<int>(*number) - 1;
}

// The bit of a modifier in Control::keyDown(); 0 if the word is not a modifier.
int shiftOf(std::string_view word) {
  const std::string name = asciiLower(word);
  if (name == "shift") {
    return 1;
  }
  if (name == "ctrl") {
    return 2;
  }
  return name == "alt" ? 4 : 0;
}

}  // namespace

Result<void> setControl(Control& control, const std::string& value) {
  if (auto allowed = takesInput(control); !allowed) {
    return allowed;
  }
  switch (control.kind()) {
    case ControlKind::kTextBox:
      return setText(control, value);
    case ControlKind::kCheckBox:
      return check(control, value);
    case ControlKind::kOptionButton:
      return select(control, value);
    case ControlKind::kComboBox:
    case ControlKind::kTabs:
      return choose(control, value);
    case ControlKind::kListBox:
      return selectEntries(control, value);
    default:
      return refusal(control, "is " + a(control.kind()) + ", which cannot be set");
  }
}

Result<void> clickControl(Control& control) {
  if (auto allowed = takesInput(control); !allowed) {
    return allowed;
  }
  if (!control.takesClicks()) {
    return refusal(control, "is " + a(control.kind()) + " that does nothing when clicked");
  }
  control.click();
  return {};
}

Result<void> pressKey(Control& control, std::string_view chord) {
  if (auto allowed = takesInput(control); !allowed) {
    return allowed;
  }
  int shift = 0;
  std::string_view rest = chord;
  while (true) {
    const std::size_t plus = rest.find('+');
    if (plus == std::string_view::npos) {
      break;
    }
    const int modifier = shiftOf(rest.substr(0, plus));
    if (modifier == 0) {
      return Error{0, inQuotes(chord) + " is no key; one is Ctrl+Shift+Alt+V"};
    }
    shift |= modifier;
    rest.remove_prefix(plus + 1);
  }
  const auto code = keyCode(rest);
  if (!code) {
    return Error{0, inQuotes(chord) + " is no key; one is Ctrl+Shift+Alt+V"};
  }
  control.keyDown(*code, shift);
  return {};
}

}  // namespace relaybird
