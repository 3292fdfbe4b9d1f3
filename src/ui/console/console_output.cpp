// SPDX-License-Identifier: MIT
#include "ui/console/console_output.h"

#include "ui/console/quoting.h"

namespace relaybird {
// The words are part of the protocol of docs/console.md, and stay as they are.
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

// Escaping makes one line of any text, so that no message can pass for a reply.
void ScriptOutput::event(std::string_view kind, const std::string& text) {
  replyFields(kind, escaped(text));
}

// The whole line is passed in one call: a box or event in between would break it in two.
void ScriptOutput::replyFields(std::string_view kind, const std::string& fields) {
  std::string line(kind);
  line += fields.empty() ? ":" : ": ";
  line += fields;
  line += '\n';
  sink_.write(line);
}

void ScriptOutput::form(const Form& form, bool open) {
  replyFields("form", form.name() + (open ? " open " : " closed ") + inQuotes(form.caption()));
}

// The kind and the icon tell a script what a box is without its texts, which may change.
void ScriptOutput::box(const BoxView& box) {
  event("box", box.title);
  event("box-kind", std::string(boxKindWord(box.kind)));
  event("box-icon", std::string(iconWord(box.icon)));
  event("box-text", box.text);
  event("box-buttons", joined(box.choices));
}

void ScriptOutput::boxWaits(const BoxView& box) {
  event("box-waits", box.title);
}

void ScriptOutput::boxAnswered(const BoxView&, const std::string& answer) {
  event("box-answer", answer);
}

}  // namespace relaybird
