// SPDX-License-Identifier: MIT
#include "prefs/address_lists.h"

#include <cstdint>
#include <limits>
#include <utility>

namespace relaybird {

namespace {

// Explicit length, as the NUL is one of the characters.
constexpr std::string_view kCleaned("\t\n\r;\0 ", 6);
constexpr std::string_view kLineBreak = "\r\n";
constexpr std::size_t kMostEntries = std::numeric_limits<std::int16_t>::max();

// A number with a blank in place of the plus sign, as the message has always shown it.
std::string spacedNumber(std::size_t number) {
  return " " + std::to_string(number);
}

}  // namespace

// People paste lists from mails and tables, with line breaks and tabs between the addresses. Inside
// an entry these become blanks, so that a pasted line break cannot end a line of the file.
std::string cleanStringEnds(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kCleaned);
  if (first == std::string_view::npos) {
    return {};
  }
  std::string cleaned(text.substr(first, text.find_last_not_of(kCleaned) - first + 1));
  for (char& c : cleaned) {
    if (kCleaned.find(c) != std::string_view::npos) {
      c = ' ';
    }
  }
  return cleaned;
}

int FormTextToArray(std::string_view text, StringList& list) {
  StringList entries;
  while (!text.empty()) {
    const std::size_t end = text.find(';');
    std::string entry = cleanStringEnds(text.substr(0, end));
    if (!entry.empty()) {
      entries.push_back(std::move(entry));
    }
    // Entries are counted in 16 bits in the file. A longer list changes nothing.
    if (entries.size() > kMostEntries) {
      return -1;
    }
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  }
  // The stored form of an empty list.
  if (entries.empty()) {
    entries.emplace_back();
  }
  list = std::move(entries);
  return static_cast<int>(list.size());
}

// The form in which the settings dialog shows a list, and FormTextToArray() reads it.
std::string MakeStringFromArray(const StringList& list) {
  std::string text;
  if (holdsNothing(list)) {
    return text;
  }
  for (const std::string& entry : list) {
    text += cleanStringEnds(entry) + "; ";
  }
  return text;
}

// Both forms occur: the file's list is never empty, one that was just made is.
bool holdsNothing(const StringList& list) {
  return list.empty() || (list.size() == 1 && list.front().empty());
}

// Every address is named: mail goes to nobody whom the user has not seen here.
std::string confirmMessage(const StringList& addresses, bool once) {
  std::string message;
  if (holdsNothing(addresses)) {
    return message;
  }
  message += "Please confirm that you would like Relaybird ";
  message += "to forward your messages to the following ";
  message += spacedNumber(addresses.size());
  message += addresses.size() == 1 ? " address" : " addresses";
  message += " : ";
  message.append(kLineBreak).append(kLineBreak);
  std::size_t number = 0;
  for (const std::string& address : addresses) {
    message += "(" + spacedNumber(++number) + ") " + address;
    message += kLineBreak;
  }
  message += kLineBreak;
  message += "Please click the YES button to ";
  message += once ? "forward your messages once." : "start automatically forwarding your messages.";
  return message;
}

}  // namespace relaybird
