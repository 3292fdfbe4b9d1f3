// SPDX-License-Identifier: MIT
// What the engine works with: the interfaces through which it reports (the main window's fields,
// the activity log, the alerts), one struct that holds everything the engine is given, and the
// running state that its parts share. All calls come on the user-interface thread.
#pragma once

#include <cstdint>
#include <string>

#include "platform/clock.h"
#include "platform/system/trace_log.h"

namespace relaybird {

class clsPref;
class ObjectFactory;
class TimerMaker;

/// The few fields of the main window that the engine reads and writes. Front ends implement it over
/// their window.
class EngineDisplay {
 public:
  virtual ~EngineDisplay() = default;

  /// The status line.
  virtual void lblCurrentActions(const std::string& text) = 0;
  /// The running count of forwards, as the text of the field.
  virtual std::string txtNumberForwarded() const = 0;
  virtual void txtNumberForwarded(const std::string& text) = 0;
  /// Minutes to the next check.
  virtual void txtMinToNextFwd(const std::string& text) = 0;
  /// Whether the test-cycle command can be used.
  virtual void cmdForwardNow(bool enabled) = 0;

  /// Draws what has changed at once, also in the middle of long work.
  virtual void repaint() = 0;
  /// Runs the events that already wait, and returns after them.
  virtual void processPendingEvents() = 0;
};

/// The log that the user reads. Never fails towards its caller.
class ActivityLog {
 public:
  virtual ~ActivityLog() = default;
  /// Lists a line as given; callers put their own time stamp into it.
  virtual void AddToLog(const std::string& text) = 0;
  /// Lists the current date and time, " [v]-->" and the text, while the verbose switch is on.
  virtual void AddToLogV(const std::string& text) = 0;
  /// Whether AddToLogV lists anything, so that a caller in a loop need not build its text.
  virtual bool verbose() const = 0;
};

/// Events that the user has to learn about without looking at the window. The engine reports every
/// event; the listener decides how many of them become a notification. Never fails towards its
/// caller, and runs no events.
class Alerts {
 public:
  virtual ~Alerts() = default;
  /// A check could not be made, or was aborted. `words` says why.
  virtual void checkFailed(const std::string& words) = 0;
  /// A check has reached its end.
  virtual void checkCompleted() = 0;
  /// A message was refused permanently and is not tried again. `words` says which one and why.
  virtual void forwardRefused(const std::string& words) = 0;
  /// Sending to an address is stopped until the user allows it again. `words` says which one and
  /// why.
  virtual void addressStopped(const std::string& words) = 0;
  /// Nothing is forwarded until forwarding is switched on again.
  virtual void maximumReached() = 0;
};

/// Everything that the engine is given from outside. All must outlive it.
struct EngineWorld {
  ObjectFactory& objects;
  clsPref& prefs;
  EngineDisplay& display;
  ActivityLog& log;
  Alerts& alerts;
  TraceLog& trace;
  const Clock& clock;
  Sleeper& sleeper;
  TimerMaker& timers;
};

/// The running state that the session, the pass and the schedule share. Used on the
/// user-interface thread only, so these flags suffice to keep work from overlapping.
struct EngineState {
  bool m_bBusyFwd = false;    ///< a start, a test cycle or a pass is running
  bool syncBusy = false;      ///< a synchronisation that we started is running
  bool sendSync = false;      ///< and it was started after a pass, to send the forwards
  bool testCycle = false;     ///< the check was asked for by the test cycle
  bool forwardingOn = false;  ///< automatic forwarding is switched on

  DateTime activationTime = kNoDate;  ///< when forwarding was switched on
  DateTime passStartTime = kNoDate;
  DateTime syncStartTime = kNoDate;

  std::int32_t minutesLeft = 0;   ///< until the next check
  std::int16_t itemsInPass = 0;   ///< how many items the pass walks
  std::int16_t itemsVisited = 0;  ///< how many of them it has reached
  std::int16_t forwardedThisPass = 0;
  std::int16_t failedThisPass = 0;  ///< items that should have been forwarded but failed
  bool lastPassCompleted = false;   ///< the last pass ran without a fault

  bool passRunning = false;   ///< a pass is on the stack; m_bBusyFwd is also cleared from outside
  bool syncStarting = false;  ///< a check opens the session, to synchronise before its pass
  bool stopPass = false;  ///< the pass ends after the current item; the check above ends at once
  bool ending = false;    ///< the program ends: a pass ends as above, nothing else starts

  /// Whether a check that is running is to end, also where it waits for the store.
  bool stopWanted() const { return ending || stopPass; }
};

}  // namespace relaybird
