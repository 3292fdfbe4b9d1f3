// SPDX-License-Identifier: MIT
// Answers arrive in the order of the commands, so a queue of what is awaited attributes them
// (awaited_). The first transaction is the one that answers are for; a second one exists only
// while its envelope is on its way behind the end of the first one's text.
//
// Which recipient or message an answer blames is decided when a transaction ends: an error for the
// sender outranks what the server says of the commands after it.
#include "outbox/delivery/smtp_dialogue.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "outbox/delivery/smtp_words.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// How much waits to be sent at most: enough for a fast line, and little memory.
constexpr std::size_t kBuffer = std::size_t{128} << 10;
constexpr std::size_t kLongestLine = 998;     // without its line end; RFC 5321, 4.5.3.1.6
constexpr std::size_t kLongestAddress = 320;  // 64 and 255 bytes, and the "@"
// Says nothing about this computer to those who see the headers that the server adds.
constexpr const char* kHelloName = "[127.0.0.1]";

bool isControl(char c) {
  return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
}

// Whether the address can be written between "<" and ">" in a command.
bool isSafe(std::string_view address) {
  const bool quoted = address.starts_with('"');
  return address.size() <= kLongestAddress && !address.empty() &&
         std::none_of(address.begin(), address.end(), [&](char c) {
           return isControl(c) || (!quoted && (c == '<' || c == '>' || c == ' '));
         });
}

std::string codeOf(const SmtpReply& reply) {
  return std::to_string(reply.code) + " " + reply.enhanced;
}

std::string megabytes(std::uint64_t bytes) {
  return std::to_string((bytes + 999'999) / 1'000'000) + " MB";
}

// What the text of a message is like, found in one walk over it.
struct TextTraits {
  std::size_t size = 0;  // with CR LF at the line ends, as RFC 1870 counts
  bool eightBit = false;
  bool broken = false;  // a CR or NUL, which servers understand differently
  std::size_t longest = 0;
};

TextTraits traitsOf(std::string_view text) {
  TextTraits traits;
  traits.eightBit = !isAscii(text);
  traits.broken = text.find('\r') != text.npos || text.find('\0') != text.npos;
  std::size_t lines = 0;
  for (std::size_t begin = 0; begin < text.size(); ++lines) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    traits.longest = std::max(traits.longest, end - begin);
    begin = end + 1;
  }
  // A CR for each line, and the LF that the last line may lack.
  traits.size = text.size() + lines + (text.empty() || text.ends_with('\n') ? 0 : 1);
  return traits;
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
  for (std::size_t i = 0; setting_.trace && i < reply.lines.size(); ++i) {
    const char* mark = i + 1 < reply.lines.size() ? "-" : " ";
    setting_.trace({false, std::to_string(reply.code) + mark + reply.lines[i]});
  }
  if (awaited_.empty()) {
    return handleUnasked(reply);
  }
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
    readCapabilities(reply);
  } else if (reply.permanent() && !oldHello_) {
    oldHello_ = true;
    say(SmtpStep::kHello, std::string("HELO ") + kHelloName);
  } else {
    trouble_ = Trouble{wordsOf(reply, "the greeting"), Outcome::Cause::kServer, codeOf(reply)};
    over_ = true;
  }
}

