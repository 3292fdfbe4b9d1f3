// SPDX-License-Identifier: MIT
// The appearance of the help window. wxHtmlWindow draws black on white unless a page sets colours,
// so a processor inserts the theme's colours into the body tag of every page as it is loaded. The
// pictures are our own drawings, scaled with the font.
#include "ui/desktop/help/help_looks.h"

#include <wx/html/helpwnd.h>
#include <wx/object.h>
// Why here: wx/html/htmlproc.h does not include the headers that it needs.
#include <wx/html/htmlproc.h>
#include <wx/html/htmlwin.h>
#include <wx/settings.h>
#include <wx/toolbar.h>
#include <wx/treectrl.h>

#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

constexpr int kLighterLink = 130;  // per cent of the lightness

bool onDark() {
  return wxSystemSettings::GetAppearance().IsUsingDarkBackground();
}

// Replaces the body tag of a page by one with the theme's colours.
class ThemeColours : public wxHtmlProcessor {
 public:
  wxString Process(const wxString& text) const override {
    const std::size_t begin = text.Lower().find("<body");
    const std::size_t end = begin == wxString::npos ? begin : text.find('>', begin);
    return end == wxString::npos ? text : text.substr(0, begin) + body() + text.substr(end + 1);
  }

 private:
  static wxString body() {
    return "<body bgcolor=\"" + code(wxSYS_COLOUR_WINDOW) + "\" text=\"" +
           code(wxSYS_COLOUR_WINDOWTEXT) + "\" link=\"" + linkCode() + "\">";
  }

  static wxString code(wxSystemColour colour) {
    return wxSystemSettings::GetColour(colour).GetAsString(wxC2S_HTML_SYNTAX);
  }

  // Some dark themes keep the link colour of the light theme, which is hard to read on dark.
  static wxString linkCode() {
    const wxColour link = wxSystemSettings::GetColour(wxSYS_COLOUR_HOTLIGHT);
    return (onDark() ? link.ChangeLightness(kLighterLink) : link).GetAsString(wxC2S_HTML_SYNTAX);
  }
};

// Reloads the open page and keeps the scroll position.
void reloadPage(wxHtmlWindow& page) {
  const wxString opened = page.GetOpenedPage();
  if (opened.empty()) {
    return;
  }
  const wxPoint place = page.GetViewStart();
  page.LoadPage(opened);
  page.Scroll(place);
}

struct ToolPicture {
  int tool;
  const char* name;
};

constexpr ToolPicture kTools[] = {
    {wxID_HTML_PANEL, "helpPanel"},     {wxID_HTML_BACK, "helpBack"},
    {wxID_HTML_FORWARD, "helpForward"}, {wxID_HTML_UPNODE, "helpUpLevel"},
    {wxID_HTML_UP, "helpPreviousPage"}, {wxID_HTML_DOWN, "helpNextPage"},
    {wxID_HTML_PRINT, "helpPrint"},     {wxID_HTML_OPTIONS, "helpOptions"}};

// In the toolkit's order, since topics refer to their pictures by index.
constexpr const char* kTopics[] = {"helpBook", "helpFolder", "helpPage"};

void showTools(wxToolBar& bar) {
  for (const auto& [tool, name] : kTools) {
    bar.SetToolNormalBitmap(tool, artBitmap(bar, name));
  }
  bar.InvalidateBestSize();
}

void showTopics(wxTreeCtrl& contents) {
  wxVector<wxBitmapBundle> pictures;
  for (const char* name : kTopics) {
    pictures.push_back(artBitmap(contents, name));
  }
  contents.SetImages(pictures);
  contents.SetIndent(
      static_cast<unsigned>(scaledWithFont(contents, static_cast<int>(contents.GetIndent()))));
}

}  // namespace

void followTheme(wxHtmlWindow& page) {
  page.AddProcessor(new ThemeColours);
  reloadPage(page);
  page.Bind(wxEVT_SYS_COLOUR_CHANGED, [&page](wxSysColourChangedEvent& event) {
    event.Skip();
    // Why later: the system colours change only after this event.
    page.CallAfter([&page] { reloadPage(page); });
  });
}

void showPictures(wxHtmlHelpWindow& help) {
  showTools(*help.GetToolBar());
  showTopics(*help.GetTreeCtrl());
}

}  // namespace relaybird::desktop
