// SPDX-License-Identifier: MIT
#include "ui/desktop/widgets/wrapping_label.h"

#include <wx/display.h>
#include <wx/tokenzr.h>

#include <algorithm>

namespace relaybird::desktop {
namespace {

// In per cent of the screen's width.
constexpr int kGreatestShare = 60;

}  // namespace

WrappingLabel::WrappingLabel(wxWindow* parent, int longestLine)
    : wxStaticText(parent, wxID_ANY, wxEmptyString), longestLine_(longestLine) {}

void WrappingLabel::show(const wxString& content) {
  const int screen = wxDisplay(GetParent()).GetClientArea().GetWidth();
  const int limit = std::min(longestLine_ * GetCharWidth(), screen * kGreatestShare / 100);
  wxString text = content;
  text.Replace("\r\n", "\n");
  SetLabelText(withBreaksInWords(text, limit));
  Wrap(limit);
  InvalidateBestSize();
  GetParent()->Layout();
}

// Why: wxStaticText::Wrap() breaks lines at spaces only. Inserts line breaks into longer words.
wxString WrappingLabel::withBreaksInWords(const wxString& text, int limit) const {
  wxString result;
  wxStringTokenizer words(text, " \n", wxTOKEN_RET_DELIMS);
  while (words.HasMoreTokens()) {
    wxString word = words.GetNextToken();
    std::size_t length = word.length();
    while (length > 1 && GetTextExtent(word.Left(length)).GetWidth() > limit) {
      // An estimate, since the widths of letters differ. Each round drops at least one letter.
      const int width = GetTextExtent(word.Left(length)).GetWidth();
      length =
          std::max<std::size_t>(1, std::min(length - 1, length * static_cast<std::size_t>(limit) /
                                                            static_cast<std::size_t>(width)));
      if (GetTextExtent(word.Left(length)).GetWidth() <= limit) {
        result += word.Left(length) + '\n';
        word = word.Mid(length);
        length = word.length();
      }
    }
    result += word;
  }
  return result;
}

}  // namespace relaybird::desktop
