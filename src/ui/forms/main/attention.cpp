// SPDX-License-Identifier: MIT
// Notifications about forwarding. A cause is remembered from its notification until the cause has
// gone; that is what keeps a mailbox that fails every minute from filling the screen. The texts
// hold subjects that strangers wrote, so they are reduced to one short line without markup.
#include "ui/forms/main/attention.h"

#include <chrono>
#include <cstddef>
#include <string_view>

#include "platform/text/character_kind.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

constexpr const char* kChecks = "mailbox";
constexpr const char* kRefused = "refused";
constexpr const char* kStopped = "stopped";
constexpr const char* kMaximum = "maximum";

// A restarted server or a short network failure is not worth a notification.
constexpr int kFailedChecksToTell = 3;
constexpr std::size_t kLongestWords = 200;
// Between two notifications of refused messages.
constexpr std::chrono::hours kQuietTime{24};

// Some desktops interpret markup in notifications, and strangers wrote the subject.
std::string_view harmless(char c) {
  switch (c) {
    case '<':
      return "\u2039";
    case '>':
      return "\u203A";
    case '&':
      return "+";
    default:
      return {};
  }
}

// Replaces control characters by blanks, other invisible characters by their codes.
std::string onOneLine(std::string_view words) {
  std::string line;
  while (!words.empty()) {
    const Utf8Character first = firstCharacter(words);
    if (first.length > 0 && kindOf(first.code) == CharacterKind::kControl) {
      line += ' ';
      words.remove_prefix(first.length);
    } else {
      takeWithCode(words, line);
    }
  }
  return line;
}

// One line of about kLongestWords bytes, without markup.
std::string plainWords(const std::string& words) {
  std::string plain;
  for (const char c : onOneLine(words)) {
    // Cuts only between characters, never inside a UTF-8 sequence.
    const bool begins = !isContinuation(c);
    if (begins && plain.size() >= kLongestWords) {
      return plain + "...";
    }
    const std::string_view instead = harmless(c);
    if (instead.empty()) {
      plain += c;
    } else {
      plain += instead;
    }
  }
  return plain;
}

}  // namespace

// The window shows a failure at once; the notification waits for the third one in a row.
void Attention::checkFailed(const std::string& words) {
  failure_ = Failure{failure_ ? failure_->since : clock_.toText(clock_.now()), words};
  onFailure_();
  if (++failedChecks_ >= kFailedChecksToTell) {
    notify({kChecks, "The inbox cannot be checked",
            plainWords(words) + "\nRelaybird goes on trying. The log tells more."});
  }
}

void Attention::checkCompleted() {
  failedChecks_ = 0;
  causeEnded(kChecks);
  if (failure_) {
    failure_.reset();
    onFailure_();
  }
}

// Nothing reports that the cause of a refusal has gone. After a day the next refusal is notified
// again.
void Attention::forwardRefused(const std::string& words) {
  const auto last = notified_.find(kRefused);
  if (last != notified_.end() && clock_.now() - last->second >= kQuietTime) {
    notified_.erase(last);
  }
  notify({kRefused, "A message could not be forwarded",
          plainWords(words) + "\nThe log tells of this one and of any more."});
}

void Attention::addressStopped(const std::string& words) {
  notify({kStopped, "Forwarding to an address was stopped",
          plainWords(words) + "\nIt goes on when you choose Try Again Now in the menu Outbox."});
}

void Attention::addressesGoOn() {
  causeEnded(kStopped);
}

void Attention::maximumReached() {
  notify({kMaximum, "The maximum number of messages was forwarded",
          "Nothing more is forwarded until forwarding is stopped and started again."});
}

void Attention::startAnew() {
  failedChecks_ = 0;
  for (const char* cause : {kChecks, kRefused, kStopped, kMaximum}) {
    causeEnded(cause);
  }
}

// A cause that comes up while the user looks at the program is not remembered, so that it is
// notified if it happens again later.
void Attention::notify(const Notification& notification) {
  if (notifications_.wanted() && notified_.try_emplace(notification.cause, clock_.now()).second) {
    notifications_.show(notification);
  }
}

void Attention::causeEnded(const std::string& cause) {
  if (notified_.erase(cause) > 0) {
    notifications_.withdraw(cause);
  }
}

}  // namespace relaybird
