// SPDX-License-Identifier: MIT
// Any bytes from an IMAP server, whole and cut at places that the bytes themselves decide.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "check.h"
#include "stores/account/imap_parser.h"
#include "stores/account/imap_reader.h"

namespace {

using namespace relaybird;

struct Stream {
  std::vector<ImapResponse> responses;
  bool faulty = false;
  bool operator==(const Stream&) const = default;
};

Stream readAll(std::string_view bytes, std::size_t cuts, ImapLimits limits) {
  ImapReader reader(limits);
  Stream result;
  std::size_t seed = cuts;
  while (!bytes.empty()) {
    seed = seed * 1103515245U + 12345U;
    const std::size_t count = cuts == 0 ? bytes.size() : 1 + (seed >> 16U) % cuts;
    reader.feed(bytes.substr(0, count));
    bytes.remove_prefix(std::min(count, bytes.size()));
    while (auto lines = reader.next()) {
      RB_CHECK(lines->text.size() <= limits.text);
      result.responses.push_back(parseImapResponse(std::move(*lines)));
    }
  }
  result.faulty = !reader.fault().empty();
  return result;
}

void check(const ImapFetch& fetch, std::size_t size) {
  std::size_t total = 0;
  for (const ImapSection& section : fetch.sections) {
    total += section.bytes.size();
  }
  RB_CHECK(total <= size);
  RB_CHECK(fetch.number != 0 && fetch.uid.value_or(1) != 0);
}

void checkBothWays(std::string_view bytes, ImapLimits limits) {
  const Stream whole = readAll(bytes, 0, limits);
  for (const ImapResponse& response : whole.responses) {
    if (const auto* fetch = std::get_if<ImapFetch>(&response)) {
      check(*fetch, bytes.size());
    }
    if (const auto* search = std::get_if<ImapSearch>(&response);
        search && !search->numbers.empty()) {
      RB_CHECK(UidSet::parse(search->numbers.text()) == search->numbers);
    }
  }
  RB_CHECK(readAll(bytes, 1, limits) == whole);
  RB_CHECK(readAll(bytes, 7 + bytes.size() % 50, limits) == whole);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  checkBothWays(bytes, {});
  ImapLimits small;
  small.text = 100;
  small.literal = 40;
  small.response = 500;
  small.skipped = 1000;
  checkBothWays(bytes, small);
  return 0;
}
