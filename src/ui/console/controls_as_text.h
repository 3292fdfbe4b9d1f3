// SPDX-License-Identifier: MIT
// Forms and controls as text: how the console prints them, and how a line of text acts on a
// control. A line can do nothing that a user at the window could not do.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/result.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// A kind as one word: "text-box".
std::string kindWord(ControlKind kind);

/// "NAME open|closed "CAPTION"".
std::string formFields(const Form& form);

/// The text of a control as it may be printed: "(hidden)" for a password.
std::string shownText(const Control& control);

/// "NAME KIND STATE VALUE "TEXT"". STATE is a list with commas: visible or hidden, enabled or
/// disabled, and locked if so. VALUE is an integer.
std::string controlFields(const Control& control);

/// All properties of a control, by name. Texts are quoted. The entries of a list come last, each as
/// "entry" with its position and text.
std::vector<std::pair<std::string, std::string>> controlProperties(const Control& control);

/// Types into a text box, checks or unchecks a box (0 or off, 1 or on), selects an option (1 or
/// on), chooses an entry of a combo box or of tabs by its text or its position from 0, or selects
/// entries of a list box by their positions ("0,2", "all", "none"). Anything else is refused with a
/// sentence, as is a control that accepts no input now; nothing changes then.
Result<void> setControl(Control& control, const std::string& value);

/// Refused like setControl.
Result<void> clickControl(Control& control);

/// Presses a key combination such as "Ctrl+Shift+Alt+V": Ctrl, Shift and Alt in any order, then a
/// letter, a digit, F1 to F24, Enter, Escape, Space, Tab, Delete, Left, Up, Right or Down.
Result<void> pressKey(Control& control, std::string_view chord);

}  // namespace relaybird
