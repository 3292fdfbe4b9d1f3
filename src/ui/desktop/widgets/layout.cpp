// SPDX-License-Identifier: MIT
#include "ui/desktop/widgets/layout.h"

#include <algorithm>

namespace relaybird::desktop {

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

// Why: the toolkit measures a field before the theme has styled it. With a large font the field
// would be too low for its text.
void leaveRoomForText(wxTextCtrl& field) {
  constexpr int kAroundText = 12;  // above and below, borders included
  const wxSize measured = field.GetEffectiveMinSize();
  const int height = field.GetCharHeight() + field.FromDIP(kAroundText);
  field.SetMinSize({measured.GetWidth(), std::max(measured.GetHeight(), height)});
}

}  // namespace relaybird::desktop
