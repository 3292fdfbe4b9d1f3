// SPDX-License-Identifier: MIT
// A dialog with a notebook and a row of buttons below it: the settings and the set-up.
#pragma once

#include <wx/dialog.h>
#include <wx/notebook.h>
#include <wx/panel.h>

#include <initializer_list>

#include "ui/desktop/views/form_view.h"
#include "ui/desktop/windows/main_window.h"

namespace relaybird::desktop {

/// A page of the notebook. Its parts are placed one below the other.
class Page : public wxPanel {
 public:
  explicit Page(wxWindow* book);

  void heading(wxWindow* label);
  void part(wxWindow* window, int proportion = 0);
  void part(wxSizer* sizer, int proportion = 0);
  /// Not expanded to the width of the page.
  void narrow(wxWindow* window);

 private:
  wxBoxSizer* parts_;
};

/// Modal over its owner.
class TabbedDialog : public wxDialog, public FormView {
 public:
  void controlChanged(const Control& control, Change what) override;
  void formChanged(const Form& form, FormChange what) override;

 protected:
  /// The form and the owner must outlive the window. `name` is that of the window's place.
  TabbedDialog(MainWindow& owner, Form& form, Control& tabs);

  wxNotebook* book() { return book_; }
  /// Lays everything out: called once, at the end of the constructor.
  void finish(std::initializer_list<wxWindow*> pages, wxSizer* buttons);

 private:
  void turnPage(bool forward);
  void makeRoom();

  MainWindow& owner_;
  Control& tabs_;
  wxNotebook* book_;
  bool makesRoom_ = false;  ///< makeRoom() is posted
};

}  // namespace relaybird::desktop
