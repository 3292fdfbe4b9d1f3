// SPDX-License-Identifier: MIT
// The console's output for people at a terminal, and the word wrapping that it uses.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "ui/console/console_output.h"

namespace relaybird {

/// The line that the user is typing. Output removes it and puts it back.
class Prompt {
 public:
  virtual ~Prompt() = default;
  /// Removes it from the screen; the cursor is then at the place of its first character.
  virtual void hide() = 0;
  /// Puts it back after all pending output has been printed.
  virtual void showSoon() = 0;
};

/// The capabilities of the terminal.
struct TerminalManner {
  bool colours = true;
  bool movesCursor = true;
  std::function<int()> columns = [] { return 80; };
};

/// Output for people at a terminal: colours, formatted boxes, the progress of a pass on one line.
class TerminalOutput : public ConsoleOutput {
 public:
  /// The sink must outlive it.
  TerminalOutput(TextSink& sink, TerminalManner manner);
  /// Replaces any earlier prompt; null for none.
  void setPrompt(Prompt* prompt) { prompt_ = prompt; }

  /// A text that differs from the last one only in its numbers replaces it on the screen.
  void status(const std::string& text) override;
  void logLine(const std::string& text) override;
  void event(std::string_view kind, const std::string& text) override;
  void form(const Form& form, bool open) override;
  void box(const BoxView& box) override;
  void boxWaits(const BoxView& box) override;
  void boxAnswered(const BoxView& box, const std::string& answer) override;
  void reply(std::string_view kind, const std::string& text) override;
  void replyFields(std::string_view kind, const std::string& fields) override;
  void ok() override {}
  void error(const std::string& text) override;
  void lineEntered() override { lastStatus_.clear(); }

 private:
  void print(const std::string& lines);
  std::string inColour(const char* colour, const std::string& text) const;
  std::string cutToScreen(const std::string& text) const;
  /// The width for running text, in characters.
  std::size_t textWidth() const;

  TextSink& sink_;
  TerminalManner manner_;
  Prompt* prompt_ = nullptr;
  std::string lastStatus_;  ///< the status in the last printed line; empty if that is another line
};

/// Breaks a line at blanks into parts of at most `width` characters; a longer word gets a part of
/// its own. Every part is indented; parts after the first also by the line's own blanks and list
/// mark. A line of only blanks gives one empty line. The result ends in LF.
std::string wrapped(std::string_view line, std::size_t width, std::string_view indent);

}  // namespace relaybird
