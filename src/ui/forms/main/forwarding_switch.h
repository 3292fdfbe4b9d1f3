// SPDX-License-Identifier: MIT
// Switches forwarding on and off. What the user sees of it in the main window is set here too.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "engine/engine_world.h"
#include "engine/forwarding_engine.h"
#include "prefs/cls_pref.h"
#include "ui/forms/main/attention.h"
#include "ui/forms/main/forwarding_steps.h"
#include "ui/forms/main/main_controls.h"
#include "ui/forms/main/outbox_menu.h"
#include "ui/forms/program_world.h"
#include "ui/forms/settings/frm_prefs.h"

namespace relaybird {

class ForwardingSwitch {
 public:
  /// All must outlive it.
  ForwardingSwitch(MainControls& window, const ProgramWorld& world, ActivityLog& log, clsPref& prf,
                   ForwardingEngine& engine, ForwardingSteps& steps, Attention& attention,
                   OutboxMenu& outbox);
  /// Called before anything else. The settings dialog, whose controls are stored when forwarding is
  /// switched on.
  void connect(frmPrefs& settings) { settings_ = &settings; }
  /// Called when the user has pressed Start and no session could be opened; he has been told.
  void onNoSession(std::function<void()> reaction) { onNoSession_ = std::move(reaction); }

  /// frmRelaybird::StartForwarding, ::startWaits and ::StopForwarding.
  void start(bool bAutoStart);
  bool startWaits() const { return startTimer_->enabled(); }
  void stop();
  /// frmRelaybird::addForwardAddress.
  bool addAddress() { return askForAddress() && storeSettings(); }

 private:
  EngineState& state() { return engine_.state(); }

  // Steps of switching on. One that fails has told the user why.
  void startLater();
  void startTimerTick();
  bool openSession();
  bool askForAddress();
  bool storeSettings();
  bool judge(int result);
  bool confirmAddresses(bool bAutoStart);
  void switchOn(bool bAutoStart);
  void checkAtOnce();
  void showRunning(bool running);

  MainControls& window_;
  const ProgramWorld& world_;
  ActivityLog& log_;
  clsPref& prf_;
  ForwardingEngine& engine_;
  ForwardingSteps& steps_;
  Attention& attention_;
  OutboxMenu& outbox_;
  frmPrefs* settings_ = nullptr;
  std::function<void()> onNoSession_ = [] {};
  std::unique_ptr<Timer> startTimer_;  ///< runs while a start waits for the end of a pass
};

}  // namespace relaybird
