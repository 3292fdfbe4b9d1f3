// SPDX-License-Identifier: MIT
// Plays the server's side of the greeting, STARTTLS, the capabilities and the sign-in, as IMAP and
// SMTP spell them. What the Talk names replaces the usual answers.
#include "mail_talks.h"

#include <iterator>
#include <sstream>
#include <vector>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

std::vector<std::string> words(std::string_view line) {
  std::istringstream stream{std::string(line)};
  std::vector<std::string> found{std::istream_iterator<std::string>(stream), {}};
  return found;
}

std::string word(std::string_view line, std::size_t number) {
  const auto found = words(line);
  return number < found.size() ? found[number] : "";
}

// The client's part of a mechanism, after the command with the words after its name.
void exchange(Peer& peer, const std::string& method, bool initial, const std::string& prompt) {
  if (!initial) {
    peer.say(prompt + (method == "LOGIN" ? toBase64("Username:") : "") + "\r\n");
    peer.line();
  }
  if (method == "LOGIN") {
    peer.say(prompt + toBase64("Password:") + "\r\n");
    peer.line();
  }
}

void answerSignIn(Peer& peer, const Talk& talk, const std::string& tag, const std::string& prompt,
                  const std::string& success) {
  if (!talk.challenge.empty()) {
    peer.say(prompt + toBase64(talk.challenge) + "\r\n");
    peer.line();
  }
  peer.say(tag + (talk.refusal.empty() ? success : talk.refusal) + "\r\n");
  if (talk.silentAfterwards) {
    peer.untilEnd();
  }
}

bool imapCommand(Peer& peer, const Talk& talk, bool& encrypted) {
  const std::string line = peer.line();
  const std::string tag = word(line, 0) + ' ';
  const std::string command = asciiUpper(word(line, 1));
  if (command == "CAPABILITY") {
    std::string list = "* CAPABILITY IMAP4rev1";
    if (!encrypted && talk.offersStartTls) {
      list += " STARTTLS";
    }
    for (const auto& method : words(talk.methods)) {
      list += " AUTH=" + method;
    }
    peer.say(list + "\r\n" + tag + "OK done\r\n");
    return false;
  }
  if (command == "STARTTLS") {
    if (talk.startTlsAnswer.starts_with('*')) {
      peer.say(talk.startTlsAnswer);
      throw PeerGone();
    }
    if (!talk.startTlsAnswer.empty()) {
      peer.say(tag + talk.startTlsAnswer);
      return false;
    }
    peer.say(tag + "OK go\r\n");
    peer.startTls(talk.tls);
    encrypted = true;
    return false;
  }
  if (command == "AUTHENTICATE") {
    exchange(peer, word(line, 2), false, "+ ");
  }
  if (command == "AUTHENTICATE" || command == "LOGIN") {
    answerSignIn(peer, talk, tag, "+ ", "OK signed in");
    return talk.refusal.empty();
  }
  peer.say(tag + "BAD what?\r\n");
  return false;
}

bool smtpCommand(Peer& peer, const Talk& talk, bool& encrypted) {
  const std::string line = peer.line();
  const std::string command = asciiUpper(word(line, 0));
  if (command == "EHLO") {
    peer.say("250-mail.test\r\n");
    peer.say(!encrypted && talk.offersStartTls ? "250-STARTTLS\r\n" : "");
    peer.say(talk.methods.empty() ? "" : "250-AUTH " + talk.methods + "\r\n");
    peer.say("250 SIZE 1000000\r\n");
    return false;
  }
  if (command == "STARTTLS") {
    if (!talk.startTlsAnswer.empty()) {
      peer.say(talk.startTlsAnswer);
      return false;
    }
    peer.say("220 go\r\n");
    peer.startTls(talk.tls);
    encrypted = true;
    return false;
  }
  if (command == "AUTH") {
    const std::string rest = line.substr(std::min<std::size_t>(line.size(), 5));
    exchange(peer, word(rest, 0), rest.find(' ') != std::string::npos, "334 ");
    answerSignIn(peer, talk, "", "334 ", "235 signed in");
    return talk.refusal.empty();
  }
  peer.say("500 what?\r\n");
  return false;
}

}  // namespace

void openTalk(Peer& peer, const Talk& talk, bool signsIn) {
  const bool imap = talk.protocol == MailProtocol::kImap;
  bool encrypted = talk.security == Security::kTls;
  if (encrypted) {
    peer.startTls(talk.tls);
  }
  peer.say(!talk.greeting.empty() ? talk.greeting : imap ? "* OK ready\r\n" : "220 mail.test\r\n");
  if (!signsIn) {
    // The client asks for the capabilities once or, around STARTTLS, twice.
    const int commands = talk.security == Security::kStartTls ? 3 : 1;
    for (int i = 0; i < commands; ++i) {
      imap ? imapCommand(peer, talk, encrypted) : smtpCommand(peer, talk, encrypted);
    }
    return;
  }
  while (!(imap ? imapCommand(peer, talk, encrypted) : smtpCommand(peer, talk, encrypted))) {
  }
}

}  // namespace relaybird
