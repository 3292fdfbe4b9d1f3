// SPDX-License-Identifier: MIT
// Adapts the window that wxHtmlHelpController builds. Its parts are found by their window ids and
// types, since the class offers no other access.
//
// Accessibility: names for parts that have none, and no labels from texts that only count hits.
// Size: large enough for a page beside the contents. Search: the toolkit's own search opens a
// progress window and reports nothing; ours states the number of pages found. Colours: wxHtmlWindow
// draws black on white unless a page sets colours, so a processor inserts the theme's colours into
// the body tag of every page as it is loaded. Pictures: our own drawings, scaled with the font; the
// toolkit's have one fixed size.
#include "ui/desktop/help/help_frame.h"

#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/display.h>
#include <wx/frame.h>
#include <wx/html/helpdata.h>
#include <wx/html/helpwnd.h>
#include <wx/object.h>
// Why here: wx/html/htmlproc.h does not include the headers that it needs.
#include <wx/html/htmlproc.h>
#include <wx/html/htmlwin.h>
#include <wx/listbox.h>
#include <wx/notebook.h>
#include <wx/settings.h>
#include <wx/sizer.h>
#include <wx/splitter.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/toolbar.h>
#include <wx/treectrl.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/widgets/art.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

// The size of a page that is comfortable to read, in average letters and in lines.
constexpr int kPageColumns = 90;
constexpr int kPageLines = 40;
// The margins around the name on a tab, and around a list inside its page; in device-independent
// pixels.
constexpr int kTabMargin = 40;
constexpr int kListMargin = 16;

// The part of the window with that id, or null.
template <class Part>
Part* part(wxWindow& help, int id) {
  return dynamic_cast<Part*>(help.FindWindow(id));
}

// The static texts show counts. They must not become the accessible labels of other controls.
void unlabelTexts(wxWindow& window) {
  for (wxWindow* child : window.GetChildren()) {
    if (dynamic_cast<wxStaticText*>(child) != nullptr) {
      setLabelFor(*child, nullptr);
    } else if (child != nullptr) {
      unlabelTexts(*child);
    }
  }
}

// Names the controls of the options dialog. Why by position: the toolkit creates all labels first
// and then the controls in the same order, without any link between them.
void nameOptions(wxWindow& options) {
  setAccessibleRole(options, AccessibleRole::kDialog);
  std::vector<wxWindow*> labels;
  std::vector<wxWindow*> named;
  for (wxWindow* child : options.GetChildren()) {
    if (dynamic_cast<wxStaticText*>(child) != nullptr) {
      labels.push_back(child);
    } else if (dynamic_cast<wxButton*>(child) == nullptr) {
      named.push_back(child);
    }
  }
  for (std::size_t part = 0; part < std::min(labels.size(), named.size()); ++part) {
    setLabelFor(*labels[part], named[part]);
    setAccessibleName(*named[part], std::string(labels[part]->GetLabel().utf8_str()));
  }
}

// The options dialog is created when its tool is pressed, and is modal: its controls are named by
// an event that runs inside the dialog's own loop.
void nameOptionsWhenOpened(wxHtmlHelpWindow& help) {
  help.Bind(
      wxEVT_TOOL,
      [&help](wxCommandEvent& event) {
        event.Skip();
        help.CallAfter([&help] {
          for (wxWindow* child : help.GetChildren()) {
            if (dynamic_cast<wxDialog*>(child) != nullptr) {
              nameOptions(*child);
            }
          }
        });
      },
      wxID_HTML_OPTIONS);
}

void nameParts(wxHtmlHelpWindow& help) {
  nameTools(*help.GetToolBar());
  setAccessibleName(*help.GetHtmlWindow(), "Page");
  setAccessibleName(*help.GetTreeCtrl(), "Contents");
  static constexpr struct {
    int id;
    const char* name;
  } kNames[] = {{wxID_HTML_INDEXTEXT, "Find in the index"},
                {wxID_HTML_INDEXLIST, "Index"},
                {wxID_HTML_SEARCHTEXT, "Search for"},
                {wxID_HTML_SEARCHCHOICE, "Search in"},
                {wxID_HTML_SEARCHLIST, "Pages found"}};
  for (const auto& [id, name] : kNames) {
    if (auto* named = part<wxWindow>(help, id)) {
      setAccessibleName(*named, name);
    }
  }
}

