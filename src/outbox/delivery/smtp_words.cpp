// SPDX-License-Identifier: MIT
// Tables of known answers. The enhanced code (RFC 3463) decides where there is one, since servers
// give the same three digits for many things; some answers are only known by their words.
//
// The log has the server's own words in any case. A hint adds what a standard gives as the meaning
// of the code, or what the words themselves say, and what the user can do. It does not guess: a
// wrong explanation sends people to the wrong place. Where an answer only may mean the account,
// what waits is tried again, which costs little if that is wrong.
#include "outbox/delivery/smtp_words.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

struct Hint {
  std::string_view code;   // an enhanced code, or three digits
  std::string_view words;  // in the reply too, in lower case; empty: any
  std::string_view text;
  bool signIn = false;  // only with a code by which a server refuses to sign in
};

constexpr std::string_view kThrottled =
    "The provider limits how much mail may leave in a time. It is tried again later by itself.";
// What X.7.X means in RFC 3463, of a refusal that passes.
constexpr std::string_view kPolicyForNow =
    "A rule of the server delays it, as many servers do with mail that they see for the first time "
    "or get too much of. It is tried again later by itself.";
constexpr std::string_view kWrongSecret =
    "The server does not accept the user name and password. Many providers want an app password "
    "here instead of the usual one: see the manual's page on your provider, then enter it under "
    "Set up mail.";
constexpr std::string_view kAnotherWay =
    "The server wants another way to sign in. Many providers want an app password here, or that "
    "you "
    "sign in with a web browser first.";
constexpr std::string_view kNoPasswords =
    "The server does not take passwords any more. Choose a way to sign in with a token, such as "
    "the "
    "desktop's online accounts, or another server for sending.";
constexpr std::string_view kTooLarge =
    "The message is larger than the server takes. Switch attachments off in the settings, or set a "
    "size limit: larger messages are then not forwarded.";

// Refusals "for good" that last as long as a quota or a block of the account. Words are in lower
// case, as in Hint.
constexpr std::string_view kAccount =
    "This may concern the whole account and not this message alone, so what waits is tried again "
    "in "
    "some hours. If it lasts, look at the account on the provider's web site, ask its "
    "administrator, or let the rules forward less.";
constexpr std::array kAccountLimits = {
    Hint{"5.4.5", "", kAccount},  // congestion, says RFC 3463; Google gives it for the daily quota
    Hint{"5.7.232", "", kAccount},
    Hint{"5.7.233", "", kAccount},
    Hint{"5.7.705", "", kAccount},
    Hint{"5.7.708", "", kAccount},
    Hint{"5.7.750", "", kAccount},
    Hint{"5.1.8", "outbound", kAccount},
    Hint{"5.1.90", "", kAccount},
    Hint{"", "tenant has exceeded", kAccount},
    Hint{"", "submissionquotaexceeded", kAccount},
    Hint{"", "sending quota", kAccount},
    Hint{"", "sending limit", kAccount},
    Hint{"", "daily message quota", kAccount},
    Hint{"", "daily limit", kAccount},
    Hint{"", "hourly limit", kAccount},
    Hint{"", "recipient rate limit", kAccount},
};

// The first that fits is given.
constexpr std::array kHints = {
    // Microsoft's services.
    Hint{"5.7.520", "",
         "Your organisation does not allow mail to be forwarded outside automatically. Only its "
         "administrator can permit that, in the policy for outgoing spam."},
    Hint{"5.7.60", "",
         "The account may not send under this address. Set your own address in the settings to the "
         "account's, or let the provider add this one as a sender."},
    Hint{"5.7.30", "basic authentication", kNoPasswords, true},
    Hint{"5.7.139", "basic authentication", kNoPasswords, true},
    // Google's.
    Hint{"5.7.14", "", kAnotherWay, true},
    // RFC 4954, section 6.
    Hint{"5.7.8", "", kWrongSecret, true},
    Hint{"535", "", kWrongSecret},
    Hint{"5.7.9", "", kAnotherWay, true},  // this way to sign in is too weak
    Hint{"534", "", kAnotherWay},
    // Also where the settings have a sign-in: at the port for other servers (25) none is offered.
    Hint{
        "530", "",
        "The server wants you to sign in before it takes mail. Check under Set up mail the sign-in "
        "for sending, and the port: servers offer it at 465 with TLS, or at 587 with STARTTLS."},
    // RFC 3463, and the 552 of servers without enhanced codes, which has several meanings.
    Hint{"5.3.4", "", kTooLarge},
    Hint{"5.2.3", "", kTooLarge},
    Hint{"552", "size", kTooLarge},
    Hint{"552", "too large", kTooLarge},
    Hint{"552", "too big", kTooLarge},
    Hint{"5.2.2", "", "The recipient's mailbox is full."},
    Hint{"4.2.2", "", "The recipient's mailbox is full."},
    Hint{"552", "", "The recipient's mailbox is full, or the message is too large for it."},
    Hint{"5.5.4", "",
         "The server refused a part of the command. Its words may name a limit of its own; if that "
         "is the number of addresses, forward to fewer."},
    Hint{"5.1.1", "", "The address does not exist. Check it in the settings."},
    Hint{"5.1.10", "", "The address, or its domain, takes no mail. Check it in the settings."},
};

