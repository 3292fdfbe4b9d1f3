// SPDX-License-Identifier: MIT
// The views of list boxes (the log) and of combo boxes.
//
// The log may have a million lines. The list is virtual: the toolkit asks for the text of the
// visible lines only, and the selection is collected from the widget once per burst of events. Why
// collected at all: selecting a range raises no event with its positions.
//
// Accessibility: wxGTK draws this list itself and exposes no lines to assistive tools. The current
// line is therefore set as the description of the widget that has the focus.
#include "ui/desktop/views/widget_view.h"

#include <wx/choice.h>
#include <wx/listctrl.h>

#include <algorithm>
#include <set>
#include <utility>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/views/menu_view.h"

namespace relaybird::desktop {
namespace {

// Asks the control for the visible lines only, so that the cost does not depend on the length of
// the list.
class VirtualLines : public wxListCtrl {
 public:
  VirtualLines(wxWindow* parent, const Control& control)
      : wxListCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                   wxLC_REPORT | wxLC_VIRTUAL | wxLC_NO_HEADER),
        control_(control) {
    AppendColumn(wxEmptyString);
  }

 private:
  wxString OnGetItemText(long item, long) const override {
    const auto position = static_cast<std::size_t>(item);
    return position < control_.list().size() ? plainLine(control_.list()[position]) : wxString();
  }

