// SPDX-License-Identifier: MIT
// What a line can do to a control: nothing that a user at the window could not do.
#pragma once

#include <string>
#include <string_view>

#include "platform/result.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// Types into a text box, checks or unchecks a box (0 or off, 1 or on), selects an option (1 or
/// on), chooses an entry of a combo box or of tabs by its text or its position from 0, or selects
/// entries of a list box by their positions ("0,2", "all", "none"). Refused with a sentence for
/// everything else and for a control that takes no input now; nothing changes then.
Result<void> setControl(Control& control, const std::string& value);

/// Refused like setControl.
Result<void> clickControl(Control& control);

/// A key chord such as "Ctrl+Shift+Alt+V": Ctrl, Shift and Alt in any order, then a letter, a
/// digit, F1 to F24, Enter, Escape, Space, Tab, Delete, or one of Left, Up, Right, Down.
Result<void> pressKey(Control& control, std::string_view chord);

}  // namespace relaybird
