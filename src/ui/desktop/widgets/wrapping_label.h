// SPDX-License-Identifier: MIT
#pragma once

#include <wx/stattext.h>

namespace relaybird::desktop {

/// A text with its lines wrapped at a comfortable length; longer words are broken anywhere. The
/// widget is as wide as its longest line, so nothing is cut off.
class WrappingLabel : public wxStaticText {
 public:
  /// Lines have up to `longestLine` average letters of the label's font, and at most 60 % of the
  /// screen's width.
  explicit WrappingLabel(wxWindow* parent, int longestLine = 64);
  /// Shows a plain text: "&" does not mark an access key. Lines may end in CR LF.
  void show(const wxString& text);

 private:
  wxString withBreaksInWords(const wxString& text, int limit) const;

  int longestLine_;
};

}  // namespace relaybird::desktop