  const Control& control_;
};

class ListView : public WidgetView {
 public:
  ListView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style), lines_(new VirtualLines(parent, control)) {
    for (const auto& type : {wxEVT_LIST_ITEM_SELECTED, wxEVT_LIST_ITEM_DESELECTED}) {
      lines_->Bind(type, [this](wxListEvent&) { selectionMayChange(); });
    }
    for (const auto& type : {wxEVT_LEFT_DOWN, wxEVT_LEFT_UP}) {
      lines_->Bind(type, [this](wxMouseEvent& event) {
        event.Skip();
        selectionMayChange();
      });
    }
    lines_->Bind(wxEVT_KILL_FOCUS, [this](wxFocusEvent& event) {
      event.Skip();
      sendSelection();
    });
    lines_->Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) { key(event); });
    lines_->Bind(wxEVT_CHAR, [](wxKeyEvent& event) { event.Skip(!searchesPrefix(event)); });
    lines_->Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
      event.Skip();
      fitColumn();
    });
    for (const auto& type : {wxEVT_LIST_ITEM_FOCUSED, wxEVT_LIST_ITEM_SELECTED}) {
      lines_->Bind(type, [this](wxListEvent& event) {
        event.Skip();
        describeLine(event.GetIndex());
      });
    }
    lines_->Bind(wxEVT_CONTEXT_MENU, [this](wxContextMenuEvent& event) { openContextMenu(event); });
    setAccessibleName(*lines_, accessibleName());
    for (wxWindow* inside : lines_->GetChildren()) {
      inside->Bind(wxEVT_MOTION, [this, inside](wxMouseEvent& event) {
        event.Skip();
        showLineTip(*inside, event.GetPosition());
      });
      setAccessibleName(*inside, accessibleName());
      setAccessibleRole(*inside, AccessibleRole::kList);
    }
  }
  wxWindow* window() const override { return lines_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kListEntryAdded || what == Change::kListCleared) {
      showLines();
    } else if (what == Change::kListExtent) {
      fitColumn();
    } else if (what == Change::kListSelection && !sendingSelection_) {
      showSelection();
    }
  }

 private:
  // Whether the toolkit would take the key as the start of a search by prefix. It is suppressed:
  // the search walks through all lines, and every line starts with a date.
  static bool searchesPrefix(const wxKeyEvent& event) {
    return !event.HasModifiers() && event.GetKeyCode() > WXK_SPACE &&
           event.GetKeyCode() < WXK_DELETE;
  }

  // Why: the toolkit draws the lines itself, so assistive tools know of no line but by this text.
  void describeLine(long position) {
    const auto line = static_cast<std::size_t>(position);
    if (position >= 0 && line < control_.list().size()) {
      for (wxWindow* inside : lines_->GetChildren()) {
        setAccessibleDescription(*inside, fromWx(plainLine(control_.list()[line])));
      }
    }
  }

  // Scrolls to a new line only if the end of the list was visible, so that a user who reads further
  // up is not disturbed.
  void showLines() {
    const long before = lines_->GetItemCount();
    const bool atEnd = lines_->GetTopItem() + lines_->GetCountPerPage() >= before;
    const auto count = static_cast<long>(control_.list().size());
    lines_->SetItemCount(count);
    if (atEnd && count > 0) {
      lines_->EnsureVisible(count - 1);
    }
    lines_->Refresh();
  }

  void fitColumn() {
    const int width = std::max(control_.horizontalExtent(), lines_->GetClientSize().GetWidth());
    if (lines_->GetColumnWidth(0) != width) {
      lines_->SetColumnWidth(0, width);
    }
  }

  // Schedules one update of the form's selection. Why not at once: selecting a range raises no
  // event of its own, and collecting a million positions takes a while, so it is done once, after
  // the pending input.
  void selectionMayChange() {
    if (!std::exchange(selectionStale_, true)) {
      later(*lines_, [this] { sendSelection(); });
    }
  }

  void sendSelection() {
    if (!std::exchange(selectionStale_, false)) {
      return;
    }
    std::set<std::size_t> positions;
    long item = -1;
    for (int left = lines_->GetSelectedItemCount(); left > 0; --left) {
      item = lines_->GetNextItem(item, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED);
      positions.insert(positions.end(), static_cast<std::size_t>(item));
    }
    sendingSelection_ = true;
    control_.setSelection(std::move(positions));
    sendingSelection_ = false;
  }

  // Shows the form's selection in the widget and scrolls to its first line.
  void showSelection() {
    selectionStale_ = false;
    lines_->SetItemState(-1, 0, wxLIST_STATE_SELECTED);
    // One by one: the toolkit has no call for a set of lines.
    for (const std::size_t position : control_.selection()) {
      lines_->SetItemState(static_cast<long>(position), wxLIST_STATE_SELECTED,
                           wxLIST_STATE_SELECTED);
    }
    if (!control_.selection().empty()) {
      const auto first = static_cast<long>(*control_.selection().begin());
      lines_->SetItemState(first, wxLIST_STATE_FOCUSED, wxLIST_STATE_FOCUSED);
      lines_->EnsureVisible(first);
      describeLine(first);
    }
  }

  // Opens the context menu: at the pointer after a click, below the focused line after the Menu key
  // or Shift+F10.
  void openContextMenu(const wxContextMenuEvent& event) {
    Control* menu = control_.contextMenu();
    if (menu == nullptr) {
      return;
    }
    lines_->SetFocus();
    sendSelection();
    wxPoint place = event.GetPosition();
    if (place == wxDefaultPosition) {
      wxRect line;
      const long current = lines_->GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_FOCUSED);
      const bool inSight = current >= 0 && lines_->GetItemRect(current, line) &&
                           lines_->GetClientRect().Contains(line.GetLeftBottom());
      place = inSight ? wxPoint(0, line.GetBottom()) : wxPoint(0, 0);
    } else {
      place = lines_->ScreenToClient(place);
    }
    openMenu(*lines_, *menu, place);
  }

  // Shows a line that is wider than the window as a tool tip at the pointer.
  void showLineTip(wxWindow& inside, const wxPoint& point) {
    int flags = 0;
    const long position =
        lines_->HitTest(lines_->ScreenToClient(inside.ClientToScreen(point)), flags);
    if (position == tipLine_) {
      return;
    }
    tipLine_ = position;
    const auto line = static_cast<std::size_t>(position);
    if (position >= 0 && line < control_.list().size()) {
      const wxString text = plainLine(control_.list()[line]);
      if (lines_->GetTextExtent(text).GetWidth() > lines_->GetClientSize().GetWidth()) {
        inside.SetToolTip(text);
        return;
      }
    }
    inside.UnsetToolTip();
  }

  // Sends the selection to the form before the key is handled, since the key may press the button
  // that copies the selection.
  void key(wxKeyEvent& event) {
    sendSelection();
    const int shift =
        (event.ShiftDown() ? 1 : 0) + (event.ControlDown() ? 2 : 0) + (event.AltDown() ? 4 : 0);
    control_.keyDown(event.GetKeyCode(), shift);
    if (event.GetKeyCode() == 'A' && event.GetModifiers() == wxMOD_CONTROL) {
      lines_->SetItemState(-1, wxLIST_STATE_SELECTED, wxLIST_STATE_SELECTED);
      selectionMayChange();
    } else if (event.GetKeyCode() == WXK_LEFT && !event.HasAnyModifiers()) {
      scrollSideways(wxEVT_SCROLLWIN_LINEUP, -1);
    } else if (event.GetKeyCode() == WXK_RIGHT && !event.HasAnyModifiers()) {
      scrollSideways(wxEVT_SCROLLWIN_LINEDOWN, 1);
    } else {
      event.Skip();
      if (!isModifier(event.GetKeyCode())) {
        selectionMayChange();
      }
    }
  }

  static bool isModifier(int key) {
    return key == WXK_SHIFT || key == WXK_CONTROL || key == WXK_ALT || key == WXK_NONE;
  }

  // A list that the toolkit draws itself scrolls by the event. A list of the system's own leaves
  // the event alone, and is scrolled by some letters in that direction.
  void scrollSideways(wxEventType line, int direction) {
    constexpr int kLetters = 4;
    wxScrollWinEvent event(line, 0, wxHORIZONTAL);
    event.SetEventObject(lines_);
    if (!lines_->ProcessWindowEvent(event)) {
      lines_->ScrollList(direction * kLetters * lines_->GetCharWidth(), 0);
    }
  }

  VirtualLines* lines_;
  bool selectionStale_ = false;
  bool sendingSelection_ = false;  // the form must not send the same selection back
  long tipLine_ = wxNOT_FOUND;     // the line under the pointer
};