void leaveRoomInFields(wxHtmlHelpWindow& help) {
  for (const int id : {wxID_HTML_INDEXTEXT, wxID_HTML_SEARCHTEXT}) {
    if (auto* field = part<wxTextCtrl>(help, id)) {
      leaveRoomForText(*field);
    }
  }
}

int widthOfTabs(const wxBookCtrlBase& tabs) {
  int width = 0;
  for (std::size_t tab = 0; tab < tabs.GetPageCount(); ++tab) {
    width += tabs.GetTextExtent(tabs.GetPageText(tab)).x + tabs.FromDIP(kTabMargin);
  }
  return width;
}

int widthOfTopics(wxTreeCtrl& contents) {
  // All topics count; the quick way looks at the first and the last one only.
  contents.SetQuickBestSize(false);
  contents.InvalidateBestSize();
  return contents.GetBestSize().x + contents.FromDIP(kListMargin) +
         std::max(0, wxSystemSettings::GetMetric(wxSYS_VSCROLL_X, &contents));
}

// Why: the toolkit lays a tab out when it is first shown. Until then its lists are too small for
// their scroll bars, and GTK prints warnings.
void layOutTabs(const wxBookCtrlBase& tabs, const wxSize& size) {
  for (std::size_t tab = 0; tab < tabs.GetPageCount(); ++tab) {
    if (wxSizer* parts = tabs.GetPage(tab)->GetSizer()) {
      parts->SetDimension(wxPoint(0, 0), size);
    }
  }
}

// Makes the window large enough for a page beside the full contents, within the screen. On a small
// screen the contents shrink in favour of the page, but never below the width of the tabs.
void giveRoom(wxFrame& frame, wxHtmlHelpWindow& help) {
  wxTreeCtrl& contents = *help.GetTreeCtrl();
  contents.ExpandAll();
  const auto* tabs = part<wxNotebook>(help, wxID_HTML_NOTEBOOK);
  const int least = tabs == nullptr ? 0 : std::max(widthOfTabs(*tabs), tabs->GetBestSize().x);
  const int beside = std::max(widthOfTopics(contents), least);
  wxSize size(beside + kPageColumns * frame.GetCharWidth(), kPageLines * frame.GetCharHeight());
  size.DecTo(wxDisplay(&frame).GetClientArea().GetSize());
  frame.SetSize(size);
  frame.SendSizeEvent();  // the toolkit sends none if the size is the one it remembered
  frame.CentreOnParent();
  help.GetSplitterWindow()->SetSashPosition(std::max(std::min(beside, size.x / 2), least));
  contents.EnsureVisible(contents.GetRootItem());
  if (tabs != nullptr) {
    layOutTabs(*tabs, {beside, size.y / 2});
  }
}

// Ignores size events for sizes too small for the tool bar. Why: when wxGTK learns the width of the
// window manager's borders late, it makes the window one pixel high for a moment. Laying out parts
// in that height makes GTK print warnings.
void ignoreTinySizes(wxHtmlHelpWindow& help) {
  help.Bind(wxEVT_SIZE, [&help](wxSizeEvent& event) {
    const int least = help.GetToolBar()->GetBestSize().y;
    event.Skip(event.GetSize().x > least && event.GetSize().y > least);
  });
}

// Handled before the focused part sees the key: some parts consume Escape without effect.
void closeByKeys(wxFrame& frame) {
  frame.Bind(wxEVT_CHAR_HOOK, [&frame](wxKeyEvent& event) {
    const bool escape = event.GetKeyCode() == WXK_ESCAPE && !event.HasAnyModifiers();
    if (escape || (event.GetKeyCode() == 'W' && event.GetModifiers() == wxMOD_CONTROL)) {
      frame.Close();
    } else {
      event.Skip();
    }
  });
}

