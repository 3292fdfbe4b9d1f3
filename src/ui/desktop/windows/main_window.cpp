// SPDX-License-Identifier: MIT
// The main window: the commands, the status of forwarding, and the diagnostics.
//
// The window is laid out once. Notes that appear later (a failed check, the outbox) may need more
// room than the user's size of the window has; makeRoom() then grows it. The gauge shows the
// progress that the form computes.
#include "ui/desktop/windows/main_window.h"

#include <wx/panel.h>

#include <algorithm>
#include <utility>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/views/menu_view.h"
#include "ui/desktop/views/widget_view.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/windows/kept_place.h"

namespace relaybird::desktop {
namespace {

constexpr int kPulse = 250;  // milliseconds
// About as wide as the window's narrowest size.
constexpr int kMailboxCharacters = 76;
constexpr int kCountCharacters = 12;
// Enough for the long date and time formats among the world's locales.
constexpr int kDateCharacters = 22;

}  // namespace

MainWindow::MainWindow(frmRelaybird& form, WindowPlaces& places)
    : wxFrame(nullptr, wxID_ANY, toWx(form.caption())),
      FormView(form),
      frm_(form),
      places_(places) {
  SetName("frmRelaybird");
  SetIcons(programIcons());
  SetMenuBar(menuBar());
  auto* panel = panel_ = new wxPanel(this);
  auto* mailbox = new wxBoxSizer(wxHORIZONTAL);
  mailbox->Add(add(panel, form.lblMailbox, {.widthInCharacters = kMailboxCharacters}),
               wxSizerFlags(1).CentreVertical());
  mailbox->Add(add(panel, form.cmdSetUpMail),
               wxSizerFlags().CentreVertical().Border(wxLEFT, scaled(*this, kMargin)));
  auto* top = new wxBoxSizer(wxHORIZONTAL);
  top->Add(commands(panel), wxSizerFlags().CentreVertical());
  top->AddStretchSpacer();
  top->Add(pictures(panel), wxSizerFlags().CentreVertical());

  // Created in reading order, because the Tab key follows the order of creation.
  wxSizer* middle = status(panel);
  auto* bottom = new wxBoxSizer(wxHORIZONTAL);
  bottom->Add(diagnostics(panel), wxSizerFlags(1).Expand());
  bottom->Add(add(panel, form.cmdClose),
              wxSizerFlags().Bottom().Border(wxLEFT, scaled(*this, kMargin)));

  auto* all = new wxBoxSizer(wxVERTICAL);
  const wxSizerFlags part =
      wxSizerFlags().Expand().Border(wxLEFT | wxRIGHT | wxTOP, scaled(*this, kMargin));
  all->Add(mailbox, part);
  all->Add(top, part);
  all->Add(middle, wxSizerFlags(part).Proportion(1));
  all->Add(bottom, part);
  all->AddSpacer(scaled(*this, kMargin));
  panel->SetSizer(all);
  all->SetSizeHints(this);
  leaveClosingToForm(*this);
  // The form's own colours are mixed with those of the theme, so they are computed again.
  Bind(wxEVT_SYS_COLOUR_CHANGED, [this](wxSysColourChangedEvent& event) {
    event.Skip();
    showAll();
  });
  Bind(wxEVT_ACTIVATE, [this](wxActivateEvent& event) {
    event.Skip();
    // Later, because the toolkit restores the focus while it handles this event.
    later(*this, [this] { keepFocus(); });
  });
  pulse_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { showProgress(); });
  showProgress();
  restorePlace(*this, places_);
  followPlace(*this, places_);
}

wxMenuBar* MainWindow::menuBar() {
  auto* bar = new wxMenuBar;
  for (Control* control : frm_.controls()) {
    if (control->kind() == ControlKind::kMenu && control->parent() == nullptr &&
        control->visible()) {
      bar->Append(menu(*control), toWx(control->text()));
    }
  }
  return bar;
}

wxMenu* MainWindow::menu(Control& top) {
  auto* entries = new wxMenu;
  for (Control* control : frm_.controls()) {
    if (control->parent() == &top && control->visible()) {
      // Separators set a check box apart from the commands.
      const bool apart = control->kind() == ControlKind::kCheckBox;
      if (apart) {
        entries->AppendSeparator();
      }
      follow(*control, std::make_unique<MenuView>(*this, *entries, *control));
      if (apart) {
        entries->AppendSeparator();
      }
    }
  }
  return entries;
}

wxSizer* MainWindow::commands(wxWindow* parent) {
  const auto button = [&](Control& control, std::string word) {
    return add(parent, control, {.caption = std::move(word)});
  };
  start_ = button(frm_.cmdStart, frm_.mnuStart.text());
  stop_ = button(frm_.cmdStop, frm_.mnuStop.text());
  return row(*this, {start_, stop_, button(frm_.cmdPrefs, "Settin&gs..."),
                     button(frm_.cmdToSysTray, "System Tra&y")});
}

wxSizer* MainWindow::pictures(wxWindow* parent) {
  return row(*this, {add(parent, frm_.picTextToEmail, {.name = "Standard format"}),
                     add(parent, frm_.picDestPc, {.name = "To a mailbox"}),
                     add(parent, frm_.picTextFwdToCell, {.name = "Cell phone format"}),
                     add(parent, frm_.picDestCellPhone, {.name = "To a cell phone"})});
}

