// SPDX-License-Identifier: MIT
// The commands that name windows and controls. They only find the control and read the arguments;
// controls_as_text.h does the rest.
#include "ui/console/form_commands.h"

#include <utility>

#include "platform/system/secret.h"
#include "platform/text/ascii_text.h"
#include "ui/console/controls_as_text.h"
#include "ui/console/quoting.h"

namespace relaybird {
namespace {

// The single argument of a command; `what` names it in the error.
Result<std::string> oneWord(std::string_view rest, const char* what) {
  const std::string word(takeWord(rest));
  if (word.empty() || !rest.empty()) {
    return Error{0, std::string("this command takes ") + what};
  }
  return word;
}

}  // namespace

FormCommands::FormCommands(std::vector<Form*> forms, ConsoleOutput& out)
    : forms_(std::move(forms)), out_(out) {}

Result<Form*> FormCommands::form(std::string_view name) const {
  std::vector<std::string> names;
  for (Form* each : forms_) {
    if (asciiLower(each->name()) == asciiLower(name)) {
      return each;
    }
    names.push_back(each->name());
  }
  return Error{0, "there is no form " + inQuotes(name) + "; there are " + joined(names)};
}

Result<Control*> FormCommands::control(std::string_view name) const {
  // Names of forms hold no point, so the first one ends the form's name.
  const std::size_t point = name.find('.');
  if (point == std::string_view::npos) {
    return Error{0, inQuotes(name) + " names no control; one is written FORM.CONTROL"};
  }
  const auto found = form(name.substr(0, point));
  if (!found) {
    return found.error();
  }
  Control* control = (*found)->find(name.substr(point + 1));
  if (control == nullptr) {
    return Error{0, (*found)->name() + " has no control " + inQuotes(name.substr(point + 1))};
  }
  return control;
}

Result<void> FormCommands::forms(std::string_view rest) {
  if (!rest.empty()) {
    return Error{0, "this command takes nothing"};
  }
  for (const Form* each : forms_) {
    out_.replyFields("listed", formFields(*each));
  }
  return {};
}

Result<void> FormCommands::show(std::string_view rest) {
  const auto name = oneWord(rest, "FORM or FORM.CONTROL");
  if (!name) {
    return name.error();
  }
  if (name->find('.') != std::string::npos) {
    const auto found = control(*name);
    if (!found) {
      return found.error();
    }
    for (const auto& [key, value] : controlProperties(**found)) {
      out_.replyFields("property", key + " " + value);
    }
    return {};
  }
  const auto found = form(*name);
  if (!found) {
    return found.error();
  }
  // The form itself first, then its controls in the order of declaration.
  out_.replyFields("listed", formFields(**found));
  for (const Control* each : (*found)->controls()) {
    out_.replyFields("control", controlFields(*each));
  }
  return {};
}

Result<void> FormCommands::set(std::string_view rest) {
  const auto found = control(takeWord(rest));
  if (!found) {
    return found.error();
  }
  auto value = readValue(rest);
  if (!value) {
    return value.error();
  }
  auto done = setControl(**found, *value);
  wipe(*value);
  return done;
}

Result<void> FormCommands::click(std::string_view rest) {
  const auto name = oneWord(rest, "FORM.CONTROL");
  if (!name) {
    return name.error();
  }
  const auto found = control(*name);
  if (!found) {
    return found.error();
  }
  return clickControl(**found);
}

Result<void> FormCommands::key(std::string_view rest) {
  const auto found = control(takeWord(rest));
  if (!found) {
    return found.error();
  }
  const auto chord = oneWord(rest, "FORM.CONTROL and a key such as Ctrl+Shift+Alt+V");
  if (!chord) {
    return chord.error();
  }
  return pressKey(**found, *chord);
}

// A window behind a modal one cannot be closed by a user either.
Result<void> FormCommands::close(std::string_view rest) {
  const auto name = oneWord(rest, "FORM");
  if (!name) {
    return name.error();
  }
  const auto found = form(*name);
  if (!found) {
    return found.error();
  }
  Form& window = **found;
  if (!window.visible()) {
    return Error{0, window.name() + " is not open"};
  }
  if (window.modal() != nullptr) {
    return Error{0, window.modal()->name() + " is open in front of " + window.name()};
  }
  window.closeBox();
  return {};
}

}  // namespace relaybird