// Words of those providers that limit the rate without a code of their own.
constexpr std::array<std::string_view, 10> kRateWords = {
    "server busy", "too many",  "too fast",       "too much mail", "rate limit",
    "throttl",     "ratelimit", "limit exceeded", "sending limit", "unusual rate"};

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != text.npos;
}

// RFC 4954: a sign-in is missing, too weak or refused.
bool concernsSignIn(int code) {
  return code == 530 || code == 534 || code == 535 || code == 538;
}

// Null for any other answer.
const Hint* accountLimit(const SmtpReply& reply) {
  if (!reply.permanent() || reply.enhanced == "5.2.2") {
    return nullptr;  // a full mailbox has a quota too
  }
  const std::string words = asciiLower(reply.words());
  const auto* const found =
      std::find_if(kAccountLimits.begin(), kAccountLimits.end(), [&](const Hint& limit) {
        return (limit.code.empty() || limit.code == reply.enhanced) && contains(words, limit.words);
      });
  return found == kAccountLimits.end() ? nullptr : found;
}

// The server's answer as far as it is a reply.
SmtpReply replyOf(const std::string& answer) {
  SmtpReplyReader reader;
  reader.add(answer + "\n");
  return reader.take().value_or(SmtpReply{});
}

std::string adviceFor(const ConnectFailure& failure) {
  switch (failure.cause) {
    case ConnectFailure::Cause::kNoSuchHost:
      return "There is no server of this name. Check the server for sending in the settings, and "
             "whether this computer is connected.";
    case ConnectFailure::Cause::kNotReached:
      return "The server cannot be reached. Check the port, and whether this computer is "
             "connected.";
    case ConnectFailure::Cause::kNoEncryption:
      return "The server does not offer the encryption that the settings demand, or something "
             "between takes it away. Nothing was sent. Check port and security in the settings.";
    case ConnectFailure::Cause::kCertificate:
      return "The server's certificate cannot be trusted: it is out of date, for another name, or "
             "from an unknown issuer. Nothing was sent. Check the server's name in the settings; "
             "for a server of your own, name its certificate file there.";
    case ConnectFailure::Cause::kTls:
      return "The connection could not be encrypted. Nothing was sent. Check port and security in "
             "the settings.";
    case ConnectFailure::Cause::kSignInRefused: {
      const std::string hint = smtpHint(replyOf(failure.answer));
      return (hint.empty() ? std::string(kWrongSecret) : hint) +
             " It is not tried again before the password or token changes, or you choose Try Again "
             "Now (in the console: retry).";
    }
    case ConnectFailure::Cause::kBusy:
      return "The server turns connections away for now. It is tried again later by itself.";
    case ConnectFailure::Cause::kProtocol:
      return "What answers there does not speak as a server for sending mail does. Check server "
             "and port in the settings.";
    case ConnectFailure::Cause::kTimedOut:
      return "The server did not answer in time. It is tried again later by itself.";
    case ConnectFailure::Cause::kClosed:
      return "The server ended the connection. It is tried again later by itself.";
  }
  return {};
}

}  // namespace

std::string smtpHint(const SmtpReply& reply) {
  if (const Hint* limit = accountLimit(reply)) {
    return std::string(limit->text);
  }
  const std::string words = asciiLower(reply.words());
  const std::string digits = std::to_string(reply.code);
  for (const Hint& hint : kHints) {
    if ((hint.code == reply.enhanced || hint.code == digits) && contains(words, hint.words) &&
        (!hint.signIn || concernsSignIn(reply.code))) {
      return std::string(hint.text);
    }
  }
  if (asksToSlowDown(reply)) {
    return std::string(kThrottled);
  }
  return std::string(reply.enhanced.starts_with("4.7.") ? kPolicyForNow : std::string_view());
}

bool asksToSlowDown(const SmtpReply& reply) {
  // A mailbox of the recipient can be full or busy, with words that fit a limit of the rate.
  if (!reply.temporary() || reply.enhanced.starts_with("4.2.")) {
    return false;
  }
  const std::string words = asciiLower(reply.words());
  if (contains(words, "greylist") || contains(words, "graylist")) {
    return false;  // each message is taken after a while, whatever else is sent
  }
  return reply.enhanced == "4.7.28" || (reply.code == 421 && reply.enhanced == "4.7.0") ||
         std::any_of(kRateWords.begin(), kRateWords.end(),
                     [&](std::string_view rate) { return contains(words, rate); });
}

bool limitsAccount(const SmtpReply& reply) {
  return accountLimit(reply) != nullptr;
}

bool refusesSignIn(const SmtpReply& reply) {
  return concernsSignIn(reply.code);
}

std::string connectWords(const MailServer& server, const ConnectFailure& failure) {
  std::string text = withServer(server.host, failure.words);
  if (!failure.answer.empty()) {
    text += ": " + failure.answer;
  }
  return text + "\n" + adviceFor(failure);
}

std::string withServer(const std::string& server, const std::string& words) {
  return contains(words, server) ? words : server + ": " + words;
}

}  // namespace relaybird
