// SPDX-License-Identifier: MIT
// The program on the user's session bus: a second start finds the first by its name there, and the
// desktop shows its notifications.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ui/forms/form_world.h"

namespace relaybird::desktop {

inline constexpr const char* kApplicationId = "org.relaybird.Relaybird";

/// Has every window carry the name, by which the desktop finds the program's entry and icon. Before
/// the toolkit starts.
void takeApplicationName();

/// Asks the program that has the name to bring its window to the front. False where none has it.
bool raiseRunningProgram();

/// Holds the name for as long as it lives. A session without a bus is no error: nothing can be
/// found or shown there. Calls back on the user-interface thread.
class SessionApplication : public Notifications {
 public:
  struct Listener {
    std::function<void()> raise;    ///< a second start, or a click on a notification
    std::function<bool()> looksOn;  ///< whether the user looks at one of the windows
  };

  explicit SessionApplication(Listener listener);
  ~SessionApplication() override;

  bool wanted() override;
  void show(const Notification& notification) override;
  void withdraw(const std::string& cause) override;

 private:
  struct Name;
  Listener listener_;
  std::unique_ptr<Name> name_;
};

}  // namespace relaybird::desktop