void SmtpDialogue::readCapabilities(const SmtpReply& reply) {
  for (std::size_t i = 1; i < reply.lines.size(); ++i) {
    const std::string line = asciiUpper(reply.lines[i]);
    const std::string name = line.substr(0, line.find_first_of(" ="));
    pipelining_ = pipelining_ || (setting_.mayPipeline && name == "PIPELINING");
    eightBitMime_ = eightBitMime_ || name == "8BITMIME";
    smtpUtf8_ = smtpUtf8_ || name == "SMTPUTF8";
    if (name == "SIZE") {
      sizeOffered_ = true;
      const std::string_view number =
          std::string_view(line).substr(std::min<std::size_t>(5, line.size()));
      std::from_chars(number.data(), number.data() + number.size(), sizeLimit_);
    }
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
         transactions_.front().phase == Transaction::Phase::kTextDone;
}

void SmtpDialogue::give(FedMessage message) {
  Transaction made;
  if (auto why = objection(message.message, made)) {
    verdicts_.push_back({message.number, {Outcome::Kind::kPermanent, std::move(*why), false}});
    return;
  }
  made.number = message.number;
  made.sender = std::move(message.message.envelope.sender);
  made.text = std::move(message.message.bytes);
  for (std::string& address : message.message.envelope.recipients) {
    made.recipients.push_back({std::move(address), {}});
  }
  if (!transactions_.empty()) {
    endText(transactions_.front());
  }
  transactions_.push_back(std::move(made));
  beginTransaction(transactions_.back());
  pump();
}

// Why the message cannot be sent here at all.
std::optional<std::string> SmtpDialogue::objection(const OutgoingMessage& message,
                                                   Transaction& to) const {
  bool utf8 = false;
  std::vector<std::string> addresses = message.envelope.recipients;
  addresses.push_back(message.envelope.sender);
  for (const std::string& address : addresses) {
    if (!isSafe(address)) {
      return "The address \"" + address + "\" cannot be sent to a mail server";
    }
    utf8 = utf8 || !isAscii(address);
  }
  if (utf8 && !smtpUtf8_) {
    return setting_.server +
           " does not take addresses with letters outside of ASCII (it does not offer SMTPUTF8). "
           "Another server for sending may do so";
  }
  const TextTraits traits = traitsOf(message.bytes);
  if (traits.broken || traits.longest > kLongestLine) {
    return "The message has characters or lines that mail must not have (RFC 5321), so servers "
           "would change or split it";
  }
  if (sizeLimit_ > 0 && traits.size > sizeLimit_) {
    return "5.3.4 " + setting_.server + " takes messages of up to " + megabytes(sizeLimit_) +
           ", and this one has " + megabytes(traits.size) +
           ". A size limit in the settings leaves large attachments out";
  }
  to.size = traits.size;
  to.eightBit = traits.eightBit;
  to.utf8 = utf8;
  return std::nullopt;
}

void SmtpDialogue::beginTransaction(const Transaction& transaction) {
  if (needsReset_ || (pipelining_ && begun_)) {
    commands_.push_back({SmtpStep::kReset, "RSET"});
  }
  begun_ = true;
  needsReset_ = false;
  std::string mail = "MAIL FROM:<" + transaction.sender + ">";
  if (sizeOffered_) {
    mail += " SIZE=" + std::to_string(transaction.size);
  }
  // Without the extension it is sent all the same: no server of today clears the eighth bit, and an
  // embedded message with it cannot be written in another way.
  if (transaction.eightBit && eightBitMime_) {
    mail += " BODY=8BITMIME";
  }
  if (transaction.utf8) {
    mail += " SMTPUTF8";
  }
  commands_.push_back({SmtpStep::kSender, std::move(mail)});
  for (const Recipient& recipient : transaction.recipients) {
    commands_.push_back({SmtpStep::kRecipient, "RCPT TO:<" + recipient.address + ">"});
  }
  commands_.push_back({SmtpStep::kData, "DATA"});
}

void SmtpDialogue::noMessage() {
  if (!transactions_.empty()) {
    endText(transactions_.front());
  }
}

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
  while (!commands_.empty() && (pipelining_ || awaited_.empty())) {
    say(commands_.front().step, commands_.front().line);
    commands_.pop_front();
  }
  if (!transactions_.empty() && transactions_.front().phase == Transaction::Phase::kText) {
    pumpText(transactions_.front());
  }
  if (!transactions_.empty() && transactions_.front().phase == Transaction::Phase::kTextDone &&
      (leaving_ || !pipelining_)) {
    endText(transactions_.front());
  }
  if (leaving_ && greeted_ && !quitSaid_ && transactions_.empty() && awaited_.empty()) {
    quitSaid_ = true;
    say(SmtpStep::kQuit, "QUIT");
  }
}

// RFC 5321, 4.5.2: a line that begins with a dot gets another one.
void SmtpDialogue::pumpText(Transaction& transaction) {
  const std::string_view text = transaction.text;
  while (transaction.at < text.size() && output().size() < kBuffer) {
    const std::size_t end = std::min(text.find('\n', transaction.at), text.size());
    const std::string_view line = text.substr(transaction.at, end - transaction.at);
    if (line.starts_with('.')) {
      out_ += '.';
    }
    out_ += line;
    out_ += "\r\n";
    transaction.at = end + 1;
  }
  if (transaction.at >= text.size()) {
    transaction.phase = Transaction::Phase::kTextDone;
    transaction.text = std::string();
  }
}

