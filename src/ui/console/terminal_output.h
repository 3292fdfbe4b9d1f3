// SPDX-License-Identifier: MIT
// The console's output for people at a terminal, and the word wrapping that it uses.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "ui/console/console_output.h"

namespace relaybird {

/// The line that the user is typing, which output has to step around.
class Prompt {
 public:
  virtual ~Prompt() = default;
  /// Takes it off the screen; the cursor is then where its first character was.
  virtual void hide() = 0;
  /// Puts it back, as it was, once everything is printed that is to be printed now.
  virtual void showSoon() = 0;
};

/// What the terminal can do.
struct TerminalManner {
  bool colours = true;
  bool movesCursor = true;
  std::function<int()> columns = [] { return 80; };
};

/// Output for people at a terminal: colours, boxes laid out, the steps of a long pass on one line.
class TerminalOutput : public ConsoleOutput {
 public:
  /// The sink must outlive it.
  TerminalOutput(TextSink& sink, TerminalManner manner);
  /// In place of any earlier one; null for none.
  void setPrompt(Prompt* prompt) { prompt_ = prompt; }

  /// A text that differs from the last one in its numbers alone takes its place on the screen.
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
  /// Of running text, in characters.
  std::size_t textWidth() const;

  TextSink& sink_;
  TerminalManner manner_;
  Prompt* prompt_ = nullptr;
  std::string lastStatus_;  ///< the status that is the last line printed; empty where it is not
};

/// Breaks one line at blanks so that no part has more than `width` characters, as far as its words
/// allow; every part is indented, and those after the first as deep as the line's own beginning:
/// its blanks and the mark of a list. A line of blanks alone gives one empty line. Ends in LF.
std::string wrapped(std::string_view line, std::size_t width, std::string_view indent);

}  // namespace relaybird
