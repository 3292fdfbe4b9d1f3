// SPDX-License-Identifier: MIT
// The windows' program: start-up with the hand-over to a running instance, the actions of the
// desktop entry, and an orderly end. Forms and windows are made in OnInit, but started from the
// main loop, so that boxes at the start find a running loop.
#include "app/desktop_application.h"

#include <wx/evtloop.h>
#include <wx/toplevel.h>
#include <wx/utils.h>

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "app/program_start.h"
#include "ui/desktop/native/tray_icon.h"
#include "ui/desktop/widgets/text.h"
#include "ui/desktop/windows/kept_place.h"

namespace relaybird {
namespace {

// Whether one of our windows has the keyboard focus. Asks the windows, because wxApp::IsActive() is
// updated only when the loop is idle, which is too late during a pass.
bool looksOn() {
  return std::any_of(wxTopLevelWindows.begin(), wxTopLevelWindows.end(), [](wxWindow* window) {
    auto* top = dynamic_cast<wxTopLevelWindow*>(window);
    return top != nullptr && top->IsActive();
  });
}

// The actions of the desktop entry, and the menu items that they run.
struct Action {
  const char* name;
  Control MainControls::*control;
};
constexpr Action kActions[] = {{"view-log", &MainControls::mnuViewLog},
                               {"test", &MainControls::mnuTest},
                               {"settings", &MainControls::mnuPreferences}};

std::vector<std::string> actionNames() {
  std::vector<std::string> names;
  for (const Action& action : kActions) {
    names.emplace_back(action.name);
  }
  return names;
}

// `name` is one of kActions.
Control& controlOf(const std::string& name, MainControls& window) {
  const auto* found = std::find_if(std::begin(kActions), std::end(kActions),
                                   [&](const Action& action) { return name == action.name; });
  return window.*found->control;
}

}  // namespace

DesktopApplication::DesktopApplication(ProgramIdentity identity, ProgramPlatform platform)
    : identity_(std::move(identity)), streams_(platform.streams), platform_(std::move(platform)) {
  desktop::takeApplicationName();
}

DesktopApplication::~DesktopApplication() = default;

bool DesktopApplication::OnInit() {
  SetAppName("relaybird");
  SetAppDisplayName("Relaybird");
  loop_ = std::make_unique<desktop::WxLoop>();
  core_ = std::make_unique<ProgramCore>(
      std::move(platform_), identity_, *loop_,
      [this](const StoreNotice& notice) {
        if (forms_) {
          forms_->handleNotice(notice);
        }
      },
      [this] { return keepAlive(); });
  prepare();
  if (refusal_) {
    // Reported in OnRun: if OnInit fails, the program cannot choose its exit status.
    return true;
  }
  makeForms();
  return true;
}

// As in a pause of a check, clicks that may open a box are deferred.
bool DesktopApplication::keepAlive() {
  pause_.runPendingEvents();
  return !forms_ || !forms_->main().engine().state().stopWanted();
}

// The instance holding the mailbox may be exiting or starting, so the second try waits a moment.
void DesktopApplication::prepare() {
  for (const auto wait : {InstanceLock::Wait::kNone, InstanceLock::Wait::kMoment}) {
    refusal_ = core_->prepare(wait, ProgramCore::WrongSettings::kStartWithoutMailbox);
    if (!refusal_ || !refusal_->mailboxTaken) {
      return;
    }
    const desktop::Raised raised = desktop::raiseRunningProgram(refusal_->holder);
    handedOver_ = raised == desktop::Raised::kDone;
    if (raised == desktop::Raised::kBusy) {
      refusal_->text += "\r\n\r\nIt does not answer just now.";
    }
    if (raised != desktop::Raised::kNobody) {
      return;
    }
  }
}

// The sleeper is the windows' own: it runs events, so that they stay alive during a check's pause.
ProgramWorld DesktopApplication::world(TrayPlatform& tray) {
  return {.objects = core_->objects(),
          .outgoing = core_->outgoing(),
          .files = core_->files,
          .profiles = core_->profiles,
          .folders = *core_->platform.folders,
          .osVersion = *core_->platform.osVersion,
          .clock = *core_->platform.clock,
          .sleeper = pause_,
          .timers = *loop_,
          .events = *loop_,
          .trace = core_->trace,
          .dialogs = dialogs_,
          .screen = screen_,
          .clipboard = clipboard_,
          .helpViewer = help_,
          .folderViewer = *core_->platform.folderViewer,
          .systemInformation = *core_->platform.systemInformation,
          .tray = tray,
          .notifications = *session_,
          .autostart = *autostart_,
          .setup = core_->setup(),
          .version = identity_.version,
          .defaultHelpFile = defaultHelpFile(core_->files, core_->platform.programFolder),
          .decimalSeparator = core_->platform.decimalSeparator,
          .verbose = core_->verbose};
}

// The order is that of use: the forms refer to everything that is made before them, and the windows
// to the forms. Listeners that may be called early look for `forms_` first.
void DesktopApplication::makeForms() {
  auto tray = std::make_unique<desktop::TrayIcon>(core_->files, *loop_, core_->stateFile("icons"));
  autostart_ =
      core_->platform.makeAutostart(joinPath(core_->platform.programFolder, identity_.name));
  session_ = std::make_unique<desktop::SessionApplication>(
      desktop::SessionApplication::Listener{[this] { raise(); }, looksOn,
                                            [this](const std::string& action) { act(action); }},
      actionNames());
  forms_ = std::make_unique<ProgramForms>(world(*tray));
  tray->setMenu(forms_->main().RcPopup);
  places_ = std::make_unique<WindowPlaces>(core_->profiles, core_->stateFile("windows.ini"));
  windows_ = std::make_unique<desktop::DesktopWindows>(*forms_, *places_);
  help_.onMade([this](wxTopLevelWindow& window) {
    desktop::restorePlace(window, *places_);
    desktop::followPlace(window, *places_);
  });
  windows_->main().onRunning([icon = tray.get()](bool running) { icon->setRunning(running); });
  windows_->main().onFailure(
      [icon = tray.get()](const std::string& words) { icon->setWarning(words); });
  tray_ = std::move(tray);
  SetTopWindow(&windows_->main());
  sessionEnd_ = std::make_unique<desktop::SessionEnd>([this] {
    if (forms_) {
      forms_->shutDown();
    }
  });
}

// Shows the main window in front, also from the task bar and the notification area.
void DesktopApplication::raise() {
  if (!forms_ || ending()) {
    return;
  }
  if (forms_->main().visible()) {
    windows_->bringToFront();
  } else {
    forms_->main().restore();
  }
}

// Runs what the user picks from the program's menu on the desktop. While a box is open the window's
// menu cannot be used, so these actions are refused too.
void DesktopApplication::act(const std::string& action) {
  if (!started_) {
    asked_.push_back(action);
    return;
  }
  raise();
  if (ending()) {
    return;
  }
  if (wxEventLoopBase::GetActive() == GetMainLoop()) {
    windows_->main().pick(controlOf(action, forms_->main()));
  } else {
    wxBell();
  }
}

void DesktopApplication::complain(const std::string& words) const {
  streams_.err(identity_.name + ": " + words + "\n");
}

// A program that has raised the running one ends well, without a word.
int DesktopApplication::OnRun() {
  if (handedOver_) {
    return 0;
  }
  if (refusal_) {
    complain(desktop::fromWx(desktop::linesToWx(refusal_->text)));
    dialogs_.messageBox(
        {refusal_->text, std::string(kProgramTitle), BoxButtons::kOk, BoxIcon::kExclamation});
    return refusal_->status;
  }
  loop_->post([this] { start(); });
  const int run = wxApp::OnRun();
  return status_ != 0 ? status_ : run;
}

// A program that could not show its window must not keep running unseen and hold the mailbox.
void DesktopApplication::start() {
  bool started = false;
  try {
    started = forms_->start();
  } catch (...) {
    OnExceptionInMainLoop();
  }
  if (!started) {
    status_ = kCannotStart;
    desktop::endMainLoop();
    return;
  }
  started_ = true;
  for (const std::string& action : std::exchange(asked_, {})) {
    act(action);
  }
}

// May be called inside any event. A running pass ends after the current item, an open box with the
// answer that changes nothing.
void DesktopApplication::endProgram() {
  if (session_) {
    session_->giveUp();
  }
  dialogs_.closeAll();
  CallAfter([] { desktop::endMainLoop(); });
}

int DesktopApplication::OnExit() {
  // Not earlier: the help window may have had a dialog open.
  help_.close();
  if (places_) {
    places_->write();
  }
  if (windows_) {
    windows_->destroy();
    windows_.reset();
  }
  forms_.reset();
  if (core_) {
    core_->closeStore();
  }
  session_.reset();
  // Tells the desktop, which waits for it, that the program has ended.
  sessionEnd_.reset();
  return wxApp::OnExit();
}

bool DesktopApplication::OnExceptionInMainLoop() {
  std::string what = "unknown";
  try {
    throw;
  } catch (const std::exception& error) {
    what = error.what();
  } catch (...) {
    what = "an exception of an unknown kind";
  }
  complain("unexpected: " + what);
  try {
    if (forms_) {
      forms_->unexpected(what);
    }
  } catch (const std::exception& error) {
    complain(std::string("unexpected: ") + error.what());
  } catch (...) {
    complain("unexpected: an exception of an unknown kind");
  }
  return true;
}

// Failed assertions of the toolkit are written to standard error: a box would stop forwarding.
void DesktopApplication::OnAssertFailure(const wxChar* file, int line, const wxChar* function,
                                         const wxChar* condition, const wxChar* message) {
  const wxString what = wxString::Format("%s:%d: %s: %s %s", file, line, function, condition,
                                         message == nullptr ? wxT("") : message);
  complain("assertion failed: " + desktop::fromWx(what));
}

}  // namespace relaybird
