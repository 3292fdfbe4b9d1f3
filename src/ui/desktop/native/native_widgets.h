// SPDX-License-Identifier: MIT
// What the toolkit leaves to the platform in its widgets. Each platform's folder implements what
// the headers of this one declare.
#pragma once

#include <wx/button.h>
#include <wx/hyperlink.h>
#include <wx/statbox.h>
#include <wx/toolbar.h>
#include <wx/toplevel.h>
#include <wx/window.h>

#include <string>

namespace relaybird::desktop {

/// Gives the widget a name in the accessibility tree; empty leaves its own.
void setAccessibleName(wxWindow& window, const std::string& name);

/// Tells more of the widget than its name; replaces what was told before.
void setAccessibleDescription(wxWindow& window, const std::string& text);

/// Makes a label, the title of a frame, or a check box the name of `named` and of nothing else;
/// null: of nothing at all. Unless it is told so, the toolkit takes every label and every title for
/// the name of whatever takes keys behind it.
void setLabelFor(wxWindow& label, wxWindow* named);

/// What the toolkit does not know of a widget that it made.
enum class AccessibleRole { kAlert, kDialog, kLink, kList };
void setAccessibleRole(wxWindow& window, AccessibleRole role);

/// Gives each tool of a bar the name that its tip shows.
void nameTools(wxToolBar& bar);

/// Leaves that many pixels around the text of a field of several lines.
void setTextMargin(wxWindow& field, int pixels);

/// Puts the caption of a button on the middle of the picture that stands beside it. Holds until
/// either of them is exchanged.
void centreCaption(wxButton& button);

/// Keeps the title of a frame clear of its corner, by that many pixels at least, whatever the size
/// of the frame.
void indentTitle(wxStaticBox& frame, int pixels);

/// Gives the text of a link that colour, in place of the theme's. Holds until the text is
/// exchanged.
void setLinkColour(wxHyperlinkCtrl& link, const wxColour& colour);

/// Keeps the scroll bars in sight, beside the content.
void showScrollBars(wxWindow& window);

/// While `modal`, the dialog stands over its owner and takes all of its input.
void setModalOver(wxTopLevelWindow& dialog, wxTopLevelWindow& owner, bool modal);

/// The window takes input also while a dialog is modal.
void setApart(wxTopLevelWindow& window);

/// Whether this desktop says that it can minimise windows.
bool windowsCanBeMinimised();

/// Closes the dialogs that the platform runs itself, as their Cancel would.
void cancelNativeDialogs();

/// Puts UTF-8 text on the clipboard; at the end of the program whatever keeps the clipboard of
/// programs that end gets it. False when the clipboard is not to be had now. The toolkit's own
/// clipboard would be emptied by its end, whoever has put something there since.
bool putOnClipboard(const std::string& text);

}  // namespace relaybird::desktop
