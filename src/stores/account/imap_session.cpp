// SPDX-License-Identifier: MIT
// step() waits for an event or for the next moment at which there is something to do, and then
// advances everything once: it takes what has arrived, looks whether a limit has passed, and lets
// ImapWork send what is wanted.
#include "stores/account/imap_session.h"

#include <algorithm>
#include <array>
#include <utility>

#include "stores/account/connect_failure_text.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {
namespace {

// The most that is received before what it led to is sent.
constexpr std::size_t kReceivedAtOnce = std::size_t{256} << 10;

constexpr std::chrono::hours kLongWait{1};

// The code of the failure, if there is nothing to sign in with.
int logonFailureOf(SignInFailure::Cause cause) {
  switch (cause) {
    case SignInFailure::Cause::kRefused:
      return kLogonRefused;
    case SignInFailure::Cause::kDeclined:
    case SignInFailure::Cause::kMissing:
      return kNoSecretYet;
    case SignInFailure::Cause::kCancelled:
    case SignInFailure::Cause::kFailed:
      break;
  }
  return 0;
}

}  // namespace

ImapSession::ImapSession(ImapSessionWorld world)
    : world_(std::move(world)),
      spool_(world_.files, world_.folderOnDisk),
      identities_(world_.files, joinPath(world_.folderOnDisk, "messages")),
      work_(
          spool_, identities_,
          [this](const std::string& words) {
            world_.complain("Mail server " + world_.server.host + ": " + words);
          },
          world_.now),
      pauses_(world_.random) {}

ImapSession::~ImapSession() = default;

ImapSession::Status ImapSession::status() const {
  const std::lock_guard lock(mutex_);
  return status_;
}

void ImapSession::waitForNews(std::uint64_t seen, std::chrono::milliseconds limit) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, limit, [&] { return status_.news > seen; });
}

void ImapSession::close() {
  stop_.request_stop();
  {
    const std::lock_guard lock(mutex_);
    leaving_ = true;
  }
  world_.network.wake();
}

void ImapSession::tryAgain() {
  {
    const std::lock_guard lock(mutex_);
    userAsks_ = !connection_;
  }
  world_.network.wake();
}

void ImapSession::watch(bool on) {
  {
    const std::lock_guard lock(mutex_);
    if (std::exchange(watched_, on) == on) {
      return;
    }
    used_ = true;
  }
  world_.network.wake();
}

std::uint64_t ImapSession::wantHeard() {
  const std::uint64_t number = ++hearingAsked_;
  world_.network.wake();
  return number;
}

bool ImapSession::heard(std::uint64_t number) const {
  const std::lock_guard lock(mutex_);
  return heard_ >= number;
}

void ImapSession::takeAlong(std::chrono::milliseconds now) {
  {
    const std::lock_guard lock(mutex_);
    if (!status_.up || wakesAt_ - now > kTakenAlong) {
      return;
    }
    wakesEarly_ = true;
  }
  world_.network.wake();
}

bool ImapSession::step() {
  world_.network.wait(wait_);
  const std::uint64_t asked = hearingAsked_;  // first: what is asked from now on needs another step
  receive();
  std::unique_lock lock(mutex_);
  const std::uint64_t before = status_.news;
  now_ = world_.network.steadyTime();
  work_.setTime(now_);
  ahead_ = std::exchange(wakesEarly_, false) ? Time(kTakenAlong) : Time(0);
  if (std::exchange(used_, false) || heard_ != asked) {
    usedAt_ = now_;
  }
  advance(lock);
  writeBodies(lock);
  if (drained_ && heard_ != asked) {
    heard_ = asked;
    changedSomething();
  }
  const bool news = status_.news != before;
  const bool ended = ended_;
  if (connection_) {
    connection_->wantToReceive(!onlyIdles());
  }
  const std::string unsaved = std::exchange(saveDue_, false) ? identities_.takeUnsaved() : "";
  planWait();  // after that, or it would wake to save what is being saved
  lock.unlock();
  if (!unsaved.empty()) {
    save(unsaved);
  }
  if (news) {
    changed_.notify_all();
    world_.news();
  }
  return !ended;
}

