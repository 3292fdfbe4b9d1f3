// SPDX-License-Identifier: MIT
// One pass finds the end of the section and notes the fields that every listing needs; others are
// searched when asked for. Mail breaks the rules for where a section ends, so an odd line is judged
// by the lines that follow it: another field soon means that the section continues.
#include "message/header_block.h"

#include <algorithm>

#include "message/text/charset.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// The size of the first read: one system call is enough for nearly every message.
constexpr std::size_t kFirstBlock = 8192;

// The fields for which scan() notes the place: every listing or every forward asks for them, so one
// pass is cheaper than a search for each.
constexpr std::array<std::string_view, 17> kWantedNames = {"Subject",
                                                           "From",
                                                           "Sender",
                                                           "Date",
                                                           "Message-ID",
                                                           "In-Reply-To",
                                                           "References",
                                                           "Return-Path",
                                                           "Content-Type",
                                                           "To",
                                                           "Cc",
                                                           "Reply-To",
                                                           "Auto-Submitted",
                                                           kTraceHeader,
                                                           "Content-Transfer-Encoding",
                                                           "Content-Disposition",
                                                           "Content-ID"};

std::optional<std::size_t> wantedIndex(std::string_view name) {
  for (std::size_t i = 0; i < kWantedNames.size(); ++i) {
    if (equalsAsciiCase(kWantedNames[i], name)) {
      return i;
    }
  }
  return std::nullopt;
}

// An mbox separator in front of the first field, as some delivery programs leave it in a file. It
// is not a field and has no colon rule.
bool isMboxLine(std::string_view message) {
  return message.starts_with("From ") || message.starts_with(">From ");
}

std::string_view fieldName(std::string_view line) {
  const auto field = takeField(line);
  // The name is empty where the line is not a field: no colon, or a name with characters that RFC
  // 5322 section 3.6.8 does not allow.
  return field ? field->name : std::string_view();
}

// Whether the line is a field that occurs in mail. Any word with a colon could also begin a text.
bool isKnownField(std::string_view line) {
  const std::string_view name = fieldName(line);
  return name.find('-') != std::string_view::npos || equalsAsciiCase(name, "Received") ||
         equalsAsciiCase(name, "Bcc") || wantedIndex(name).has_value();
}

// The value of the first field of that name; `section` is moved behind it.
std::optional<std::string_view> takeValue(std::string_view& section, std::string_view name) {
  while (const auto field = takeField(section)) {
    if (equalsAsciiCase(field->name, name)) {
      return field->value;
    }
  }
  return std::nullopt;
}

enum class Ahead { kFields, kText, kUnknown };

// Whether the lines from `pos` on continue a header section that an odd line interrupts, or are
// text already. A field within a few lines, before any empty line, means the former; a boundary
// means the latter. `isAll`: nothing follows `text`.
Ahead lookAhead(std::string_view text, std::size_t pos, bool isAll) {
  constexpr int kLines = 5;
  constexpr int kContinuations = 20;
  int lines = 0;
  int continuations = 0;
  while (lines < kLines && continuations < kContinuations && pos < text.size()) {
    const std::size_t end = lineEnd(text, pos);
    const std::string_view line = text.substr(pos, end - pos);
    if (!isAll && !line.ends_with('\n')) {
      return Ahead::kUnknown;
    }
    if (isEmptyLine(line) || line.starts_with("--")) {
      return Ahead::kText;
    }
    if (isKnownField(line)) {
      return Ahead::kFields;
    }
    // Continuations have a limit of their own: a long folded field between must not use up the few
    // lines, and a text of indented lines must not be searched to its end.
    ++(isBlank(line[0]) ? continuations : lines);
    pos = end;
  }
  return pos == text.size() && !isAll ? Ahead::kUnknown : Ahead::kText;
}

// The first "charset" parameter at the beginning of a message, which belongs to its first text.
std::string firstCharset(std::string_view start) {
  constexpr std::string_view kName = "charset=";
  const auto found =
      std::search(start.begin(), start.end(), kName.begin(), kName.end(), [](char a, char b) {
        return asciiLower({&a, 1})[0] == b;
      });
  std::string_view label = start.substr(static_cast<std::size_t>(found - start.begin()));
  label.remove_prefix(std::min(label.size(), kName.size()));
  if (label.starts_with('"')) {
    label.remove_prefix(1);
  }
  return std::string(label.substr(0, std::min(label.find_first_of("\"; \t\r\n"), label.size())));
}

// Names the character set of raw 8-bit bytes in the section, if it has such bytes and they are not
// UTF-8. `start` is the beginning of the message.
// The section has no charset of its own: raw 8-bit bytes are not allowed in it (RFC 5322). The
// first text of the message is the best guess, since the same program wrote both.
void nameRawCharset(HeaderBlock& block, std::string_view start) {
  const std::string_view bytes = block.bytes();
  if (!isAscii(bytes) && !isValidUtf8(bytes)) {
    block.setRawCharset(firstCharset(start));
  }
}

}  // namespace

HeaderBlock::HeaderBlock(std::string_view message, bool isAll) {
  bytes_ = message.substr(0, scan(message, isAll));
}

