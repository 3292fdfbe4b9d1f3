// SPDX-License-Identifier: MIT
// An IMAP server in a test, over tests/support/scripted_network.h: a folder of messages that the
// test changes at will, and answers of its own where it wants to see what comes of them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/scripted_network.h"

namespace relaybird {

struct ServerMail {
  std::uint32_t uid = 0;
  std::string bytes;
  bool seen = false;
  std::string structure = {};  ///< its BODYSTRUCTURE; empty: made from the bytes
  std::string date = "17-Jul-2026 02:44:25 +0000";
};

/// The account, which outlives connections.
struct ServerAccount {
  std::vector<ServerMail> mails;  ///< uids rise
  std::uint32_t uidValidity = 7;
  std::string capabilities = "IMAP4rev1 IDLE ESEARCH ID";
  bool readOnly = false;
  std::string permanentFlags = {};  ///< "(\Seen)"; empty: not told
  /// Answers a command instead of the account ("UID SEARCH ..."), all of it, tagged reply included.
  /// Nothing: the account answers.
  std::function<std::optional<std::string>(const std::string& tag, const std::string& command)>
      instead;
  std::vector<std::string> commands;  ///< heard, without their tags

  ServerMail& add(std::uint32_t uid, std::string bytes);
  ServerMail* find(std::uint32_t uid);
  void remove(std::uint32_t uid);
  /// How many commands begin like this.
  std::size_t count(std::string_view beginning) const;
};

/// A short message.
std::string simpleMail(const std::string& subject);

/// The script of one connection.
std::unique_ptr<ServerScript> imapServer(ServerAccount& account);

}  // namespace relaybird
