// SPDX-License-Identifier: MIT
// The header section of a stored message, read and searched without parsing the rest. It is what a
// listing of ten thousand messages needs of each: one pass over the bytes notes where the few
// fields are that the stores ask for, and a value is unfolded and decoded only on demand.
//
// Nothing here fails on odd bytes: a message may be empty, without headers, without a body, with CR
// LF or LF line ends, with NUL bytes, or begin with an mbox "From " line. An object may be read
// from any thread once made.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "message/address/mail_address.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// The field with the marks of the programs that have forwarded a message (circles.h).
inline constexpr std::string_view kTraceHeader = "X-Relaybird-Trace";

/// A header section is read up to this many bytes.
inline constexpr std::size_t kHeaderLimit = std::size_t{1} << 20;

class HeaderBlock {
 public:
  /// An empty section.
  HeaderBlock() = default;
  /// Takes the header section from the beginning of a message (or of an embedded one): everything
  /// up to the first empty line, that line included, or everything where there is none. If the
  /// message does not begin with a field, the section is empty and everything is the body. If no
  /// field follows soon, a line of blanks ends the section like an empty line, and a line that is
  /// not a field begins the body. `isAll` is false where the message continues behind the bytes
  /// given.
  explicit HeaderBlock(std::string_view message, bool isAll = true);

  /// The section as stored, its empty line included.
  std::string_view bytes() const { return bytes_; }
  /// Whether the end of the section was seen.
  bool ended() const { return ended_; }
  /// Where the body begins, in bytes from the beginning of the message.
  std::uint64_t bodyOffset() const { return bytes_.size(); }

  /// The value of the first field of that name (any case) as stored, with its folds and surrounding
  /// blanks; empty where there is no such field. Valid as long as the object.
  std::optional<std::string_view> raw(std::string_view name) const;
  /// The values of all fields of that name, in the form of raw(), in order.
  std::vector<std::string_view> allRaw(std::string_view name) const;
  /// raw() unfolded to one line and trimmed, nothing decoded; empty where there is no such field.
  /// CR, LF and NUL never occur in it.
  std::string value(std::string_view name) const;
  /// value() for people: encoded words (RFC 2047) decoded to UTF-8, on one line, with a blank for
  /// each control character.
  std::string text(std::string_view name) const;
  std::string subject() const { return text("Subject"); }
  /// Sets the character set (a MIME name) of raw 8-bit bytes that are not UTF-8.
  void setRawCharset(std::string label) { rawCharset_ = std::move(label); }

  /// The mailboxes of an address field, groups opened, names decoded; empty where there are none.
  std::vector<Mailbox> mailboxes(std::string_view name) const;
  /// The writer: the first mailbox of From if it has an address, else of Sender, else of
  /// Return-Path. Without any address, the first name of From alone.
  Mailbox senderMailbox() const;

  /// The Message-ID with its angle brackets; empty where it is missing or malformed.
  std::string messageId() const;

 private:
  struct Span {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;  ///< 0 where the field is missing: a value always follows a name
  };
  /// One for each name of header_block.cpp's list of wanted fields.
  static constexpr std::size_t kWantedFields = 17;

  std::size_t scan(std::string_view message, bool isAll);
  Span* note(std::string_view name, std::size_t begin, std::size_t end);

  std::string bytes_;
  std::string rawCharset_;
  std::array<Span, kWantedFields> wanted_;
  bool ended_ = false;
};

/// Reads the header section of a stored message: a first block of 8 KB, and more only while the end
/// of the section is missing, up to `limit` bytes (a longer section is cut there). Raw 8-bit bytes
/// are taken to be in the character set of the message's first text. Fails only where reading
/// fails.
Result<HeaderBlock> readHeaderBlock(InputFile& file, std::size_t limit = kHeaderLimit);
Result<HeaderBlock> readHeaderBlock(FileSystem& files, const std::string& path,
                                    std::size_t limit = kHeaderLimit);

}  // namespace relaybird
