// SPDX-License-Identifier: MIT
// What the console prints, as messages: what happens by itself, what a command replies, boxes. A
// ConsoleOutput decides how a message is written, a TextSink where its bytes go. For scripts
// (ScriptOutput) each message is one line or a few with fixed beginnings; for people
// (TerminalOutput) it is laid out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ui/forms/model/dialogs.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// The destination of the console's bytes.
class TextSink {
 public:
  virtual ~TextSink() = default;
  /// Writes everything, or nothing after the reader has gone.
  virtual void write(std::string_view bytes) = 0;
};

/// A box as it is printed.
struct BoxView {
  enum class Kind { kMessage, kInput, kFile, kMenu };
  Kind kind = Kind::kMessage;
  std::string title;
  std::string text;  ///< lines end in CR LF
  BoxIcon icon = BoxIcon::kNone;
  std::vector<std::string> choices;  ///< buttons or menu entries; empty if the box asks for text
  bool secret = false;               ///< the answer is a password
  bool emptyCancels = true;          ///< of a box that asks for text: as in InputBox
  std::string entry{};               ///< what an empty answer stands for if it does not cancel
};

/// "message", "input", "file", "menu".
std::string_view boxKindWord(BoxView::Kind kind);
/// "none", "exclamation", "critical".
std::string_view iconWord(BoxIcon icon);
/// "Yes, No, Cancel".
std::string joined(const std::vector<std::string>& words);

class ConsoleOutput {
 public:
  virtual ~ConsoleOutput() = default;

  // Events. Texts may hold any characters; they are escaped here.

  virtual void status(const std::string& text) = 0;
  virtual void logLine(const std::string& text) = 0;
  /// Another event, with its kind: "state", "forwarded", "note".
  virtual void event(std::string_view kind, const std::string& text) = 0;
  virtual void form(const Form& form, bool open) = 0;
  virtual void box(const BoxView& box) = 0;
  /// No queued answer fits the box: a line has to answer it.
  virtual void boxWaits(const BoxView& box) = 0;
  virtual void boxAnswered(const BoxView& box, const std::string& answer) = 0;

  // Replies to a command, followed by exactly one of ok() and error().

  virtual void reply(std::string_view kind, const std::string& text) = 0;
  /// `fields` is a single line already, with its texts quoted.
  virtual void replyFields(std::string_view kind, const std::string& fields) = 0;
  virtual void ok() = 0;
  virtual void error(const std::string& text) = 0;
  /// The user has entered a line, so the last output is no longer directly above the cursor.
  virtual void lineEntered() {}
};

/// The line protocol of docs/console.md: every item is one line, "KIND: TEXT", written to the sink
/// as a whole when it happens.
class ScriptOutput : public ConsoleOutput {
 public:
  /// The sink must outlive it.
  explicit ScriptOutput(TextSink& sink) : sink_(sink) {}

  void status(const std::string& text) override { event("status", text); }
  void logLine(const std::string& text) override { event("log", text); }
  void event(std::string_view kind, const std::string& text) override;
  void form(const Form& form, bool open) override;
  void box(const BoxView& box) override;
  void boxWaits(const BoxView& box) override;
  void boxAnswered(const BoxView& box, const std::string& answer) override;
  void reply(std::string_view kind, const std::string& text) override { event(kind, text); }
  void replyFields(std::string_view kind, const std::string& fields) override;
  void ok() override { sink_.write("ok\n"); }
  void error(const std::string& text) override { event("error", text); }

 private:
  TextSink& sink_;
};

}  // namespace relaybird
