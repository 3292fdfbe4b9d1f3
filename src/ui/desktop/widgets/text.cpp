// SPDX-License-Identifier: MIT
#include "ui/desktop/widgets/text.h"

#include <wx/strconv.h>

#include <algorithm>
#include <cstdint>

namespace relaybird::desktop {
namespace {

/// Control characters but the tab, blanks without a width, separators of lines, and the marks,
/// embeddings, overrides and isolates of bidirectional text. The joiners (U+200C, U+200D) are
/// letters of ordinary words and of pictures made of several.
bool isHidden(std::uint32_t letter) {
  return (letter < 0x20 && letter != '\t') || (letter >= 0x7F && letter < 0xA0) ||
         letter == 0x61C || letter == 0x200B || letter == 0x200E || letter == 0x200F ||
         (letter >= 0x2028 && letter <= 0x202E) || (letter >= 0x2060 && letter <= 0x2069) ||
         letter == 0xFEFF;
}

}  // namespace

wxString toWx(std::string_view text) {
  wxString good = wxString::FromUTF8(text.data(), text.size());
  if (!good.empty() || text.empty()) {
    return good;
  }
  return {text.data(), wxMBConvUTF8(wxMBConvUTF8::MAP_INVALID_UTF8_TO_OCTAL), text.size()};
}

wxString linesToWx(std::string_view text) {
  wxString lines = toWx(text);
  lines.Replace("\r\n", "\n");
  return lines;
}

wxString plainLine(std::string_view text) {
  const wxString line = toWx(text);
  const auto hidden = [](wxUniChar letter) { return isHidden(letter.GetValue()); };
  if (std::none_of(line.begin(), line.end(), hidden)) {
    return line;
  }
  wxString plain;
  for (const wxUniChar letter : line) {
    plain += hidden(letter) ? wxString::Format("<U+%04X>", letter.GetValue()) : wxString(letter);
  }
  return plain;
}

std::string fromWx(const wxString& text) {
  return std::string(text.utf8_str());
}

}  // namespace relaybird::desktop
