// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/wx_clipboard.h"

#include <wx/clipbrd.h>

namespace relaybird::desktop {

Result<void> WxClipboard::setText(const std::string& text) {
  const wxClipboardLocker lock;
  if (!lock || !wxTheClipboard->SetData(new wxTextDataObject(wxString::FromUTF8(text)))) {
    return Error{0, "The clipboard cannot be written now."};
  }
  wxTheClipboard->Flush();
  return {};
}

}  // namespace relaybird::desktop
