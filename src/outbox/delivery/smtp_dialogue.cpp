// SPDX-License-Identifier: MIT
// Answers arrive in the order of the commands, so a queue of what is awaited attributes them
// (awaited_). The first transaction is the one that answers are for; a second one exists only
// while its envelope is on its way behind the end of the first one's text.
#include "outbox/delivery/smtp_dialogue.h"

#include <algorithm>
#include <utility>

#include "outbox/delivery/outgoing_message.h"
#include "outbox/delivery/smtp_words.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// How much waits to be sent at most: enough for a fast line, and little memory.
constexpr std::size_t kBuffer = std::size_t{128} << 10;
// Says nothing about this computer to those who see the headers that the server adds.
constexpr const char* kHelloName = "[127.0.0.1]";

std::string codeOf(const SmtpReply& reply) {
  return std::to_string(reply.code) + " " + reply.enhanced;
}

}  // namespace

SmtpDialogue::SmtpDialogue(Setting setting) : setting_(std::move(setting)) {
  say(SmtpStep::kHello, std::string("EHLO ") + kHelloName);
}

void SmtpDialogue::say(SmtpStep step, const std::string& line) {
  if (setting_.trace) {
    setting_.trace({true, line});
  }
  out_ += line;
  out_ += "\r\n";
  awaited_.push_back(step);
}

void SmtpDialogue::sent(std::size_t bytes) {
  outAt_ += bytes;
  sentInAll_ += bytes;
  // While no answer is awaited, only the bytes that it takes show that the server is alive.
  if (awaited_.empty()) {
    ++progress_;
  }
  if (outAt_ == out_.size()) {
    out_.clear();
    outAt_ = 0;
  } else if (outAt_ > kBuffer) {
    // What was sent is dropped in large pieces, since the rest is moved each time.
    out_.erase(0, outAt_);
    outAt_ = 0;
  }
  pump();
}

void SmtpDialogue::receive(std::string_view bytes) {
  reader_.add(bytes);
  while (!over_) {
    const auto reply = reader_.take();
    if (!reply) {
      break;
    }
    handle(*reply);
  }
  if (const auto nonsense = reader_.nonsense(); nonsense && !over_) {
    lost("It said what is no answer: " + *nonsense);
  }
}

void SmtpDialogue::handle(const SmtpReply& reply) {
  ++progress_;
  // Shown as it came, also when it makes no sense: then it is what the user needs to see.
  for (std::size_t i = 0; setting_.trace && i < reply.lines.size(); ++i) {
    const char* mark = i + 1 < reply.lines.size() ? "-" : " ";
    setting_.trace({false, std::to_string(reply.code) + mark + reply.lines[i]});
  }
  if (awaited_.empty()) {
    return handleUnasked(reply);
  }
  // 421 may come in place of any answer, and means the connection (RFC 5321, 4.2.3).
  const SmtpStep step = awaited_.front();
  if (reply.code == 421 && step != SmtpStep::kQuit) {
    return handleClosing(reply, step);
  }
  // DATA alone is answered by 354, and never by a 2xx code.
  const bool proceeds = step == SmtpStep::kData && reply.code == 354;
  const bool understood = step == SmtpStep::kData ? !reply.positive() : reply.positive();
  if (!proceeds && !understood && !reply.temporary() && !reply.permanent()) {
    return lost("It gave an answer that does not fit: " + reply.words());
  }
  awaited_.pop_front();
  switch (step) {
    case SmtpStep::kHello:
      handleHello(reply);
      break;
    case SmtpStep::kSender:
      handleSender(reply);
      break;
    case SmtpStep::kRecipient:
      handleRecipient(reply);
      break;
    case SmtpStep::kData:
      handleData(reply);
      break;
    case SmtpStep::kEnd:
      handleEnd(reply);
      break;
    case SmtpStep::kQuit:
      over_ = true;
      break;
    case SmtpStep::kReset:  // whether it was understood shows with the next sender
    case SmtpStep::kNothing:
    case SmtpStep::kText:
      break;
  }
  pump();
}

void SmtpDialogue::handleHello(const SmtpReply& reply) {
  if (reply.positive()) {
    greeted_ = true;
    offer_ = readSmtpOffer(reply);
    pipelining_ = setting_.mayPipeline && offer_.pipelining;
  } else if (reply.permanent() && !oldHello_) {
    // An old server, which must be spoken to without extensions (RFC 5321, 3.2).
    oldHello_ = true;
    say(SmtpStep::kHello, std::string("HELO ") + kHelloName);
  } else {
    trouble_ = Trouble{smtpWords(setting_.server, reply, "the greeting"), Outcome::Cause::kServer,
                       codeOf(reply)};
    over_ = true;
  }
}

