// SPDX-License-Identifier: MIT
// Puts relaybird together: the store, the forms, and the windows that show them.
#pragma once

#include <wx/app.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/program_core.h"
#include "ui/desktop/help/help_window.h"
#include "ui/desktop/native/session_application.h"
#include "ui/desktop/native/session_end.h"
#include "ui/desktop/services/wx_dialogs.h"
#include "ui/desktop/services/wx_loop.h"
#include "ui/desktop/services/wx_sleeper.h"
#include "ui/desktop/windows/desktop_windows.h"
#include "ui/forms/program_forms.h"

namespace relaybird {

class DesktopApplication : public wxApp {
 public:
  DesktopApplication(ProgramIdentity identity, ProgramPlatform platform);
  ~DesktopApplication() override;

  bool OnInit() override;
  int OnRun() override;
  int OnExit() override;
  bool OnExceptionInMainLoop() override;
  void OnAssertFailure(const wxChar* file, int line, const wxChar* function,
                       const wxChar* condition, const wxChar* message) override;

 private:
  void prepare();
  ProgramWorld world(TrayPlatform& tray);
  void makeForms();
  void start();
  void endProgram();
  void raise();
  void act(const std::string& action);
  bool ending() const { return forms_ && forms_->main().engine().state().ending; }
  bool keepAlive();
  void complain(const std::string& words) const;
  bool checkRuns() const { return forms_ && forms_->main().engine().state().passRunning; }
  wxWindow* front() { return windows_ ? windows_->front() : nullptr; }

  ProgramIdentity identity_;
  StandardStreams streams_;
  ProgramPlatform platform_;  ///< until `core_` has it
  int status_ = 0;
  bool started_ = false;
  std::vector<std::string> asked_;  ///< actions requested before the start
  bool handedOver_ = false;         ///< the running program was raised instead
  std::optional<ProgramCore::Refusal> refusal_;
  std::unique_ptr<desktop::WxLoop> loop_;
  std::unique_ptr<ProgramCore> core_;
  std::unique_ptr<desktop::SessionEnd> sessionEnd_;
  std::unique_ptr<desktop::SessionApplication> session_;
  std::unique_ptr<Autostart> autostart_;
  desktop::WxDialogs dialogs_{[this] { return front(); }};
  desktop::WxScreen screen_{[this] { endProgram(); }};
  desktop::WxSleeper pause_{[this] { return ending(); }, [this] { return checkRuns(); }};
  desktop::WxClipboard clipboard_;
  desktop::HelpWindow help_{[this] { return windows_ ? &windows_->main() : nullptr; }};
  std::unique_ptr<TrayPlatform> tray_;
  std::unique_ptr<ProgramForms> forms_;
  std::unique_ptr<WindowPlaces> places_;
  std::unique_ptr<desktop::DesktopWindows> windows_;
};

}  // namespace relaybird
