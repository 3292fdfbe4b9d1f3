// SPDX-License-Identifier: MIT
// How an ImapSession gets its connection and what it does when it has lost it.
//
// A connection that is lost in the middle of work is replaced at once, once; after that with
// growing pauses, varied at random so that many programs do not return to a server at the same
// moment. What the user waits for fails as soon as a try to connect has failed.
#include <algorithm>
#include <utility>

#include "stores/account/imap_session.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {
namespace {

// After a failed try, requests fail at once with its failure for so long.
constexpr std::chrono::seconds kTryAgainAfter{5};

std::string_view stepWords(ConnectStep step) {
  switch (step) {
    case ConnectStep::kResolve:
      return "looking up its address";
    case ConnectStep::kConnect:
      return "connecting";
    case ConnectStep::kEncrypt:
      return "encrypting the connection";
    case ConnectStep::kSignIn:
      return "signing in";
    case ConnectStep::kReady:
      break;
  }
  return "reading the mailbox";
}

bool isSignInMatter(SignInFailure::Cause cause) {
  return cause == SignInFailure::Cause::kMissing || cause == SignInFailure::Cause::kDeclined ||
         cause == SignInFailure::Cause::kRefused;
}

}  // namespace

std::string connectFailureText(const MailServer& server, const ConnectFailure& failure) {
  std::string text = "Mail server " + server.host + ", " + std::string(stepWords(failure.step)) +
                     ": " + failure.words;
  if (!failure.answer.empty()) {
    text += ". The server said: " + failure.answer;
  }
  return text;
}

void ImapSession::tryAgain() {
  {
    const std::lock_guard lock(mutex_);
    userAsks_ = !connection_;
  }
  world_.network.wake();
}

bool ImapSession::mayConnect(Time now) {
  if (userAsks_) {
    failures_ = 0;
    nextTry_ = mayAskAgain_ = lostAt_ + Time(kUsersPause);
  }
  if (work_.wantsAnything()) {
    if (now >= std::min(nextTry_, mayAskAgain_)) {
      return true;
    }
    // What the user asks for waits for its try.
    if (!userAsks_) {
      work_.giveUp(status_.failure.value_or(Error{0, "There is no connection"}));
      changedSomething();
    }
  }
  const bool refused = status_.failure && status_.failure->code == kLogonRefused;
  return (stay_ || work_.marksWaiting() > 0) && !refused && now >= nextTry_;
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
    lose({isSignInMatter(material.failure.cause) ? kLogonRefused : 0,
          "Mail server " + world_.server.host + ": " + material.failure.words});
    return;
  }
  lastInput_ = now_;
  connection_ = world_.network.connect(world_.server, material.signIn, kConnectLimit, world_.trace);
}

void ImapSession::lose(Error why, Loss how) {
  const bool wasUp = std::exchange(status_.up, false);
  status_.everTried = true;
  status_.idles = false;
  status_.failure = why;
  client_.reset();
  connection_.reset();
  work_.detach(how);
  wantSave();
  lostAt_ = now_;
  // Time in which it owed a reply does not count: a server that never answers has not lasted.
  if (wasUp && lastReply_ - upSince_ >= kStableAfter) {
    failures_ = 0;
  }
  ++failures_;
  const bool again = wasUp && failures_ == 1 && !leaving_;
  if (!again) {
    work_.giveUp(why);
  }
  mayAskAgain_ = again ? now_ : now_ + kTryAgainAfter;
  pause();
  changedSomething();
}

// The time of the next try to connect.
void ImapSession::pause() {
  if (failures_ == 1 && work_.wantsAnything()) {
    nextTry_ = now_;
    return;
  }
  Time length = kFirstPause;
  for (int i = 1; i < failures_ && length < kLongestPause; ++i) {
    length *= 2;
  }
  length = std::min<Time>(length, kLongestPause);
  const auto bytes = world_.random(1);
  const int chance = bytes && !bytes->empty() ? static_cast<unsigned char>(bytes->front()) : 128;
  nextTry_ = now_ + length * 3 / 4 + length * chance / 512;
}

}  // namespace relaybird
