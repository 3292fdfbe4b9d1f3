// SPDX-License-Identifier: MIT
// The program as a unique application of the user's session: a second process finds the first one,
// and the desktop shows the program's notifications.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/system/application_id.h"
#include "ui/forms/form_world.h"

namespace relaybird::desktop {

/// Sets the application name that every window carries. The desktop finds the program's desktop
/// entry and icon by it. Call it before the toolkit starts.
void takeApplicationName();

enum class Raised {
  kNobody,  ///< the process does not own the application's name
  kDone,
  kBusy,  ///< the process owns the name, and does not answer
};
/// Asks the running program to bring its window to the front, if `process` is the id of the process
/// that owns the application's name; 0 means that the id is unknown, and gives kNobody. Blocks for
/// a few seconds if the program does not answer.
Raised raiseRunningProgram(long process);

/// Owns the application's name on the session bus until it is destroyed. A missing or lost session
/// bus is not an error: no second process finds this one then, and no notification is shown. Calls
/// back on the user-interface thread.
class SessionApplication : public Notifications {
 public:
  struct Listener {
    std::function<void()> raise;    ///< a second start, or a click on a notification
    std::function<bool()> looksOn;  ///< whether one of the windows is active
    /// One of the actions that the desktop entry offers, by its name.
    std::function<void(const std::string& action)> act;
  };

  /// `actions` are the names that the desktop may activate. An action that is activated while the
  /// program starts is delivered once the event loop runs.
  SessionApplication(Listener listener, const std::vector<std::string>& actions);
  ~SessionApplication() override;

  bool wanted() override;
  void show(const Notification& notification) override;
  void withdraw(const std::string& cause) override;
  /// Call it when the program ends. Releases the name, so that the next process does not call this
  /// one, and withdraws the notifications that are shown.
  void giveUp();

 private:
  struct Name;
  Listener listener_;
  std::unique_ptr<Name> name_;
  std::set<std::string> shown_;  ///< causes
};

}  // namespace relaybird::desktop
