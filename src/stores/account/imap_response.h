// SPDX-License-Identifier: MIT
// The responses of an IMAP server (RFC 9051 section 7) as values. What this program has no use for
// is left out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/clock.h"
#include "stores/account/uid_set.h"

namespace relaybird {

enum class ImapStatus { kOk, kNo, kBad, kBye, kPreauth };

/// "[UIDVALIDITY 17]" before the words of a status response (RFC 9051 section 7.1). Codes that are
/// not known here are kept too.
struct ImapCode {
  std::string name;       ///< upper case; empty where the response has no code
  std::string arguments;  ///< as sent, without the blank before it

  /// The arguments as one number; nothing if they are not.
  std::optional<std::uint64_t> number() const;
  bool operator==(const ImapCode&) const = default;
};

/// A status response. `tag` is that of the command which it ends, or "*".
struct ImapCondition {
  std::string tag;
  ImapStatus status = ImapStatus::kOk;
  ImapCode code;
  std::string words;  ///< for people, as sent; may be empty
  bool operator==(const ImapCondition&) const = default;
};

/// "+ ...": the server waits for the rest of a command.
struct ImapContinuation {
  bool operator==(const ImapContinuation&) const = default;
};

/// The names after CAPABILITY or ENABLED, upper case; after FLAGS, as sent.
struct ImapWords {
  enum class Kind { kCapability, kEnabled, kFlags };
  Kind kind = Kind::kCapability;
  std::vector<std::string> words;
  bool operator==(const ImapWords&) const = default;
};

/// The number of messages in the selected mailbox.
struct ImapExists {
  std::uint32_t count = 0;
  bool operator==(const ImapExists&) const = default;
};

/// The message of this sequence number is gone, and the numbers above it have moved down.
struct ImapExpunge {
  std::uint32_t number = 0;
  bool operator==(const ImapExpunge&) const = default;
};

/// Messages are gone (RFC 7162 section 3.2.10).
struct ImapVanished {
  bool earlier = false;  ///< before the mailbox was selected; sequence numbers do not change
  UidSet uids;
  bool operator==(const ImapVanished&) const = default;
};

/// SEARCH, or ESEARCH (RFC 4731). The numbers are UIDs if the command was a UID command.
struct ImapSearch {
  std::string tag;  ///< of the command, where the response names it
  UidSet numbers;
  bool whole = true;  ///< false: malformed or too long; members are missing
  bool operator==(const ImapSearch&) const = default;
};

struct ImapMailbox {
  std::vector<std::string> attributes;  ///< "\Sent", as sent
  std::string name;                     ///< as sent: modified UTF-7
  bool operator==(const ImapMailbox&) const = default;
};

/// One node of a BODYSTRUCTURE. Texts are as the message has them, types in lower case.
struct ImapPart {
  using Parameters = std::vector<std::pair<std::string, std::string>>;  ///< names in lower case

  std::string type;  ///< "text/plain"
  Parameters parameters;
  std::string encoding;     ///< lower case
  std::uint64_t size = 0;   ///< bytes as encoded; 0 for a multipart
  std::string disposition;  ///< lower case; empty where the part names none
  /// The parts of a multipart. The structure within an embedded message is left out.
  std::vector<ImapPart> children;

  std::string_view parameter(std::string_view name) const;
  bool operator==(const ImapPart&) const = default;
};

/// A section of a message's bytes.
struct ImapSection {
  std::string name;                     ///< within the brackets, upper case; empty: the message
  std::optional<std::uint64_t> origin;  ///< of a partial fetch: offset of the first byte
  std::string bytes;
  bool cut = false;  ///< too long to be kept: `bytes` is empty
  bool nil = false;  ///< the server has no such bytes
  bool operator==(const ImapSection&) const = default;
};

/// What the server says about one message. Only what a response contained is set.
struct ImapFetch {
  std::uint32_t number = 0;  ///< sequence number
  std::optional<std::uint32_t> uid;
  std::optional<std::vector<std::string>> flags;  ///< as sent
  std::optional<DateTime> internalDate;
  std::optional<std::uint64_t> size;
  std::optional<std::uint64_t> modSeq;
  std::optional<ImapPart> structure;  ///< not set where it is malformed or too large
  std::vector<ImapSection> sections;
  bool whole = true;  ///< false: malformed or too long; more may have been sent

  bool hasFlag(std::string_view flag) const;
  /// Null where there is no such section.
  const ImapSection* section(std::string_view name) const;
  bool operator==(const ImapFetch&) const = default;
};

/// Anything else, and responses that cannot be understood.
struct ImapUnknown {
  std::string line;  ///< its beginning, for the log
  bool operator==(const ImapUnknown&) const = default;
};

using ImapResponse =
    std::variant<ImapUnknown, ImapCondition, ImapContinuation, ImapWords, ImapExists, ImapExpunge,
                 ImapVanished, ImapSearch, ImapMailbox, ImapFetch>;

}  // namespace relaybird
