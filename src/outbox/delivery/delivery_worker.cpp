// SPDX-License-Identifier: MIT
// Two threads share this object. The user-interface thread makes requests (flush, tryAgain), the
// executor's thread works through the outbox (work). Requests during a run are combined into one
// further run. The executor's thread posts notices and callbacks to the event queue; they are
// dropped if the worker is gone by then.
#include "outbox/delivery/delivery_worker.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "outbox/delivery/outgoing_message.h"
#include "platform/text/character_kind.h"

namespace relaybird {

namespace {

constexpr std::size_t kMessageLimit = std::size_t{256} << 20;
// How often the folder is read for messages that others put there.
constexpr std::chrono::minutes kListAgain{1};
// Files of messages that have left are removed together, as some disks take longer for that than
// the server for a message. This bounds the space that they take.
constexpr std::size_t kMostFilesLeft = 1000;
constexpr std::size_t kMostBytesLeft = std::size_t{64} << 20;
// After so many refusals in a row the transport is to blame, not the messages.
constexpr int kEnoughRefusals = 10;

// Whether the server has answered so to one message, and may answer others in another way.
bool cameFromOne(const Outcome& outcome) {
  return outcome.everything &&
         (outcome.cause == Outcome::Cause::kMessage || outcome.cause == Outcome::Cause::kLimit);
}

}  // namespace

struct DeliveryWorker::CallBacks {
  std::function<void(StoreNotice)> notice;
};

DeliveryWorker::DeliveryWorker(Setting setting)
    : setting_(std::move(setting)),
      callBacks_(std::make_shared<CallBacks>()),
      limit_(setting_.files, setting_.clock, limitFile(setting_.outbox.folder()),
             setting_.mostPerHour) {
  callBacks_->notice = std::move(setting_.notice);
  publish();
}

std::string DeliveryWorker::limitFile(const std::string& outboxFolder) {
  return outboxFolder + "/recent-deliveries";
}

DeliveryWorker::~DeliveryWorker() {
  stop_.request_stop();
  std::unique_lock lock(mutex_);
  idle_.wait(lock, [this] { return !working_; });
}

void DeliveryWorker::flush(std::function<void()> done) {
  begin(std::move(done), false);
}

void DeliveryWorker::tryAgain(std::function<void()> done) {
  begin(std::move(done), true);
}

void DeliveryWorker::begin(std::function<void()> done, bool afresh) {
  if (!setting_.transport) {
    // Nothing leaves this program, so there is nothing to wait for.
    postDone({std::move(done)});
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    waiters_.push_back(std::move(done));
    wanted_ = true;
    afreshWanted_ = afreshWanted_ || afresh;
    // A run that is under way takes the request as its next round.
    if (std::exchange(working_, true)) {
      return;
    }
  }
  setting_.executor.run([this] { work(); });
}

DeliveryWorker::Counts DeliveryWorker::counts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

std::optional<DateTime> DeliveryWorker::nextAttempt() const {
  const std::lock_guard lock(mutex_);
  return nextAttempt_;
}

void DeliveryWorker::work() {
  std::vector<std::function<void()>> waiters;
  while (nextTask(waiters)) {
    if (std::exchange(afresh_, false)) {
      startAfresh();
    }
    deliverWaiting();
    publish();
    // After publish(), so that those who are called see the new counts.
    postDone(std::exchange(waiters, {}));
  }
}

bool DeliveryWorker::nextTask(std::vector<std::function<void()>>& waiters) {
  const std::lock_guard lock(mutex_);
  if (wanted_ && !stop_.stop_requested()) {
    wanted_ = false;
    afresh_ = std::exchange(afreshWanted_, false);
    waiters = std::exchange(waiters_, {});
    return true;
  }
  working_ = false;
  idle_.notify_all();  // under the lock: the object may be destroyed once it is released
  return false;
}

// Also reads the folder again: the user may just have put a message back.
void DeliveryWorker::startAfresh() {
  setting_.transport->tryAgain();
  toldOfAll_.clear();
  suspect_.clear();
  accountHeld_ = false;
  retries_.clear();
  pause_ = {};
  refusalsInRow_ = 0;
  othersFirst_ = false;
  held_.clear();
  listed_ = kNoDate;
  for (const std::string& address : limit_.stopped()) {
    say("Mail may leave again for " + address);
  }
  limit_.lift();
}

// A message that the transport has, and whose verdict is awaited.
struct DeliveryWorker::UnderWay {
  Outbox::Claim claim;
  std::size_t place;  // in known_
  WaitingMessage message;
  std::string title;
  std::vector<std::string> named;       // all recipients that the message names
  std::vector<std::string> recipients;  // those that it is sent to now
  std::size_t size = 0;                 // of the message, in bytes
  bool begun = false;                   // recorded as begun for this try
};

// One walk over the messages that wait, which the transport drives. Messages that arrive on the
// way join it, so that one connection takes them all.
class DeliveryWorker::Series : public MessageFeed {
 public:
  explicit Series(DeliveryWorker& worker) : worker_(worker) { countDue(0); }
  ~Series() override;
  Series(const Series&) = delete;
  Series& operator=(const Series&) = delete;

