// SPDX-License-Identifier: MIT
// Any lines while a connection is opened, those after a ">" sent and the others received: what is
// shown of them is one line without the secret.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "check.h"
#include "platform/curl/opening_lines.h"

namespace {

using namespace relaybird;

constexpr std::string_view kSecret = "hunter22";

void checkShown(std::string_view text) {
  RB_CHECK(text.size() < 1500);
  RB_CHECK(text.find(kSecret) == std::string_view::npos);
  RB_CHECK(std::none_of(text.begin(), text.end(), [](char c) { return c >= 0 && c < ' '; }));
}

void check(MailProtocol protocol, std::string_view bytes) {
  OpeningLines lines(protocol, Secret(kSecret),
                     [](const ProtocolLine& line) { checkShown(line.text); });
  while (!bytes.empty()) {
    const auto end = std::min(bytes.find('\n'), bytes.size());
    const std::string_view line = bytes.substr(0, end);
    if (line.starts_with('>')) {
      lines.sent(line.substr(1));
    } else {
      lines.received(line);
    }
    checkShown(lines.answer());
    (void)lines.busy();
    bytes.remove_prefix(std::min(end + 1, bytes.size()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  check(MailProtocol::kImap, bytes);
  check(MailProtocol::kSmtp, bytes);
  return 0;
}
