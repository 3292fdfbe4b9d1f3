// SPDX-License-Identifier: MIT
#include "ui/desktop/bind/wrapping_label.h"

namespace relaybird::desktop {
namespace {

/// In average letters of the label's own font.
constexpr int kLongestLine = 64;

}  // namespace

WrappingLabel::WrappingLabel(wxWindow* parent) : wxStaticText(parent, wxID_ANY, wxEmptyString) {}

void WrappingLabel::show(const wxString& content) {
  wxString text = content;
  text.Replace("\r\n", "\n");
  SetLabelText(text);
  if (GetTextExtent(text).GetWidth() > kLongestLine * GetCharWidth()) {
    Wrap(kLongestLine * GetCharWidth());
  }
  InvalidateBestSize();
  GetParent()->Layout();
}

}  // namespace relaybird::desktop
