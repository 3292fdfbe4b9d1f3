// SPDX-License-Identifier: MIT
// Inputs made to exhaust their readers, in two sizes. The larger one is sixteen times the smaller
// one and may take a few times sixteen times as long, but not sixteen times sixteen: that would be
// quadratic.
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "message/address/address_book.h"
#include "message/address/mail_address.h"
#include "message/calendar_kind.h"
#include "message/text/charset.h"
#include "message/text/encoded_word.h"
#include "message/text/html_text.h"
#include "ratios.h"

namespace relaybird::bench {
namespace {

constexpr int kGrowth = 16;
constexpr double kLimit = 2.5 * kGrowth;

struct Trap {
  std::string name;
  int size;  // of the small input, in pieces
  std::function<std::string(int)> make;
  std::function<void(const std::string&)> read;
};

std::string repeated(std::string_view piece, int times) {
  std::string text;
  for (int i = 0; i < times; ++i) {
    text += piece;
  }
  return text;
}

std::function<std::string(int)> pieces(std::string_view piece) {
  return [piece](int times) { return repeated(piece, times); };
}

std::string differentAttributes(int count) {
  std::string tag = "<a";
  for (int i = 0; i < count; ++i) {
    tag += " a" + std::to_string(i);
  }
  return tag + ">";
}

void readHtml(const std::string& html) {
  benchmark::DoNotOptimize(htmlToText(html));
}
void readHeader(const std::string& raw) {
  benchmark::DoNotOptimize(decodeHeaderText(raw));
}
void readAddresses(const std::string& raw) {
  benchmark::DoNotOptimize(parseAddressList(raw));
}
void readBook(const std::string& cards) {
  benchmark::DoNotOptimize(AddressBook::parse(cards));
}
void readCharset(const std::string& bytes) {
  benchmark::DoNotOptimize(toUtf8(bytes, "gb18030"));
}
void readEvent(const std::string& bytes) {
  benchmark::DoNotOptimize(readCalendar(bytes));
}

const std::vector<Trap>& traps() {
  static const std::vector<Trap> all = {
      {"html_nested", 4000, pieces("<div>"), readHtml},
      {"html_cells", 4000, pieces("<table><tr><td>"), readHtml},
      {"html_attributes", 4000, differentAttributes, readHtml},
      {"html_comments", 4000, pieces("<!-- "), readHtml},
      {"encoded_words", 4000, pieces("=?a?q?"), readHeader},
      {"address_groups", 4000, pieces("a:"), readAddresses},
      {"address_comments", 4000, pieces("("), readAddresses},
      {"vcards", 4000, pieces("BEGIN:VCARD\nFN:a\n"), readBook},
      {"bad_bytes", 40000, pieces("\x81"), readCharset},
      {"calendar_parameters", 4000, pieces("X-A;B=C;"), readEvent},
  };
  return all;
}

void readTrap(benchmark::State& state, const Trap& trap, int growth) {
  const std::string input = trap.make(trap.size * growth);
  for (auto _ : state) {
    trap.read(input);
  }
}

}  // namespace

void registerHostileBenchmarks() {
  for (const Trap& trap : traps()) {
    benchmark::RegisterBenchmark(trap.name.c_str(), readTrap, trap, 1)->MinTime(0.02);
    benchmark::RegisterBenchmark((trap.name + "_x16").c_str(), readTrap, trap, kGrowth)
        ->MinTime(0.02);
  }
}

std::vector<Claim> hostileClaims() {
  std::vector<Claim> claims;
  for (const Trap& trap : traps()) {
    claims.push_back(
        {"16 times as much of the trap " + trap.name, trap.name + "_x16", trap.name, kLimit});
  }
  return claims;
}

}  // namespace relaybird::bench