wxSizer* MainWindow::status(wxWindow* parent) {
  auto* frame = addFrame(wxVERTICAL, parent, frm_.frmStatus);
  wxWindow* box = frame->GetStaticBox();
  setLabelFor(*box, box);  // Why: otherwise the title would name the first field in the frame
  auto* grid = fieldGrid(*this, 4);
  const auto pair = [&](Control& label, Control& field, int characters) {
    grid->Add(add(box, label), wxSizerFlags().CentreVertical());
    grid->Add(add(box, field, {.widthInCharacters = characters, .namedBy = &label}),
              wxSizerFlags().Expand().CentreVertical());
  };
  pair(frm_.lblAutomationStatus, frm_.txtStatus, kCountCharacters);
  pair(frm_.Label1, frm_.txtRunningSince, kDateCharacters);
  pair(frm_.lblNumberForwarded, frm_.txtNumberForwarded, kCountCharacters);
  pair(frm_.lblNextForward, frm_.txtMinToNextFwd, kCountCharacters);
  const wxSizerFlags part = wxSizerFlags().Expand().Border(wxALL, scaled(*this, kGap));
  frame->Add(grid, part);
  frame->Add(add(box, frm_.lblStatusFwdTo),
             wxSizerFlags(part).Border(wxLEFT | wxRIGHT | wxTOP, scaled(*this, kGap)));
  frame->Add(add(box, frm_.txtStatusFwdTo, {.multiline = true, .namedBy = &frm_.lblStatusFwdTo}),
             wxSizerFlags(part).Proportion(1));
  frame->Add(add(box, frm_.lblCurrentActions, {.emphasised = true}), part);
  frame->Add(add(box, frm_.lblOutbox), part);
  frame->Add(add(box, frm_.lblCheckFailure, {.emphasised = true}), part);
  gauge_ = new wxGauge(box, wxID_ANY, 1, wxDefaultPosition, wxDefaultSize,
                       wxGA_HORIZONTAL | wxGA_SMOOTH);
  setAccessibleName(*gauge_, "Progress");
  frame->Add(gauge_, wxSizerFlags(part).ReserveSpaceEvenIfHidden());
  return frame;
}

wxSizer* MainWindow::diagnostics(wxWindow* parent) {
  auto* frame = addFrame(wxHORIZONTAL, parent, frm_.fraDiagnostics);
  wxWindow* box = frame->GetStaticBox();
  setLabelFor(*box, box);
  frame->Add(row(*this, {add(box, frm_.cmdForwardNow), add(box, frm_.cmdViewLog)}),
             wxSizerFlags().Border(wxALL, scaled(*this, kGap)));
  return frame;
}

void MainWindow::controlChanged(const Control& control, Change what) {
  FormView::controlChanged(control, what);
  if (&control == &frm_.lblCurrentActions) {
    showProgress();
  } else if (&control == &frm_.cmdStop && onRunning_) {
    onRunning_(control.enabled());
  } else if (&control == &frm_.lblCheckFailure) {
    reportFailure();
  }
  const bool note = &control == &frm_.lblCheckFailure || &control == &frm_.lblOutbox ||
                    &control == &frm_.lblMailbox || &control == &frm_.cmdSetUpMail;
  if (note && (what == Change::kVisible || what == Change::kText)) {
    makeRoom();
  }
  if (what == Change::kEnabled) {
    later(*this, [this] { keepFocus(); });
  }
}

// Why: when a button is pressed by the keyboard and then disabled, GTK leaves the window without a
// focused control.
void MainWindow::keepFocus() {
  if (IsActive() && FindFocus() == nullptr) {
    (stop_->IsEnabled() ? stop_ : start_)->SetFocus();
  }
}

void MainWindow::onRunning(std::function<void(bool)> listener) {
  onRunning_ = std::move(listener);
  onRunning_(frm_.cmdStop.enabled());
}

void MainWindow::onFailure(std::function<void(const std::string&)> listener) {
  onFailure_ = std::move(listener);
  reportFailure();
}

void MainWindow::reportFailure() {
  if (onFailure_) {
    const Control& label = frm_.lblCheckFailure;
    onFailure_(label.visible() ? label.text() : std::string());
  }
}

// Grows the window if its content no longer fits, so that nothing is cut off.
void MainWindow::makeRoom() {
  // In client sizes, because the height of the menu bar is known only after the window is shown.
  const wxSize least = panel_->GetSizer()->ComputeFittingClientSize(this);
  wxSize size = GetClientSize();
  size.IncTo(least);
  SetMinClientSize(least);
  SetClientSize(size);
  panel_->Layout();
}

// Called at every change of the status line, which each step of long work writes, and by a timer.
void MainWindow::showProgress() {
  const Progress progress = frm_.progress();
  if (progress.kind == Progress::Kind::kNone) {
    pulse_.Stop();
  } else if (!pulse_.IsRunning()) {
    pulse_.Start(kPulse);
  }
  gauge_->Show(progress.kind != Progress::Kind::kNone);
  switch (progress.kind) {
    case Progress::Kind::kSteps:
      gauge_->SetRange(std::max(progress.total, 1));
      gauge_->SetValue(std::min(progress.done, progress.total));
      break;
    case Progress::Kind::kUnknown:
      // Moves the bar by one step; the timer keeps it moving.
      gauge_->Pulse();
      break;
    case Progress::Kind::kNone:
      gauge_->SetRange(1);
      gauge_->SetValue(0);
      break;
  }
}

void MainWindow::formChanged(const Form& form, FormChange what) {
  switch (what) {
    case FormChange::kCaption:
      SetTitle(toWx(form.caption()));
      break;
    case FormChange::kShown:
      raise();
      break;
    case FormChange::kHidden:
    case FormChange::kUnloaded:
      Hide();
      break;
    case FormChange::kMinimised:
      Iconize();
      break;
  }
}

void MainWindow::pick(Control& entry) {
  clickLater(*this, entry);
}

void MainWindow::raise() {
  Show();
  Iconize(false);
  Raise();
}

}  // namespace relaybird::desktop
