// SPDX-License-Identifier: MIT
#include "ui/console/output/console_output.h"

namespace relaybird {

std::string_view boxKindWord(BoxView::Kind kind) {
  switch (kind) {
    case BoxView::Kind::kInput:
      return "input";
    case BoxView::Kind::kFile:
      return "file";
    case BoxView::Kind::kMenu:
      return "menu";
    case BoxView::Kind::kMessage:
    default:
      return "message";
  }
}

std::string_view iconWord(BoxIcon icon) {
  switch (icon) {
    case BoxIcon::kExclamation:
      return "exclamation";
    case BoxIcon::kCritical:
      return "critical";
    case BoxIcon::kNone:
    default:
      return "none";
  }
}

std::string joined(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    if (!line.empty()) {
      line += ", ";
    }
    line += word;
  }
  return line;
}

}  // namespace relaybird
