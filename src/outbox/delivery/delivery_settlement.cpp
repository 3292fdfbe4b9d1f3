// SPDX-License-Identifier: MIT
// The order of the steps decides what a crash leaves. Those who have the message are recorded
// first, so that nobody gets it twice. A recipient who was refused for good is settled after the
// copy for failed/ is on disk. The message leaves the outbox last, when nobody is left to be tried.
#include "outbox/delivery/delivery_settlement.h"

#include <algorithm>
#include <utility>

#include "outbox/delivery/outgoing_message.h"
#include "platform/text/character_kind.h"

namespace relaybird {

bool DeliverySettlement::settle(const MessageUnderWay& one, const Outcome& outcome) {
  return outcome.refused.empty() ? settleFor(one, one.recipients, outcome)
                                 : settleEach(one, outcome);
}

bool DeliverySettlement::refuse(const MessageUnderWay& one, const std::string& words) {
  return refuseFor(one, {}, words);
}

// `recipients` are those whom the outcome concerns.
bool DeliverySettlement::settleFor(const MessageUnderWay& one,
                                   const std::vector<std::string>& recipients,
                                   const Outcome& outcome) {
  switch (outcome.kind) {
    case Outcome::Kind::kDelivered:
      parts_.retries.drop(one.message.name);
      taken(one, recipients);
      return true;
    // The program ends. The message stays for the next start.
    case Outcome::Kind::kCancelled:
      return false;
    case Outcome::Kind::kPermanent:
      return refuseFor(one, recipients, outcome.words);
    case Outcome::Kind::kTemporary:
    case Outcome::Kind::kUnknown:
      break;
  }
  // A message is not to blame for what keeps everything back, nor for the disk, however long that
  // takes.
  const bool blameless = outcome.cause == Outcome::Cause::kDisk ||
                         parts_.retries.concernsAll(one.message.name, outcome);
  if (blameless || isYoung(one.message)) {
    keep(one.message, one.title, outcome);
    return false;
  }
  return refuseFor(one, recipients, outcome.words + "\nGiven up after five days.");
}

bool DeliverySettlement::isYoung(const WaitingMessage& message) {
  const auto age = parts_.clock.now() - message.modified;
  const auto tried = parts_.retries.blame(message.name);
  return age < kGiveUpAfter ||
         tried <
             (age < kGiveUpSoonerAfter ? std::chrono::minutes(kTriedAtLeast) : kTriedAtLeastThen);
}

bool DeliverySettlement::settleEach(const MessageUnderWay& one, const Outcome& outcome) {
  std::vector<std::string> others = one.recipients;
  for (const RefusedRecipient& refused : outcome.refused) {
    std::erase(others, refused.address);
  }
  Outcome later = outcome;
  std::vector<std::string> left;
  if (outcome.kind == Outcome::Kind::kDelivered) {
    if (auto noted = parts_.queue.deliveredTo(one.claim, others); !noted) {
      parts_.reports.say("The delivery could not be recorded: " + noted.error().text);
    }
    parts_.retries.drop(one.message.name);
    taken(one, others);
    later.kind = Outcome::Kind::kTemporary;
    later.words.clear();
  } else {
    left = others;
  }
  for (const RefusedRecipient& refused : outcome.refused) {
    if (refused.permanent && putAside(one, {refused.address}, refused.words)) {
      tellRefused(one, {refused.address}, refused.words);
      continue;
    }
    left.push_back(refused.address);
    later.words += (later.words.empty() ? "" : "; ") + refused.address + ": " + refused.words;
  }
  if (left.empty()) {
    remove(one);
    return true;
  }
  return settleFor(one, left, later);
}

// Without recipients, the message as it is. If the disk does not allow it to be moved, it stays,
// and its refusal is tried again.
bool DeliverySettlement::refuseFor(const MessageUnderWay& one,
                                   const std::vector<std::string>& recipients,
                                   const std::string& words) {
  const auto moved = putAside(one, recipients, words);
  if (!moved) {
    keep(one.message, one.title,
         {Outcome::Kind::kTemporary, words + "; " + moved.error().text, false});
    return false;
  }
  if (isWhole(one, recipients)) {
    parts_.retries.drop(one.message.name);
  } else {
    remove(one);
  }
  tellRefused(one, recipients, words);
  return true;
}

void DeliverySettlement::keep(const WaitingMessage& message, const std::string& title,
                              const Outcome& outcome) {
  parts_.retries.putOff(message.name, outcome);
  parts_.reports.setKept(parts_.retries.count());
  parts_.reports.kept(title, outcome);
}

void DeliverySettlement::remove(const MessageUnderWay& one) {
  parts_.retries.drop(one.message.name);
  // Even if the record fails, this run does not hand the message out again.
  (void)parts_.queue.delivered({&one.claim});
}

// Whether a refusal for these concerns the message as a whole: nobody else has it.
bool DeliverySettlement::isWhole(const MessageUnderWay& one,
                                 const std::vector<std::string>& recipients) const {
  return recipients.empty() ||
         (recipients.size() == one.recipients.size() && parts_.queue.settledFor(one.claim).empty());
}

// Moves the message to failed/, or a copy for these recipients.
Result<void> DeliverySettlement::putAside(const MessageUnderWay& one,
                                          const std::vector<std::string>& recipients,
                                          const std::string& words) {
  if (isWhole(one, recipients)) {
    return parts_.queue.refuse(one.claim, linesWithCodes(words));
  }
  // The transport has the text no more: it is read again for this rare case, rather than kept for
  // every message.
  auto text = parts_.queue.read(one.claim);
  if (!text) {
    return text.error();
  }
  const auto copy = addressedOnlyTo(std::move(*text), recipients);
  if (!copy) {
    return copy.error();
  }
  // The same number at every try, so that a copy which a crash left behind is replaced.
  const auto first = std::find(one.named.begin(), one.named.end(), recipients.front());
  return parts_.queue.refuseFor(one.claim, recipients,
                                static_cast<std::size_t>(first - one.named.begin()) + 1, *copy,
                                linesWithCodes(words));
}

void DeliverySettlement::taken(const MessageUnderWay& one,
                               const std::vector<std::string>& recipients) {
  parts_.retries.taken();
  parts_.reports.setKept(parts_.retries.count());
  parts_.reports.left(one.title, recipients.size(), one.named.size());
  parts_.limit.count(recipients);
}

void DeliverySettlement::tellRefused(const MessageUnderWay& one,
                                     const std::vector<std::string>& recipients,
                                     const std::string& words) {
  parts_.retries.refused(one.message.name);
  parts_.reports.setKept(parts_.retries.count());
  const bool some = recipients.size() < one.named.size();
  parts_.reports.refused(one.title, some ? recipients : std::vector<std::string>(), words);
}

}  // namespace relaybird
