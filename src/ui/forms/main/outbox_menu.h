// SPDX-License-Identifier: MIT
// Mail that has not left this computer: the sentences that describe it, and the Outbox menu of the
// main window. All calls on the user-interface thread.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "engine/engine_world.h"
#include "mail/outgoing_mail.h"
#include "ui/forms/main/attention.h"
#include "ui/forms/main/main_controls.h"
#include "ui/forms/program_world.h"

namespace relaybird {

/// "1 message", "2 messages".
std::string counted(std::size_t count, const char* one, const char* many);

/// One sentence for each reason why mail does not leave; empty when there is no reason.
std::vector<std::string> holdReasons(const OutgoingState& state);

/// Whether mail was refused between two moments, or cannot leave now until the user acts. Mail that
/// only waits for its turn is not a problem.
bool hasProblem(const OutgoingState& before, const OutgoingState& after);

/// The sentences joined by blanks.
std::string joinSentences(const std::vector<std::string>& sentences);

/// What happened to the mail between two moments: how much left, how much was refused, how much
/// waits now.
std::string outcomeOf(const OutgoingState& before, const OutgoingState& after, std::size_t waiting);

/// The Outbox menu and the outbox line of the main window.
class OutboxMenu {
 public:
  /// All must outlive the menu. A callback of the store that comes after the menu is gone does
  /// nothing.
  OutboxMenu(MainControls& window, const ProgramWorld& world, ActivityLog& log,
             Attention& attention);

  /// Called each time when the state of the outbox is shown.
  void onShow(std::function<void()> reaction) { onShow_ = std::move(reaction); }
  /// Shows in the window what keeps mail from leaving now.
  void show();
  /// Also writes it to the log, and notifies the user of addresses that were stopped.
  void showAndLog();
  /// Tries at once to send everything that waits, and releases stopped addresses. The result is
  /// logged.
  void tryAgain();
  /// Whether a try of tryAgain() has not reported its result yet.
  bool isTrying() const { return !window_.mnuTryAgain.enabled(); }

 private:
  void showText(const std::string& text);
  void triedAgain(const OutgoingState& before);
  void openFolder(const std::string& folder);
  void logLine(const std::string& text);
  void showError(const std::string& text);

  MainControls& window_;
  const ProgramWorld& world_;
  ActivityLog& log_;
  Attention& attention_;
  std::function<void()> onShow_ = [] {};
  std::shared_ptr<int> alive_ = std::make_shared<int>();  ///< expires with this object
};

}  // namespace relaybird
