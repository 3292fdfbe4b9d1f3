// SPDX-License-Identifier: MIT
// A window as data: its caption, its controls in the order in which it declares them, and whether
// it is shown. A form is enumerable, so that a front end, a script and a test can find every
// control by its name.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ui/forms/model/control.h"

namespace relaybird {

enum class FormChange { kCaption, kShown, kHidden, kMinimised, kUnloaded };

/// A front end's window on a form. Called on the user-interface thread, after the change.
class FormObserver {
 public:
  virtual ~FormObserver() = default;
  virtual void controlChanged(const Control& control, Change what) = 0;
  virtual void formChanged(const Form& form, FormChange what) = 0;
};

class Form {
 public:
  Form(std::string name, std::string caption);
  virtual ~Form() = default;
  Form(const Form&) = delete;
  Form& operator=(const Form&) = delete;

  const std::string& name() const { return name_; }
  const std::string& caption() const { return caption_; }
  void setCaption(std::string caption);

  /// Every control, in the order of declaration.
  const std::vector<Control*>& controls() const { return controls_; }
  /// The control of that name, letter case aside; null where there is none.
  Control* find(std::string_view name) const;

  bool visible() const { return visible_; }
  void show();
  /// Shows it over its owner, which takes no input until this form is hidden. Returns at once.
  void showModal(Form& owner);
  void hide();
  void minimise();
  /// The form that is shown modally over this one; null where there is none.
  const Form* modal() const { return modal_; }

  /// The button that Enter presses; null for none.
  Control* defaultButton() const { return defaultButton_; }

  /// The user closes the window by its frame.
  virtual void closeBox() { hide(); }

  /// The user asks for help in this window: hands its topic to whoever shows the manual.
  void help() const {
    if (onHelp_) {
      onHelp_(helpTopic());
    }
  }
  void onHelp(std::function<void(const std::string& topic)> reaction) {
    onHelp_ = std::move(reaction);
  }

  /// In place of any earlier one; null for nobody. Must outlive the form or be taken away.
  void setObserver(FormObserver* observer) { observer_ = observer; }
  FormObserver* observer() const { return observer_; }

 protected:
  /// The page of the manual about what the window shows now, as its file is called without ".html";
  /// empty for the first page.
  virtual std::string helpTopic() const { return {}; }
  void tell(FormChange what);
  void setDefaultButton(Control& button) { defaultButton_ = &button; }

 private:
  friend class Control;
  void add(Control& control) { controls_.push_back(&control); }

  const std::string name_;
  std::string caption_;
  std::vector<Control*> controls_;
  bool visible_ = false;
  Control* defaultButton_ = nullptr;
  Form* owner_ = nullptr;
  const Form* modal_ = nullptr;
  FormObserver* observer_ = nullptr;
  std::function<void(const std::string& topic)> onHelp_;
};

/// Why the user cannot work with a control now, as a sentence without its full stop; empty when he
/// can.
std::string whyNoInput(const Control& control);

}  // namespace relaybird
