// SPDX-License-Identifier: MIT
#include "ui/forms/model/form.h"

#include <algorithm>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {

Form::Form(std::string name, std::string caption)
    : name_(std::move(name)), caption_(std::move(caption)) {}

void Form::tell(FormChange what) {
  if (observer_ != nullptr) {
    observer_->formChanged(*this, what);
  }
}

void Form::setCaption(std::string caption) {
  caption_ = std::move(caption);
  tell(FormChange::kCaption);
}

Control* Form::find(std::string_view name) const {
  // Scripts name controls in any letter case.
  const std::string wanted = asciiLower(name);
  const auto found = std::find_if(controls_.begin(), controls_.end(), [&](const Control* control) {
    return asciiLower(control->name()) == wanted;
  });
  return found == controls_.end() ? nullptr : *found;
}

void Form::show() {
  visible_ = true;
  tell(FormChange::kShown);
}

void Form::showModal(Form& owner) {
  owner.modal_ = this;
  owner_ = &owner;
  show();
}

// The owner is released first, so that it accepts input when observers hear that the dialog is
// gone.
void Form::hide() {
  if (Form* owner = std::exchange(owner_, nullptr)) {
    owner->modal_ = nullptr;
  }
  if (std::exchange(visible_, false)) {
    tell(FormChange::kHidden);
  }
}

void Form::minimise() {
  tell(FormChange::kMinimised);
}

// Front ends and scripts ask this before they act on a control. A control in a hidden frame or menu
// is hidden as well.
std::string whyNoInput(const Control& control) {
  const Form& form = control.form();
  if (!form.visible()) {
    return form.name() + " is not open";
  }
  if (form.modal() != nullptr) {
    return form.modal()->name() + " is open in front of " + form.name();
  }
  const std::string name = form.name() + "." + control.name();
  for (const Control* part = &control; part != nullptr; part = part->parent()) {
    if (!part->visible()) {
      return name + " is hidden";
    }
  }
  if (!control.enabled()) {
    return name + " is disabled";
  }
  return {};
}

}  // namespace relaybird