std::string countOf(unsigned int pages) {
  if (pages == 0) {
    return "Nothing found";
  }
  return pages == 1 ? "1 page found" : std::to_string(pages) + " pages found";
}

// The toolkit lists a page once for each of its entries in the contents. Keeps the last entry,
// which is the deepest one and carries the page's own name.
void removeDuplicateHits(wxListBox& hits) {
  std::set<wxString> seen;
  for (unsigned int hit = hits.GetCount(); hit-- > 0;) {
    const auto* topic = static_cast<const wxHtmlHelpDataItem*>(hits.GetClientData(hit));
    if (topic != nullptr && !seen.insert(topic->GetFullPath().BeforeFirst('#')).second) {
      hits.Delete(hit);
    }
  }
}

// Runs the toolkit's search and reports the number of pages found.
void search(wxHtmlHelpWindow& help, wxTextCtrl& words, wxListBox& hits, wxStaticText& outcome) {
  const wxString wanted = words.GetValue().Trim(true).Trim(false);
  if (wanted.empty()) {
    return;
  }
  // Cleared first, so that screen readers announce the result even if it is the same as before.
  setAccessibleDescription(words, "");
  help.KeywordSearch(wanted);  // opens the first page found
  removeDuplicateHits(hits);
  if (!hits.IsEmpty()) {
    hits.SetSelection(0);
  }
  const std::string count = countOf(hits.GetCount());
  outcome.SetLabel(count);
  outcome.Show();
  outcome.GetParent()->Layout();
  // Why: the toolkit's progress window took the focus. Screen readers announce changes only of the
  // focused control, so the result is set as the description of the search field.
  words.SetFocus();
  words.SelectAll();
  setAccessibleDescription(words, count);
}

void reportHits(wxHtmlHelpWindow& help) {
  auto* words = part<wxTextCtrl>(help, wxID_HTML_SEARCHTEXT);
  auto* hits = part<wxListBox>(help, wxID_HTML_SEARCHLIST);
  wxSizer* sizer = hits == nullptr ? nullptr : hits->GetContainingSizer();
  if (words == nullptr || sizer == nullptr) {
    return;
  }
  auto* outcome = new wxStaticText(hits->GetParent(), wxID_ANY, "");
  outcome->Hide();
  sizer->Insert(sizer->GetItemCount() - 1, outcome, wxSizerFlags().Expand().Border());
  const auto find = [&help, words, hits, outcome](wxCommandEvent&) {
    search(help, *words, *hits, *outcome);
  };
  help.Bind(wxEVT_BUTTON, find, wxID_HTML_SEARCHBUTTON);
  help.Bind(wxEVT_TEXT_ENTER, find, wxID_HTML_SEARCHTEXT);
}

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

// Shows the pages in the colours of the theme, also after the theme changes.
void followTheme(wxHtmlWindow& page) {
  // The toolkit owns the processor.
  page.AddProcessor(new ThemeColours);
  reloadPage(page);
  page.Bind(wxEVT_SYS_COLOUR_CHANGED, [&page](wxSysColourChangedEvent& event) {
    event.Skip();
    // Why later: the system colours change only after this event.
    page.CallAfter([&page] { reloadPage(page); });
  });
}

// Replaces the pictures of the tools and of the topics by our own.
void showPictures(wxHtmlHelpWindow& help) {
  showTools(*help.GetToolBar());
  showTopics(*help.GetTreeCtrl());
}

}  // namespace

void adaptHelpFrame(wxFrame& frame, wxHtmlHelpWindow& help) {
  frame.SetName("help");
  nameParts(help);
  reportHits(help);
  unlabelTexts(help);
  nameOptionsWhenOpened(help);
  followTheme(*help.GetHtmlWindow());
  leaveRoomInFields(help);
  showPictures(help);
  giveRoom(frame, help);
  ignoreTinySizes(help);
  closeByKeys(frame);
  exemptFromModality(frame);
}

}  // namespace relaybird::desktop
