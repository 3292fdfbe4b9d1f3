// SPDX-License-Identifier: MIT
// What a form asks of the user: boxes with buttons, a line of text, a file, a choice from a menu.
// The desktop shows windows, the console asks at its prompt, a test answers from a script.
//
// Calls return when the user has answered; other events may run meanwhile. When nobody can answer
// any more, the answer is the one that changes nothing: Cancel, else No, else OK.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

class Control;

/// The default title of boxes.
inline constexpr std::string_view kProgramTitle = "Relaybird";

enum class BoxButtons { kOk, kOkCancel, kYesNo, kYesNoCancel };
enum class BoxIcon { kNone, kExclamation, kCritical };
enum class BoxAnswer { kOk, kCancel, kYes, kNo };

/// A box with buttons. Lines of the text end in CR LF. (Not MessageBox, which is a macro of
/// Windows.)
struct AnswerBox {
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
  std::string entry{};  ///< initial text of the field, if there is one
  bool secret = false;  ///< the answer is a password, which is shown nowhere
  /// What an empty answer means to the one who asks: false if it stands for `entry`, or for the
  /// password that is kept already. A terminal has to say so, because it has no button Cancel.
  bool emptyCancels = true;
};

struct OpenFileBox {
  std::string title;
  std::string filter;  ///< description and pattern: "Help File (*.chm)|*.chm"
};

struct SaveFileBox {
  std::string title;
  std::string filter;  ///< as in OpenFileBox
  std::string name;    ///< suggested file name
};

class Dialogs {
 public:
  virtual ~Dialogs() = default;
  virtual BoxAnswer messageBox(const AnswerBox& box) = 0;
  /// Returns the entered line; empty if the user cancelled or entered nothing.
  virtual std::string inputBox(const InputBox& box) = 0;
  /// Returns the path of the chosen file; empty if the user cancelled.
  virtual std::optional<std::string> openFile(const OpenFileBox& box) = 0;
  /// Returns the path to write to; empty if the user cancelled. Does not ask before replacing a
  /// file.
  virtual std::optional<std::string> saveFile(const SaveFileBox& box) = 0;
  /// Shows a menu at the pointer, and clicks the entry that the user chooses.
  virtual void popupMenu(Control& menu) = 0;
};

}  // namespace relaybird
