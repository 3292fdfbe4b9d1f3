// SPDX-License-Identifier: MIT
// Private mail servers for the tests of one program: a Dovecot, SMTP sinks, proxies and
// certificates on loopback, started and ended by tests/support/servers/mail_servers.py, which
// describes them.
//
// Starting them takes a quarter of a second. A program that uses them is one test for CTest
// (rb_server_test), so that it happens once.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "platform/posix/descriptor.h"
#include "support/temp_folder.h"

namespace relaybird {

class MailServers {
 public:
  /// What the tool has answered, by name.
  using Values = std::map<std::string, std::string>;

  static constexpr const char* kAnnsPassword = "p\"a\\ss w\xc3\xb6rd";
  static constexpr const char* kPassword = "secret";  ///< of all other users

  /// Those of this program: the first call starts them, its end ends them. Throws if they cannot be
  /// started, with what is missing.
  static MailServers& get();

  MailServers(const MailServers&) = delete;
  MailServers& operator=(const MailServers&) = delete;

  /// The port of a service at one of Dovecot's addresses, "plain.imap" for example.
  std::uint16_t port(const std::string& name) const;
  /// The address "demanding" of the port "demanding.imap"; "localhost" for "plain.imap".
  static std::string host(const std::string& name);
  const std::string& caFile() const { return places_.at("ca"); }
  /// Where the sink that Dovecot submits to keeps its messages.
  std::string sinkFolder() const { return folder_.path("sink1"); }

  /// Sends a command to the tool and returns its answer; throws what the tool complains of.
  Values ask(const std::string& command);
  /// The port of a new sink or proxy.
  std::uint16_t portOf(const std::string& command);

  /// A user whose mailbox is empty and used by nobody else.
  std::string freshUser();
  /// The user's Maildir. What is put there arrives.
  std::string maildir(const std::string& user) const { return places_.at("mail") + "/" + user; }
  /// Puts an unread message into the inbox and returns the unique part of its file name. The
  /// messages of one program sort by the order of their delivery. `prepare` may change the file
  /// before it is in the inbox.
  std::string deliver(const std::string& user, std::string_view message,
                      const std::function<void(const std::string& path)>& prepare = {});

  /// What Dovecot has logged since the program began; waits until the text is in it behind the
  /// position `from`, or fails the test after ten seconds.
  std::string awaitLog(const std::string& text, std::size_t from = 0) const;
  /// The present length of the log.
  std::size_t logSize() const;

 private:
  MailServers();
  ~MailServers();

  TempFolder folder_;
  pid_t tool_ = -1;
  Descriptor commands_;
  Descriptor answers_;
  Values places_;
  int users_ = 0;
  int delivered_ = 0;
};

}  // namespace relaybird
