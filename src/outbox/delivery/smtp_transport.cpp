// SPDX-License-Identifier: MIT
// One loop serves all connections of a series: it receives, reports the verdicts that have arrived
// together, gives messages to the connections that want one, sends, and waits. Reporting comes
// before sending, so that what a server has taken is on record before the next text leaves. What
// takes time and need not come before sending is done while the servers work on what was sent: the
// wait for the disk, one for all connections, and reading the messages that are wanted next, of
// large ones the beginning.
//
// Memory: a message is read only while little of other messages' text waits to be sent, and of a
// large one no more than a few pieces.
#include "outbox/delivery/smtp_transport.h"

#include <algorithm>
#include <deque>
#include <list>
#include <memory>
#include <utility>
#include <vector>

#include "mail/sign_in_source.h"
#include "outbox/delivery/smtp_line.h"
#include "outbox/delivery/smtp_words.h"

namespace relaybird {

namespace {

using Milliseconds = std::chrono::milliseconds;

// No further message is read while more than this waits to be sent.
constexpr std::size_t kMostHeld = std::size_t{2} << 20;
// Another connection is worth its opening, some six round trips, for this many messages.
constexpr std::size_t kMessagesPerConnection = 8;

bool anyUnknown(const std::vector<Verdict>& verdicts) {
  return std::any_of(verdicts.begin(), verdicts.end(), [](const Verdict& verdict) {
    return verdict.outcome.kind == Outcome::Kind::kUnknown;
  });
}

Outcome::Cause causeOf(ConnectFailure::Cause cause) {
  using Cause = ConnectFailure::Cause;
  const bool connection = cause == Cause::kNoSuchHost || cause == Cause::kNotReached ||
                          cause == Cause::kTimedOut || cause == Cause::kClosed;
  return connection ? Outcome::Cause::kConnection : Outcome::Cause::kServer;
}

// The cause, and what is no number of the session in the server's answer.
std::string codeOf(const ConnectFailure& failure) {
  return "connect " + std::to_string(static_cast<int>(failure.cause)) + " " +
         failure.answer.substr(0, failure.answer.find(' '));
}

}  // namespace

class SmtpTransport::Series {
 public:
  Series(SmtpTransport& transport, MessageFeed& feed, std::stop_token stop)
      : transport_(transport),
        feed_(feed),
        stop_(std::move(stop)),
        network_(transport.setting_.network()) {}
  void run();
  Network& network() { return *network_; }

 private:
  bool work();
  bool fetch();
  bool mayFetch() const;
  void fetchAhead();
  FedMessage takeSpare();
  void openLines();
  bool open();
  void receive(SmtpLine& line);
  void connectionFailed(SmtpLine& line);
  void settle();
  void settleTrouble(SmtpLine& line);
  void putBack(const std::vector<std::uint64_t>& unsent);
  void giveMessages();
  bool stays(const SmtpLine& line);
  void send();
  void wait();
  void expire();
  void dropEnded();
  void leave();
  void holdEverythingBack(const SmtpDialogue::Trouble& trouble, std::vector<std::uint64_t> unsent);
  int othersThatWork(const SmtpLine& line) const;
  bool anyUnderWay() const;

