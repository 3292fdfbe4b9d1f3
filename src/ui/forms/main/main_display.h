// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

#include "engine/engine_world.h"
#include "ui/forms/form_world.h"
#include "ui/forms/main/main_controls.h"

namespace relaybird {

/// The engine's view of the main window.
class MainDisplay : public EngineDisplay {
 public:
  /// Both must outlive it. `onTestOver` is called when the engine ends a test cycle.
  MainDisplay(MainControls& window, Screen& screen, std::function<void()> onTestOver);

  void lblCurrentActions(const std::string& text) override;
  std::string txtNumberForwarded() const override;
  void txtNumberForwarded(const std::string& text) override;
  void txtMinToNextFwd(const std::string& text) override;
  void cmdForwardNow(bool enabled) override;
  void repaint() override;
  void processPendingEvents() override;

 private:
  MainControls& window_;
  Screen& screen_;
  std::function<void()> onTestOver_;
};

}  // namespace relaybird