// Returns the length of the section. Without a decision at the end of `message` (!isAll), ended_
// stays false and the caller reads more.
std::size_t HeaderBlock::scan(std::string_view message, bool isAll) {
  static_assert(kWantedNames.size() == kWantedFields);
  std::size_t pos = isMboxLine(message) ? lineEnd(message, 0) : 0;
  const std::size_t first = pos;
  Span* open = nullptr;  // the wanted field that a continuation line would extend
  while (pos < message.size()) {
    const std::size_t end = lineEnd(message, pos);
    const std::string_view line = message.substr(pos, end - pos);
    const bool isBlanks = isBlankLine(line) && pos != first;
    if (isEmptyLine(line) || (isBlanks && lookAhead(message, end, isAll) == Ahead::kText)) {
      ended_ = true;
      return end;
    }
    if (isBlanks || (isBlank(line[0]) && pos != first)) {
      if (open != nullptr) {
        open->end = static_cast<std::uint32_t>(end);
      }
    } else {
      // A message that begins with a line that is not a field has no header section at all:
      // everything is body. Its first line must not be lost.
      const std::string_view name = fieldName(line);
      if (name.empty() && pos == first) {
        return first;
      }
      if (name.empty() && lookAhead(message, pos, isAll) == Ahead::kText) {
        ended_ = true;
        return pos;
      }
      open = name.empty() ? nullptr : note(name, pos + line.find(':') + 1, end);
    }
    pos = end;
  }
  return message.size();
}

// Only the first field of a name counts, so that everything that asks gets the same one, whatever a
// relay or an attacker has added below.
HeaderBlock::Span* HeaderBlock::note(std::string_view name, std::size_t begin, std::size_t end) {
  const auto index = wantedIndex(name);
  if (!index || wanted_[*index].end != 0) {
    return nullptr;
  }
  wanted_[*index] = {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end)};
  return &wanted_[*index];
}

std::optional<std::string_view> HeaderBlock::raw(std::string_view name) const {
  if (const auto index = wantedIndex(name)) {
    const Span span = wanted_[*index];
    if (span.end == 0) {
      return std::nullopt;
    }
    return std::string_view(bytes_).substr(span.begin, span.end - span.begin);
  }
  std::string_view section = bytes_;
  return takeValue(section, name);
}

std::vector<std::string_view> HeaderBlock::allRaw(std::string_view name) const {
  std::vector<std::string_view> values;
  // Avoids a walk over the whole section where scan() has seen that the field is absent.
  if (wantedIndex(name) && !raw(name)) {
    return values;
  }
  std::string_view section = bytes_;
  while (const auto found = takeValue(section, name)) {
    values.push_back(*found);
  }
  return values;
}

std::string HeaderBlock::value(std::string_view name) const {
  const auto found = raw(name);
  return found ? unfolded(*found) : std::string();
}

std::string HeaderBlock::text(std::string_view name) const {
  const auto found = raw(name);
  return found ? headerText(*found, rawCharset_) : std::string();
}

std::vector<Mailbox> HeaderBlock::mailboxes(std::string_view name) const {
  const auto found = raw(name);
  return found ? parseAddressList(*found, rawCharset_) : std::vector<Mailbox>();
}

// From with an address; else Sender, then Return-Path. Without any address, the text of From is the
// name, so that the log still shows who may have written.
Mailbox HeaderBlock::senderMailbox() const {
  const auto first = [this](std::string_view name) {
    const auto found = raw(name);
    return found ? firstMailbox(*found, rawCharset_) : Mailbox();
  };
  const auto hasAddress = [](const Mailbox& mailbox) {
    return mailbox.address.find('@') != std::string::npos;
  };
  Mailbox from = first("From");
  if (hasAddress(from)) {
    return from;
  }
  for (const std::string_view name : {"Sender", "Return-Path"}) {
    Mailbox other = first(name);
    if (hasAddress(other)) {
      return other;
    }
  }
  return {from.name.empty() ? std::move(from.address) : std::move(from.name), {}};
}

std::string HeaderBlock::messageId() const {
  const auto ids = messageIds(value("Message-ID"));
  return ids.empty() ? std::string() : ids.front();
}

Result<HeaderBlock> readHeaderBlock(InputFile& file, std::size_t limit) {
  std::array<char, kFirstBlock> first;
  const std::size_t wanted = std::min(limit, first.size());
  const auto read = file.readAt(0, first.data(), wanted);
  if (!read) {
    return read.error();
  }
  const std::string_view start(first.data(), *read);
  // A short read means the end of the file. A section that ends before the block does, without
  // ended(), is the header-less message of scan().
  HeaderBlock block(start, *read < wanted);
  if (block.ended() || *read < wanted || block.bytes().size() < *read) {
    nameRawCharset(block, start);
    return block;
  }
  std::string more(start);
  bool atEnd = false;
  while (!block.ended() && !atEnd && more.size() < limit) {
    const std::size_t known = more.size();
    // Doubled each time and scanned anew: the work stays linear in the size of the section, and
    // only unusual messages come here.
    more.resize(std::min(limit, known * 2));
    const auto next = file.readAt(known, more.data() + known, more.size() - known);
    if (!next) {
      return next.error();
    }
    atEnd = *next < more.size() - known;
    more.resize(known + *next);
    block = HeaderBlock(more, atEnd);
  }
  nameRawCharset(block, more);
  return block;
}

Result<HeaderBlock> readHeaderBlock(FileSystem& files, const std::string& path, std::size_t limit) {
  const auto file = files.open(path);
  if (!file) {
    return file.error();
  }
  return readHeaderBlock(**file, limit);
}

}  // namespace relaybird
