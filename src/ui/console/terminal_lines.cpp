// SPDX-License-Identifier: MIT
// A terminal that edits its lines itself. Only the terminal knows what has been typed so far, so
// output can only be printed after it; the typed text is still there when the user presses Enter.
#include <utility>

#include "ui/console/line_source.h"
#include "ui/console/terminal_lines.h"

namespace relaybird {
namespace {

// The terminal's own line discipline collects the line, and StreamLines receives it complete.
class PlainTerminalLines : public TerminalLines {
 public:
  explicit PlainTerminalLines(TerminalParts parts)
      : parts_(std::move(parts)), lines_(parts_.input) {}

  void listen(std::function<void()> onLines) override {
    lines_.listen(std::move(onLines));
    showSoon();
  }
  std::optional<InputLine> next() override {
    auto line = lines_.next();
    if (line) {
      // Enter has moved the cursor below the prompt.
      shown_ = false;
      showSoon();
    }
    return line;
  }
  ~PlainTerminalLines() override { showTyping(true); }

  void setPrompt(const std::string& prompt, Typing typing) override {
    hide();
    prompt_ = prompt;
    showTyping(typing != Typing::kPassword);
    showSoon();
  }
  void hide() override {
    if (std::exchange(shown_, false)) {
      // A terminal that cannot clear the line keeps the prompt, and output begins below it.
      parts_.sink.write(parts_.movesCursor ? "\r\x1b[K" : "\n");
    }
  }
  void showSoon() override {
    if (std::exchange(waits_, true)) {
      return;
    }
    parts_.events.post([this, alive = std::weak_ptr(alive_)] {
      if (alive.expired()) {
        return;
      }
      waits_ = false;
      if (!std::exchange(shown_, true)) {
        parts_.sink.write(prompt_);
      }
    });
  }

 private:
  void showTyping(bool shown) {
    if (std::exchange(typingShown_, shown) != shown) {
      parts_.showTyping(shown);
    }
  }

  TerminalParts parts_;
  StreamLines lines_;
  std::string prompt_;
  bool typingShown_ = true;
  bool shown_ = false;
  bool waits_ = false;  // showing it is posted
  std::shared_ptr<int> alive_ = std::make_shared<int>();
};

}  // namespace

std::unique_ptr<TerminalLines> makePlainTerminalLines(TerminalParts parts) {
  return std::make_unique<PlainTerminalLines>(std::move(parts));
}

}  // namespace relaybird
