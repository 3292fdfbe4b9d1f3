// SPDX-License-Identifier: MIT
#include "app/desktop_application.h"

#include <wx/image.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <utility>

#include "app/program_files.h"
#include "platform/posix/program_starter.h"
#include "ui/desktop/gtk/indicator_tray.h"
#include "ui/forms/about/listed_system_information.h"

namespace relaybird {

DesktopApplication::DesktopApplication(ProgramIdentity identity) : identity_(std::move(identity)) {}

DesktopApplication::~DesktopApplication() = default;

bool DesktopApplication::OnInit() {
  SetAppName("relaybird");
  SetAppDisplayName("Relaybird");
  wxImage::AddHandler(new wxPNGHandler);
  loop_ = std::make_unique<desktop::WxLoop>();
  core_ = std::make_unique<ProgramCore>(identity_, *loop_, [this](const std::string& line) {
    if (forms_) {
      forms_->log().AddToLog(line);
    }
  });
  refusal_ = core_->prepare();
  if (refusal_) {
    // Told in OnRun: the exit status of a program whose start fails here would not be ours.
    return true;
  }
  for (const int signal : {SIGTERM, SIGINT}) {
    SetSignalHandler(signal,
                     [](int) { static_cast<DesktopApplication*>(wxTheApp)->forms_->shutDown(); });
  }
  makeForms();
  return true;
}

void DesktopApplication::makeForms() {
  auto tray = std::make_unique<desktop::IndicatorTray>(core_->stateFile("icons"));
  systemInformation_ = std::make_unique<ListedSystemInformation>(freeDesktopInformationTools(),
                                                                 core_->files, startProgram);
  forms_ = std::make_unique<ProgramForms>(
      ProgramWorld{core_->store().factory(), core_->files, core_->profiles, core_->folders,
                   core_->osVersion, core_->clock, core_->sleeper, *loop_, *loop_, core_->trace,
                   dialogs_, screen_, clipboard_, help_, *systemInformation_, *tray,
                   identity_.version, defaultHelpFile(core_->files, programFolder())});
  tray->setMenu(forms_->main().RcPopup);
  windows_ = std::make_unique<desktop::DesktopWindows>(*forms_);
  windows_->main().onRunning([icon = tray.get()](bool running) { icon->setRunning(running); });
  tray_ = std::move(tray);
  SetTopWindow(&windows_->main());
}

int DesktopApplication::OnRun() {
  if (refusal_) {
    std::cerr << identity_.name << ": " << refusal_->text << '\n';
    dialogs_.messageBox(
        {refusal_->text, std::string(kProgramTitle), BoxButtons::kOk, BoxIcon::kExclamation});
    return refusal_->status;
  }
  CallAfter([this] {
    if (!forms_->start()) {
      status_ = kCannotStart;
      ExitMainLoop();
    }
  });
  const int run = wxApp::OnRun();
  return status_ != 0 ? status_ : run;
}

/// Within any event. A pass that is on the stack ends after the item in hand, a box with the answer
/// that changes nothing.
void DesktopApplication::endProgram() {
  dialogs_.closeAll();
  help_.close();
  CallAfter([this] { ExitMainLoop(); });
}

int DesktopApplication::OnExit() {
  if (windows_) {
    windows_->destroy();
    windows_.reset();
  }
  forms_.reset();
  if (core_) {
    core_->closeStore();
  }
  return wxApp::OnExit();
}

/// Forwarding goes on: what failed is told once in a box and each time in the log.
bool DesktopApplication::OnExceptionInMainLoop() {
  std::string what = "unknown";
  try {
    throw;
  } catch (const std::exception& error) {
    what = error.what();
  } catch (...) {
    what = "an exception of an unknown kind";
  }
  if (forms_) {
    forms_->log().AddToLog(core_->clock.toText(core_->clock.now()) + "--> Unexpected: " + what);
  }
  if (!std::exchange(toldOfException_, true)) {
    dialogs_.messageBox({"Something unexpected happened: " + what +
                             "\r\n\r\nForwarding goes on; the log will tell of any more of this.",
                         "Error", BoxButtons::kOk, BoxIcon::kExclamation});
  }
  return true;
}

}  // namespace relaybird
