// SPDX-License-Identifier: MIT
#include "ui/forms/settings/list_typing.h"

#include <algorithm>
#include <string_view>

namespace relaybird {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kSeparator = "; ";

// The part of a text that has been put in: [begin, end) of it.
struct Inserted {
  std::size_t begin;
  std::size_t end;
};

// Up to the caret, which stands behind what was typed: otherwise one of two like letters would
// count as the new one, and it matters which.
Inserted whatIsNew(const std::string& before, const TypedText& typed) {
  const std::string& text = typed.text;
  const std::size_t caret = std::min(typed.caret, text.size());
  const auto [tail, oldTail] =
      std::mismatch(text.rbegin(), text.rend() - static_cast<std::ptrdiff_t>(caret),
                    before.rbegin(), before.rend());
  const auto same = static_cast<std::size_t>(tail - text.rbegin());
  const std::size_t most = std::min(text.size(), before.size()) - same;
  const auto [head, oldHead] =
      std::mismatch(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(most), before.begin());
  return {static_cast<std::size_t>(head - text.begin()), text.size() - same};
}

std::string_view lastEntry(std::string_view text) {
  const std::size_t separator = text.rfind(';');
  return separator == text.npos ? text : text.substr(separator + 1);
}

bool endsInQuotes(std::string_view entry) {
  bool quoted = false;
  for (std::size_t position = 0; position < entry.size(); ++position) {
    if (entry[position] == '"') {
      quoted = !quoted;
    } else if (entry[position] == '\\' && quoted) {
      ++position;
    }
  }
  return quoted;
}

bool commaEndsEntry(ListOf list, std::string_view entry) {
  return list != ListOf::kPhrases && !endsInQuotes(entry) &&
         (list == ListOf::kAddresses || entry.find('@') != entry.npos);
}

// Nothing is separated from nothing.
void separate(std::string& text) {
  const std::size_t last = text.find_last_not_of(kBlanks);
  text.erase(last == text.npos ? 0 : last + 1);
  if (!text.empty()) {
    text += text.ends_with(';') ? " " : kSeparator;
  }
}

}  // namespace

TypedText withSemicolons(ListOf list, const std::string& before, const TypedText& typed) {
  const auto [begin, end] = whatIsNew(before, typed);
  const std::string_view text = typed.text;
  std::string result(text.substr(0, begin));
  bool atStart = result.ends_with(kSeparator);  // of an entry, where a blank says nothing
  bool separated = false;                       // by what was typed last
  for (const char letter : text.substr(begin, end - begin)) {
    const bool separates = letter == '\n' || letter == '\r' ||
                           (letter == ',' && commaEndsEntry(list, lastEntry(result)));
    if (separates) {
      separate(result);
      atStart = separated = true;
    } else if (!atStart || kBlanks.find(letter) == kBlanks.npos) {
      result += letter;
      atStart = separated = false;
    }
  }
  std::string_view rest = text.substr(end);
  if (separated) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    if (rest.starts_with(';')) {
      rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks, 1), rest.size()));
    }
  }
  const std::size_t caret = result.size();
  return {result.append(rest), caret};
}

}  // namespace relaybird
