// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/box_parts.h"

#include <wx/button.h>
#include <wx/display.h>
#include <wx/scrolwin.h>
#include <wx/settings.h>

#include <map>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"
#include "ui/desktop/widgets/text.h"
#include "ui/desktop/widgets/wrapping_label.h"

namespace relaybird::desktop {
namespace {

// An address of usual length stands in one line behind its number.
constexpr int kLongestLine = 76;
// In hundredths of the screen's height.
constexpr int kHighestText = 60;

// The first button keeps the focus.
void scrollByKeys(wxDialog& box, wxScrolledWindow& text) {
  static const std::map<int, wxEventType> kKeys{
      {WXK_UP, wxEVT_SCROLLWIN_LINEUP},     {WXK_DOWN, wxEVT_SCROLLWIN_LINEDOWN},
      {WXK_PAGEUP, wxEVT_SCROLLWIN_PAGEUP}, {WXK_PAGEDOWN, wxEVT_SCROLLWIN_PAGEDOWN},
      {WXK_HOME, wxEVT_SCROLLWIN_TOP},      {WXK_END, wxEVT_SCROLLWIN_BOTTOM}};
  box.Bind(wxEVT_CHAR_HOOK, [&text](wxKeyEvent& event) {
    const auto key = kKeys.find(event.GetKeyCode());
    if (key == kKeys.end()) {
      event.Skip();
      return;
    }
    wxScrollWinEvent scroll(key->second, 0, wxVERTICAL);
    scroll.SetEventObject(&text);
    text.ProcessWindowEvent(scroll);
  });
}

WrappingLabel* makeLabel(wxWindow* parent, const std::string& text) {
  auto* label = new WrappingLabel(parent, kLongestLine);
  setLabelFor(*label, nullptr);
  label->show(toWx(text));
  return label;
}

}  // namespace

wxWindow* makeBoxText(wxDialog& box, const std::string& text) {
  WrappingLabel* label = makeLabel(&box, text);
  const int highest = wxDisplay(&box).GetClientArea().GetHeight() * kHighestText / 100;
  const wxSize size = label->GetBestSize();
  if (size.GetHeight() <= highest) {
    return label;
  }
  label->Destroy();
  auto* frame = new wxScrolledWindow(&box, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                                     wxVSCROLL | wxBORDER_THEME);
  auto* inside = new wxBoxSizer(wxVERTICAL);
  inside->Add(makeLabel(frame, text), wxSizerFlags().Border(wxALL, scaled(box, kGap)));
  frame->SetSizer(inside);
  frame->SetScrollRate(0, frame->GetCharHeight());
  showScrollBars(*frame);
  const int bar = wxSystemSettings::GetMetric(wxSYS_VSCROLL_X, frame);
  frame->SetMinSize({inside->CalcMin().GetWidth() + bar + scaled(box, kGap), highest});
  frame->FitInside();
  scrollByKeys(box, *frame);
  return frame;
}

wxSizer* makeBoxButtons(wxDialog& box, const std::vector<BoxAnswer>& answers) {
  auto* sizer = new wxBoxSizer(wxHORIZONTAL);
  int position = 0;
  for (const BoxAnswer answer : answers) {
    auto* button = new wxButton(&box, wxID_ANY, "&" + toWx(answerText(answer)));
    button->Bind(wxEVT_BUTTON, [&box, position](wxCommandEvent&) { box.EndModal(position); });
    sizer->Add(button, wxSizerFlags().Border(position == 0 ? 0 : wxLEFT, scaled(box, kGap)));
    if (position++ == 0) {
      button->SetDefault();
      button->SetFocus();
    }
  }
  return sizer;
}

void finishBox(wxDialog& box, wxSizer* content, wxSizer* buttons) {
  box.SetIcons(programIcons());
  auto* all = new wxBoxSizer(wxVERTICAL);
  all->Add(content, wxSizerFlags(1).Expand().Border(wxALL, scaled(box, kMargin)));
  all->Add(buttons,
           wxSizerFlags().Right().Border(wxLEFT | wxRIGHT | wxBOTTOM, scaled(box, kMargin)));
  box.SetSizerAndFit(all);
  box.CentreOnParent();
  box.Bind(wxEVT_CLOSE_WINDOW, [&box](wxCloseEvent&) { box.EndModal(kNoAnswer); });
  box.Bind(wxEVT_CHAR_HOOK, [&box](wxKeyEvent& event) {
    if (event.GetKeyCode() == WXK_ESCAPE) {
      box.EndModal(kNoAnswer);
    } else {
      event.Skip();
    }
  });
}

}  // namespace relaybird::desktop
