// SPDX-License-Identifier: MIT
// One stored message, taken apart: its text, attachments, dates and names. The bytes of attachments
// stay in the file and are read when they are measured or written, so that a message of any size
// needs little memory.
//
// Malformed mail is still mail: any bytes make a message, with what could be understood of them.
// Texts are well-formed UTF-8. A part that cannot be read from the disk any more is missing in
// texts, but is an error when a forward is written. An object belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "message/header_block.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

struct MessageLayout;

/// The most bytes of text taken from one message, all its text parts together. A message with more
/// is opaque: its forward quotes this much and carries the whole message.
inline constexpr std::size_t kMessageTextBytes = std::size_t{8} << 20;

struct AttachmentInfo {
  std::string name;         ///< decoded file name; made up from the type where the part has none
  std::string contentType;  ///< "image/png", lower case
  bool isInline = false;    ///< shown within the HTML form of the text
  std::string contentId;    ///< without angle brackets; empty where there is none
};

/// The task that a task request is about, as its assigner described it.
struct TaskText {
  std::string subject;
  std::string body;
};

class Message {
 public:
  /// Takes the message in `file` apart. The file stays open as long as the result. Reads the file
  /// once; fails only where that fails.
  static Result<std::unique_ptr<Message>> read(std::shared_ptr<InputFile> file);
  ~Message();
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  const HeaderBlock& headers() const;
  std::string subject() const { return headers().subject(); }
  /// The addresses of a field (From, To, Cc) as one line of text for people.
  std::string addressText(std::string_view field) const;
  /// The Date field; empty where it is missing or invalid.
  std::optional<DateTime> date() const;

  /// The text: text/plain parts, else text made of the HTML, in the order of the message, lines
  /// ended by LF. For a message that is only a calendar object, the description in that. Texts of
  /// embedded messages are not included. Reads the text parts at the first call.
  const std::string& bodyText() const;
  /// The HTML form of the text; empty where no part of it is HTML. Read at the first call.
  const std::optional<std::string>& htmlBody() const;

  /// The attachments in the order of the message. An opaque message has one attachment: itself.
  const std::vector<AttachmentInfo>& attachments() const;
  /// Bytes of the attached file itself, not of its transfer encoding. `index` is one of
  /// attachments(). Reads the attachment through at the first call for it.
  std::int64_t attachmentSize(std::size_t index) const;

  /// Whether a forward must carry the message whole, byte for byte, because taking it apart would
  /// break it (signed or encrypted: RFC 1847, RFC 8551) or exceeds the limits set here.
  bool isOpaque() const;

  /// Empty where the message contains no task.
  std::optional<TaskText> task() const;

  /// For the writer of forwards: the parts themselves, and the file that contains them.
  const MessageLayout& layout() const { return *layout_; }
  InputFile& file() const { return *file_; }

 private:
  Message(std::shared_ptr<InputFile> file, std::unique_ptr<MessageLayout> layout);

  std::shared_ptr<InputFile> file_;
  std::unique_ptr<MessageLayout> layout_;
  mutable std::optional<std::string> text_;
  mutable bool htmlKnown_ = false;
  mutable std::optional<std::string> html_;
  mutable std::optional<std::vector<AttachmentInfo>> attachments_;
  mutable std::map<std::size_t, std::int64_t> attachmentSizes_;
};

}  // namespace relaybird
