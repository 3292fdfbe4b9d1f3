// SPDX-License-Identifier: MIT
// All lengths scale with the font, not only with the resolution: users who need large letters need
// large pictures and distances too. The wrapping label breaks words that are longer than a line by
// itself, since the toolkit breaks lines at blanks only.
#include "ui/desktop/widgets/layout.h"

#include <wx/display.h>
#include <wx/tokenzr.h>

#include <algorithm>

namespace relaybird::desktop {
namespace {

// The width of a WrappingLabel at most, in per cent of the screen's width.
constexpr int kGreatestShare = 60;

}  // namespace

int scaledWithFont(const wxWindow& window, int pixels) {
  // The line height of a ten-point font at 96 dots per inch. Font families differ by a pixel or
  // two, so the factor is rounded to quarters: pictures look best in the sizes that they are drawn
  // for.
  constexpr int kOrdinaryHeight = 17;
  constexpr int kSteps = 4;
  const int quarters = wxRound(window.ToDIP(wxSize(0, window.GetCharHeight())).GetHeight() *
                               static_cast<double>(kSteps) / kOrdinaryHeight);
  return pixels * std::max(quarters, kSteps) / kSteps;
}

int scaled(const wxWindow& window, int pixels) {
  return window.FromDIP(scaledWithFont(window, pixels));
}

wxBoxSizer* column(const wxWindow& in, std::initializer_list<wxWindow*> windows) {
  auto* sizer = new wxBoxSizer(wxVERTICAL);
  bool first = true;
  // Expanded, so that windows of different widths line up at both sides.
  for (wxWindow* window : windows) {
    sizer->Add(window, wxSizerFlags().Expand().Border(first ? 0 : wxTOP, scaled(in, kGap)));
    first = false;
  }
  return sizer;
}

wxBoxSizer* row(const wxWindow& in, std::initializer_list<wxWindow*> windows) {
  auto* sizer = new wxBoxSizer(wxHORIZONTAL);
  bool first = true;
  for (wxWindow* window : windows) {
    sizer->Add(window,
               wxSizerFlags().CentreVertical().Border(first ? 0 : wxLEFT, scaled(in, kGap)));
    first = false;
  }
  return sizer;
}

wxFlexGridSizer* fieldGrid(const wxWindow& in, int columns) {
  auto* grid = new wxFlexGridSizer(columns, wxSize(scaled(in, kMargin), scaled(in, kGap)));
  for (int field = 1; field < columns; field += 2) {
    grid->AddGrowableCol(static_cast<std::size_t>(field), 1);
  }
  return grid;
}

// Why: a sizer leaves hidden windows out, so that the fields would move when a row appears.
void alignFields(std::initializer_list<wxFlexGridSizer*> grids) {
  const auto eachLabel = [&](const auto& act) {
    for (wxFlexGridSizer* grid : grids) {
      const auto columns = static_cast<std::size_t>(grid->GetCols());
      for (std::size_t place = 0; place < grid->GetItemCount(); place += columns) {
        act(*grid->GetItem(place)->GetWindow());
      }
    }
  };
  int widest = 0;
  eachLabel([&](wxWindow& label) { widest = std::max(widest, label.GetBestSize().GetWidth()); });
  eachLabel([&](wxWindow& label) { label.SetMinSize({widest, -1}); });
}

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

// Why: a letter may reach beyond its own width, and wxMSW would cut the end of the longest line.
wxSize WrappingLabel::DoGetBestSize() const {
  constexpr int kOverhang = 2;
  return wxStaticText::DoGetBestSize() + FromDIP(wxSize(kOverhang, 0));
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