  std::optional<FedMessage> next() override;
  void report(std::vector<Verdict> verdicts) override;
  void makeDurable() override;
  void putBack(std::uint64_t number) override;
  std::size_t waiting() const override { return due_ + again_.size(); }
  // What stays in the outbox, once the transport has returned.
  std::vector<WaitingMessage> whatIsLeft();

 private:
  enum class Fate { kGone, kKept, kLeaves, kNotYet };

  bool moreArrived();
  void countDue(std::size_t from);
  Fate prepare(std::size_t place, FedMessage& fed);
  Fate prepare(UnderWay one, std::string bytes, FedMessage& fed);
  bool mayHaveArrived(const WaitingMessage& message);
  bool arrivedBefore(const UnderWay& one, const OutgoingMessage& message);
  void begin(UnderWay& one);
  void end(UnderWay& one);
  void settle(const UnderWay& one, const std::vector<std::string>& recipients,
              const Outcome& outcome);
  void settleEach(const UnderWay& one, const Outcome& outcome);
  void refuse(const UnderWay& one, const std::vector<std::string>& recipients,
              const std::string& words);
  void removeFor(const UnderWay& one);

  DeliveryWorker& worker_;
  std::size_t next_ = 0;         // in known_
  std::size_t due_ = 0;          // from next_ on, not kept or held when they were counted
  std::set<std::size_t> again_;  // places in known_ that were put back
  std::set<std::size_t> gone_;   // places in known_
  bool unsynced_ = false;        // something was reported since makeDurable()
  std::size_t filesLeft_ = 0;    // of messages that have left
  std::size_t bytesLeft_ = 0;    // the same in bytes
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, UnderWay> underWay_;
};

std::optional<FedMessage> DeliveryWorker::Series::next() {
  FedMessage fed;
  while (!worker_.seriesEnded_ && !worker_.stop_.stop_requested()) {
    if (again_.empty() && next_ == worker_.known_.size() && !moreArrived()) {
      break;
    }
    // What was put back is older than the rest, so it goes first.
    const std::size_t place = again_.empty() ? next_ : *again_.begin();
    const bool heldBack = worker_.isHeldBack(worker_.known_[place]);
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

void DeliveryWorker::Series::putBack(std::uint64_t number) {
  const auto found = underWay_.find(number);
  end(found->second);
  again_.insert(found->second.place);
  underWay_.erase(found);
}

// What was handed out and not reported was not sent.
DeliveryWorker::Series::~Series() {
  for (auto& [number, one] : underWay_) {
    end(one);
  }
}

bool DeliveryWorker::Series::moreArrived() {
  auto arrivals = worker_.setting_.outbox.takeArrivals();
  if (!arrivals || arrivals->empty()) {
    return false;
  }
  const std::size_t before = worker_.known_.size();
  std::move(arrivals->begin(), arrivals->end(), std::back_inserter(worker_.known_));
  countDue(before);
  return true;
}

void DeliveryWorker::Series::countDue(std::size_t from) {
  const auto& known = worker_.known_;
  due_ += static_cast<std::size_t>(
      std::count_if(known.begin() + static_cast<std::ptrdiff_t>(from), known.end(),
                    [this](const WaitingMessage& one) { return !worker_.isHeldBack(one); }));
}

DeliveryWorker::Series::Fate DeliveryWorker::Series::prepare(std::size_t place, FedMessage& fed) {
  const WaitingMessage message = worker_.known_[place];
  if (worker_.isHeldBack(message) || mayHaveArrived(message)) {
    return Fate::kKept;
  }
  Setting& setting = worker_.setting_;
  auto claim = setting.outbox.claim(message.name);
  if (!claim) {
    return Fate::kGone;  // another delivery has it, or had it
  }
  // A byte more than allowed shows that the message is too large.
  auto bytes = readFile(setting.files, setting.outbox.pathOf(*claim), kMessageLimit + 1);
  if (bytes) {
    UnderWay one{std::move(*claim), place, message, messageSubject(*bytes), {}, {}};
    return prepare(std::move(one), std::move(*bytes), fed);
  }
  // Somebody has removed it since the folder was read.
  if (bytes.error().code == ENOENT) {
    worker_.retries_.erase(message.name);
    return Fate::kGone;
  }
  worker_.kept(message, message.name, {Outcome::Kind::kTemporary, bytes.error().text, false});
  return Fate::kKept;
}

DeliveryWorker::Series::Fate DeliveryWorker::Series::prepare(UnderWay one, std::string bytes,
                                                             FedMessage& fed) {
  if (bytes.size() > kMessageLimit) {
    refuse(one, {}, "The message is too large");
    return Fate::kKept;
  }
  auto outgoing = prepareMessage(std::move(bytes));
  if (!outgoing) {
    refuse(one, {}, outgoing.error().text);
    return Fate::kKept;
  }
  std::vector<std::string>& recipients = outgoing->envelope.recipients;
  one.named = recipients;
  const std::set<std::string> settled = worker_.setting_.outbox.settledFor(one.claim);
  std::erase_if(recipients, [&](const std::string& address) { return settled.contains(address); });
  // Without recipients: all of them were settled, and a crash came before the message was removed.
  if (recipients.empty() || arrivedBefore(one, *outgoing)) {
    removeFor(one);
    return Fate::kGone;
  }
  // Messages under way are not counted yet. Together with them this one could exceed the limit of
  // an address, so it waits for their verdicts.
  if (!underWay_.empty() && worker_.limit_.mayStopAfter(recipients, underWay_.size())) {
    return Fate::kNotYet;
  }
  if (worker_.mustWait(one.message, *outgoing)) {
    return Fate::kKept;
  }
  one.recipients = recipients;
  one.size = outgoing->bytes.size();
  begin(one);
  fed = {++lastNumber_, std::move(*outgoing)};
  underWay_.emplace(lastNumber_, std::move(one));
  return Fate::kLeaves;
}

// An earlier run of the program, or one before the user's request, has sent the message and got no
// answer. Such a message waits as if it had just been kept.
bool DeliveryWorker::Series::mayHaveArrived(const WaitingMessage& message) {
  if (worker_.retries_.contains(message.name)) {
    return false;
  }
  const auto since = worker_.setting_.outbox.unansweredSince(message.name);
  const Retry retry{since.value_or(kNoDate), kRetryAfterNoAnswer};
  if (!since || worker_.isDue(retry)) {
    return false;
  }
  worker_.retries_.emplace(message.name, retry);
  worker_.say(
      "Was sent before, but no answer came, so it may have arrived; the next try comes ten minutes "
      "after that one: " +
      oneLine(message.name));
  return true;
}

// Asked if the last try had no answer, or if the program or the machine has failed during it.
bool DeliveryWorker::Series::arrivedBefore(const UnderWay& one, const OutgoingMessage& message) {
  const Outbox& outbox = worker_.setting_.outbox;
  const bool doubtful = outbox.begun(one.claim) || outbox.unansweredSince(one.message.name);
  const bool found =
      doubtful && worker_.setting_.transport->hasArrived(message, worker_.stop_.get_token());
  if (found) {
    worker_.say("Has arrived already, so it is not sent again: \"" + one.title + "\"");
  }
  return found;
}

// makeDurable() comes between this and the end of the text, so a crash during a try leaves the
// record.
void DeliveryWorker::Series::begin(UnderWay& one) {
  if (worker_.setting_.transport->searches() && !worker_.setting_.outbox.begun(one.claim)) {
    one.begun = true;
    unsynced_ = true;
    (void)worker_.setting_.outbox.begin(one.claim);
  }
}

// If this line is lost, the next try asks without need. A beginning that an earlier run has
// recorded stays until the message leaves: that copy can arrive at any time.
void DeliveryWorker::Series::end(UnderWay& one) {
  if (std::exchange(one.begun, false)) {
    (void)worker_.setting_.outbox.ended(one.claim);
  }
}

// What was delivered is recorded before anything else is done with the verdicts: if the program
// ended meanwhile, it would be sent a second time.
void DeliveryWorker::Series::report(std::vector<Verdict> verdicts) {
  std::vector<const Outbox::Claim*> delivered;
  for (const Verdict& verdict : verdicts) {
    if (verdict.outcome.kind == Outcome::Kind::kDelivered && verdict.outcome.refused.empty()) {
      const UnderWay& one = underWay_.at(verdict.number);
      delivered.push_back(&one.claim);
      ++filesLeft_;
      bytesLeft_ += one.size;
    }
  }
  Result<void> noted;
  if (!delivered.empty()) {
    noted = worker_.setting_.outbox.delivered(delivered);
    unsynced_ = true;
  }
  for (const Verdict& verdict : verdicts) {
    const auto found = underWay_.find(verdict.number);
    const bool gone = verdict.outcome.kind == Outcome::Kind::kDelivered &&
                      verdict.outcome.refused.empty();  // and every record of it
    if (!gone && verdict.outcome.kind != Outcome::Kind::kUnknown) {
      end(found->second);
    }
    if (verdict.outcome.kind == Outcome::Kind::kUnknown) {
      if (auto kept = worker_.setting_.outbox.unanswered(found->second.claim); !kept) {
        worker_.say("The missing answer could not be recorded: " + kept.error().text);
      }
    }
    if (verdict.outcome.refused.empty()) {
      settle(found->second, found->second.recipients, verdict.outcome);
    } else {
      settleEach(found->second, verdict.outcome);
    }
    underWay_.erase(found);
  }
  worker_.sayIfFailed(noted);
}

void DeliveryWorker::Series::makeDurable() {
  if (!std::exchange(unsynced_, false)) {
    return;
  }
  if (filesLeft_ < kMostFilesLeft && bytesLeft_ < kMostBytesLeft) {
    return worker_.sayIfFailed(worker_.setting_.outbox.makeDurable());
  }
  filesLeft_ = 0;
  bytesLeft_ = 0;
  worker_.sayIfFailed(worker_.setting_.outbox.removeDelivered());
}

// `recipients` are those whom the outcome concerns.
void DeliveryWorker::Series::settle(const UnderWay& one, const std::vector<std::string>& recipients,
                                    const Outcome& outcome) {
  switch (outcome.kind) {
    case Outcome::Kind::kDelivered:
      gone_.insert(one.place);
      worker_.retries_.erase(one.message.name);
      return worker_.taken(one, recipients);
    // The program ends. The message stays for the next start.
    case Outcome::Kind::kCancelled:
      return;
    case Outcome::Kind::kPermanent:
      return refuse(one, recipients, outcome.words);
    case Outcome::Kind::kTemporary:
    case Outcome::Kind::kUnknown:
      break;
  }
  // A message is not to blame for what keeps everything back, however long that takes.
  const bool blameless = worker_.concernsAll(one.message, outcome);
  const bool young = worker_.setting_.clock.now() - one.message.modified < kGiveUpAfter;
  if (young || blameless) {
    return worker_.kept(one.message, one.title, outcome);
  }
  refuse(one, recipients, outcome.words + "\nGiven up after five days.");
}

// Without recipients, the message as it is.
void DeliveryWorker::Series::refuse(const UnderWay& one, const std::vector<std::string>& recipients,
                                    const std::string& words) {
  const auto moved = worker_.putAside(one, recipients, words);
  if (!moved) {
    return worker_.kept(one.message, one.title,
                        {Outcome::Kind::kTemporary, words + "; " + moved.error().text, false});
  }
  if (worker_.isWhole(one, recipients)) {
    gone_.insert(one.place);
    worker_.retries_.erase(one.message.name);
  } else {
    removeFor(one);
  }
  worker_.refused(one, recipients, words);
}

// Nobody is left to whom the message is to be sent.
void DeliveryWorker::Series::removeFor(const UnderWay& one) {
  gone_.insert(one.place);
  worker_.retries_.erase(one.message.name);
  (void)worker_.setting_.outbox.delivered({&one.claim});
  unsynced_ = true;
}

// The order of the steps decides what a crash leaves. Those who have the message are recorded
// first, so that nobody gets it twice. A recipient who was refused for good is settled after the
// copy for failed/ is on disk. The message leaves the outbox last, when nobody is left to be tried.
void DeliveryWorker::Series::settleEach(const UnderWay& one, const Outcome& outcome) {
  std::vector<std::string> others = one.recipients;
  for (const RefusedRecipient& refused : outcome.refused) {
    std::erase(others, refused.address);
  }
  Outcome later = outcome;
  std::vector<std::string> left;
  if (outcome.kind == Outcome::Kind::kDelivered) {
    if (auto noted = worker_.setting_.outbox.deliveredTo(one.claim, others); !noted) {
      worker_.say("The delivery could not be recorded: " + noted.error().text);
    }
    worker_.retries_.erase(one.message.name);
    worker_.taken(one, others);
    later.kind = Outcome::Kind::kTemporary;
    later.words.clear();
  } else {
    left = others;
  }
  for (const RefusedRecipient& refused : outcome.refused) {
    if (refused.permanent && worker_.putAside(one, {refused.address}, refused.words)) {
      worker_.refused(one, {refused.address}, refused.words);
      continue;
    }
    left.push_back(refused.address);
    later.words += (later.words.empty() ? "" : "; ") + refused.address + ": " + refused.words;
  }
  if (left.empty()) {
    removeFor(one);
  } else {
    settle(one, left, later);
  }
}

std::vector<WaitingMessage> DeliveryWorker::Series::whatIsLeft() {
  std::vector<WaitingMessage> left;
  for (std::size_t place = 0; place < worker_.known_.size(); ++place) {
    if (!gone_.contains(place)) {
      left.push_back(std::move(worker_.known_[place]));
    }
  }
  return left;
}

void DeliveryWorker::deliverWaiting() {
  collect();
  seriesEnded_ = !isDue(pause_);
  if (othersFirst_) {
    putTriedLast();
  }
  if (!seriesEnded_) {
    Series series(*this);
    setting_.transport->deliverAll(series, stop_.get_token());
    known_ = series.whatIsLeft();
  }
  if (auto finished = setting_.outbox.finishDeliveries(); !finished) {
    say("The outbox could not be brought up to date: " + finished.error().text);
  }
}

void DeliveryWorker::collect() {
  auto arrivals = setting_.outbox.takeArrivals();
  const DateTime now = setting_.clock.now();
  // A clock that was set back does not make the last reading recent.
  const bool recent = listed_ <= now && now < listed_ + kListAgain;
  if (arrivals && recent) {
    std::move(arrivals->begin(), arrivals->end(), std::back_inserter(known_));
    return;
  }
  auto listed = setting_.outbox.waiting();
  listingFailed_ = false;
  if (!listed) {
    say("The outbox cannot be read: " + listed.error().text);
    // The arrivals can be delivered nevertheless, and the listing is tried again.
    if (arrivals) {
      std::move(arrivals->begin(), arrivals->end(), std::back_inserter(known_));
    }
    listingFailed_ = true;
    return;
  }
  known_ = std::move(*listed);
  listed_ = now;
  std::unordered_set<std::string> names;
  for (const WaitingMessage& message : known_) {
    names.insert(message.name);
  }
  // Forgets what others have removed, so that neither grows for ever.
  std::erase_if(retries_, [&](const auto& item) { return !names.contains(item.first); });
  std::erase_if(held_, [&](const std::string& name) { return !names.contains(name); });
}

bool DeliveryWorker::mustWait(const WaitingMessage& message, const OutgoingMessage& outgoing) {
  const HourlyLimit::Verdict verdict = limit_.ask(outgoing.envelope.recipients);
  for (const std::string& address : verdict.stoppedNow) {
    tellStopped(address);
  }
  if (verdict.waitsFor.empty()) {
    return false;
  }
  held_.insert(message.name);
  say("Waits because " + verdict.waitsFor + " is stopped: \"" + outgoing.subject + "\"");
  return true;
}

void DeliveryWorker::tellStopped(const std::string& address) {
  publish();
  say({"Stopped forwarding to " + address + ": " + std::to_string(limit_.most()) +
           " messages have left for it within an hour, which is the most that the settings allow. "
           "What is for it waits in " +
           setting_.outbox.folder() + " until you choose Try Again Now (in the console: retry)",
       StoreNotice::Kind::kStopped});
}

void DeliveryWorker::taken(const UnderWay& one, const std::vector<std::string>& recipients) {
  pause_ = {};
  refusalsInRow_ = 0;
  toldOfAll_.clear();
  suspect_.clear();
  accountHeld_ = false;
  {
    const std::lock_guard lock(mutex_);
    ++counts_.left;
    counts_.kept = retries_.size();
  }
  const std::string who = recipients.size() == one.named.size()
                              ? ""
                              : " to " + std::to_string(recipients.size()) + " of " +
                                    std::to_string(one.named.size()) + " recipients";
  say("Handed over for delivery" + who + ": \"" + one.title + "\"");
  limit_.count(recipients);
}

// Whether a refusal for these concerns the message as a whole: nobody else has it.
bool DeliveryWorker::isWhole(const UnderWay& one,
                             const std::vector<std::string>& recipients) const {
  return recipients.empty() || (recipients.size() == one.recipients.size() &&
                                setting_.outbox.settledFor(one.claim).empty());
}

// Moves the message to failed/, or a copy for these recipients.
Result<void> DeliveryWorker::putAside(const UnderWay& one,
                                      const std::vector<std::string>& recipients,
                                      const std::string& words) {
  if (isWhole(one, recipients)) {
    return setting_.outbox.refuse(one.claim, linesWithCodes(words));
  }
  auto bytes = readFile(setting_.files, setting_.outbox.pathOf(one.claim), kMessageLimit);
  if (!bytes) {
    return bytes.error();
  }
  const auto copy = addressedOnlyTo(std::move(*bytes), recipients);
  if (!copy) {
    return copy.error();
  }
  const auto first = std::find(one.named.begin(), one.named.end(), recipients.front());
  return setting_.outbox.refuseFor(one.claim, recipients,
                                   static_cast<std::size_t>(first - one.named.begin()) + 1, *copy,
                                   linesWithCodes(words));
}

void DeliveryWorker::refused(const UnderWay& one, const std::vector<std::string>& recipients,
                             const std::string& words) {
  refusalsInRow_ = 0;
  if (suspect_ == one.message.name) {
    suspect_.clear();
  }
  {
    const std::lock_guard lock(mutex_);
    ++counts_.refused;
    counts_.kept = retries_.size();
  }
  std::string whom;
  if (recipients.size() < one.named.size()) {
    for (const std::string& address : recipients) {
      whom += (whom.empty() ? " for " : ", ") + address;
    }
  }
  say({"Refused for good" + whom + ": \"" + one.title + "\": " + oneLine(words) +
           ". It is now in " + setting_.outbox.folder() + "/failed",
       StoreNotice::Kind::kRefused});
}

void DeliveryWorker::kept(const WaitingMessage& message, const std::string& title,
                          const Outcome& outcome) {
  putOff(message, outcome);
  {
    const std::lock_guard lock(mutex_);
    counts_.kept = retries_.size();
  }
  // What keeps everything back is told once, not at every try of the following months.
  const std::string& reason = outcome.code.empty() ? outcome.words : outcome.code;
  if (outcome.everything && std::exchange(toldOfAll_, reason) == reason) {
    return;
  }
  const bool unknown = outcome.kind == Outcome::Kind::kUnknown;
  say((unknown ? "Sent, but no answer came, so it may have arrived; kept for a later try under the "
                 "same Message-ID: \""
               : "Kept for a later try: \"") +
      oneLine(title) + "\": " + oneLine(outcome.words));
}

void DeliveryWorker::putOff(const WaitingMessage& message, const Outcome& outcome) {
  Retry& retry = retries_[message.name];
  const bool cut = outcome.everything && outcome.cause == Outcome::Cause::kConnection;
  const std::chrono::minutes most = cut ? kLongestRetryOfConnection : kLongestRetry;
  postpone(retry, most);
  if (outcome.kind == Outcome::Kind::kUnknown) {
    retry.wait = std::max(retry.wait, kRetryAfterNoAnswer);
  }
  if (!outcome.everything && ++refusalsInRow_ < kEnoughRefusals) {
    return;
  }
  // Otherwise the same messages would end every series before the later ones are tried.
  othersFirst_ = othersFirst_ || !outcome.everything || cameFromOne(outcome);
  const bool limit = outcome.everything && outcome.cause == Outcome::Cause::kLimit;
  if (cameFromOne(outcome) && !accountHeld_) {
    // Soon the next message shows whether the account is meant.
    pause_ = {};
    postpone(pause_, most);
    retry.wait = limit ? kLongestRetry : retry.wait;
  } else {
    postpone(pause_, most);
    pause_.wait = limit ? kRetryAfterLimit : pause_.wait;
  }
  refusalsInRow_ = 0;
  seriesEnded_ = true;
}

// Whether nobody would be served now. A limit of the account shows in the answers for two messages
// with no success between them; one alone may have another meaning.
bool DeliveryWorker::concernsAll(const WaitingMessage& message, const Outcome& outcome) {
  if (!cameFromOne(outcome)) {
    return outcome.everything;
  }
  if (suspect_.empty()) {
    suspect_ = message.name;
  }
  accountHeld_ = accountHeld_ || suspect_ != message.name;
  return accountHeld_;
}

// What was not tried yet goes first, then what was tried longest ago.
void DeliveryWorker::putTriedLast() {
  const auto tried = [this](const WaitingMessage& message) {
    const auto retry = retries_.find(message.name);
    return retry == retries_.end() ? std::optional<DateTime>() : retry->second.refused;
  };
  std::stable_sort(known_.begin(), known_.end(),
                   [&](const WaitingMessage& one, const WaitingMessage& other) {
                     return tried(one) < tried(other);
                   });
}

// A clock that was set back must not prolong the waiting time.
bool DeliveryWorker::isDue(const Retry& retry) const {
  const DateTime now = setting_.clock.now();
  return retry.wait.count() == 0 || now >= retry.due() || now < retry.refused;
}

// Whether it is not its turn: it was kept and is not due yet, or an address of it is stopped.
bool DeliveryWorker::isHeldBack(const WaitingMessage& message) const {
  const auto retry = retries_.find(message.name);
  return (retry != retries_.end() && !isDue(retry->second)) || held_.contains(message.name);
}

void DeliveryWorker::postpone(Retry& retry, std::chrono::minutes most) const {
  retry.refused = setting_.clock.now();
  retry.wait = std::clamp(2 * retry.wait, kFirstRetry, most);
}

void DeliveryWorker::publish() {
  std::optional<DateTime> next;
  for (const auto& [name, retry] : retries_) {
    if (!next || retry.due() < *next) {
      next = retry.due();
    }
  }
  if (next && pause_.wait.count() > 0) {
    next = std::max(*next, pause_.due());
  }
  if (!next && listingFailed_) {
    next = setting_.clock.now() + kListAgain;
  }
  const std::lock_guard lock(mutex_);
  nextAttempt_ = next;
  counts_.kept = retries_.size();
  counts_.stopped.assign(limit_.stopped().begin(), limit_.stopped().end());
}

void DeliveryWorker::say(StoreNotice notice) {
  notice.time = setting_.clock.now();
  setting_.events.post([to = std::weak_ptr(callBacks_), notice = std::move(notice)] {
    const auto callBacks = to.lock();
    if (callBacks && callBacks->notice) {
      callBacks->notice(notice);
    }
  });
}

void DeliveryWorker::sayIfFailed(const Result<void>& recorded) {
  if (!recorded) {
    say("What was handed over could not be taken out of the outbox: " + recorded.error().text);
  }
}

void DeliveryWorker::postDone(std::vector<std::function<void()>> waiters) {
  for (auto& done : waiters) {
    if (!done) {
      continue;
    }
    setting_.events.post([to = std::weak_ptr(callBacks_), done = std::move(done)] {
      if (to.lock()) {
        done();
      }
    });
  }
}

}  // namespace relaybird
