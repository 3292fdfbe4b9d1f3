// SPDX-License-Identifier: MIT
// What the boxes are made of.
#pragma once

#include <wx/dialog.h>
#include <wx/sizer.h>

#include <string>
#include <vector>

#include "ui/forms/model/dialogs.h"

namespace relaybird::desktop {

/// Ends a box that is closed without an answer.
inline constexpr int kNoAnswer = -1;

/// The text with its lines broken. One that is too high for the screen scrolls, by the keys of the
/// box too: every line of it can be read before the box is answered.
wxWindow* makeBoxText(wxDialog& box, const std::string& text);

/// A row of buttons, each of which ends the box with its position; the first one is the default.
wxSizer* makeBoxButtons(wxDialog& box, const std::vector<BoxAnswer>& answers);

/// Puts content over buttons, and has Escape and the window's own way to close it end the box with
/// kNoAnswer.
void finishBox(wxDialog& box, wxSizer* content, wxSizer* buttons);

}  // namespace relaybird::desktop
