// SPDX-License-Identifier: MIT
#pragma once

#include "platform/result.h"

namespace relaybird {

/// Whether the program starts together with the user's desktop.
class Autostart {
 public:
  virtual ~Autostart() = default;
  /// False when there is no desktop.
  virtual bool offered() const = 0;
  virtual bool enabled() = 0;
  virtual Result<void> setEnabled(bool enabled) = 0;
};

class NoAutostart : public Autostart {
 public:
  bool offered() const override { return false; }
  bool enabled() override { return false; }
  Result<void> setEnabled(bool) override { return {}; }
};

}  // namespace relaybird
