// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/wx_dialogs.h"

#include <wx/filedlg.h>
#include <wx/menu.h>
#include <wx/stattext.h>
#include <wx/textctrl.h>
#include <wx/textdlg.h>

#include <algorithm>
#include <utility>

#include "ui/desktop/desk/box_dialog.h"
#include "ui/desktop/native/native_widgets.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {
namespace {

constexpr int kPromptWidth = 420;
/// No button of any dialog.
constexpr int kClosed = -1;

wxString toWx(const std::string& text) {
  return wxString::FromUTF8(text);
}

/// Lines in boxes end in CR LF; the toolkit wants LF.
wxString linesOf(const std::string& text) {
  wxString lines = toWx(text);
  lines.Replace("\r\n", "\n");
  return lines;
}

}  // namespace

WxDialogs::WxDialogs(std::function<wxWindow*()> owner) : owner_(std::move(owner)) {}

int WxDialogs::showModal(wxDialog& dialog) {
  if (closed_) {
    return kClosed;
  }
  open_.push_back(&dialog);
  const int id = dialog.ShowModal();
  open_.erase(std::find(open_.begin(), open_.end(), &dialog));
  return id;
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
  wxTextEntryDialog dialog(owner_(), linesOf(box.prompt), toWx(box.title));
  setAccessibleRole(dialog, AccessibleRole::kDialog);
  for (wxWindow* part : dialog.GetChildren()) {
    if (auto* field = dynamic_cast<wxTextCtrl*>(part)) {
      setAccessibleName(*field, box.prompt);
    } else if (auto* line = dynamic_cast<wxStaticText*>(part)) {
      line->Wrap(dialog.FromDIP(kPromptWidth));
    }
  }
  dialog.Fit();
  if (showModal(dialog) != wxID_OK) {
    return {};
  }
  return std::string(dialog.GetValue().utf8_str());
}

std::optional<std::string> WxDialogs::openFile(const OpenFileBox& box) {
  wxFileDialog dialog(owner_(), toWx(box.title), wxEmptyString, wxEmptyString, toWx(box.filter),
                      wxFD_OPEN);
  if (showModal(dialog) != wxID_OK) {
    return std::nullopt;
  }
  return std::string(dialog.GetPath().utf8_str());
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
  const std::vector<wxDialog*> open(open_.rbegin(), open_.rend());
  for (wxDialog* dialog : open) {
    dialog->EndModal(kClosed);
  }
}

}  // namespace relaybird::desktop
