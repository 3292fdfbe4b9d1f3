// SPDX-License-Identifier: MIT
// Every setter stores the value, tells the form's observer, and then runs the reaction. Setters
// compare first and do nothing for an equal value; setText() alone always reports, as the edit
// controls of Windows do.
#include "ui/forms/model/control.h"

#include <array>
#include <utility>

#include "platform/event_queue.h"
#include "platform/system/secret.h"
#include "ui/forms/model/form.h"

namespace relaybird {
namespace {

bool hasPositions(ControlKind kind) {
  return kind == ControlKind::kComboBox || kind == ControlKind::kListBox;
}

// Input fields have the window's colours, everything else those of a button face.
bool isField(ControlKind kind) {
  return kind == ControlKind::kTextBox || hasPositions(kind);
}

bool isOption(ControlKind kind) {
  return kind == ControlKind::kOptionButton;
}

}  // namespace

std::string_view kindName(ControlKind kind) {
  static constexpr std::array<std::string_view, 16> kNames{
      "label",          "text box", "button",      "picture button",
      "picture",        "frame",    "check box",   "option button",
      "picture option", "list box", "combo box",   "tabs",
      "menu",           "timer",    "file dialog", "link"};
  return kNames.at(static_cast<std::size_t>(kind));
}

Control::Control(Form& form, ControlKind kind, std::string name, std::string text)
    : form_(form),
      kind_(kind),
      name_(std::move(name)),
      text_(std::move(text)),
      value_(hasPositions(kind) ? -1 : 0),
      foreColor_(isField(kind) ? kWindowText : kButtonText),
      backColor_(isField(kind) ? kWindowBackground : kButtonFace) {
  form.add(*this);
}

void Control::changed(Change what) {
  if (FormObserver* observer = form_.observer()) {
    observer->controlChanged(*this, what);
  }
}

// The reaction runs even if the text is the same: filling the dialog has to mark its addresses as
// unchecked.
void Control::setText(std::string text) {
  if (hidesText_) {
    wipe(text_);
  }
  text_ = std::move(text);
  changed(Change::kText);
  if (onChange_) {
    onChange_();
  }
}

void Control::setValue(int value) {
  if (value == value_) {
    return;
  }
  value_ = value;
  // The others first, so that a reaction never sees two options selected.
  if (isOption(kind_) && value == 1) {
    selectInGroup();
  }
  changed(Change::kValue);
  // An option button reports that it was selected, not that it was deselected.
  if (onClick_ && !(isOption(kind_) && value != 1)) {
    onClick_();
  }
}

void Control::selectInGroup() {
  for (Control* other : form_.controls()) {
    if (other != this && other->group_ == group_ && isOption(other->kind_)) {
      other->setValue(0);
    }
  }
}

// A timer control shows its timer, which the engine switches on and off without knowing the
// control.
bool Control::enabled() const {
  if (aliasOf_ != nullptr) {
    return aliasOf_->enabled();
  }
  return timer_ != nullptr ? timer_->enabled() : enabled_;
}

bool Control::asks() const {
  return aliasOf_ != nullptr ? aliasOf_->asks() : asks_ && asks_();
}

void Control::makeAliasOf(Control& other) {
  aliasOf_ = &other;
  other.aliases_.push_back(this);
  changed(Change::kEnabled);
}

void Control::setEnabled(bool enabled) {
  if (std::exchange(enabled_, enabled) == enabled) {
    return;
  }
  changed(Change::kEnabled);
  for (Control* alias : aliases_) {
    // An alias is enabled like its original but is drawn by a view of its own.
    alias->changed(Change::kEnabled);
  }
}

void Control::setVisible(bool visible) {
  if (std::exchange(visible_, visible) != visible) {
    changed(Change::kVisible);
  }
}

void Control::setForeColor(Colour colour) {
  if (std::exchange(foreColor_, colour) != colour) {
    changed(Change::kColours);
  }
}

void Control::setBackColor(Colour colour) {
  if (std::exchange(backColor_, colour) != colour) {
    changed(Change::kColours);
  }
}

void Control::setToolTip(std::string toolTip) {
  toolTip_ = std::move(toolTip);
  changed(Change::kToolTip);
}

const std::string& Control::tip() const {
  // A disabled control says why, which is the question of a user who points at it.
  return enabled() || whyDisabled_.empty() ? toolTip_ : whyDisabled_;
}

void Control::setPicture(std::string picture) {
  picture_ = std::move(picture);
  changed(Change::kPicture);
}

void Control::addItem(std::string entry) {
  list_.push_back(std::move(entry));
  changed(Change::kListEntryAdded);
}

void Control::clearList() {
  list_.clear();
  selection_.clear();
  changed(Change::kListCleared);
}

// Front ends may report positions of lines that were cleared meanwhile; these are dropped.
void Control::setSelection(std::set<std::size_t> positions) {
  positions.erase(positions.lower_bound(list_.size()), positions.end());
  selection_ = std::move(positions);
  changed(Change::kListSelection);
}

void Control::setHorizontalExtent(std::int32_t pixels) {
  horizontalExtent_ = pixels;
  changed(Change::kListExtent);
}

// A check box and an option button run their reaction through setValue(), so that clicks and
// assignments have the same effect.
void Control::click() {
  if (aliasOf_ != nullptr) {
    aliasOf_->click();
    return;
  }
  switch (kind_) {
    case ControlKind::kCheckBox:
      setValue(value_ == 0 ? 1 : 0);
      return;
    case ControlKind::kOptionButton:
      setValue(1);
      return;
    default:
      if (onClick_) {
        onClick_();
      }
  }
}

void Control::keyDown(int keyCode, int shift) {
  if (onKeyDown_) {
    onKeyDown_(keyCode, shift);
  }
}

TypedText Control::type(const TypedText& typed) {
  TypedText result = onTyping_ ? onTyping_(text_, typed) : typed;
  setText(result.text);
  return result;
}

bool Control::takesClicks() const {
  return kind_ == ControlKind::kCheckBox || isOption(kind_) || kind_ == ControlKind::kButton ||
         onClick_ != nullptr || aliasOf_ != nullptr;
}

// Access keys are marked by "&" in captions; "&&" stands for a "&".
std::string plainCaption(std::string_view caption) {
  std::string plain;
  for (std::size_t i = 0; i < caption.size(); ++i) {
    if (caption[i] == '&' && i + 1 < caption.size()) {
      ++i;
    }
    plain += caption[i];
  }
  return plain;
}

}  // namespace relaybird
