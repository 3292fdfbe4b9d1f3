// SPDX-License-Identifier: MIT
// Layout: the distances that all windows use, columns and rows, and a label that wraps its lines.
#pragma once

#include <wx/sizer.h>
#include <wx/stattext.h>
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

/// Lets the fields of several such grids begin at the same place, whichever of their rows are
/// visible: all labels of the first column become as wide as the widest.
void alignFields(std::initializer_list<wxFlexGridSizer*> grids);

/// A text with its lines wrapped at a comfortable length; longer words are broken anywhere. The
/// widget is as wide as its longest line, so nothing is cut off.
class WrappingLabel : public wxStaticText {
 public:
  /// Lines have up to `longestLine` average letters of the label's font, and at most 60 % of the
  /// screen's width.
  explicit WrappingLabel(wxWindow* parent, int longestLine = 64);
  /// Shows a plain text: "&" does not mark an access key. Lines may end in CR LF.
  void show(const wxString& text);

 protected:
  wxSize DoGetBestSize() const override;

 private:
  wxString withBreaksInWords(const wxString& text, int limit) const;

  int longestLine_;
};

}  // namespace relaybird::desktop
