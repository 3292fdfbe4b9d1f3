// SPDX-License-Identifier: MIT
#include "ui/desktop/widgets/text.h"

#include <wx/strconv.h>

#include "platform/text/character_kind.h"

namespace relaybird::desktop {
wxString toWx(std::string_view text) {
  wxString good = wxString::FromUTF8(text.data(), text.size());
  if (!good.empty() || text.empty()) {
    return good;
  }
  // FromUTF8() returns an empty string if the text is not valid UTF-8.
  return {text.data(), wxMBConvUTF8(wxMBConvUTF8::MAP_INVALID_UTF8_TO_OCTAL), text.size()};
}

wxString linesToWx(std::string_view text) {
  wxString lines = toWx(text);
  lines.Replace("\r\n", "\n");
  return lines;
}

wxString plainLine(std::string_view text) {
  return toWx(withCodes(text));
}

std::string fromWx(const wxString& text) {
  return std::string(text.utf8_str());
}

}  // namespace relaybird::desktop
