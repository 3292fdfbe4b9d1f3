// SPDX-License-Identifier: MIT
// An IMAP server in a test that numbers its changes (RFC 7162), without connections: commands go in
// as lines, and what it says comes out. Like real servers, it gives each connection a view of the
// folder that new mail and other programs' deletions enter only at certain commands.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "stores/account/uid_set.h"

namespace relaybird {

/// The folder, which outlives connections. Changes made here are those of other programs.
class NumberedFolder {
 public:
  struct Mail {
    bool seen = false;
    bool deleted = false;
    std::uint64_t modSeq = 0;
  };

  void arrive() { mails[nextUid++] = {false, false, ++modSeq}; }
  void expunge(std::uint32_t uid);
  void flag(std::uint32_t uid, bool Mail::*flag, bool value);
  /// The unread messages, as a search lists them.
  std::vector<std::uint32_t> unread() const;

  std::map<std::uint32_t, Mail> mails;
  std::map<std::uint32_t, std::uint64_t> expunged;  ///< with their numbers
  std::uint32_t uidValidity = 7;
  std::uint32_t nextUid = 1;
  std::uint64_t modSeq = 1;
};

/// Where a server behaves in another way than the standard asks.
struct ServerOddities {
  bool refusesEnable = false;
  bool refusesSelect = false;   ///< with parameters
  bool refusesChanges = false;  ///< FETCH with CHANGEDSINCE
  bool hasNoNumbers = false;    ///< says NOMODSEQ
  bool hidesMarks = false;      ///< read marks set by this client have no number
  bool namesNumbers = false;    ///< EXPUNGE instead of VANISHED although QRESYNC is on
  bool garbles = false;         ///< a line among the changes cannot be read
};

/// One connection.
class NumberingServer {
 public:
  NumberingServer(NumberedFolder& folder, std::string capabilities, ServerOddities oddities = {})
      : folder_(folder), capabilities_(std::move(capabilities)), odd_(oddities) {}

  /// The answer to a line of the client. `meanwhile` happens before it, and between the changes
  /// in it.
  std::string answer(const std::string& line);
  std::function<void()> meanwhile = [] {};
  std::vector<std::string> commands;  ///< heard, without their tags

 private:
  std::string select(const std::string& command);
  std::string news();
  std::string store(const std::string& command);
  std::string changes(std::uint64_t since, bool vanished, std::uint32_t below);
  std::string flags(std::uint32_t uid) const;
  std::size_t numberOf(std::uint32_t uid) const;

  NumberedFolder& folder_;
  std::string capabilities_;
  ServerOddities odd_;
  bool resync_ = false;              // QRESYNC is enabled
  bool numbers_ = false;             // MODSEQ is told
  std::vector<std::uint32_t> view_;  // the messages of this connection, by number
  std::uint64_t told_ = 0;           // the moment of the last news
};

}  // namespace relaybird
