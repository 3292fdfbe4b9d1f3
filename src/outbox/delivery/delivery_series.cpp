// SPDX-License-Identifier: MIT
// A message is read when the transport asks for it, as it may be gone or settled by then. Several
// are under way at a time; each has a number that its verdict names.
#include "outbox/delivery/delivery_series.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "outbox/delivery/outgoing_message.h"

namespace relaybird {

namespace {

// Files of messages that have left are removed together, as some disks take longer for that than
// the server for a message. This bounds the space that they take.
constexpr std::size_t kMostFilesLeft = 1000;
constexpr std::size_t kMostBytesLeft = std::size_t{64} << 20;

bool hasLeft(const Outcome& outcome) {
  return outcome.kind == Outcome::Kind::kDelivered && outcome.refused.empty();
}

// Of a message that may have arrived: whether nobody is left then who needs it.
bool wasForAll(const Outcome& outcome) {
  return std::all_of(outcome.refused.begin(), outcome.refused.end(),
                     [](const RefusedRecipient& refused) { return refused.permanent; });
}

}  // namespace

DeliverySeries::DeliverySeries(DeliveryParts parts, Transport& transport, std::stop_token stop,
                               std::vector<WaitingMessage> waiting, std::function<Rest()> rest)
    : parts_(parts),
      settlement_(parts),
      transport_(transport),
      stop_(std::move(stop)),
      known_(std::move(waiting)),
      rest_(std::move(rest)) {
  countDue(0);
}

// What was handed out and not reported was not sent.
DeliverySeries::~DeliverySeries() {
  for (auto& [number, one] : underWay_) {
    end(one);
  }
}

std::optional<FedMessage> DeliverySeries::next() {
  FedMessage fed;
  while (!parts_.retries.seriesEnded() && !stop_.stop_requested()) {
    if (again_.empty() && next_ == known_.size() && !moreArrived()) {
      break;
    }
    // What was put back is older than the rest, so it goes first.
    const std::size_t place = again_.empty() ? next_ : *again_.begin();
    const bool heldBack = parts_.retries.isHeldBack(known_[place].name);
    const Fate fate = prepare(place, fed);
    // The same message is asked for again when a verdict has come.
    if (fate == Fate::kNotYet) {
      break;
    }
    if (fate == Fate::kGone) {
      gone_.insert(place);
    }
    if (again_.erase(place) == 0) {
      ++next_;
      due_ -= heldBack || due_ == 0 ? 0 : 1;
    }
    if (fate == Fate::kLeaves) {
      return fed;
    }
  }
  return std::nullopt;
}

void DeliverySeries::putBack(std::uint64_t number) {
  const auto found = underWay_.find(number);
  end(found->second);
  again_.insert(found->second.place);
  underWay_.erase(found);
}

// Messages that were kept are for another series, which goes over all of them again.
MessageFeed::Rest DeliverySeries::rest() {
  const bool mayRest = !parts_.retries.seriesEnded() && parts_.retries.count() == 0;
  return mayRest ? rest_() : Rest::kEnd;
}

bool DeliverySeries::moreArrived() {
  auto arrivals = parts_.queue.takeArrivals();
  if (!arrivals || arrivals->empty()) {
    return false;
  }
  const std::size_t before = known_.size();
  std::move(arrivals->begin(), arrivals->end(), std::back_inserter(known_));
  countDue(before);
  return true;
}

void DeliverySeries::countDue(std::size_t from) {
  due_ += static_cast<std::size_t>(std::count_if(
      known_.begin() + static_cast<std::ptrdiff_t>(from), known_.end(),
      [this](const WaitingMessage& one) { return !parts_.retries.isHeldBack(one.name); }));
}

DeliverySeries::Fate DeliverySeries::prepare(std::size_t place, FedMessage& fed) {
  const WaitingMessage message = known_[place];
  if (parts_.retries.isHeldBack(message.name) || mayHaveArrived(message)) {
    return Fate::kKept;
  }
  auto claim = parts_.queue.claim(message.name);
  if (!claim) {
    return Fate::kGone;  // another delivery has it, or had it
  }
  auto text = parts_.queue.read(*claim);
  if (text) {
    MessageUnderWay one{std::move(*claim), place, message, messageSubject(text->beginning())};
    return prepare(std::move(one), std::move(*text), fed);
  }
  // Somebody has removed it since the folder was read.
  if (text.error().code == ENOENT) {
    parts_.retries.drop(message.name);
    return Fate::kGone;
  }
  settlement_.keep(message, message.name, {Outcome::Kind::kTemporary, text.error().text, false});
  return Fate::kKept;
}

DeliverySeries::Fate DeliverySeries::prepare(MessageUnderWay one, OutgoingText text,
                                             FedMessage& fed) {
  auto outgoing = prepareMessage(std::move(text));
  if (!outgoing) {
    return settlement_.refuse(one, outgoing.error().text) ? Fate::kGone : Fate::kKept;
  }
  std::vector<std::string>& recipients = outgoing->envelope.recipients;
  one.named = recipients;
  const std::set<std::string> settled = parts_.queue.settledFor(one.claim);
  std::erase_if(recipients, [&](const std::string& address) { return settled.contains(address); });
  // Without recipients: all of them were settled, and a crash came before the message was removed.
  const Arrived arrived = recipients.empty()       ? Arrived::kYes
                          : arrivalTellsOfAll(one) ? arrivedBefore(one, *outgoing)
                                                   : Arrived::kNo;
  if (arrived == Arrived::kYes) {
    settlement_.remove(one);
    unsynced_ = true;
    return Fate::kGone;
  }
  if (arrived == Arrived::kNotKnownNow) {
    return Fate::kKept;
  }
  // Messages under way are not counted yet. Together with them this one could exceed the limit of
  // an address, so it waits for their verdicts.
  if (!underWay_.empty() && parts_.limit.mayStopAfter(recipients, underWay_.size())) {
    return Fate::kNotYet;
  }
  if (addressStopped(one.message, *outgoing)) {
    return Fate::kKept;
  }
  one.recipients = recipients;
  one.size = outgoing->text.size();
  begin(one);
  fed = {++lastNumber_, std::move(*outgoing)};
  underWay_.emplace(lastNumber_, std::move(one));
  return Fate::kLeaves;
}

// An earlier run of the program, or one before the user's request, has sent the message and got no
// answer. Such a message waits as if it had just been kept.
bool DeliverySeries::mayHaveArrived(const WaitingMessage& message) {
  const auto since = parts_.queue.unansweredSince(message.name);
  if (!since || parts_.retries.wasPutOff(message.name) ||
      !parts_.retries.waitForAnswer(message.name, *since)) {
    return false;
  }
  parts_.reports.say(
      "Was sent before, but no answer came, so it may have arrived; the next try comes ten minutes "
      "after that one: " +
      oneLine(message.name));
  return true;
}

// A message that is found tells that somebody has it, and not who. It may be there from a try
// before the last one, or the last one may have been for some recipients only, as far as is known
// after a crash. Then it is sent to those who are left: better twice than never.
//
// A copy from failed/ that somebody has put back has the identifier of the message that the others
// got.
bool DeliverySeries::arrivalTellsOfAll(const MessageUnderWay& one) const {
  return !OutboxFolder::isNameOfCopy(one.message.name) &&
         (one.named.size() == 1 || parts_.queue.mayHaveReachedAll(one.claim));
}

// Asked if the last try had no answer, or if the program or the machine has failed during it. Where
// one search of a series fails the next one would fail too, and may take a minute.
Arrived DeliverySeries::arrivedBefore(const MessageUnderWay& one, const OutgoingMessage& message) {
  if (!parts_.queue.begun(one.claim) && !parts_.queue.unansweredSince(one.message.name)) {
    return Arrived::kNo;
  }
  const Arrived arrived =
      searchFailed_ ? Arrived::kNotKnownNow : transport_.hasArrived(message, stop_);
  if (arrived == Arrived::kNotKnownNow) {
    searchFailed_ = true;
    return stop_.stop_requested() || waitsInDoubt(one) ? Arrived::kNotKnownNow : Arrived::kNo;
  }
  parts_.retries.endDoubt(one.message.name);
  if (arrived == Arrived::kYes) {
    parts_.reports.say("Has arrived already, so it is not sent again: \"" + one.title + "\"");
  }
  return arrived;
}

// False: the message has waited long enough and is sent all the same. After a crash it is not known
// when the message was sent, so the time runs from the first search.
bool DeliverySeries::waitsInDoubt(const MessageUnderWay& one) {
  using Doubt = DeliveryRetries::Doubt;
  const std::string& name = one.message.name;
  auto since = parts_.queue.unansweredSince(name);
  if (!since) {
    noteUnanswered(one, true);
    since = parts_.queue.unansweredSince(name);
  }
  // A clock that was set back must not prolong the waiting time without end.
  const bool waits = std::chrono::abs(parts_.clock.now() - *since) < kLongestDoubt;
  if (parts_.retries.doubt(name, waits ? Doubt::kWaits : Doubt::kSentAllTheSame)) {
    parts_.reports.say((waits ? "Waits until it can be found out whether it has arrived already, "
                                "for a day at most: \""
                              : "It could not be found out for a day whether it has arrived "
                                "already, so it is sent again under the same Message-ID: \"") +
                       one.title + "\"");
  }
  parts_.reports.setKept(parts_.retries.count());
  return waits;
}

void DeliverySeries::noteUnanswered(const MessageUnderWay& one, bool forAll) {
  if (auto kept = parts_.queue.unanswered(one.claim, forAll); !kept) {
    parts_.reports.say("The missing answer could not be recorded: " + kept.error().text);
  }
}

// Whether copies for all who were refused are in failed/.
bool DeliverySeries::refusalsSettled(const MessageUnderWay& one, const Outcome& outcome) const {
  const std::set<std::string> settled = parts_.queue.settledFor(one.claim);
  return std::all_of(
      outcome.refused.begin(), outcome.refused.end(),
      [&](const RefusedRecipient& refused) { return settled.contains(refused.address); });
}

bool DeliverySeries::addressStopped(const WaitingMessage& message,
                                    const OutgoingMessage& outgoing) {
  const HourlyLimit::Verdict verdict = parts_.limit.ask(outgoing.envelope.recipients);
  for (const std::string& address : verdict.stoppedNow) {
    parts_.reports.setStopped(parts_.limit.stopped());
    parts_.reports.stopped(address, parts_.limit.most());
  }
  if (verdict.waitsFor.empty()) {
    return false;
  }
  parts_.retries.hold(message.name);
  parts_.reports.say("Waits because " + verdict.waitsFor + " is stopped: \"" + outgoing.subject +
                     "\"");
  return true;
}

// makeDurable() comes between this and the end of the text, so a crash during a try leaves the
// record.
void DeliverySeries::begin(MessageUnderWay& one) {
  const bool before = parts_.queue.begun(one.claim);
  if (transport_.searches() && (!before || parts_.queue.mayHaveReachedAll(one.claim))) {
    one.begun = !before;
    unsynced_ = true;
    (void)parts_.queue.begin(one.claim);
  }
}

// If this line is lost, the next try asks without need. A beginning that an earlier run has
// recorded stays until the message leaves: that copy can arrive at any time.
void DeliverySeries::end(MessageUnderWay& one) {
  if (std::exchange(one.begun, false)) {
    (void)parts_.queue.ended(one.claim);
  }
}

// What was delivered is recorded before anything else is done with the verdicts: if the program
// ended meanwhile, it would be sent a second time.
void DeliverySeries::report(std::vector<Verdict> verdicts) {
  std::vector<const DeliveryQueue::Claim*> delivered;
  for (const Verdict& verdict : verdicts) {
    if (hasLeft(verdict.outcome)) {
      const MessageUnderWay& one = underWay_.at(verdict.number);
      delivered.push_back(&one.claim);
      ++filesLeft_;
      bytesLeft_ += one.size;
    }
  }
  const auto noted = delivered.empty() ? Result<void>() : parts_.queue.delivered(delivered);
  unsynced_ = true;
  for (const Verdict& verdict : verdicts) {
    const auto found = underWay_.find(verdict.number);
    MessageUnderWay& one = found->second;
    const bool unanswered = verdict.outcome.kind == Outcome::Kind::kUnknown;
    const bool forAll = wasForAll(verdict.outcome);
    if (unanswered) {
      noteUnanswered(one, forAll);
    } else if (!hasLeft(verdict.outcome)) {
      end(one);
    }
    if (settlement_.settle(one, verdict.outcome)) {
      gone_.insert(one.place);
    } else if (unanswered && forAll && !refusalsSettled(one, verdict.outcome)) {
      // The disk has refused a copy, so somebody is left after all.
      noteUnanswered(one, false);
    }
    underWay_.erase(found);
  }
  parts_.reports.sayIfFailed(noted);
}

void DeliverySeries::makeDurable() {
  if (!std::exchange(unsynced_, false)) {
    return;
  }
  if (filesLeft_ < kMostFilesLeft && bytesLeft_ < kMostBytesLeft) {
    return parts_.reports.sayIfFailed(parts_.queue.makeDurable());
  }
  filesLeft_ = 0;
  bytesLeft_ = 0;
  parts_.reports.sayIfFailed(parts_.queue.removeDelivered());
}

std::vector<WaitingMessage> DeliverySeries::whatIsLeft() {
  std::vector<WaitingMessage> left;
  for (std::size_t place = 0; place < known_.size(); ++place) {
    if (!gone_.contains(place)) {
      left.push_back(std::move(known_[place]));
    }
  }
  return left;
}

}  // namespace relaybird
