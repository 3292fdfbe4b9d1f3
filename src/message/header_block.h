// SPDX-License-Identifier: MIT
// The header section of a stored message, read and searched without parsing the rest: what a
// listing of ten thousand messages needs of each. One pass over the bytes notes where the few
// fields lie that the stores ask for; a value is unfolded and decoded only when it is asked for.
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

/// The field that bears the marks of the programs that a message has been forwarded by (circles.h).
inline constexpr std::string_view kTraceHeader = "X-Relaybird-Trace";

/// No header section is read any further than this many bytes.
inline constexpr std::size_t kHeaderLimit = std::size_t{1} << 20;

class HeaderBlock {
 public:
  /// An empty section.
  HeaderBlock() = default;
  /// Takes the header section off the beginning of a message (or of an embedded one): all up to and
  /// with the first empty line, or everything where there is none. A beginning that is no header
  /// field at all makes the section empty and leaves everything to the body. Where no field follows
  /// soon, a line of blanks ends the section like an empty one, and a line that is no field begins
  /// the body. `isAll` is false where the message goes on behind the bytes given.
  explicit HeaderBlock(std::string_view message, bool isAll = true);

  /// The section as stored, with its empty line if it has one.
  std::string_view bytes() const { return bytes_; }
  /// Whether the end of the section was seen.
  bool ended() const { return ended_; }
  /// Where the body begins, in bytes from the beginning of the message.
  std::uint64_t bodyOffset() const { return bytes_.size(); }

  /// The value of the first field of that name (any case) as stored, folding and surrounding blanks
  /// included; nothing where there is no such field. Valid as long as the object.
  std::optional<std::string_view> raw(std::string_view name) const;
  /// The values of all fields of that name as raw() has one, in their order.
  std::vector<std::string_view> allRaw(std::string_view name) const;
  /// raw() unfolded to one line and trimmed, nothing decoded; empty where there is no such field.
  /// CR, LF and NUL never occur in it.
  std::string value(std::string_view name) const;
  /// value() with its encoded words decoded (RFC 2047) as UTF-8 text of one line for people: each
  /// control character is a blank.
  std::string text(std::string_view name) const;
  std::string subject() const { return text("Subject"); }
  /// Names the character set of raw 8-bit bytes in texts and names that are no UTF-8; a MIME name.
  void setRawCharset(std::string label) { rawCharset_ = std::move(label); }

  /// The mailboxes of an address field, groups opened, names decoded; empty where there are none.
  std::vector<Mailbox> mailboxes(std::string_view name) const;
  /// The writer: From's first mailbox that has an address, else Sender's, else Return-Path's; with
  /// neither, From's first name alone.
  Mailbox senderMailbox() const;

  /// The Message-ID with its angle brackets; empty where it is missing or malformed.
  std::string messageId() const;

 private:
  struct Span {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;  ///< 0: not there, since a value always follows a name
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

/// Reads the header section of a stored message (raw 8-bit bytes in it are of the character set
/// that the first text names): a first block of 8 KB, more only while its end is missing, at most
/// `limit` bytes (a longer section is cut there). Fails only where reading fails.
Result<HeaderBlock> readHeaderBlock(InputFile& file, std::size_t limit = kHeaderLimit);
Result<HeaderBlock> readHeaderBlock(FileSystem& files, const std::string& path,
                                    std::size_t limit = kHeaderLimit);

}  // namespace relaybird
