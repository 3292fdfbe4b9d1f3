// SPDX-License-Identifier: MIT
// The widgets of one form: makes them, and has them follow the form.
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

/// A window derives from it and says in formChanged what becomes of itself.
class FormView : public FormObserver {
 public:
  explicit FormView(Form& form);
  ~FormView() override;
  FormView(const FormView&) = delete;
  FormView& operator=(const FormView&) = delete;

  void controlChanged(const Control& control, Change what) override;

 protected:
  /// Makes the control's widget; the parent owns it.
  wxWindow* add(wxWindow* parent, Control& control, const ViewStyle& style = {});
  /// A frame under the title of a control of that kind; its parts stand one below or beside the
  /// other.
  static wxStaticBoxSizer* addFrame(wxOrientation direction, wxWindow* parent,
                                    const Control& control);
  /// Lets something other than a widget follow a control: a menu entry, the pages of a book.
  void follow(Control& control, std::unique_ptr<ControlView> view);
  /// Has the shortcuts of the form's controls work all over a window that has no menu bar for them,
  /// and F1 ask the form for help.
  void takeShortcuts(wxTopLevelWindow& window);
  /// What the user closes is the form; it says what becomes of the window.
  void leaveClosingToForm(wxTopLevelWindow& window);
  /// Shows everything again, after a change of the theme.
  void showAll();

 private:
  void joinLabels(const Control& control, ControlView& view, const ViewStyle& style);
  bool shortcut(wxTopLevelWindow& window, const wxKeyEvent& event);

  Form& form_;
  std::map<const Control*, std::unique_ptr<ControlView>> views_;
  /// Views that have another control's text for a name, and for a description.
  std::multimap<const Control*, ControlView*> named_;
  std::multimap<const Control*, ControlView*> described_;
};

/// The tabs of a book that a window has filled with pages.
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
