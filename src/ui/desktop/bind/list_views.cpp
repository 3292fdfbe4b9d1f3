// SPDX-License-Identifier: MIT
#include "ui/desktop/bind/list_views.h"

#include <wx/choice.h>
#include <wx/listctrl.h>

#include <set>

#include "ui/desktop/bind/widget_view.h"
#include "ui/desktop/desk/native.h"

namespace relaybird::desktop {
namespace {

/// Asks the control for the lines that are on the screen, so that a million of them cost no more
/// than a screenful.
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
    return position < control_.list().size() ? toWx(control_.list()[position]) : wxString();
  }

  const Control& control_;
};

class ListView : public WidgetView {
 public:
  ListView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style), lines_(new VirtualLines(parent, control)) {
    lines_->Bind(wxEVT_LIST_ITEM_SELECTED, [this](wxListEvent&) { selected(); });
    lines_->Bind(wxEVT_LIST_ITEM_DESELECTED, [this](wxListEvent&) { selected(); });
    lines_->Bind(wxEVT_CHAR_HOOK, [this](wxKeyEvent& event) { key(event); });
    lines_->Bind(wxEVT_SIZE, [this](wxSizeEvent& event) {
      event.Skip();
      fitColumn();
    });
    setAccessibleName(*lines_, accessibleName());
  }
  wxWindow* window() const override { return lines_; }

 protected:
  void showContent(Change what) override {
    if (what == Change::kListEntryAdded || what == Change::kListCleared) {
      showLines();
    } else if (what == Change::kListExtent) {
      fitColumn();
    }
  }

 private:
  /// Follows the newest line for a user who looks at the end, and leaves alone one who reads above.
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

  void selected() {
    std::set<std::size_t> positions;
    for (long item = lines_->GetNextItem(-1, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED); item >= 0;
         item = lines_->GetNextItem(item, wxLIST_NEXT_ALL, wxLIST_STATE_SELECTED)) {
      positions.insert(static_cast<std::size_t>(item));
    }
    control_.setSelection(std::move(positions));
  }

  void key(wxKeyEvent& event) {
    event.Skip();
    const int shift =
        (event.ShiftDown() ? 1 : 0) + (event.ControlDown() ? 2 : 0) + (event.AltDown() ? 4 : 0);
    control_.keyDown(event.GetKeyCode(), shift);
  }

  VirtualLines* lines_;
};

class ComboView : public WidgetView {
 public:
  ComboView(wxWindow* parent, Control& control, const ViewStyle& style)
      : WidgetView(control, style), choice_(new wxChoice(parent, wxID_ANY)) {
    choice_->Bind(wxEVT_CHOICE, [this](wxCommandEvent&) {
      byUser(control_, [this](Control& changed) { changed.setValue(choice_->GetSelection()); });
    });
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
    } else if (what == Change::kValue) {
      const bool known = control_.value() >= 0 &&
                         static_cast<std::size_t>(control_.value()) < control_.list().size();
      choice_->SetSelection(known ? control_.value() : wxNOT_FOUND);
    }
  }

 private:
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
