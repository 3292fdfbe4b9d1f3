// SPDX-License-Identifier: MIT
// The test cycle: one check while forwarding is off, with every step in the verbose log. A box says
// how it ended, once the forwards of the check have been sent or sending has been given up. All
// calls on the user-interface thread; none throws.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "engine/engine_world.h"
#include "mail/outgoing_mail.h"
#include "platform/event_queue.h"
#include "ui/forms/main/forwarding_steps.h"
#include "ui/forms/main/outbox_menu.h"
#include "ui/forms/program_world.h"

namespace relaybird {

class frmRelaybird;

class TestCycle {
 public:
  /// All must outlive it; the window's preferences and engine are there already.
  TestCycle(frmRelaybird& window, const ProgramWorld& world, ActivityLog& log,
            ForwardingSteps& steps, OutboxMenu& outbox);

  /// Asks the user and makes the check. False when no check was made: the user has been told why,
  /// or declined.
  bool run();
  /// The engine has ended the check of the test.
  void checkEnded();
  /// Whether a check has ended whose result the user has not been told yet.
  bool owesResult() const { return result_.has_value(); }

 private:
  EngineState& state() { return engine_.state(); }
  bool isAllowed();
  bool isPrepared();
  bool hasAddress();
  bool isConfirmed();
  void showTypedAddress();
  bool opensSession();
  void runCheck();
  void tellResultOnceSent();
  template <class Step>
  auto bracketed(std::string_view name, Step step);

  frmRelaybird& window_;
  const ProgramWorld& world_;
  ActivityLog& log_;
  clsPref& prf_;
  ForwardingEngine& engine_;
  ForwardingSteps& steps_;
  OutboxMenu& outbox_;
  OutgoingState before_;               ///< of the outbox, when the test began
  std::optional<EngineState> result_;  ///< of the check, until the user has been told
  std::unique_ptr<Timer> sentTimer_;   ///< looks whether the forwards have been sent
  std::shared_ptr<int> alive_ = std::make_shared<int>();  ///< expires with this object
};

}  // namespace relaybird
