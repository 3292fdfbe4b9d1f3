// SPDX-License-Identifier: MIT
// The client's side of an IMAP connection: gives commands their tags, sends as many ahead as the
// protocol allows, and matches the replies. Without input and output, threads and clocks: received
// bytes are handed in, and bytes to be sent are taken out.
//
// The connection is signed in already. What precedes the first reply of ours may have been read in
// part by whoever signed in, so lines that cannot be understood are ignored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/network.h"
#include "stores/account/imap_command.h"
#include "stores/account/imap_parser.h"
#include "stores/account/imap_reader.h"
#include "stores/account/imap_response.h"

namespace relaybird {

class ImapDialogue {
 public:
  /// Called with the reply that ends a command, after all data that preceded it. May send commands.
  using Done = std::function<void(const ImapCondition& reply)>;

  /// `onData` gets every response but the replies to commands and continuation requests, at the
  /// time of received(). `trace` may be empty; it gets lines without their literals.
  ImapDialogue(std::function<void(ImapResponse)> onData, std::function<void(ProtocolLine)> trace,
               ImapLimits limits = {});
  ImapDialogue(const ImapDialogue&) = delete;
  ImapDialogue& operator=(const ImapDialogue&) = delete;

  /// Sends the command after those sent before. Ends idling.
  void send(const ImapCommand& command, Done done);
  /// Sends IDLE (RFC 2177) after the commands sent before. The server reports changes until
  /// another command is sent or endIdle() is called.
  void idle(Done done);
  void endIdle();
  /// From idle() until endIdle() or the next command.
  bool idling() const { return idle_ != Idle::kOff && idle_ != Idle::kEnding; }

  /// Whether IDLE was sent, and the server has not agreed.
  bool idleAsked() const { return idle_ == Idle::kAsked; }
  /// Whether the server itself ended the last IDLE.
  bool idleCut() const { return idleCut_; }

  /// Takes what the server has sent. Ignored after the end.
  void received(std::string_view bytes);
  /// The bytes to be sent now; the caller removes what the connection has accepted.
  std::string& output() { return output_; }

  /// The number of commands without a reply, IDLE included.
  std::size_t unanswered() const { return sent_.size() + queued_.size(); }
  /// Whether the server has to answer something: it may be silent for long only while it idles.
  bool owesReply() const { return unanswered() > (idle_ == Idle::kOn ? 1U : 0U); }
  /// How many replies have come.
  std::uint64_t replies() const { return replies_; }
  /// The words of a BYE; nothing as long as the server has not said it.
  const std::optional<std::string>& bye() const { return bye_; }
  /// Why the bytes of the server cannot be understood any further; empty as long as they can.
  const std::string& fault() const { return reader_.fault(); }

 private:
  struct Queued {
    std::string tag;
    std::deque<std::string> pieces;
    Done done;
    bool isIdle = false;
  };
  struct Sent {
    std::string tag;
    Done done;
    bool isIdle = false;
  };
  /// kAsked: IDLE was sent. kOn: the server has agreed. kEnding: DONE follows or was sent.
  enum class Idle { kOff, kAsked, kOn, kEnding };

  void queue(std::vector<std::string> pieces, Done done, bool isIdle);
  void flush();
  void put(const std::string& bytes);
  void onContinuation();
  void onReply(const ImapCondition& reply);
  void take(ImapLines lines);

  std::function<void(ImapResponse)> onData_;
  std::function<void(ProtocolLine)> trace_;
  ImapReader reader_;
  std::string output_;
  std::deque<Queued> queued_;  // the first one may be sent in part
  std::deque<Sent> sent_;
  std::uint64_t lastTag_ = 0;
  std::uint64_t replies_ = 0;
  bool holding_ = false;  // the first of `queued_` waits for a continuation request
  Idle idle_ = Idle::kOff;
  bool endIdleWhenOn_ = false;
  bool idleCut_ = false;
  std::optional<std::string> bye_;
};

}  // namespace relaybird
