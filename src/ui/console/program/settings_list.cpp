// SPDX-License-Identifier: MIT
#include "ui/console/program/settings_list.h"

#include <utility>

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

std::string valueOf(const Control& control) {
  if (control.kind() == ControlKind::kTextBox) return control.text();
  if (hasOwnCaption(control)) return control.checked() ? "on" : "off";
  const auto position = static_cast<std::size_t>(control.value());
  return position < control.list().size() ? control.list()[position] : "";
}

std::string tabCaption(const Control& tabs, int tab) {
  const auto position = static_cast<std::size_t>(tab);
  return position < tabs.list().size() ? tabs.list()[position] : "";
}

}  // namespace

std::vector<Setting> settingsOf(const Form& form, const Control& tabs) {
  std::vector<Setting> settings;
  std::string before;
  for (const Control* control : form.controls()) {
    if (!control->tab()) continue;
    const std::string caption = plainCaption(control->text());
    if (holdsASetting(*control)) {
      settings.push_back({tabCaption(tabs, *control->tab()), control->name(), valueOf(*control),
                          hasOwnCaption(*control) ? caption : before});
    }
    if (hasOwnCaption(*control) || control->kind() == ControlKind::kLabel) before = caption;
  }
  return settings;
}

}  // namespace relaybird
