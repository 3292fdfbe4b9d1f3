// SPDX-License-Identifier: MIT
// Connects one form to its widgets.
//
// The form reports changes of its controls (FormObserver), and this class passes each one to the
// view of the control, and to the views whose accessible name or description is the control's text.
// Keyboard shortcuts are matched here for windows without a menu bar; closing a window is left to
// the form.
#include "ui/desktop/views/form_view.h"

#include <wx/accel.h>
#include <wx/textctrl.h>
#include <wx/utils.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {

namespace {

// Ctrl+C in a text field copies the field's selection and is no shortcut of the form.
bool belongsToField(const wxKeyEvent& event) {
  return event.GetModifiers() == wxMOD_CONTROL && event.GetKeyCode() == 'C' &&
         dynamic_cast<wxTextCtrl*>(wxWindow::FindFocus()) != nullptr;
}

bool isPressed(const std::string& keys, const wxKeyEvent& event) {
  wxAcceleratorEntry entry;
  return entry.FromString("\t" + toWx(keys)) && entry.GetKeyCode() == event.GetKeyCode() &&
         entry.GetFlags() == event.GetModifiers() && !belongsToField(event);
}

}  // namespace

FormView::FormView(Form& form) : form_(form) {
  form_.setObserver(this);
}

FormView::~FormView() {
  form_.setObserver(nullptr);
  // The widgets are destroyed later than this, and raise focus events until then. The handlers
  // refer to the views, so they are switched off.
  for (const auto& [control, view] : views_) {
    if (wxWindow* window = view->window()) {
      window->SetEvtHandlerEnabled(false);
    }
  }
}

void FormView::controlChanged(const Control& control, Change what) {
  const auto found = views_.find(&control);
  if (found != views_.end()) {
    found->second->update(what);
  }
  // The text of this control is the name or the description of others.
  if (what == Change::kText) {
    for (const auto* told : {&named_, &described_}) {
      const auto [first, last] = told->equal_range(&control);
      std::for_each(first, last, [](const auto& each) { each.second->update(Change::kToolTip); });
    }
  }
}

wxWindow* FormView::add(wxWindow* parent, Control& control, const ViewStyle& style) {
  auto view = makeControlView(parent, control, style);
  if (!view) {
    throw std::logic_error(control.name() + " has no widget of its own");
  }
  wxWindow* window = view->window();
  joinLabels(control, *view, style);
  follow(control, std::move(view));
  return window;
}

// Works whether the label or the named control is created first.
void FormView::joinLabels(const Control& control, ControlView& view, const ViewStyle& style) {
  if (style.namedBy != nullptr) {
    named_.emplace(style.namedBy, &view);
    if (const auto label = views_.find(style.namedBy); label != views_.end()) {
      setLabelFor(*label->second->window(), view.window());
    }
  }
  if (style.describedBy != nullptr) {
    described_.emplace(style.describedBy, &view);
  }
  const auto [first, last] = named_.equal_range(&control);
  std::for_each(first, last, [&view](const auto& named) {
    setLabelFor(*view.window(), named.second->window());
  });
}

wxStaticBoxSizer* FormView::addFrame(wxOrientation direction, wxWindow* parent,
                                     const Control& control) {
  auto* frame = new wxStaticBoxSizer(direction, parent, toWx(control.text()));
  indentTitle(*frame->GetStaticBox(), scaled(*parent, kMargin));
  return frame;
}

void FormView::follow(Control& control, std::unique_ptr<ControlView> view) {
  view->updateAll();
  views_[&control] = std::move(view);
}

void FormView::takeShortcuts(wxTopLevelWindow& window) {
  window.Bind(wxEVT_CHAR_HOOK, [this, &window](wxKeyEvent& event) {
    if (!shortcut(window, event)) {
      event.Skip();
    }
  });
}

bool FormView::shortcut(wxTopLevelWindow& window, const wxKeyEvent& event) {
  if (event.GetKeyCode() == WXK_F1 && !event.HasAnyModifiers()) {
    // If the help file is missing, a box asks the user for it.
    inputLater(
        window, [this, &window] { doByUser(window, true, [this] { form_.help(); }); },
        [] { wxBell(); });
    return true;
  }
  const auto& all = form_.controls();
  const auto found = std::find_if(all.begin(), all.end(), [&](const Control* each) {
    return !each->shortcut().empty() && isPressed(each->shortcut(), event);
  });
  if (found != all.end()) {
    clickLater(window, **found);
  }
  return found != all.end();
}

void FormView::leaveClosingToForm(wxTopLevelWindow& window) {
  window.Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent& event) {
    // The form decides whether its window closes, hides or asks.
    if (event.CanVeto()) {
      event.Veto();
    }
    form_.closeBox();
  });
}

void FormView::showAll() {
  for (const auto& [control, view] : views_) {
    view->updateAll();
  }
}

TabsView::TabsView(wxNotebook& book, Control& control) : book_(book), control_(control) {
  book_.Bind(wxEVT_NOTEBOOK_PAGE_CHANGED, [this](wxBookCtrlEvent& event) {
    event.Skip();
    control_.setValue(event.GetSelection());
  });
}

void TabsView::update(Change what) {
  const int tab = control_.value();
  if (what == Change::kValue && tab >= 0 && tab < static_cast<int>(book_.GetPageCount())) {
    // ChangeSelection() raises no event, so the form is not told of its own change.
    book_.ChangeSelection(static_cast<std::size_t>(tab));
  }
}

}  // namespace relaybird::desktop
