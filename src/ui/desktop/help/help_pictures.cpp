// SPDX-License-Identifier: MIT
#include "ui/desktop/help/help_pictures.h"

#include <wx/html/helpwnd.h>
#include <wx/toolbar.h>
#include <wx/treectrl.h>

#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

struct ToolPicture {
  int tool;
  const char* name;
};

constexpr ToolPicture kTools[] = {
    {wxID_HTML_PANEL, "helpPanel"},     {wxID_HTML_BACK, "helpBack"},
    {wxID_HTML_FORWARD, "helpForward"}, {wxID_HTML_UPNODE, "helpUpLevel"},
    {wxID_HTML_UP, "helpPreviousPage"}, {wxID_HTML_DOWN, "helpNextPage"},
    {wxID_HTML_PRINT, "helpPrint"},     {wxID_HTML_OPTIONS, "helpOptions"}};

// In the toolkit's order: a topic knows its picture by the number.
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
      static_cast<unsigned>(withLetters(contents, static_cast<int>(contents.GetIndent()))));
}

}  // namespace

void showPictures(wxHtmlHelpWindow& help) {
  showTools(*help.GetToolBar());
  showTopics(*help.GetTreeCtrl());
}

}  // namespace relaybird::desktop