void ImapSession::advance(std::unique_lock<std::mutex>& lock) {
  if (leaving_ && !leaveUntil_) {
    leaveUntil_ = now_ + kFarewellLimit;
  }
  if (!connection_ && leaving_) {
    ended_ = true;
    changedSomething();
  } else if (!connection_ && mayConnect(now_)) {
    connect(lock);
  }
  if (connection_ && leaving_ && !client_) {
    lose({0, "The mailbox has been closed"});  // while it was being opened
    ended_ = true;
  } else if (connection_) {
    converse();
  }
}

// Whether the thread must not sleep on. Until the folder is open, each step goes on by itself. A
// mark that joins others is sent with them, and their moment is known already.
bool ImapSession::hasToAct() const {
  if (!connection_) {
    return true;
  }
  return status_.up && (work_.hasToSend() || (work_.marksWaiting() > 0 && !markSince_));
}

bool ImapSession::mayConnect(Time now) {
  if (userAsks_) {
    pauses_.userAsks();
  }
  if (work_.wantsAnything()) {
    if (now >= pauses_.ifWanted()) {
      return true;
    }
    // What the user asks for waits for its try.
    if (!userAsks_) {
      work_.giveUp(status_.failure.value_or(Error{0, "There is no connection"}));
      changedSomething();
    }
  }
  return opensByItself() && now >= pauses_.byItself();
}

// Although nothing is wanted now.
bool ImapSession::opensByItself() const {
  const bool refused = status_.failure && isLogonFailure(status_.failure->code);
  return ((watched_ && wasUp_) || work_.marksWaiting() > 0) && !refused;
}

// The lock is not held while a slow disk is read, nor while the user may be asked for the keyring's
// password. Nothing was fetched before the first try, so that nobody else uses the spool.
void ImapSession::connect(std::unique_lock<std::mutex>& lock) {
  const bool first = !status_.everTried;
  const bool again = userAsks_;
  lock.unlock();
  std::string remembered;
  if (first) {
    spool_.clear();
    remembered = identities_.readFromDisk();
  }
  if (again) {
    world_.signIn.tryAgain();
  }
  SignInMaterial material = world_.signIn.get(stop_.get_token());
  lock.lock();
  identities_.restore(remembered);
  userAsks_ = false;  // also what was asked meanwhile has this try for an answer
  now_ = world_.network.steadyTime();
  if (!material.signIn) {
    lose({logonFailureOf(material.failure.cause),
          "Mail server " + world_.server.host + ": " + material.failure.words});
    return;
  }
  connection_ = world_.network.connect(world_.server, material.signIn, kConnectLimit, world_.trace);
}

void ImapSession::converse() {
  if (!client_ && connection_->state() == Connection::State::kOpen) {
    open();
  }
  if (client_ && !input_.empty()) {
    replies_.received(now_);
    client_->dialogue().received(input_);
    changedSomething();
  }
  checkLife();
  if (!connection_ || !client_) {
    return;
  }
  if (status_.up && !saidGoodbye_) {
    keepFresh();
  }
  transmit();
  if (leaving_) {
    leave();
  } else if (saidGoodbye_ && goodbyeIsOver()) {
    lose({0, "There is no connection"});
  }
}

void ImapSession::open() {
  world_.signIn.accepted();
  client_ = std::make_unique<ImapClient>(work_.events(), world_.trace);
  loss_.reset();
  replies_.begin(now_);
  client_->capability([this](const Result<void>& result) {
    if (result) {
      select();
    } else {
      loss_ = Error{0, "it does not say what it can do: " + result.error().text};
    }
  });
}

void ImapSession::select() {
  client_->identify(world_.version);
  const auto opened = [this](const Result<ImapOpened>& result) {
    if (result) {
      onOpened(*result);
    } else {
      loss_ = Error{0, "the folder " + world_.folder + " cannot be opened: " + result.error().text};
    }
  };
  if (const auto moment = work_.openingMoment()) {
    client_->selectSince(world_.folder, *moment, opened);
  } else {
    client_->select(world_.folder, opened);
  }
}

