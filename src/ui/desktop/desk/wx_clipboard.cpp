// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/wx_clipboard.h"

#include <wx/clipbrd.h>

#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {

Result<void> WxClipboard::setText(const std::string& text) {
  const wxClipboardLocker lock;
  if (!lock || !wxTheClipboard->SetData(new wxTextDataObject(toWx(text)))) {
    return Error{0, "The clipboard cannot be written now."};
  }
  wxTheClipboard->Flush();
  return {};
}

}  // namespace relaybird::desktop
