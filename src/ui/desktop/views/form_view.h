// SPDX-License-Identifier: MIT
// The widgets of one form: creates them and updates them when the form changes.
#pragma once

#include <wx/notebook.h>
#include <wx/sizer.h>
#include <wx/toplevel.h>
#include <wx/window.h>

#include <map>
#include <memory>

#include "ui/desktop/views/control_view.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {

/// A window derives from this class and implements formChanged() for changes of the form itself.
/// The form must outlive it.
class FormView : public FormObserver {
 public:
  explicit FormView(Form& form);
  ~FormView() override;
  FormView(const FormView&) = delete;
  FormView& operator=(const FormView&) = delete;

  void controlChanged(const Control& control, Change what) override;

 protected:
  /// Creates the control's widget; the parent owns it.
  wxWindow* add(wxWindow* parent, Control& control, const ViewStyle& style = {});
  /// A frame with the text of a frame control as its title. Its parts are laid out in `direction`.
  static wxStaticBoxSizer* addFrame(wxOrientation direction, wxWindow* parent,
                                    const Control& control);
  /// Adds the view of something other than a widget: a menu entry, or the pages of a notebook.
  void follow(Control& control, std::unique_ptr<ControlView> view);
  /// Handles the shortcuts of the form's controls, and F1 for help, in the whole window. For
  /// windows without a menu bar.
  void takeShortcuts(wxTopLevelWindow& window);
  /// When the user closes the window, closes the form instead; the form decides whether the window
  /// goes.
  void leaveClosingToForm(wxTopLevelWindow& window);
  /// Updates all widgets, after a change of the theme.
  void showAll();

 private:
  void joinLabels(const Control& control, ControlView& view, const ViewStyle& style);
  bool shortcut(wxTopLevelWindow& window, const wxKeyEvent& event);

  Form& form_;
  std::map<const Control*, std::unique_ptr<ControlView>> views_;
  /// By control: the views whose accessible name, or description, is that control's text.
  std::multimap<const Control*, ControlView*> named_;
  std::multimap<const Control*, ControlView*> described_;
};

/// Connects the tabs of a notebook, whose pages the window has added, to their control.
class TabsView : public ControlView {
 public:
  TabsView(wxNotebook& book, Control& control);

  wxWindow* window() const override { return &book_; }
  void update(Change what) override;

 private:
  wxNotebook& book_;
  Control& control_;
};

}  // namespace relaybird::desktop
