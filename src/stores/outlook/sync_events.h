// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <ocidl.h>

#include <functional>
#include <memory>

#include "stores/outlook/dispatch.h"

namespace relaybird::outlook {

/// Listens to the SyncEnd event of a synchronisation object for as long as it lives. Throws where
/// the object has no events.
class SyncEvents {
 public:
  /// `ended` is called inside any call that goes out to the mail application, so it must do nothing
  /// but post to the event queue.
  SyncEvents(const Object& sync, std::function<void()> ended);
  ~SyncEvents();
  SyncEvents(const SyncEvents&) = delete;
  SyncEvents& operator=(const SyncEvents&) = delete;

 private:
  std::shared_ptr<Server> server_;
  ComPtr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

}  // namespace relaybird::outlook