bool SmtpDialogue::wantsMessage() const {
  if (!greeted_ || over_ || leaving_ || !commands_.empty()) {
    return false;
  }
  if (transactions_.empty()) {
    return awaited_.empty();
  }
  // The text is in the buffer: the next envelope can go out together with its end.
  return pipelining_ && transactions_.size() == 1 &&
         transactions_.front().phase == SmtpTransaction::Phase::kTextDone;
}

void SmtpDialogue::give(FedMessage message) {
  SmtpTransaction made(std::move(message));
  if (auto verdict = verdictBefore(made)) {
    verdicts_.push_back({made.number, std::move(*verdict)});
    return;
  }
  if (!transactions_.empty()) {
    endText(transactions_.front());
  }
  transactions_.push_back(std::move(made));
  beginTransaction(transactions_.back());
  pump();
}

// The verdict on a message that is not sent at all.
std::optional<Outcome> SmtpDialogue::verdictBefore(SmtpTransaction& transaction) const {
  auto why = transaction.addressObjection(offer_, setting_.server);
  if (!why) {
    if (const auto measured = transaction.measure(); !measured) {
      return textFailure(measured.error());
    }
    why = transaction.textObjection(offer_, setting_.server);
  }
  return why ? std::optional<Outcome>({Outcome::Kind::kPermanent, std::move(*why), false})
             : std::nullopt;
}

void SmtpDialogue::beginTransaction(const SmtpTransaction& transaction) {
  // The server still has the sender of a message that came to no end, or it may end when another
  // MAIL follows a text directly.
  if (needsReset_ || (pipelining_ && begun_)) {
    commands_.push_back({SmtpStep::kReset, "RSET"});
  }
  begun_ = true;
  needsReset_ = false;
  commands_.push_back({SmtpStep::kSender, transaction.mailCommand(offer_)});
  for (const SmtpTransaction::Recipient& recipient : transaction.recipients) {
    commands_.push_back({SmtpStep::kRecipient, "RCPT TO:<" + recipient.address + ">"});
  }
  commands_.push_back({SmtpStep::kData, "DATA"});
}

void SmtpDialogue::noMessage() {
  if (!transactions_.empty()) {
    endText(transactions_.front());
  }
}

// Not in the middle of something: the goodbye is said when the last answer has come.
void SmtpDialogue::quit() {
  leaving_ = true;
  if (!greeted_) {
    over_ = true;
  }
  pump();
}

void SmtpDialogue::pump() {
  if (over_) {
    return;
  }
  // RFC 2920 lets these go out together: none of them but DATA, the last, changes what comes next.
  while (!commands_.empty() && (pipelining_ || awaited_.empty())) {
    say(commands_.front().step, commands_.front().line);
    commands_.pop_front();
  }
  if (!transactions_.empty() && transactions_.front().phase == SmtpTransaction::Phase::kText) {
    pumpText(transactions_.front());
  }
  if (over_) {
    return;
  }
  if (!transactions_.empty() && transactions_.front().phase == SmtpTransaction::Phase::kTextDone &&
      (leaving_ || !pipelining_)) {
    endText(transactions_.front());
  }
  if (leaving_ && greeted_ && !quitSaid_ && transactions_.empty() && awaited_.empty()) {
    quitSaid_ = true;
    say(SmtpStep::kQuit, "QUIT");
  }
}

void SmtpDialogue::pumpText(SmtpTransaction& transaction) {
  while (output().size() < kBuffer) {
    const auto piece = transaction.textLeft->next();
    if (!piece) {
      return textFailed(piece.error());
    }
    if (piece->empty()) {
      return textIsSaid(transaction);
    }
    addText(transaction, *piece);
  }
}

// RFC 5321, 4.5.2: a line that begins with a dot gets another one.
void SmtpDialogue::addText(SmtpTransaction& transaction, std::string_view piece) {
  while (!piece.empty()) {
    const std::size_t end = std::min(piece.find('\n'), piece.size());
    if (transaction.lineBegins && piece.front() == '.') {
      out_ += '.';
    }
    out_ += piece.substr(0, end);
    transaction.lineBegins = end < piece.size();
    if (transaction.lineBegins) {
      out_ += "\r\n";
    }
    piece.remove_prefix(std::min(end + 1, piece.size()));
  }
}

