// SPDX-License-Identifier: MIT
// The program in the user's session: a second start finds the first, and the desktop shows its
// notifications.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/system/application_id.h"
#include "ui/forms/form_world.h"

namespace relaybird::desktop {

/// Has every window carry the name, by which the desktop finds the program's entry and icon. Before
/// the toolkit starts.
void takeApplicationName();

enum class Raised {
  kNobody,  ///< no such process has the name
  kDone,
  kBusy,  ///< it has, and does not answer
};
/// Asks the program to bring its window to the front, if it is that process which has the name; 0
/// stands for a process that is not known.
/// Waits a few seconds for an answer.
Raised raiseRunningProgram(long process);

/// Holds the name for as long as it lives. A session that knows no names is no error, nor one whose
/// bus goes: nothing can be found or shown there. Calls back on the user-interface thread.
class SessionApplication : public Notifications {
 public:
  struct Listener {
    std::function<void()> raise;    ///< a second start, or a click on a notification
    std::function<bool()> looksOn;  ///< whether the user looks at one of the windows
    /// One of the actions that the desktop entry offers, by its name.
    std::function<void(const std::string& action)> act;
  };

  /// `actions` are those that the desktop may ask for. What it asks for while the program starts is
  /// told once events run.
  SessionApplication(Listener listener, const std::vector<std::string>& actions);
  ~SessionApplication() override;

  bool wanted() override;
  void show(const Notification& notification) override;
  void withdraw(const std::string& cause) override;
  /// The program is ending: lets the name go, so that the next one does not ask this one, and takes
  /// back what the desktop has confirmed to show.
  void giveUp();

 private:
  struct Name;
  Listener listener_;
  std::unique_ptr<Name> name_;
  std::set<std::string> shown_;  ///< causes
};

}  // namespace relaybird::desktop