void SmtpDialogue::endText(Transaction& transaction) {
  transaction.phase = Transaction::Phase::kEnding;
  if (setting_.trace) {
    const bool empty = transaction.at == 0;
    setting_.trace({true, empty ? "(no message)"
                                : "(the message, " + std::to_string(transaction.size) + " bytes)"});
  }
  say(SmtpStep::kEnd, ".");
  transaction.endAt = sentInAll_ + output().size();
}

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
  Transaction& transaction = transactions_.front();
  Recipient& recipient = transaction.recipients[transaction.answered++];
  if (!reply.positive()) {
    recipient.refusal = reply;
  }
  const bool last = transaction.answered == transaction.recipients.size();
  if (!pipelining_ && last && !anyAccepted(transaction)) {
    finishFirst();
  }
}

void SmtpDialogue::handleData(const SmtpReply& reply) {
  Transaction& transaction = transactions_.front();
  // With pipelining DATA is sent before the answers of the envelope are known, so a server can ask
  // for a text that nobody is to get (RFC 2920, 3.1).
  const bool wanted = !transaction.refusal && anyAccepted(transaction);
  if (reply.code == 354) {
    if (!wanted) {
      transaction.text = std::string();  // only a lone dot ends what the server has begun
    }
    transaction.phase = Transaction::Phase::kText;
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
  const Transaction& transaction = transactions_.front();
  // The answer to a lone dot: the envelope has decided already.
  if (transaction.refusal || !anyAccepted(transaction)) {
    return finishFirst();
  }
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
    const Transaction& first = transactions_.front();
    verdicts_.push_back({first.number, outcomeOf(first, &reply)});
    transactions_.pop_front();
  }
  for (const Transaction& transaction : std::exchange(transactions_, {})) {
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
                      !transactions_.front().refusal && anyAccepted(transactions_.front());
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
  const Transaction& first = transactions_.front();
  const bool decided =
      first.refusal || (first.answered == first.recipients.size() && !anyAccepted(first));
  if (decided) {
    verdicts_.push_back({first.number, outcomeOf(first, nullptr)});
  } else if (endWasSent(first)) {
    Outcome outcome = outcomeOf(first, nullptr);
    outcome.kind = Outcome::Kind::kUnknown;
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
    trouble_ = Trouble{wordsOf(reply, "the message"), Outcome::Cause::kLimit, codeOf(reply)};
  } else if (asksToSlowDown(reply)) {
    trouble_ = Trouble{wordsOf(reply, "the message"), Outcome::Cause::kMessage, codeOf(reply)};
  }
  return trouble_.has_value();
}

// Ends the first transaction by what was refused in its envelope.
void SmtpDialogue::finishFirst() {
  // Without pipelining the rest of the envelope has not been sent yet.
  commands_.clear();
  const Transaction& first = transactions_.front();
  const SmtpReply* worst = first.refusal ? &*first.refusal : nullptr;
  for (const Recipient& recipient : first.recipients) {
    if (!worst && recipient.refusal &&
        (asksToSlowDown(*recipient.refusal) || limitsAccount(*recipient.refusal))) {
      worst = &*recipient.refusal;
    }
  }
  const bool ofAll = first.refusal.has_value();
  if (worst && refusesSignIn(*worst)) {
    trouble_ = Trouble{wordsOf(*worst, "the sender"), Outcome::Cause::kServer, codeOf(*worst)};
  } else if (worst) {
    holdsBack(*worst);
  }
  if (trouble_ || (worst && ofAll && worst->temporary() && accepted_ > 0)) {
    // A limit of this connection perhaps: another one gives the server's real answer.
    unsent_.push_back(first.number);
    leaving_ = true;
  } else {
    verdicts_.push_back({first.number, outcomeOf(first, nullptr)});
  }
  transactions_.pop_front();
}

// Ends the first transaction by the answer for its text.
void SmtpDialogue::finish(const SmtpReply& reply) {
  const Transaction& first = transactions_.front();
  if (holdsBack(reply)) {
    unsent_.push_back(first.number);
    leaving_ = true;
  } else {
    verdicts_.push_back({first.number, outcomeOf(first, &reply)});
  }
  transactions_.pop_front();
}

bool SmtpDialogue::anyAccepted(const Transaction& transaction) {
  for (std::size_t i = 0; i < transaction.answered; ++i) {
    if (!transaction.recipients[i].refusal) {
      return true;
    }
  }
  return false;
}

std::string SmtpDialogue::wordsOf(const SmtpReply& reply, const std::string& what) const {
  const std::string hint = smtpHint(reply);
  return setting_.server + (reply.permanent() ? " refuses " : " does not take ") + what +
         (reply.permanent() ? "" : " now") + ": " + reply.words() +
         (hint.empty() ? "" : "\n" + hint);
}

// What a message with these answers comes to; `verdict` is the one for its text, if there is one.
Outcome SmtpDialogue::outcomeOf(const Transaction& transaction, const SmtpReply* verdict) const {
  if (transaction.refusal && !transaction.refusedData) {
    return {
        transaction.refusal->permanent() ? Outcome::Kind::kPermanent : Outcome::Kind::kTemporary,
        wordsOf(*transaction.refusal, "the sender"), false};
  }
  const SmtpReply* text = transaction.refusedData ? &*transaction.refusal : verdict;
  Outcome outcome;
  std::vector<RefusedRecipient> later;
  std::vector<std::string> taken;
  for (std::size_t i = 0; i < transaction.recipients.size(); ++i) {
    const Recipient& recipient = transaction.recipients[i];
    if (!recipient.refusal) {
      taken.push_back(recipient.address);
      continue;
    }
    // RFC 5321, 4.5.3.1.10: a 552 that follows accepted recipients says that they are enough.
    const bool enough = recipient.refusal->code == 552 && !taken.empty() &&
                        !recipient.refusal->enhanced.starts_with("5.2.");
    const bool permanent =
        recipient.refusal->permanent() && !enough && !limitsAccount(*recipient.refusal);
    RefusedRecipient refused{recipient.address,
                             wordsOf(*recipient.refusal, "the recipient " + recipient.address),
                             permanent};
    (permanent ? outcome.refused : later).push_back(std::move(refused));
  }
  if (text && text->permanent()) {
    const std::string words = wordsOf(*text, "the message");
    for (const std::string& address : taken) {
      outcome.refused.push_back({address, words, true});
    }
    taken.clear();
  }
  return summary(std::move(outcome.refused), std::move(later), !taken.empty(), text);
}

// `text`: the answer for the accepted recipients, if there are any and it has come.
Outcome SmtpDialogue::summary(std::vector<RefusedRecipient> never,
                              std::vector<RefusedRecipient> later, bool anyTaken,
                              const SmtpReply* text) const {
  Outcome outcome;
  if (anyTaken && text && text->positive()) {
    outcome.refused = std::move(never);
    std::move(later.begin(), later.end(), std::back_inserter(outcome.refused));
    return outcome;
  }
  // Nobody has got it, and nobody may get it later: the message is refused as a whole.
  const bool nobodyLeft = later.empty() && !anyTaken;
  outcome.kind = nobodyLeft ? Outcome::Kind::kPermanent : Outcome::Kind::kTemporary;
  if (anyTaken && text) {
    outcome.words = wordsOf(*text, "the message");
  }
  std::string last;
  for (const RefusedRecipient& refused : nobodyLeft ? never : later) {
    if (refused.words != last) {
      outcome.words += (outcome.words.empty() ? "" : "\n") + refused.words;
    }
    last = refused.words;
  }
  if (!nobodyLeft) {
    outcome.refused = std::move(never);
  }
  return outcome;
}

std::size_t SmtpDialogue::held() const {
  std::size_t bytes = 0;
  for (const Transaction& transaction : transactions_) {
    bytes += transaction.text.size();
  }
  return bytes;
}

bool SmtpDialogue::endWasSent(const Transaction& transaction) const {
  return transaction.phase == Transaction::Phase::kEnding && sentInAll_ >= transaction.endAt;
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
