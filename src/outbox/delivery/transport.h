// SPDX-License-Identifier: MIT
// The interface that the delivery of the outbox needs: it takes messages off this machine, a whole
// series of them at a time. The transport asks a feed for one message after another and reports
// what became of each. So one connection serves the series, and while the answer for one message
// is awaited the next one can be on its way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "outbox/outgoing_text.h"

namespace relaybird {

/// Whom a message comes from and goes to, as bare addresses (RFC 5321 mailboxes without brackets).
struct Envelope {
  std::string sender;
  std::vector<std::string> recipients;  ///< each once
};

/// A message ready to leave.
struct OutgoingMessage {
  Envelope envelope;
  std::string subject;  ///< for people: UTF-8 on one line
  OutgoingText text;    ///< the whole message, without Bcc
};

/// A recipient that a server did not take a message for.
struct RefusedRecipient {
  std::string address;  ///< as in the envelope
  std::string words;    ///< the server's
  bool permanent = false;
};

/// What became of a message.
struct Outcome {
  enum class Kind {
    kDelivered,
    kTemporary,  ///< worth another try later
    kPermanent,  ///< this message will never be taken
    kCancelled,  ///< stopped on request before the message was taken
    kUnknown,    ///< the whole message was sent, but no answer came: it may have been taken
  };

  Kind kind = Kind::kDelivered;
  std::string words;  ///< the reason, in the words of the command or server
  /// With kTemporary: no other message would be accepted now either, so the rest is not tried.
  bool everything = false;
  /// Recipients refused one by one, where some others have another fate, which is `kind`:
  /// kDelivered, kTemporary or kUnknown.
  std::vector<RefusedRecipient> refused = {};

  /// Where `everything`, or a failure of this message alone, comes from.
  enum class Cause {
    kServer,      ///< the command or the server as a whole
    kConnection,  ///< the server is not reached, or does not answer
    kMessage,     ///< the server's answer to this message, which may mean this message alone
    kLimit,       ///< the same, if it tells of a quota or block that lasts for hours
    kDisk,        ///< this computer: the message could not be read. It is never given up for that
  };
  Cause cause = Cause::kServer;
  /// With `everything`: the same whenever the reason is the same, where `words` can differ in
  /// numbers that servers give each answer; empty where the words are the same then.
  std::string code = {};
};

/// A message as a feed hands it out.
struct FedMessage {
  std::uint64_t number = 0;  ///< names it in its verdict
  OutgoingMessage message;
};

struct Verdict {
  std::uint64_t number = 0;
  Outcome outcome;
};

/// The messages of one series. Used by the transport's thread, during Transport::deliverAll().
class MessageFeed {
 public:
  virtual ~MessageFeed() = default;
  /// The next message that may leave now; nothing if there is none. Reads the disk. As verdicts
  /// decide what may leave, a transport asks again after each report.
  virtual std::optional<FedMessage> next() = 0;
  /// Records what became of these messages, so that the end of this program cannot undo it. A
  /// message that was handed out and never reported counts as cancelled.
  virtual void report(std::vector<Verdict> verdicts) = 0;
  /// Waits for the disk, once for all that was handed out and reported since the last call, so that
  /// a power cut cannot undo the records either. Called before a message that was handed out is
  /// completed, and after a report before the message after the next one of that connection is.
  virtual void makeDurable() = 0;
  /// The message was not sent, because the connection that it was meant for had ended: next() hands
  /// it out again, under another number.
  virtual void putBack(std::uint64_t number) = 0;
  enum class Rest { kEnd, kAskAgain, kWait };
  /// Asked when next() has nothing and all that it handed out is reported: whether to end, to ask
  /// next() again, or to keep the connections for a while, since more messages will probably come.
  /// Transport::wake() tells of them.
  virtual Rest rest() { return Rest::kEnd; }
  /// About how many messages next() has not handed out yet.
  virtual std::size_t waiting() const = 0;
};

/// Whether a message whose answer got lost has arrived.
enum class Arrived {
  kYes,
  kNo,           ///< or there is nowhere to look for it
  kNotKnownNow,  ///< it could not be found out; a later try may tell
};

class Transport {
 public:
  virtual ~Transport() = default;
  /// Hands over messages until the feed has none and all are reported. Blocks; ends soon after
  /// `stop` was requested. Never throws. Called on the delivery's own thread.
  virtual void deliverAll(MessageFeed& feed, std::stop_token stop) = 0;
  /// A series that waits for more messages shall ask for them. Called on any thread.
  virtual void wake() {}
  /// The user wants that all is tried again, also what a server has refused. Called on the same
  /// thread, before a series.
  virtual void tryAgain() {}
  /// Whether hasArrived() can find out anything. Then it is recorded which messages are about to be
  /// sent, so that it is asked for these after a crash; not for one that goes to several, as it
  /// does not tell who has it.
  virtual bool searches() const { return false; }
  /// Whether a message whose answer got lost has arrived, found out in another way, such as by a
  /// search of the Sent folder. Asked on the same thread before the message is tried again; may
  /// wait for a server, and ends soon after `stop` was requested. The transport itself tells the
  /// user why it is not known.
  virtual Arrived hasArrived(const OutgoingMessage& message, std::stop_token stop) {
    static_cast<void>(message);
    static_cast<void>(stop);
    return Arrived::kNo;
  }
};

/// A transport that takes one message after another.
class SingleTransport : public Transport {
 public:
  void deliverAll(MessageFeed& feed, std::stop_token stop) final;
  /// As deliverAll(), for one message.
  virtual Outcome deliver(const OutgoingMessage& message, std::stop_token stop) = 0;
};

}  // namespace relaybird
