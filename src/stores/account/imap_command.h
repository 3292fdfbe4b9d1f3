// SPDX-License-Identifier: MIT
// Writes IMAP commands (RFC 9051 section 9) and the texts in them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// Which literals may be sent without waiting for the server (RFC 7888).
enum class ImapLiterals {
  kWaiting,  ///< none
  kShort,    ///< LITERAL-: up to 4096 bytes
  kAny,      ///< LITERAL+
};

class ImapCommand {
 public:
  /// `words` are sent as they are: "UID SEARCH UNSEEN".
  explicit ImapCommand(std::string words, ImapLiterals literals = ImapLiterals::kWaiting);

  /// Adds a blank and more words.
  ImapCommand& words(std::string_view words);
  /// Adds a blank and any text, quoted, or as a literal where quotes cannot carry it.
  ImapCommand& text(std::string_view text);
  /// Adds a blank and the bytes as a literal. NUL is not allowed in them.
  ImapCommand& literal(std::string_view bytes);

  /// The command without its tag and its last line end. All pieces but the first are sent only when
  /// the server has asked for them by a continuation request.
  const std::vector<std::string>& pieces() const { return pieces_; }

 private:
  ImapLiterals literals_;
  std::vector<std::string> pieces_;
};

/// The name of a mailbox in modified UTF-7 (RFC 3501 section 5.1.3). INBOX is recognised in any
/// case. Bytes that are not UTF-8 are taken as characters of that value.
std::string imapMailboxName(std::string_view name);

}  // namespace relaybird
