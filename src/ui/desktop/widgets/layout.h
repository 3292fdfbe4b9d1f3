// SPDX-License-Identifier: MIT
// Layout helpers, so that all windows use the same distances.
#pragma once

#include <wx/sizer.h>
#include <wx/textctrl.h>
#include <wx/window.h>

#include <initializer_list>

namespace relaybird::desktop {

/// Distances in pixels at 96 dots per inch and the ordinary font size.
inline constexpr int kGap = 6;
inline constexpr int kMargin = 12;

/// A length scaled with the window's font: `pixels` at the ordinary font size, and never less. The
/// result is in pixels at 96 dots per inch, the unit of bitmap bundles.
int scaledWithFont(const wxWindow& window, int pixels);

/// The same in physical pixels of the window's screen.
int scaled(const wxWindow& window, int pixels);

/// A column of windows that are all as wide as the column, and a row of vertically centred windows,
/// with kGap between them.
wxBoxSizer* column(const wxWindow& in, std::initializer_list<wxWindow*> windows);
wxBoxSizer* row(const wxWindow& in, std::initializer_list<wxWindow*> windows);

/// A grid of two or four columns: labels and fields alternate, and the fields share the remaining
/// width.
wxFlexGridSizer* fieldGrid(const wxWindow& in, int columns);

/// Sets the minimum height of a single-line field, so that its text fits.
void leaveRoomForText(wxTextCtrl& field);

}  // namespace relaybird::desktop
