// SPDX-License-Identifier: MIT
// What a form asks of the user: boxes with buttons, a line of text, a file, a choice from a menu.
// The desktop answers with windows, the console at its prompt, a test by a script.
//
// Calls return when the user has answered; other events may run meanwhile. Where nobody can answer
// any more, the answer is the one that changes nothing: Cancel, else No, else OK.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

class Control;

/// The title of boxes that have none of their own.
inline constexpr std::string_view kProgramTitle = "Relaybird";

enum class BoxButtons { kOk, kOkCancel, kYesNo, kYesNoCancel };
enum class BoxIcon { kNone, kExclamation, kCritical };
enum class BoxAnswer { kOk, kCancel, kYes, kNo };

/// Lines in the text end in CR LF.
struct MessageBox {
  std::string text;
  std::string title{kProgramTitle};
  BoxButtons buttons = BoxButtons::kOk;
  BoxIcon icon = BoxIcon::kNone;
};

/// The answers that a box offers, in the order of its buttons.
std::vector<BoxAnswer> answersOf(BoxButtons buttons);
/// "OK", "Cancel", "Yes", "No".
std::string_view answerText(BoxAnswer answer);
/// The answer that changes nothing.
BoxAnswer safeAnswer(BoxButtons buttons);

struct InputBox {
  std::string prompt;
  std::string title;
  std::string entry{};  ///< to begin with, where there is a field to stand in
};

struct OpenFileBox {
  std::string title;
  std::string filter;  ///< description and pattern: "Help File (*.chm)|*.chm"
};

struct SaveFileBox {
  std::string title;
  std::string filter;  ///< as of OpenFileBox
  std::string name;    ///< of the file, to begin with
};

class Dialogs {
 public:
  virtual ~Dialogs() = default;
  virtual BoxAnswer messageBox(const MessageBox& box) = 0;
  /// The line that was entered; empty when the user cancelled or entered nothing.
  virtual std::string inputBox(const InputBox& box) = 0;
  /// The chosen file's path; none when the user cancelled.
  virtual std::optional<std::string> openFile(const OpenFileBox& box) = 0;
  /// The path to write to; none when the user cancelled. Does not ask about a file that is there.
  virtual std::optional<std::string> saveFile(const SaveFileBox& box) = 0;
  /// Shows a menu's entries where the pointer is, and clicks the one that the user picks.
  virtual void popupMenu(Control& menu) = 0;
};

}  // namespace relaybird
