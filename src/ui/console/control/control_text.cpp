// SPDX-License-Identifier: MIT
#include "ui/console/control/control_text.h"

#include <algorithm>
#include <array>

#include "ui/console/text/quoting.h"

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
  return fields + " " + std::to_string(control.value()) + " " + inQuotes(control.text());
}

Properties controlProperties(const Control& control) {
  const std::string why = whyNoInput(control);
  Properties all{{"name", control.name()},
                 {"kind", kindWord(control.kind())},
                 {"text", inQuotes(control.text())},
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

}  // namespace relaybird
