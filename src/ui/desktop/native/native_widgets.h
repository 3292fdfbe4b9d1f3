// SPDX-License-Identifier: MIT
// Properties of widgets that wxWidgets does not offer. The headers of this folder are implemented
// once for each platform, in the platform's folder (gtk/). All calls belong on the user-interface
// thread.
#pragma once

#include <wx/button.h>
#include <wx/hyperlink.h>
#include <wx/statbox.h>
#include <wx/textctrl.h>
#include <wx/toolbar.h>
#include <wx/toplevel.h>
#include <wx/window.h>

#include <string>

namespace relaybird::desktop {

/// Sets the widget's name in the accessibility tree. An empty name changes nothing.
void setAccessibleName(wxWindow& window, const std::string& name);

/// Sets the widget's description in the accessibility tree, in place of an earlier one.
void setAccessibleDescription(wxWindow& window, const std::string& text);

/// Makes a label, the title of a frame, or a check box the accessible label of `named` only; null
/// makes it the label of no widget. Without this call the toolkit uses every label and title as the
/// name of the next widget that takes the focus.
void setLabelFor(wxWindow& label, wxWindow* named);

/// Roles in the accessibility tree that the toolkit does not set itself.
enum class AccessibleRole { kAlert, kDialog, kLink, kList };
void setAccessibleRole(wxWindow& window, AccessibleRole role);

/// Names each tool of a tool bar after its tool tip.
void nameTools(wxToolBar& bar);

/// Sets the margin around the text of a multi-line field, in pixels.
void setTextMargin(wxWindow& field, int pixels);

/// Makes a field of one line high enough for its text.
void leaveRoomForText(wxTextCtrl& field);

/// Centres the caption of a button vertically beside its picture. Call it again after the caption
/// or the picture was replaced.
void centreCaption(wxButton& button);

/// Indents the title of a frame from the corner by at least that many pixels, at any size of the
/// frame.
void indentTitle(wxStaticBox& frame, int pixels);

/// Sets the colour of a link's text, in place of the theme's. Call it again after the text was
/// replaced.
void setLinkColour(wxHyperlinkCtrl& link, const wxColour& colour);

/// Shows the scroll bars permanently beside the content, not as overlays.
void showScrollBars(wxWindow& window);

/// If `modal`, the dialog stays above its owner and takes all input; otherwise it stops doing so.
void setModalOver(wxTopLevelWindow& dialog, wxTopLevelWindow& owner, bool modal);

/// Lets the window take input while a dialog is modal.
void exemptFromModality(wxTopLevelWindow& window);

/// Whether the window manager announces that it can minimise windows.
bool windowsCanBeMinimised();

/// Whether a program can set the position of its windows.
bool programsPlaceWindows();

/// Closes the dialogs that the platform runs itself (file dialogs), as their Cancel button would.
void cancelNativeDialogs();

/// Puts UTF-8 text on the clipboard. When the program ends, the desktop's clipboard manager takes
/// the text over. Returns false if the clipboard cannot be taken now. (wxClipboard is not used: it
/// clears the clipboard at exit, even if another program has filled it since.)
bool putOnClipboard(const std::string& text);

}  // namespace relaybird::desktop
