// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/wx_dialogs.h"

#include <wx/filedlg.h>
#include <wx/menu.h>

#include <utility>
#include <vector>

#include "ui/desktop/desk/box_dialog.h"
#include "ui/desktop/desk/box_parts.h"
#include "ui/desktop/desk/input_dialog.h"
#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/widgets/text.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {

WxDialogs::WxDialogs(std::function<wxWindow*()> owner) : owner_(std::move(owner)) {}

int WxDialogs::showModal(wxDialog& dialog) {
  return closed_ ? kNoAnswer : dialog.ShowModal();
}

BoxAnswer WxDialogs::messageBox(const MessageBox& box) {
  BoxDialog dialog(owner_(), box);
  const std::vector<BoxAnswer> answers = answersOf(box.buttons);
  const int chosen = showModal(dialog);
  return chosen >= 0 && chosen < static_cast<int>(answers.size())
             ? answers[static_cast<std::size_t>(chosen)]
             : safeAnswer(box.buttons);
}

std::string WxDialogs::inputBox(const InputBox& box) {
  InputDialog dialog(owner_(), box);
  return showModal(dialog) == 0 ? dialog.entry() : std::string();
}

std::optional<std::string> WxDialogs::openFile(const OpenFileBox& box) {
  wxFileDialog dialog(owner_(), toWx(box.title), wxEmptyString, wxEmptyString, toWx(box.filter),
                      wxFD_OPEN);
  if (showModal(dialog) != wxID_OK) {
    return std::nullopt;
  }
  return fromWx(dialog.GetPath());
}

std::optional<std::string> WxDialogs::saveFile(const SaveFileBox& box) {
  wxFileDialog dialog(owner_(), toWx(box.title), wxEmptyString, toWx(box.name), toWx(box.filter),
                      wxFD_SAVE);
  if (showModal(dialog) != wxID_OK) {
    return std::nullopt;
  }
  return fromWx(dialog.GetPath());
}

void WxDialogs::popupMenu(Control& menu) {
  wxWindow* owner = owner_();
  if (owner == nullptr) {
    return;
  }
  wxMenu entries;
  for (Control* entry : menu.form().controls()) {
    if (entry->parent() == &menu) {
      const wxMenuItem* item = entries.Append(wxID_ANY, toWx(entry->text()));
      entries.Bind(
          wxEVT_MENU, [entry](wxCommandEvent&) { entry->click(); }, item->GetId());
    }
  }
  owner->PopupMenu(&entries);
}

void WxDialogs::closeAll() {
  closed_ = true;
  cancelNativeDialogs();
  const std::vector<wxWindow*> windows(wxTopLevelWindows.begin(), wxTopLevelWindows.end());
  for (auto each = windows.rbegin(); each != windows.rend(); ++each) {
    auto* dialog = dynamic_cast<wxDialog*>(*each);
    if (dialog != nullptr && dialog->IsModal()) {
      dialog->EndModal(kNoAnswer);
    }
  }
}

}  // namespace relaybird::desktop
