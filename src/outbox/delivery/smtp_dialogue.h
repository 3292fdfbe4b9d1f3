// SPDX-License-Identifier: MIT
// What is said on one connection to an SMTP server (RFC 5321), once it is encrypted and signed in.
// It takes the bytes that arrive and gives the bytes to be sent; it has no clock, thread or socket.
//
// Where the server offers PIPELINING (RFC 2920), the end of one message's text, RSET and the whole
// envelope of the next message go out together, so that a message costs one round trip. The RSET is
// superfluous, but a widespread server ends when a message follows another without it. The text of
// a message is sent only after the answer for the one before has arrived: so the fate of one
// message at most is unknown when the connection is lost. Elsewhere each command waits for the
// answer to the one before. Messages are not sent in chunks (BDAT): servers and proxies that offer
// it lose mail.
//
// One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "outbox/delivery/smtp_reply.h"
#include "outbox/delivery/smtp_transaction.h"
#include "outbox/delivery/transport.h"
#include "platform/system/network.h"

namespace relaybird {

/// What an answer is awaited for. Each has a time limit of its own.
enum class SmtpStep {
  kNothing,
  kHello,
  kReset,
  kSender,
  kRecipient,
  kData,
  kText,  ///< no answer: the server has to accept the text
  kEnd,   ///< the answer for the whole message
  kQuit,
};

class SmtpDialogue {
 public:
  struct Setting {
    std::string server;       ///< its name, for people
    bool mayPipeline = true;  ///< where the server offers it
    /// Gets each line, where the program shows them; texts of messages are left out. May be empty.
    std::function<void(const ProtocolLine&)> trace = {};
  };
  /// Why the connection is over, where the server seems to be to blame and not a message.
  struct Trouble {
    std::string words;
    Outcome::Cause cause = Outcome::Cause::kServer;
    std::string code = {};  ///< as in Outcome
  };

  explicit SmtpDialogue(Setting setting);
  SmtpDialogue(const SmtpDialogue&) = delete;
  SmtpDialogue& operator=(const SmtpDialogue&) = delete;

  /// The bytes to be sent next, and how many of them have been sent. The buffer is bounded; so
  /// there can be more after sent().
  std::string_view output() const { return std::string_view(out_).substr(outAt_); }
  void sent(std::size_t bytes);
  void receive(std::string_view bytes);
  /// The connection is gone, or its time is over: decides what became of the messages.
  void lost(const std::string& words);

  /// Whether a message can be given: to be sent at once, or together with the end of the one
  /// before.
  bool wantsMessage() const;
  /// Takes a message. Only if wantsMessage(). One that cannot be sent here, or not be read, gets
  /// its verdict at once. One that cannot be read any more when it is half sent, or has changed by
  /// then, ends the connection.
  void give(FedMessage message);
  /// There is no message now: ends the one whose text has been sent. Only if wantsMessage().
  void noMessage();
  /// Says goodbye, if nothing is under way; else it is said later.
  void quit();

  std::vector<Verdict> takeVerdicts() { return std::exchange(verdicts_, {}); }
  /// Messages of which nothing was sent but their envelopes, when the connection ended, or which
  /// the server did not want on this connection any more. They can be sent on another one at once.
  std::vector<std::uint64_t> takeUnsent() { return std::exchange(unsent_, {}); }

  /// Nothing is under way; true also before the first message and after the end.
  bool idle() const { return transactions_.empty(); }
  /// The connection is of no more use and can be closed.
  bool over() const { return over_; }
  /// Why the server takes nothing at all, if it is so. Told once.
  std::optional<Trouble> takeTrouble() { return std::exchange(trouble_, {}); }
  /// Whether commands are sent before the answers for those before them have come.
  bool pipelining() const { return pipelining_; }
  /// Messages that the server has taken on this connection.
  std::size_t accepted() const { return accepted_; }
  /// Bytes of messages that are held here.
  std::size_t held() const;
  SmtpStep awaited() const;
  /// Whether a whole message has been sent, so that the server may take it, and its answer has not
  /// come. Bytes for the next message may still wait to be sent.
  bool awaitsVerdict() const;
  /// Changes whenever something was achieved: an answer has come, or text was accepted.
  std::uint64_t progress() const { return progress_; }

 private:
  struct Command {
    SmtpStep step;
    std::string line;
  };

  void handle(const SmtpReply& reply);
  void handleHello(const SmtpReply& reply);
  void handleSender(const SmtpReply& reply);
  void handleRecipient(const SmtpReply& reply);
  void handleData(const SmtpReply& reply);
  void handleEnd(const SmtpReply& reply);
  void handleClosing(const SmtpReply& reply, SmtpStep step);
  void handleUnasked(const SmtpReply& reply);

  std::optional<Outcome> verdictBefore(SmtpTransaction& transaction) const;
  void beginTransaction(const SmtpTransaction& transaction);
  void endText(SmtpTransaction& transaction);
  bool holdsBack(const SmtpReply& reply);
  void finishFirst();
  void finish(const SmtpReply& reply);
  bool endWasSent(const SmtpTransaction& transaction) const;
  void say(SmtpStep step, const std::string& line);
  void pump();
  void pumpText(SmtpTransaction& transaction);
  void addText(SmtpTransaction& transaction, std::string_view piece);
  void textIsSaid(SmtpTransaction& transaction);
  void textFailed(const Error& error);

  Setting setting_;
  SmtpReplyReader reader_;
  std::string out_;
  std::size_t outAt_ = 0;
  std::uint64_t sentInAll_ = 0;
  std::deque<SmtpStep> awaited_;
  std::deque<Command> commands_;              ///< not in the buffer yet
  std::deque<SmtpTransaction> transactions_;  ///< two at most: the second's envelope is on its way
  std::vector<Verdict> verdicts_;
  std::vector<std::uint64_t> unsent_;
  std::optional<Trouble> trouble_;
  std::uint64_t progress_ = 0;
  std::size_t accepted_ = 0;
  bool greeted_ = false;  ///< EHLO was answered
  bool oldHello_ = false;
  bool begun_ = false;       ///< a message was given
  bool needsReset_ = false;  ///< a sender was accepted, and its message came to no end
  bool leaving_ = false;     ///< no message is taken any more
  bool quitSaid_ = false;
  bool over_ = false;

  bool pipelining_ = false;
  SmtpOffer offer_;
};

}  // namespace relaybird