void SmtpDialogue::textIsSaid(SmtpTransaction& transaction) {
  if (transaction.textLeft->digest() != transaction.digest) {
    return textFailed({0, "The file of the message was changed while it was sent"});
  }
  addText(transaction, transaction.lineBegins ? "" : "\n");
  transaction.phase = SmtpTransaction::Phase::kTextDone;
  transaction.textLeft.reset();
  transaction.text = OutgoingText();
}

// Nothing but the end of the connection ends a text without the server taking it.
void SmtpDialogue::textFailed(const Error& error) {
  verdicts_.push_back({transactions_.front().number, textFailure(error)});
  transactions_.clear();
  over_ = true;
}

void SmtpDialogue::endText(SmtpTransaction& transaction) {
  transaction.phase = SmtpTransaction::Phase::kEnding;
  if (setting_.trace) {
    const bool wanted = !transaction.refusal && transaction.anyAccepted();
    setting_.trace({true, wanted ? "(the message, " + std::to_string(transaction.size) + " bytes)"
                                 : "(no message)"});
  }
  say(SmtpStep::kEnd, ".");
  // Whether the server can have taken the message depends on whether this last byte was sent.
  transaction.endAt = sentInAll_ + output().size();
}

// With pipelining the recipients and DATA are on their way already: their answers are awaited, and
// say nothing then.
void SmtpDialogue::handleSender(const SmtpReply& reply) {
  if (reply.positive()) {
    needsReset_ = true;
    return;
  }
  transactions_.front().refusal = reply;
  if (!pipelining_) {
    finishFirst();
  }
}

void SmtpDialogue::handleRecipient(const SmtpReply& reply) {
  SmtpTransaction& transaction = transactions_.front();
  SmtpTransaction::Recipient& recipient = transaction.recipients[transaction.answered++];
  if (!reply.positive()) {
    recipient.refusal = reply;
  }
  const bool last = transaction.answered == transaction.recipients.size();
  if (!pipelining_ && last && !transaction.anyAccepted()) {
    finishFirst();
  }
}

void SmtpDialogue::handleData(const SmtpReply& reply) {
  SmtpTransaction& transaction = transactions_.front();
  // With pipelining DATA is sent before the answers of the envelope are known, so a server can ask
  // for a text that nobody is to get (RFC 2920, 3.1).
  const bool wanted = !transaction.refusal && transaction.anyAccepted();
  if (reply.code == 354) {
    if (!wanted) {
      transaction.text = OutgoingText();  // only a lone dot ends what the server has begun
      transaction.digest = 0;
    }
    transaction.phase = SmtpTransaction::Phase::kText;
    transaction.textLeft.emplace(transaction.text);
    return;
  }
  if (wanted) {
    transaction.refusal = reply;
    transaction.refusedData = true;
  }
  finishFirst();
}

void SmtpDialogue::handleEnd(const SmtpReply& reply) {
  needsReset_ = false;
  const SmtpTransaction& transaction = transactions_.front();
  // The answer to a lone dot: the envelope has decided already.
  if (transaction.refusal || !transaction.anyAccepted()) {
    return finishFirst();
  }
  // A server that has taken something is not refusing the account as a whole.
  if (reply.positive()) {
    ++accepted_;
  }
  finish(reply);
}

// The server closes the connection, whatever it was asked.
void SmtpDialogue::handleClosing(const SmtpReply& reply, SmtpStep step) {
  const std::string hint = smtpHint(reply);
  trouble_ = Trouble{setting_.server + " ends the connection: " + reply.words() +
                         (hint.empty() ? "" : "\n" + hint),
                     transactions_.empty() ? Outcome::Cause::kServer : Outcome::Cause::kMessage,
                     codeOf(reply)};
  if (step == SmtpStep::kEnd && accepted_ == 0 && !asksToSlowDown(reply)) {
    // It may be this message that it cannot stand: the others must not wait for it.
    trouble_.reset();
    const SmtpTransaction& first = transactions_.front();
    verdicts_.push_back({first.number, first.outcome(setting_.server, &reply)});
    transactions_.pop_front();
  }
  for (const SmtpTransaction& transaction : std::exchange(transactions_, {})) {
    unsent_.push_back(transaction.number);
  }
  over_ = true;
}

// Some servers refuse a message in the middle of its text, and then end the connection.
void SmtpDialogue::handleUnasked(const SmtpReply& reply) {
  if (reply.code == 421) {
    return handleClosing(reply, transactions_.empty() ? SmtpStep::kNothing : SmtpStep::kEnd);
  }
  const bool inText = !transactions_.empty() && (reply.temporary() || reply.permanent()) &&
                      !transactions_.front().refusal && transactions_.front().anyAccepted();
  if (!inText) {
    return lost("It spoke without being asked: " + reply.words());
  }
  finish(reply);
  over_ = true;
}

