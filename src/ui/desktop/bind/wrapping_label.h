// SPDX-License-Identifier: MIT
#pragma once

#include <wx/stattext.h>

namespace relaybird::desktop {

/// A text that breaks its lines where they would be too long to read with ease. Its window is never
/// narrower than that, so nothing is cut off.
class WrappingLabel : public wxStaticText {
 public:
  explicit WrappingLabel(wxWindow* parent);
  /// Shows a text as it is: "&" marks nothing in it. Its lines may end in CR LF.
  void show(const wxString& text);
};

}  // namespace relaybird::desktop
