// SPDX-License-Identifier: MIT
// The steps that switching forwarding on and the test cycle have in common: they open the mail
// session and have the user enter and confirm the forward-to addresses. No step throws; one that
// fails has told the user why.
#pragma once

#include <string>
#include <string_view>

#include "engine/engine_world.h"
#include "engine/forwarding_engine.h"
#include "prefs/cls_pref.h"
#include "ui/forms/program_world.h"

namespace relaybird {

/// Sets the engine's busy flag for a scope, so that every way out of the scope clears it.
class BusyMark {
 public:
  explicit BusyMark(EngineState& state) : state_(state) { state_.m_bBusyFwd = true; }
  ~BusyMark() { state_.m_bBusyFwd = false; }
  BusyMark(const BusyMark&) = delete;
  BusyMark& operator=(const BusyMark&) = delete;

 private:
  EngineState& state_;
};

class ForwardingSteps {
 public:
  /// All must outlive it.
  ForwardingSteps(const ProgramWorld& world, ActivityLog& log, clsPref& prf,
                  ForwardingEngine& engine);

  /// Opens the session; the flags are those of MailSession::ResetOlkObj.
  bool openSession(bool getInbox, bool getSync, bool showStatus);
  /// Whether the mail application is new enough.
  bool checkVersion();
  /// Asks until the address is valid. Returns 1, or -1 when the user cancelled.
  int GetValidEmail(std::string& address);
  /// Whether `count` addresses, as GetFwdConfirmMessage returns it, are enough to go on.
  /// `dialogName` is where the user is sent to enter one.
  bool addressesListed(int count, std::string_view dialogName);
  /// Shows the question about the addresses; true for Yes. `once` says that it is about one check.
  bool userConfirms(std::string question, bool once);

  /// Shows a box with an OK button.
  void say(const std::string& text, const std::string& title, BoxIcon icon);
  /// Adds a line to the log behind the date and time.
  void logLine(const std::string& text);

 private:
  bool isApplicationNewEnough();

  const ProgramWorld& world_;
  ActivityLog& log_;
  clsPref& prf_;
  ForwardingEngine& engine_;
};

}  // namespace relaybird
