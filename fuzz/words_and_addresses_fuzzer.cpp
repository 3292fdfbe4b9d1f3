// SPDX-License-Identifier: MIT
// Any bytes as an address header, an address book or a list that a user types. The first byte
// selects the reader of the rest.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "check.h"
#include "message/address/address_book.h"
#include "message/address/address_check.h"
#include "message/address/mail_address.h"
#include "message/address/strict_mailbox.h"
#include "message/text/charset.h"
#include "message/text/encoded_word.h"
#include "prefs/address_lists.h"

namespace {

using namespace relaybird;

bool hasControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; });
}

void checkWords(std::string_view raw) {
  const std::string text = decodeHeaderText(raw);
  RB_CHECK(isValidUtf8(text));
  RB_CHECK(text.size() <= kUtf8Growth * raw.size());
  const std::string value = unfoldHeader(raw);
  std::size_t done = 0;
  for (const Span& span : encodedWords(value)) {
    RB_CHECK(span.start >= done && span.length >= 6);
    done = span.start + span.length;
    RB_CHECK(done <= value.size());
    RB_CHECK(value.compare(span.start, 2, "=?") == 0 && value.compare(done - 2, 2, "?=") == 0);
  }
}

void checkAddresses(std::string_view raw) {
  std::size_t length = 0;
  for (const Mailbox& mailbox : parseAddressList(raw)) {
    RB_CHECK(isValidUtf8(mailbox.name) && isValidUtf8(mailbox.address));
    RB_CHECK(!hasControl(mailbox.name) && !hasControl(mailbox.address));
    length += mailbox.name.size() + mailbox.address.size();
    if (!isRfc5322Address(mailbox.address)) {
      continue;
    }
    RB_CHECK(mailbox.address.front() != '-' && mailbox.address.size() <= 254);
    const auto again = parseAddressList(formatMailbox(mailbox));
    RB_CHECK(!again.empty());
    RB_CHECK(again.back().address == mailbox.address);
    RB_CHECK(again.size() == 1);
  }
  constexpr std::size_t kCodedGrowth = 16;  // of labels that become "xn--" labels
  RB_CHECK(length <= kCodedGrowth * kUtf8Growth * raw.size());
}

void checkAddress(std::string_view text) {
  if (!isRfc5322Address(text)) {
    return;
  }
  RB_CHECK(isValidUtf8(text) && !hasControl(text));
  RB_CHECK(text.front() != '-' && text.find('@') != std::string_view::npos);
  RB_CHECK(text.front() == '"' || text.find_first_of(" ,;<>()") == std::string_view::npos);
}

// An accepted text must be sent as typed: nothing of it is missing in the mailbox that was read,
// and every reader reads the written form back.
void checkRecipient(std::string_view typed) {
  const auto mailbox = readRecipient(typed);
  if (!mailbox) {
    return;
  }
  RB_CHECK(isRfc5322Address(mailbox->address));
  const auto at = mailbox->address.rfind('@');
  RB_CHECK(typed.find(mailbox->address.substr(0, at + 1)) != std::string_view::npos);
  RB_CHECK(wireAddress(mailbox->address) == mailbox->address);
  const std::string written = formatMailbox(*mailbox);
  RB_CHECK(readRecipient(written) == mailbox);
  const auto field = readWrittenField(written);
  RB_CHECK(field && field->size() == 1 && field->front() == mailbox->address);
  const auto forgiving = parseAddressList(written);
  RB_CHECK(forgiving.size() == 1 && forgiving.front() == *mailbox);
}

void checkBook(std::string_view contents) {
  const AddressBook book = AddressBook::parse(contents);
  RB_CHECK(book.size() <= contents.size());
  for (const std::string_view name : {"Ann", "Doe, John", "", "\xFF"}) {
    const auto mailbox = book.find(name);
    RB_CHECK(!mailbox || isRfc5322Address(mailbox->address));
    RB_CHECK(!mailbox || !hasControl(mailbox->name));
  }
}

void checkLists(std::string_view text) {
  StringList list;
  const int count = FormTextToArray(text, list);
  RB_CHECK(count >= 1 && static_cast<std::size_t>(count) == list.size());
  const std::string joined = MakeStringFromArray(list);
  RB_CHECK(joined.size() <= 2 * text.size() + 2);
  StringList again;
  FormTextToArray(joined, again);
  RB_CHECK(again == list);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0]) {
    case 'w':
      checkWords(input);
      break;
    case 'a':
      checkAddresses(input);
      break;
    case 'c':
      checkAddress(input);
      checkRecipient(input);
      break;
    case 'v':
      checkBook(input);
      break;
    default:
      checkLists(input);
  }
  return 0;
}
