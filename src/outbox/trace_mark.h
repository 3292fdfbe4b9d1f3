// SPDX-License-Identifier: MIT
// Recognises the forwards of this mailbox when they come back, so that mail never goes round in
// circles: by the marks of the trace field (kTraceHeader), and by Message-IDs in answers to a
// forward or where the trace field was lost.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/file_system.h"
#include "platform/result.h"
#include "platform/system/random_bytes.h"

namespace relaybird {

/// A mark and the left side of a Message-ID are each a random number and the HMAC-SHA256 (RFC 2104)
/// of that number and the mailbox under a secret key of the user. They contain no personal data,
/// and only the owner of the key can make one. Any thread.
class TraceMark {
 public:
  /// Reads the key from the file. Makes a key, durably and readable by its owner only, where the
  /// file is missing or does not have the length of a key. The folder must exist. `mailbox`
  /// distinguishes the mailboxes that share the key: a user may forward from one to another, and
  /// from there to a phone.
  static Result<TraceMark> open(FileSystem& files, RandomBytes random, const std::string& keyFile,
                                std::string mailbox);

  /// A new mark: printable ASCII without blanks, less than 100 characters.
  Result<std::string> make() const;
  /// Whether this mailbox made the mark. White space around it is ignored; anything may be
  /// passed.
  bool isOurs(std::string_view mark) const;

  /// A new Message-ID (RFC 5322, 3.6.4) without its angle brackets, in the domain of the sender's
  /// address, or in "localhost.invalid" where the address has no usable domain.
  Result<std::string> makeMessageId(std::string_view senderAddress) const;
  /// Whether this mailbox made the Message-ID, with or without angle brackets; anything may be
  /// passed. The domain is ignored, since users change their addresses. Identifiers of an earlier
  /// version, which were only random, are not recognised.
  bool isOurMessageId(std::string_view messageId) const;

 private:
  TraceMark(RandomBytes random, std::string key, std::string mailbox)
      : random_(std::move(random)), key_(std::move(key)), mailbox_(std::move(mailbox)) {}
  std::string seal(std::string_view purpose, std::string_view nonce) const;
  Result<std::string> sealedNumber(std::string_view purpose, std::size_t sealDigits) const;
  bool isSealedNumber(std::string_view text, std::string_view purpose,
                      std::size_t sealDigits) const;

  RandomBytes random_;
  std::string key_;
  std::string mailbox_;
};

}  // namespace relaybird
