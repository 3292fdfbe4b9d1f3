// SPDX-License-Identifier: MIT
// Not MultiByteToWideChar: how many replacement characters it makes of invalid bytes differs
// between releases of Windows.
#include "platform/win32/win32_text.h"

#include <windows.h>

#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isHighHalf(wchar_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowHalf(wchar_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

}  // namespace

std::wstring toWide(std::string_view text) {
  std::wstring wide;
  wide.reserve(text.size());
  while (!text.empty()) {
    const Utf8Character character = firstCharacter(text);
    const char32_t code = character.length == 0 ? kReplacement : character.code;
    if (code < 0x10000) {
      wide += static_cast<wchar_t>(code);
    } else {
      wide += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
      wide += static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
    text.remove_prefix(character.length == 0 ? 1 : character.length);
  }
  return wide;
}

std::string fromWide(std::wstring_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    char32_t code = text[at];
    if (isHighHalf(text[at]) && at + 1 < text.size() && isLowHalf(text[at + 1])) {
      ++at;
      code = 0x10000 + ((code - 0xD800) << 10) + (char32_t{text[at]} - 0xDC00);
    } else if (isHighHalf(text[at]) || isLowHalf(text[at])) {
      code = kReplacement;
    }
    appendCharacter(bytes, static_cast<std::int32_t>(code));
  }
  return bytes;
}

std::string toAnsi(const std::string& text) {
  const std::wstring wide = toWide(text);
  const int units = static_cast<int>(wide.size());
  const int size =
      ::WideCharToMultiByte(CP_ACP, 0, wide.data(), units, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_ACP, 0, wide.data(), units, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

}  // namespace relaybird
