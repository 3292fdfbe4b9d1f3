// SPDX-License-Identifier: MIT
#include "ui/forms/main/main_display.h"

#include <utility>

namespace relaybird {

MainDisplay::MainDisplay(MainControls& window, Screen& screen, std::function<void()> onTestOver)
    : window_(window), screen_(screen), onTestOver_(std::move(onTestOver)) {}

void MainDisplay::lblCurrentActions(const std::string& text) {
  window_.lblCurrentActions.setText(text);
}

std::string MainDisplay::txtNumberForwarded() const {
  return window_.txtNumberForwarded.text();
}

void MainDisplay::txtNumberForwarded(const std::string& text) {
  window_.txtNumberForwarded.setText(text);
}

void MainDisplay::txtMinToNextFwd(const std::string& text) {
  window_.txtMinToNextFwd.setText(text);
}

// The engine turns the command on only where a test cycle ends.
void MainDisplay::cmdForwardNow(bool enabled) {
  if (enabled) {
    onTestOver_();
  } else {
    window_.cmdForwardNow.setEnabled(false);
  }
}

void MainDisplay::repaint() {
  screen_.repaint();
}

void MainDisplay::processPendingEvents() {
  screen_.processPendingEvents();
}

}  // namespace relaybird
