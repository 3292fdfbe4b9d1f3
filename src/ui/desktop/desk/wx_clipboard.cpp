// SPDX-License-Identifier: MIT
#include "ui/desktop/desk/wx_clipboard.h"

#include "ui/desktop/native/native_clipboard.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {

Result<void> WxClipboard::setText(const std::string& text) {
  if (!putOnClipboard(fromWx(toWx(text)))) {
    return Error{0, "The clipboard cannot be written now."};
  }
  return {};
}

}  // namespace relaybird::desktop