void SmtpDialogue::lost(const std::string& words) {
  if (over_) {
    return;
  }
  over_ = true;
  const std::string text = withServer(setting_.server, words);
  if (transactions_.empty()) {
    if (accepted_ == 0 && !quitSaid_) {
      trouble_ = Trouble{text, Outcome::Cause::kConnection};
    }
    return;
  }
  const SmtpTransaction& first = transactions_.front();
  const bool decided =
      first.refusal || (first.answered == first.recipients.size() && !first.anyAccepted());
  if (decided) {
    verdicts_.push_back({first.number, first.outcome(setting_.server, nullptr)});
  } else if (endWasSent(first)) {
    Outcome outcome = first.outcome(setting_.server, nullptr);
    outcome.words = text;
    verdicts_.push_back({first.number, std::move(outcome)});
  } else if (accepted_ > 0) {
    // Not sent whole: another connection can have it at once. Where this one took nothing it waits
    // instead, or it would go from one connection to the next without end.
    unsent_.push_back(first.number);
  } else {
    verdicts_.push_back({first.number, {Outcome::Kind::kTemporary, text, false}});
  }
  for (std::size_t i = 1; i < transactions_.size(); ++i) {
    unsent_.push_back(transactions_[i].number);
  }
  transactions_.clear();
}

// Whether other messages probably get the same answer; then it is the connection's trouble.
bool SmtpDialogue::holdsBack(const SmtpReply& reply) {
  if (limitsAccount(reply)) {
    trouble_ = Trouble{smtpWords(setting_.server, reply, "the message"), Outcome::Cause::kLimit,
                       codeOf(reply)};
  } else if (asksToSlowDown(reply)) {
    trouble_ = Trouble{smtpWords(setting_.server, reply, "the message"), Outcome::Cause::kMessage,
                       codeOf(reply)};
  }
  return trouble_.has_value();
}

// Ends the first transaction by what was refused in its envelope.
void SmtpDialogue::finishFirst() {
  // Without pipelining the rest of the envelope has not been sent yet.
  commands_.clear();
  const SmtpTransaction& first = transactions_.front();
  const SmtpReply* worst = first.refusal ? &*first.refusal : nullptr;
  for (const SmtpTransaction::Recipient& recipient : first.recipients) {
    if (!worst && recipient.refusal &&
        (asksToSlowDown(*recipient.refusal) || limitsAccount(*recipient.refusal))) {
      worst = &*recipient.refusal;
    }
  }
  const bool ofAll = first.refusal.has_value();
  if (worst && refusesSignIn(*worst)) {
    trouble_ = Trouble{smtpWords(setting_.server, *worst, "the sender"), Outcome::Cause::kServer,
                       codeOf(*worst)};
  } else if (worst) {
    holdsBack(*worst);
  }
  if (trouble_ || (worst && ofAll && worst->temporary() && accepted_ > 0)) {
    // A limit of this connection perhaps: another one gives the server's real answer.
    unsent_.push_back(first.number);
    leaving_ = true;
  } else {
    verdicts_.push_back({first.number, first.outcome(setting_.server, nullptr)});
  }
  transactions_.pop_front();
}

// Ends the first transaction by the answer for its text.
void SmtpDialogue::finish(const SmtpReply& reply) {
  const SmtpTransaction& first = transactions_.front();
  if (holdsBack(reply)) {
    unsent_.push_back(first.number);
    leaving_ = true;
  } else {
    verdicts_.push_back({first.number, first.outcome(setting_.server, &reply)});
  }
  transactions_.pop_front();
}

std::size_t SmtpDialogue::held() const {
  std::size_t bytes = 0;
  for (const SmtpTransaction& transaction : transactions_) {
    bytes += transaction.text.held();
  }
  return bytes;
}

bool SmtpDialogue::endWasSent(const SmtpTransaction& transaction) const {
  return transaction.phase == SmtpTransaction::Phase::kEnding && sentInAll_ >= transaction.endAt;
}

bool SmtpDialogue::awaitsVerdict() const {
  return !over_ && !transactions_.empty() && endWasSent(transactions_.front());
}

SmtpStep SmtpDialogue::awaited() const {
  if (!awaited_.empty()) {
    return awaited_.front();
  }
  return output().empty() ? SmtpStep::kNothing : SmtpStep::kText;
}

}  // namespace relaybird
