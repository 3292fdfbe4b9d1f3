// SPDX-License-Identifier: MIT
#include "ui/desktop/help/help_frame.h"

#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/display.h>
#include <wx/frame.h>
#include <wx/html/helpdata.h>
#include <wx/html/helpwnd.h>
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

#include "ui/desktop/help/help_looks.h"
#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/widgets/layout.h"

namespace relaybird::desktop {
namespace {

// What a page is comfortably read in, in letters of ordinary text.
constexpr int kPageColumns = 90;
constexpr int kPageLines = 40;
// Around the name on a tab, and around a list inside of its page; device-independent pixels.
constexpr int kTabMargin = 40;
constexpr int kListMargin = 16;

// The toolkit hands out its parts by their numbers.
template <class Part>
Part* part(wxWindow& help, int id) {
  return dynamic_cast<Part*>(help.FindWindow(id));
}

// They count what is found, and name nothing.
void unlabel(wxWindow& window) {
  for (wxWindow* child : window.GetChildren()) {
    if (dynamic_cast<wxStaticText*>(child) != nullptr) {
      setLabelFor(*child, nullptr);
    } else if (child != nullptr) {
      unlabel(*child);
    }
  }
}

// The toolkit makes all labels of its options first, and then what they name, in their order.
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

// They are made when they are asked for, and stand until they are answered.
void nameOptionsOnceThere(wxHtmlHelpWindow& help) {
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
  contents.SetQuickBestSize(false);
  contents.InvalidateBestSize();
  return contents.GetBestSize().x + contents.FromDIP(kListMargin) +
         std::max(0, wxSystemSettings::GetMetric(wxSYS_VSCROLL_X, &contents));
}

// The toolkit lays a tab out when it is first seen. Until then its lists would be too small for
// their own scroll bars.
void layOutTabs(const wxBookCtrlBase& tabs, const wxSize& size) {
  for (std::size_t tab = 0; tab < tabs.GetPageCount(); ++tab) {
    if (wxSizer* parts = tabs.GetPage(tab)->GetSizer()) {
      parts->SetDimension(wxPoint(0, 0), size);
    }
  }
}

// Large enough for a page beside all names of the contents, as far as the screen is. Where that is
// too small, the contents give way to the page, but not the tabs.
void giveRoom(wxFrame& frame, wxHtmlHelpWindow& help) {
  wxTreeCtrl& contents = *help.GetTreeCtrl();
  contents.ExpandAll();
  const auto* tabs = part<wxNotebook>(help, wxID_HTML_NOTEBOOK);
  const int least = tabs == nullptr ? 0 : std::max(widthOfTabs(*tabs), tabs->GetBestSize().x);
  const int beside = std::max(widthOfTopics(contents), least);
  wxSize size(beside + kPageColumns * frame.GetCharWidth(), kPageLines * frame.GetCharHeight());
  size.DecTo(wxDisplay(&frame).GetClientArea().GetSize());
  frame.SetSize(size);
  frame.SendSizeEvent();  // also where the toolkit has remembered that size
  frame.CentreOnParent();
  help.GetSplitterWindow()->SetSashPosition(std::max(std::min(beside, size.x / 2), least));
  contents.EnsureVisible(contents.GetRootItem());
  if (tabs != nullptr) {
    layOutTabs(*tabs, {beside, size.y / 2});
  }
}

// Now and then the toolkit makes the window a pixel high for a moment, before it is shown: when it
// learns only then how wide the window manager's borders are. Parts that were laid out in that
// would complain.
void layOutWhereThereIsRoom(wxHtmlHelpWindow& help) {
  help.Bind(wxEVT_SIZE, [&help](wxSizeEvent& event) {
    const int least = help.GetToolBar()->GetBestSize().y;
    event.Skip(event.GetSize().x > least && event.GetSize().y > least);
  });
}

// Also where the keys are in a part that takes Escape itself, and does nothing with it.
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

// The toolkit lists a page once for each of its places in the contents; the last, deepest one
// stays, which has the page's own name.
void dropSecondHits(wxListBox& hits) {
  std::set<wxString> seen;
  for (unsigned int hit = hits.GetCount(); hit-- > 0;) {
    const auto* topic = static_cast<const wxHtmlHelpDataItem*>(hits.GetClientData(hit));
    if (topic != nullptr && !seen.insert(topic->GetFullPath().BeforeFirst('#')).second) {
      hits.Delete(hit);
    }
  }
}

// Searches as the toolkit does, and says what came of it.
void search(wxHtmlHelpWindow& help, wxTextCtrl& words, wxListBox& hits, wxStaticText& outcome) {
  const wxString wanted = words.GetValue().Trim(true).Trim(false);
  if (wanted.empty()) {
    return;
  }
  // The same again is said again.
  setAccessibleDescription(words, "");
  help.KeywordSearch(wanted);  // opens the first page found
  dropSecondHits(hits);
  if (!hits.IsEmpty()) {
    hits.SetSelection(0);
  }
  const std::string count = countOf(hits.GetCount());
  outcome.SetLabel(count);
  outcome.Show();
  outcome.GetParent()->Layout();
  // The toolkit's own window for the search took the keys away. Assistive tools tell what changes
  // where they are.
  words.SetFocus();
  words.SelectAll();
  setAccessibleDescription(words, count);
}

void tellWhatIsFound(wxHtmlHelpWindow& help) {
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

}  // namespace

void finishHelpFrame(wxFrame& frame, wxHtmlHelpWindow& help) {
  frame.SetName("help");
  nameParts(help);
  tellWhatIsFound(help);
  unlabel(help);
  nameOptionsOnceThere(help);
  followTheme(*help.GetHtmlWindow());
  leaveRoomInFields(help);
  showPictures(help);
  giveRoom(frame, help);
  layOutWhereThereIsRoom(help);
  closeByKeys(frame);
  setApart(frame);
}

}  // namespace relaybird::desktop
