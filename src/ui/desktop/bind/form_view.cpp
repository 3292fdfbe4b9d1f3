// SPDX-License-Identifier: MIT
#include "ui/desktop/bind/form_view.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {

FormView::FormView(Form& form) : form_(form) {
  form_.setObserver(this);
}

FormView::~FormView() {
  form_.setObserver(nullptr);
  // The widgets live on a little longer, and lose the focus on their way out.
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

/// Whichever of the two is made first, the label or what it names.
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

void FormView::leaveClosingToForm(wxTopLevelWindow& window) {
  window.Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent& event) {
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

}  // namespace relaybird::desktop
