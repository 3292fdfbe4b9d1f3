// SPDX-License-Identifier: MIT
// Any bytes as the body of a mail: the first line names a character set, the rest is the document.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "check.h"
#include "message/text/charset.h"
#include "message/text/html_text.h"

namespace {

using namespace relaybird;

void checkCharset(std::string_view label, std::string_view bytes) {
  const std::string text = toUtf8(bytes, label);
  RB_CHECK(isValidUtf8(text));
  RB_CHECK(text.size() <= kUtf8Growth * bytes.size());
  const std::string scrubbed = scrubUtf8(bytes);
  RB_CHECK(isValidUtf8(scrubbed));
  RB_CHECK(scrubUtf8(scrubbed) == scrubbed);
  RB_CHECK(isValidUtf8(bytes) == (scrubbed == bytes));
}

void checkHtml(std::string_view html) {
  // An element yields at most as many characters as it has (an indented list mark), a bad byte
  // three.
  constexpr std::size_t kGrowth = 8;
  const std::string text = htmlToText(html);
  RB_CHECK(isValidUtf8(text));
  RB_CHECK(text.size() <= kGrowth * html.size() + 64);
  RB_CHECK(std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) >= ' ' ? c != 0x7F : c == '\n' || c == '\t';
  }));
  RB_CHECK(!text.ends_with('\n'));
  const std::string label = sniffHtmlCharset(html);
  RB_CHECK(label.size() < 1024);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const auto line = std::min(input.find('\n'), input.size());
  const auto body = input.substr(std::min(line + 1, input.size()));
  checkCharset(input.substr(0, line), body);
  checkHtml(body);
  return 0;
}
