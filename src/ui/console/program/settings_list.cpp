// SPDX-License-Identifier: MIT
#include "ui/console/program/settings_list.h"

#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"
#include "prefs/address_lists.h"

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

// As the settings dialog writes a list that it has stored.
std::string asList(const std::string& text) {
  StringList entries;
  return FormTextToArray(text, entries) < 0 ? text : MakeStringFromArray(entries);
}

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
    if (hasOwnCaption(*control) || control->kind() == ControlKind::kLabel) {
      before = caption;
    }
  }
  return settings;
}

}  // namespace relaybird
