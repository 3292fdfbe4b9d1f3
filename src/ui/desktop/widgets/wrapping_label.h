// SPDX-License-Identifier: MIT
#pragma once

#include <wx/stattext.h>

namespace relaybird::desktop {

/// A text that breaks its lines where they would be too long to read with ease, and words that are
/// longer than that anywhere. Its window is never narrower than a line, so nothing is cut off.
class WrappingLabel : public wxStaticText {
 public:
  /// Lines have up to `longestLine` average letters of the label's own font, and are never longer
  /// than the better part of the screen.
  explicit WrappingLabel(wxWindow* parent, int longestLine = 64);
  /// Shows a text as it is: "&" marks nothing in it. Its lines may end in CR LF.
  void show(const wxString& text);

 private:
  wxString withBreaksInWords(const wxString& text, int limit) const;

  int longestLine_;
};

}  // namespace relaybird::desktop
