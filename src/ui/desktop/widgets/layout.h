// SPDX-License-Identifier: MIT
// One vocabulary for the layout of all windows, so that they breathe alike.
#pragma once

#include <wx/sizer.h>
#include <wx/textctrl.h>
#include <wx/window.h>

#include <initializer_list>

namespace relaybird::desktop {

/// Spaces in pixels of a screen of ordinary density, between letters of the ordinary size.
inline constexpr int kGap = 6;
inline constexpr int kMargin = 12;

/// A length that grows with the letters of the window, for what stands beside them: as long as
/// given where they have the ordinary size, and never shorter. In pixels of a screen of ordinary
/// density, which bitmap bundles take.
int withLetters(const wxWindow& window, int pixels);

/// The same in pixels of the window's own screen.
int scaled(const wxWindow& window, int pixels);

/// A column or a row of windows, each as wide or as high as the place.
wxBoxSizer* column(const wxWindow& in, std::initializer_list<wxWindow*> windows);
wxBoxSizer* row(const wxWindow& in, std::initializer_list<wxWindow*> windows);

/// Two or four columns of labels and fields; the fields share what width there is.
wxFlexGridSizer* fieldGrid(const wxWindow& in, int columns);

/// Keeps a field of one line high enough for its text.
void leaveRoomForText(wxTextCtrl& field);

}  // namespace relaybird::desktop