class ComboView : public WidgetView {
 public:
  ComboView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style), choice_(new wxChoice(parent, wxID_ANY)) {
    choice_->Bind(wxEVT_CHOICE, [this](wxCommandEvent&) {
      byUser(control_, [this](Control& changed) { changed.setValue(choice_->GetSelection()); });
    });
    // The wheel would change the choice of a user who only scrolls past it.
    choice_->Bind(wxEVT_MOUSEWHEEL, [](wxMouseEvent&) {});
    setAccessibleName(*choice_, accessibleName());
  }
  wxWindow* window() const override { return choice_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kListCleared || what == Change::kListEntryAdded) {
      choice_->Clear();
      for (const std::string& entry : control_.list()) {
        choice_->Append(toWx(entry));
      }
      showChoice();
    } else if (what == Change::kValue) {
      showChoice();
    }
  }

 private:
  void showChoice() {
    const bool known = control_.value() >= 0 &&
                       static_cast<std::size_t>(control_.value()) < control_.list().size();
    choice_->SetSelection(known ? control_.value() : wxNOT_FOUND);
  }

  wxChoice* choice_;
};

}  // namespace

std::unique_ptr<ControlView> makeListView(wxWindow* parent, Control& control,
                                          const ViewStyle& style) {
  return std::make_unique<ListView>(parent, control, style);
}

std::unique_ptr<ControlView> makeComboView(wxWindow* parent, Control& control,
                                           const ViewStyle& style) {
  return std::make_unique<ComboView>(parent, control, style);
}

}  // namespace relaybird::desktop