void ImapSession::onOpened(const ImapOpened& opened) {
  work_.attach(*client_, opened);
  status_.up = true;
  status_.everTried = true;
  status_.failure.reset();
  wasUp_ = true;
  upSince_ = usedAt_ = now_;
  idle_.used(now_);
  changedSomething();
}

// Without the lock: connection and client are made and ended on this thread alone. What comes in
// the step in which the connection opens is taken in the next one.
void ImapSession::receive() {
  input_.clear();
  drained_ = !client_;
  while (!drained_ && input_.size() < kReceivedAtOnce) {
    drained_ = connection_->receive(input_, kReceivedAtOnce - input_.size()) == 0;
  }
}

// Ends a connection that is of no use any more.
void ImapSession::checkLife() {
  const auto failed = [this](const std::string& words, Loss how = Loss::kOther) {
    lose({0, "Mail server " + world_.server.host + ": " + words}, how);
  };
  const auto whenClosed = [this](Loss loss = Loss::kClosedAtOnce) {
    return replies_.hadToAnswerAt(now_) ? loss : Loss::kOther;
  };
  if (client_) {
    ImapDialogue& dialogue = client_->dialogue();
    replies_.look(dialogue, now_);
    if (loss_) {
      failed(std::exchange(loss_, std::nullopt)->text);
    } else if (!dialogue.fault().empty()) {
      failed(dialogue.fault(), whenClosed());
    } else if (dialogue.bye() && !saidGoodbye_) {
      failed("it has ended the connection: " + *dialogue.bye(), whenClosed());
    } else if (status_.up && client_->uidValidity() != work_.uidValidity()) {
      failed("the folder was numbered anew");
    } else if (now_ >= replies_.deadline(*client_)) {
      if (dialogue.idleAsked()) {
        idle_.refused(now_);
      }
      failed("it does not answer any more", Loss::kBroken);
    }
  }
  if (connection_ && connection_->state() == Connection::State::kEnded) {
    const ConnectFailure failure = connection_->failure().value_or(ConnectFailure());
    const bool refused = failure.cause == ConnectFailure::Cause::kSignInRefused;
    // Without an answer the secret was not sent: the server does not know this way to sign in.
    if (refused && !failure.answer.empty()) {
      world_.signIn.refused();
    }
    const bool byServer = failure.cause == ConnectFailure::Cause::kClosed;
    lose({refused ? kLogonRefused : 0, connectFailureText(world_.server, failure)},
         whenClosed(byServer ? Loss::kClosedAtOnce : Loss::kBroken));
  }
}

// Sends what is wanted; if that is nothing, lets the server report changes.
void ImapSession::keepFresh() {
  if (work_.marksWaiting() == 0) {
    markSince_.reset();
  } else if (!markSince_) {
    markSince_ = now_;
  }
  if (leaving_ || (markSince_ && now_ - *markSince_ >= kMarkDelay)) {
    work_.flushMarks();
  }
  const std::size_t before = client_->dialogue().unanswered();
  work_.pump();
  if (work_.marksWaiting() == 0) {
    markSince_.reset();
  }
  if (isDue(savedAt_ + kSaveInterval) || identities_.isUrgent()) {
    wantSave();
  }
  ImapDialogue& dialogue = client_->dialogue();
  if (dialogue.unanswered() != before) {
    usedAt_ = now_;
    idle_.used(now_);
  }
  if (watched_ || work_.wantsAnything() || work_.marksUnconfirmed() > 0) {
    usedAt_ = now_;
  }
  status_.idles = dialogue.idling() || status_.idles;
  if (leaving_ || dialogue.owesReply()) {
    return;
  }
  if (!watched_ && isDue(usedAt_ + kUnusedLife)) {
    sayGoodbye();
  } else {
    status_.idles = idle_.keep(*client_, now_, now_ + ahead_);
  }
}

void ImapSession::sayGoodbye() {
  saidGoodbye_ = true;
  leaveUntil_ = leaveUntil_.value_or(now_ + kFarewellLimit);
  client_->logout();
}

bool ImapSession::goodbyeIsOver() const {
  return now_ >= *leaveUntil_ || client_->dialogue().unanswered() == 0;
}

