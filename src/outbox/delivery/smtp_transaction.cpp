// SPDX-License-Identifier: MIT
// Which recipient or message an answer blames is decided when a transaction ends: an error for the
// sender outranks what the server says of the commands after it.
#include "outbox/delivery/smtp_transaction.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "outbox/delivery/smtp_words.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

constexpr std::size_t kLongestLine = 998;     // without its line end; RFC 5321, 4.5.3.1.6
constexpr std::size_t kLongestAddress = 320;  // 64 and 255 bytes, and the "@"

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

std::string megabytes(std::uint64_t bytes) {
  return std::to_string((bytes + 999'999) / 1'000'000) + " MB";
}

// What the text of a message is like, found in one walk over it.
class TextTraits {
 public:
  void add(std::string_view piece) {
    eightBit_ = eightBit_ || !isAscii(piece);
    broken_ = broken_ || piece.find('\r') != piece.npos || piece.find('\0') != piece.npos;
    size_ += piece.size();
    while (!piece.empty()) {
      const std::size_t end = piece.find('\n');
      line_ += std::min(end, piece.size());
      longest_ = std::max(longest_, line_);
      if (end == piece.npos) {
        return;
      }
      ++size_;  // the CR
      line_ = 0;
      piece.remove_prefix(end + 1);
    }
  }
  // With CR LF at the line ends, as RFC 1870 counts, also at that of a last line without one.
  std::uint64_t size() const { return size_ + (line_ > 0 ? 2 : 0); }
  bool eightBit() const { return eightBit_; }
  // It has a CR or NUL, which servers understand differently.
  bool broken() const { return broken_; }
  std::uint64_t longest() const { return longest_; }

 private:
  std::uint64_t size_ = 0;
  bool eightBit_ = false;
  bool broken_ = false;
  std::uint64_t line_ = 0;  // of the line that has not ended
  std::uint64_t longest_ = 0;
};

// `text`: the answer for the accepted recipients. Without one although there are any, it is not
// known whether these have the message; the others do not.
Outcome summary(const std::string& server, std::vector<RefusedRecipient> never,
                std::vector<RefusedRecipient> later, bool anyTaken, const SmtpReply* text) {
  Outcome outcome;
  if (anyTaken && (!text || text->positive())) {
    outcome.kind = text ? Outcome::Kind::kDelivered : Outcome::Kind::kUnknown;
    outcome.refused = std::move(never);
    std::move(later.begin(), later.end(), std::back_inserter(outcome.refused));
    return outcome;
  }
  // Nobody has got it, and nobody may get it later: the message is refused as a whole.
  const bool nobodyLeft = later.empty() && !anyTaken;
  outcome.kind = nobodyLeft ? Outcome::Kind::kPermanent : Outcome::Kind::kTemporary;
  if (anyTaken) {
    outcome.words = smtpWords(server, *text, "the message");
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

}  // namespace

// The first line is the server's name. Some old servers write "AUTH=" and the like, hence the "=".
SmtpOffer readSmtpOffer(const SmtpReply& reply) {
  SmtpOffer offer;
  for (std::size_t i = 1; i < reply.lines.size(); ++i) {
    const std::string line = asciiUpper(reply.lines[i]);
    const std::string name = line.substr(0, line.find_first_of(" ="));
    offer.pipelining = offer.pipelining || name == "PIPELINING";
    offer.eightBitMime = offer.eightBitMime || name == "8BITMIME";
    offer.smtpUtf8 = offer.smtpUtf8 || name == "SMTPUTF8";
    if (name == "SIZE") {
      offer.size = true;
      const std::string_view number =
          std::string_view(line).substr(std::min<std::size_t>(5, line.size()));
      std::from_chars(number.data(), number.data() + number.size(), offer.sizeLimit);
    }
  }
  return offer;
}

SmtpTransaction::SmtpTransaction(FedMessage message)
    : number(message.number),
      sender(std::move(message.message.envelope.sender)),
      text(std::move(message.message.text)) {
  utf8 = !isAscii(sender);
  for (std::string& address : message.message.envelope.recipients) {
    utf8 = utf8 || !isAscii(address);
    recipients.push_back({std::move(address), {}});
  }
}

std::optional<std::string> SmtpTransaction::addressObjection(const SmtpOffer& offer,
                                                             const std::string& server) const {
  const auto unsafe =
      std::find_if(recipients.begin(), recipients.end(),
                   [](const Recipient& recipient) { return !isSafe(recipient.address); });
  if (unsafe != recipients.end() || !isSafe(sender)) {
    return "The address \"" + (unsafe != recipients.end() ? unsafe->address : sender) +
           "\" cannot be sent to a mail server";
  }
  if (utf8 && !offer.smtpUtf8) {
    return server +
           " does not take addresses with letters outside of ASCII (it does not offer SMTPUTF8). "
           "Another server for sending may do so";
  }
  return std::nullopt;
}

Result<void> SmtpTransaction::measure() {
  TextTraits traits;
  OutgoingText::Reader reader(text);
  for (auto piece = reader.next(); !piece || !piece->empty(); piece = reader.next()) {
    if (!piece) {
      return piece.error();
    }
    traits.add(*piece);
  }
  size = traits.size();
  digest = reader.digest();
  eightBit = traits.eightBit();
  unfit = traits.broken() || traits.longest() > kLongestLine;
  return {};
}

std::optional<std::string> SmtpTransaction::textObjection(const SmtpOffer& offer,
                                                          const std::string& server) const {
  // Not mended here: the forward was made by rules that exclude this, so the file was put here by
  // another program or has been damaged.
  if (unfit) {
    return "The message has characters or lines that mail must not have (RFC 5321), so servers "
           "would change or split it";
  }
  // Said before megabytes are sent for nothing; the server would refuse them with the same code.
  if (offer.sizeLimit > 0 && size > offer.sizeLimit) {
    return "5.3.4 " + server + " takes messages of up to " + megabytes(offer.sizeLimit) +
           ", and this one has " + megabytes(size) +
           ". Switch attachments off in the settings, or set a size limit: larger messages "
           "are then not forwarded";
  }
  return std::nullopt;
}

std::string SmtpTransaction::mailCommand(const SmtpOffer& offer) const {
  std::string mail = "MAIL FROM:<" + sender + ">";
  if (offer.size) {
    mail += " SIZE=" + std::to_string(size);
  }
  // Without the extension it is sent all the same: no server of today clears the eighth bit, and an
  // embedded message with it cannot be written in another way.
  if (eightBit && offer.eightBitMime) {
    mail += " BODY=8BITMIME";
  }
  if (utf8) {
    mail += " SMTPUTF8";
  }
  return mail;
}

bool SmtpTransaction::anyAccepted() const {
  for (std::size_t i = 0; i < answered; ++i) {
    if (!recipients[i].refusal) {
      return true;
    }
  }
  return false;
}

Outcome SmtpTransaction::outcome(const std::string& server, const SmtpReply* verdict) const {
  if (refusal && !refusedData) {
    return {refusal->permanent() ? Outcome::Kind::kPermanent : Outcome::Kind::kTemporary,
            smtpWords(server, *refusal, "the sender"), false};
  }
  const SmtpReply* answer = refusedData ? &*refusal : verdict;
  std::vector<RefusedRecipient> never;
  std::vector<RefusedRecipient> later;
  std::vector<std::string> taken;
  for (std::size_t i = 0; i < recipients.size(); ++i) {
    const Recipient& recipient = recipients[i];
    if (!recipient.refusal) {
      taken.push_back(recipient.address);
      continue;
    }
    // RFC 5321, 4.5.3.1.10: a 552 that follows accepted recipients says that they are enough.
    const bool enough = recipient.refusal->code == 552 && !taken.empty() &&
                        !recipient.refusal->enhanced.starts_with("5.2.");
    const bool permanent =
        recipient.refusal->permanent() && !enough && !limitsAccount(*recipient.refusal);
    RefusedRecipient refused{
        recipient.address,
        smtpWords(server, *recipient.refusal, "the recipient " + recipient.address), permanent};
    (permanent ? never : later).push_back(std::move(refused));
  }
  if (answer && answer->permanent()) {
    const std::string words = smtpWords(server, *answer, "the message");
    for (const std::string& address : taken) {
      never.push_back({address, words, true});
    }
    taken.clear();
  }
  return summary(server, std::move(never), std::move(later), !taken.empty(), answer);
}

std::string smtpWords(const std::string& server, const SmtpReply& reply, const std::string& what) {
  const std::string hint = smtpHint(reply);
  return server + (reply.permanent() ? " refuses " : " does not take ") + what +
         (reply.permanent() ? "" : " now") + ": " + reply.words() +
         (hint.empty() ? "" : "\n" + hint);
}

}  // namespace relaybird
