// SPDX-License-Identifier: MIT
// A window as data: its caption, its controls in the order of declaration, and whether it is shown.
// Front ends, scripts and tests find every control by its name.
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

/// Implemented by front ends, to follow a form. Called on the user-interface thread, after each
/// change.
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
  /// Finds a control by name, ignoring letter case; null if there is none.
  Control* find(std::string_view name) const;

  bool visible() const { return visible_; }
  void show();
  /// Shows it in front of its owner, which accepts no input until this form is hidden. Returns at
  /// once.
  void showModal(Form& owner);
  void hide();
  void minimise();
  /// The modal form in front of this one; null if there is none.
  const Form* modal() const { return modal_; }

  /// The button that Enter presses; null for none.
  Control* defaultButton() const { return defaultButton_; }

  /// The user closes the window with its close box.
  virtual void closeBox() { hide(); }

  /// The user asks for help in this window: passes helpTopic() to the reaction.
  void help() const {
    if (onHelp_) {
      onHelp_(helpTopic());
    }
  }
  void onHelp(std::function<void(const std::string& topic)> reaction) {
    onHelp_ = std::move(reaction);
  }

  /// Replaces any earlier observer; null for none. It must outlive the form or be removed.
  void setObserver(FormObserver* observer) { observer_ = observer; }
  FormObserver* observer() const { return observer_; }

 protected:
  /// The manual's page about the current contents: its file name without ".html", empty for the
  /// first page.
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

/// Why a control accepts no input now, as a sentence without its full stop; empty if it does.
std::string whyNoInput(const Control& control);

}  // namespace relaybird
