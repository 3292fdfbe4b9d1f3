// SPDX-License-Identifier: MIT
#include "ui/console/output/script_output.h"

#include "ui/console/text/quoting.h"

namespace relaybird {

void ScriptOutput::event(std::string_view kind, const std::string& text) {
  replyFields(kind, escaped(text));
}

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
