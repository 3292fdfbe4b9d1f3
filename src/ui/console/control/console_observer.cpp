// SPDX-License-Identifier: MIT
#include "ui/console/control/console_observer.h"

#include <utility>

namespace relaybird {

ConsoleObserver::ConsoleObserver(std::vector<Form*> forms, News news, ConsoleOutput& out)
    : forms_(std::move(forms)), news_(news), out_(out) {
  if (news_.state != nullptr) {
    lastState_ = news_.state->text();
  }
  if (news_.forwarded != nullptr) {
    lastForwarded_ = news_.forwarded->text();
  }
  for (Form* form : forms_) {
    form->setObserver(this);
  }
}

ConsoleObserver::~ConsoleObserver() {
  for (Form* form : forms_) {
    if (form->observer() == this) {
      form->setObserver(nullptr);
    }
  }
}

// The forms report every assignment; what says the same again is no news.
bool ConsoleObserver::isNew(std::string& last, const Control& control) const {
  return std::exchange(last, control.text()) != control.text();
}

void ConsoleObserver::controlChanged(const Control& control, Change what) {
  if (&control == news_.log && what == Change::kListEntryAdded) {
    out_.logLine(control.list().back());
  }
  if (what != Change::kText) {
    return;
  }
  if (&control == news_.action && isNew(lastAction_, control)) {
    out_.status(control.text());
  } else if (&control == news_.state && isNew(lastState_, control)) {
    out_.event("state", control.text());
  } else if (&control == news_.forwarded && isNew(lastForwarded_, control)) {
    out_.event("forwarded", control.text());
  }
}

void ConsoleObserver::formChanged(const Form& form, FormChange what) {
  if (what == FormChange::kShown) {
    out_.form(form, true);
  }
  if (what == FormChange::kHidden) {
    out_.form(form, false);
  }
}

}  // namespace relaybird
