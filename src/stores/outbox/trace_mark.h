// SPDX-License-Identifier: MIT
// The value of the trace field (kTraceHeader), by which a forward of this user is known again
// when it comes back to the inbox, so that mail never goes round in circles; and the making of
// Message-IDs.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "platform/file_system.h"
#include "platform/result.h"
#include "stores/outbox/random_bytes.h"

namespace relaybird {

/// A mark is a random number and its HMAC-SHA256 (RFC 2104) under a secret key of the user: it
/// tells nothing about anybody, and nobody else can make one. Any thread.
class TraceMark {
 public:
  /// Reads the key from the file, making one (owner alone, durably) where there is none or where it
  /// has not the length of a key. The folder must be there.
  static Result<TraceMark> open(FileSystem& files, RandomBytes random, const std::string& keyFile);

  /// A new mark: printable ASCII without blanks, less than 100 characters.
  Result<std::string> make() const;
  /// Whether this user's key made the mark. White space around it is ignored; anything may be
  /// passed.
  bool isOurs(std::string_view value) const;

 private:
  TraceMark(RandomBytes random, std::string key)
      : random_(std::move(random)), key_(std::move(key)) {}
  std::string seal(std::string_view nonce) const;

  RandomBytes random_;
  std::string key_;
};

/// A new Message-ID (RFC 5322, 3.6.4) without its angle brackets: random, in the domain of the
/// sender's address, or in "localhost.invalid" where that has none that can be used.
Result<std::string> makeMessageId(const RandomBytes& random, std::string_view senderAddress);

}  // namespace relaybird