void ImapSession::transmit() {
  std::string& output = client_->dialogue().output();
  while (!output.empty()) {
    const std::size_t sent = connection_->send(output);
    if (sent == 0) {
      break;
    }
    output.erase(0, sent);
  }
  connection_->wantToSend(!output.empty());
}

void ImapSession::leave() {
  const bool late = now_ >= *leaveUntil_;
  if (!late && status_.up && work_.marksUnconfirmed() > 0) {
    return;
  }
  if (!late && status_.up && !saidGoodbye_) {
    sayGoodbye();
    transmit();
  }
  if (status_.up && !goodbyeIsOver()) {
    return;
  }
  lose({0, "The mailbox has been closed"});
  ended_ = true;
}

void ImapSession::lose(Error why, Loss how) {
  const bool wasUp = std::exchange(status_.up, false);
  status_.everTried = true;
  status_.idles = false;
  status_.failure = why;
  client_.reset();
  connection_.reset();
  const bool left = std::exchange(saidGoodbye_, false) && !leaving_;
  work_.detach(left ? Loss::kOther : how);
  wantSave();
  if (left) {
    // Nothing has failed: what was wanted since the goodbye gets another connection at once.
    leaveUntil_.reset();
    status_.failure.reset();
    changedSomething();
    return;
  }
  // Time in which it owed a reply does not count: a server that never answers has not lasted.
  const bool stable = wasUp && replies_.lastReply() - upSince_ >= kStableAfter;
  const bool again = pauses_.failed(now_, stable) && wasUp && !leaving_;
  if (!again) {
    work_.giveUp(why);
  }
  pauses_.begin(again, work_.wantsAnything());
  changedSomething();
}

// At the end of the step, without the lock.
void ImapSession::wantSave() {
  savedAt_ = now_;
  saveDue_ = true;
}

void ImapSession::save(const std::string& unsaved) {
  if (const auto saved = identities_.writeToDisk(unsaved); !saved) {
    const std::lock_guard lock(mutex_);
    identities_.keepUnsaved();
    planWait();
    world_.complain(saved.error().text);
  }
}

// Large messages. The lock is not held while the disk takes them.
void ImapSession::writeBodies(std::unique_lock<std::mutex>& lock) {
  for (SpoolWork work = spool_.takeWork(); !work.empty(); work = spool_.takeWork()) {
    lock.unlock();
    spool_.perform(work);
    lock.lock();
    BodySpool::settle(std::move(work));
    work_.bodiesOnDisk();
    changedSomething();
  }
}

// Whether the server reports changes by itself, and nothing else is under way or wanted. What it
// says can wait then.
bool ImapSession::onlyIdles() const {
  if (!client_ || !status_.up || leaving_ || markSince_ || work_.wantsAnything()) {
    return false;
  }
  ImapDialogue& dialogue = client_->dialogue();
  return dialogue.idling() && !dialogue.owesReply() && dialogue.output().empty();
}

void ImapSession::planWait() {
  wakesAt_ = nextMoment();
  wait_ = std::max(wakesAt_ - now_, Time(0));
}

ImapSession::Time ImapSession::nextMoment() const {
  Time next = now_ + kLongWait;
  const auto atMost = [&](Time moment) { next = std::min(next, moment); };
  if (leaveUntil_) {
    atMost(*leaveUntil_);
  }
  if (!connection_) {
    if (leaving_) {
      atMost(now_);
    } else if (work_.wantsAnything() || opensByItself()) {
      atMost(pauses_.byItself());
    }
    return next;
  }
  if (!client_) {
    return next;  // the network measures the limit of opening
  }
  if (client_->dialogue().owesReply() || !client_->dialogue().output().empty()) {
    atMost(replies_.deadline(*client_));
  } else if (status_.up) {
    atMost(idle_.nextMoment(client_->dialogue()));
    if (!watched_) {
      atMost(usedAt_ + kUnusedLife);
    }
  }
  if (markSince_) {
    atMost(*markSince_ + kMarkDelay);
  }
  if (identities_.changed()) {
    atMost(savedAt_ + kSaveInterval);
  }
  return next;
}

}  // namespace relaybird
