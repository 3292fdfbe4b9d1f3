// SPDX-License-Identifier: MIT
// What the console prints, as messages: what happens by itself, what a command replies, boxes. For
// scripts each is one line or a few with fixed beginnings; for people it is laid out.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ui/forms/model/dialogs.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// A box as it is printed.
struct BoxView {
  enum class Kind { kMessage, kInput, kFile, kMenu };
  Kind kind = Kind::kMessage;
  std::string title;
  std::string text;  ///< lines end in CR LF
  BoxIcon icon = BoxIcon::kNone;
  std::vector<std::string> choices;  ///< buttons, or a menu's entries; none where text is asked for
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

  // What happens by itself. Any text; it is escaped here.

  virtual void status(const std::string& text) = 0;
  virtual void logLine(const std::string& text) = 0;
  /// Something else, of a kind: "state", "forwarded", "note".
  virtual void event(std::string_view kind, const std::string& text) = 0;
  virtual void form(const Form& form, bool open) = 0;
  virtual void box(const BoxView& box) = 0;
  /// Nothing that was said before answers the box: the next line has to.
  virtual void boxWaits(const BoxView& box) = 0;
  virtual void boxAnswered(const BoxView& box, const std::string& answer) = 0;

  // What a command replies, and its end: exactly one of ok and error.

  virtual void reply(std::string_view kind, const std::string& text) = 0;
  /// `fields` is on one line already, its texts quoted.
  virtual void replyFields(std::string_view kind, const std::string& fields) = 0;
  virtual void ok() = 0;
  virtual void error(const std::string& text) = 0;
  /// The user has entered a line: what was printed last is no longer just above the cursor.
  virtual void lineEntered() {}
};

}  // namespace relaybird