  SmtpTransport& transport_;
  MessageFeed& feed_;
  std::stop_token stop_;
  std::unique_ptr<Network> network_;
  std::list<SmtpLine> lines_;
  std::deque<FedMessage> spare_;     // fetched, and for the first connections that want one
  std::optional<Milliseconds> dry_;  // since when there has been no message to send
  bool gave_ = false;                // a message was given in this round
  bool askAgain_ = false;            // without a wait before the next round
  std::optional<SignIn> signIn_;
  int secret_ = 0;  // counts those that were refused
  bool triedAnotherSecret_ = false;
};

void SmtpTransport::deliverAll(MessageFeed& feed, std::stop_token stop) {
  // What a server refused in an earlier series it may permit now, so each series tries one more.
  mostConnections_ = std::min(mostConnections_ + 1, kSmtpMostConnections);
  Series series(*this, feed, std::move(stop));
  const auto serve = [this](Network* network) {
    const std::lock_guard lock(mutex_);
    serving_ = network;
  };
  serve(&series.network());
  series.run();
  serve(nullptr);
}

void SmtpTransport::wake() {
  const std::lock_guard lock(mutex_);
  if (serving_ != nullptr) {
    serving_->wake();
  }
}

void SmtpTransport::tryAgain() {
  mayPipeline_ = true;
  if (setting_.signIn && setting_.signIn->tryAgain) {
    setting_.signIn->tryAgain();
  }
}

void SmtpTransport::Series::run() {
  const std::stop_callback wake(stop_, [this] { network_->wake(); });
  while (!stop_.stop_requested() && work()) {
    fetchAhead();  // first, so that the wait for the disk is for the records of these messages too
    feed_.makeDurable();
    wait();
  }
  leave();
  feed_.makeDurable();
}

// One round of the loop; false when there is nothing more to do.
bool SmtpTransport::Series::work() {
  expire();
  for (SmtpLine& line : lines_) {
    receive(line);
  }
  settle();
  dropEnded();
  openLines();
  giveMessages();
  send();
  settle();
  dropEnded();
  // A connection may have ended and brought messages back.
  if (lines_.empty()) {
    openLines();
  }
  return !lines_.empty();
}

// Bytes that wait to be sent, here or in a connection.
bool SmtpTransport::Series::mayFetch() const {
  std::size_t held = 0;
  for (const SmtpLine& line : lines_) {
    held += line.dialogue ? line.dialogue->held() : 0;
  }
  for (const FedMessage& one : spare_) {
    held += one.message.text.held();
  }
  return held <= kMostHeld;
}

// Whether a message is there to be given.
bool SmtpTransport::Series::fetch() {
  if (spare_.empty() && mayFetch()) {
    if (auto fed = feed_.next()) {
      spare_.push_back(std::move(*fed));
      dry_.reset();
    }
  }
  return !spare_.empty();
}

// One for each connection: answers often come together.
void SmtpTransport::Series::fetchAhead() {
  while (spare_.size() < lines_.size() && mayFetch()) {
    auto fed = feed_.next();
    if (!fed) {
      return;
    }
    spare_.push_back(std::move(*fed));
    dry_.reset();
  }
}

FedMessage SmtpTransport::Series::takeSpare() {
  FedMessage first = std::move(spare_.front());
  spare_.pop_front();
  return first;
}

// Further connections are opened once the first one has shown that the server takes mail.
void SmtpTransport::Series::openLines() {
  // Not before there is a message: a connection for nothing is a sign-in for nothing.
  if (lines_.empty()) {
    if (fetch()) {
      open();
    }
    return;
  }
  const bool works = std::any_of(lines_.begin(), lines_.end(), [](const SmtpLine& line) {
    return line.dialogue && line.dialogue->awaited() != SmtpStep::kHello;
  });
  const std::size_t useful = 1 + (feed_.waiting() + spare_.size()) / kMessagesPerConnection;
  while (works && lines_.size() < useful &&
         lines_.size() < static_cast<std::size_t>(transport_.mostConnections_) && open()) {
  }
}

bool SmtpTransport::Series::open() {
  const auto& calls = transport_.setting_.signIn;
  if (calls && !signIn_) {
    auto got = calls->get(stop_);
    if (!got) {
      if (!stop_.stop_requested()) {
        holdEverythingBack({got.error().text}, {});
      }
      return false;
    }
    signIn_ = std::move(*got);
  }
  const auto signedIn = std::make_shared<bool>(false);
  const auto trace = [signedIn, &show = transport_.setting_.trace](const ProtocolLine& line) {
    *signedIn = *signedIn || beginsSignIn(line, MailProtocol::kSmtp);
    if (show) {
      show(line);
    }
  };
  lines_.emplace_back(network_->connect(transport_.setting_.server, signIn_, kSmtpOpenLimit, trace),
                      secret_, signedIn, network_->steadyTime());
  return true;
}

void SmtpTransport::Series::receive(SmtpLine& line) {
  const auto& setting = transport_.setting_;
  const bool opened = line.receive({setting.server.host, transport_.mayPipeline_, setting.trace},
                                   network_->steadyTime());
  // A server that offers no sign-in has accepted no secret, and what another one behind the same
  // name has refused stays refused.
  if (opened && *line.signedIn) {
    if (setting.signIn && setting.signIn->accepted) {
      setting.signIn->accepted();
    }
    triedAnotherSecret_ = false;
  }
  if (!line.dialogue && line.over()) {
    connectionFailed(line);
  }
}

int SmtpTransport::Series::othersThatWork(const SmtpLine& line) const {
  return static_cast<int>(std::count_if(lines_.begin(), lines_.end(), [&](const SmtpLine& other) {
    return &other != &line && other.dialogue && !other.dialogue->over();
  }));
}

void SmtpTransport::Series::connectionFailed(SmtpLine& line) {
  const ConnectFailure failure = line.connection->failure().value_or(ConnectFailure{});
  // The likely cause is the server's limit of connections.
  if (const int others = othersThatWork(line); others > 0) {
    transport_.mostConnections_ = others;
    return;
  }
  const auto& calls = transport_.setting_.signIn;
  // Without an answer the secret was not sent: the server does not know this way to sign in.
  const bool refused = failure.cause == ConnectFailure::Cause::kSignInRefused;
  if (refused && !failure.answer.empty() && calls) {
    // Connections that were opened together are refused together; there is a newer secret now.
    if (line.secret != secret_) {
      return;
    }
    ++secret_;
    signIn_.reset();
    if (calls->refused) {
      calls->refused();
    }
    if (!std::exchange(triedAnotherSecret_, true)) {
      // A token may have expired, or a password may have been changed.
      if (auto fresh = calls->get(stop_)) {
        // The next round opens a connection with it.
        signIn_ = std::move(*fresh);
        return;
      }
    }
  }
  holdEverythingBack(
      {connectWords(transport_.setting_.server, failure), causeOf(failure.cause), codeOf(failure)},
      {});
}

// Reports the verdicts that have come, all of them together, and puts back what was not sent.
void SmtpTransport::Series::settle() {
  std::vector<Verdict> verdicts;
  for (SmtpLine& line : lines_) {
    if (line.dialogue) {
      auto come = line.dialogue->takeVerdicts();
      if (line.dialogue->pipelining() && anyUnknown(come)) {
        transport_.mayPipeline_ = false;
      }
      std::move(come.begin(), come.end(), std::back_inserter(verdicts));
    }
  }
  if (!verdicts.empty()) {
    feed_.report(std::move(verdicts));
  }
  for (SmtpLine& line : lines_) {
    if (line.dialogue) {
      settleTrouble(line);
    }
  }
}

// A server that ends a connection after some messages has its reasons, and is asked again. One that
// does so at once is left alone for a while, unless there are other connections: then it may be one
// too many.
void SmtpTransport::Series::settleTrouble(SmtpLine& line) {
  std::vector<std::uint64_t> unsent = line.dialogue->takeUnsent();
  const auto trouble = line.dialogue->takeTrouble();
  if (trouble && line.dialogue->accepted() == 0) {
    const int others = othersThatWork(line);
    if (others == 0) {
      return holdEverythingBack(*trouble, std::move(unsent));
    }
    transport_.mostConnections_ = others;
  }
  if (!unsent.empty()) {
    putBack(unsent);
  }
}

// What was read ahead goes back too, because the feed hands out the oldest first.
void SmtpTransport::Series::putBack(const std::vector<std::uint64_t>& unsent) {
  for (const std::uint64_t number : unsent) {
    feed_.putBack(number);
  }
  while (!spare_.empty()) {
    feed_.putBack(takeSpare().number);
  }
}

// Makes everything wait: one message stands for all, the one that the answer was for if there is
// one, and no other is handed out after it.
void SmtpTransport::Series::holdEverythingBack(const SmtpDialogue::Trouble& trouble,
                                               std::vector<std::uint64_t> unsent) {
  if (unsent.empty() && fetch()) {
    unsent.push_back(takeSpare().number);
  }
  if (!unsent.empty()) {
    feed_.report(
        {{unsent.front(),
          {Outcome::Kind::kTemporary, trouble.words, true, {}, trouble.cause, trouble.code}}});
  }
  if (!unsent.empty()) {
    unsent.erase(unsent.begin());
  }
  putBack(unsent);
}

bool SmtpTransport::Series::anyUnderWay() const {
  return std::any_of(lines_.begin(), lines_.end(),
                     [](const SmtpLine& line) { return line.dialogue && !line.dialogue->idle(); });
}

void SmtpTransport::Series::giveMessages() {
  gave_ = false;
  for (SmtpLine& line : lines_) {
    while (line.dialogue && line.dialogue->wantsMessage()) {
      if (fetch()) {
        line.dialogue->give(takeSpare());
        gave_ = true;
      } else if (!line.dialogue->idle()) {
        line.dialogue->noMessage();
      } else {
        // Verdicts that are awaited may bring messages back, or let others leave.
        if (!anyUnderWay() && !stays(line)) {
          line.dialogue->quit();
        }
        break;
      }
    }
  }
}

// Whether the connection, which has nothing to do, is kept for messages that may come. One that has
// taken nothing is not: its server may have reasons.
bool SmtpTransport::Series::stays(const SmtpLine& line) {
  if (line.dialogue->accepted() == 0) {
    return false;
  }
  // One that was given and had its verdict at once is not reported yet.
  const auto rest = gave_ ? MessageFeed::Rest::kAskAgain : feed_.rest();
  if (rest == MessageFeed::Rest::kAskAgain) {
    askAgain_ = true;
    return true;
  }
  const Milliseconds now = network_->steadyTime();
  dry_ = dry_.value_or(now);
  return rest == MessageFeed::Rest::kWait && now - *dry_ < kSmtpLinger;
}

void SmtpTransport::Series::send() {
  for (SmtpLine& line : lines_) {
    line.send(network_->steadyTime());
  }
}

void SmtpTransport::Series::wait() {
  const Milliseconds now = network_->steadyTime();
  Milliseconds limit = kSmtpEndLimit;
  bool ready = std::exchange(askAgain_, false);
  if (dry_ && now < *dry_ + kSmtpLinger) {
    limit = std::min(limit, *dry_ + kSmtpLinger - now);
  }
  for (const SmtpLine& line : lines_) {
    limit = std::min(limit, line.timeLeft(now));
    // Its text is in the buffer: the next round gives it a message to go on with, or ends the text.
    ready = ready || (line.dialogue && line.dialogue->wantsMessage() && !line.dialogue->idle());
  }
  if (!ready) {
    network_->wait(std::max(limit, Milliseconds{0}));
  }
}

void SmtpTransport::Series::expire() {
  for (SmtpLine& line : lines_) {
    line.expire(network_->steadyTime());
  }
}

void SmtpTransport::Series::dropEnded() {
  lines_.remove_if([](const SmtpLine& line) { return line.over(); });
}

// The program ends, or there is nothing more to do. Only connections whose server owes the answer
// for a whole message are waited for: otherwise nobody would know whether it was taken. What has
// arrived is read in any case.
void SmtpTransport::Series::leave() {
  const auto awaitsVerdict = [](const SmtpLine& line) {
    return line.dialogue && line.dialogue->awaitsVerdict();
  };
  lines_.remove_if([&](const SmtpLine& line) { return !awaitsVerdict(line); });
  for (SmtpLine& line : lines_) {
    line.connection->wantToSend(false);  // what still waits to be sent must not end the waits
  }
  const Milliseconds until = network_->steadyTime() + kSmtpStopLimit;
  while (!lines_.empty()) {
    const bool late = network_->steadyTime() >= until;
    std::vector<Verdict> verdicts;
    for (SmtpLine& line : lines_) {
      receive(line);
      if (late && awaitsVerdict(line)) {
        line.dialogue->lost("The program was stopped before the answer");
      }
      auto come = line.dialogue->takeVerdicts();
      std::move(come.begin(), come.end(), std::back_inserter(verdicts));
    }
    if (!verdicts.empty()) {
      feed_.report(std::move(verdicts));
    }
    lines_.remove_if([&](const SmtpLine& line) { return !awaitsVerdict(line); });
    if (!lines_.empty()) {
      network_->wait(until - network_->steadyTime());
    }
  }
}

}  // namespace relaybird
