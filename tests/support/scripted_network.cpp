// SPDX-License-Identifier: MIT
// Each connection is one ServerEnd, which holds both directions: the client's send() fills
// inFlight_, and wait() hands that to the script; what the script says waits in outgoing_, and
// wait() moves it to arrived_, where receive() takes it. All limits of the line apply in these two
// moves.
#include "support/scripted_network.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace relaybird {
namespace {

class LineScript : public ServerScript {
 public:
  explicit LineScript(std::function<void(ServerEnd&, std::string_view)> answer)
      : answer_(std::move(answer)) {}

  void heard(ServerEnd& end, std::string_view bytes) override {
    unfinished_ += bytes;
    for (auto at = unfinished_.find('\n'); at != std::string::npos; at = unfinished_.find('\n')) {
      std::string line = unfinished_.substr(0, at);
      unfinished_.erase(0, at + 1);
      if (line.ends_with('\r')) {
        line.pop_back();
      }
      answer_(end, line);
    }
  }

 private:
  std::function<void(ServerEnd&, std::string_view)> answer_;
  std::string unfinished_;
};

}  // namespace

void ServerScript::connecting(ServerEnd& end) {
  end.open();
}

std::unique_ptr<ServerScript> answerLines(
    std::function<void(ServerEnd&, std::string_view)> answer) {
  return std::make_unique<LineScript>(std::move(answer));
}

// The client's end.
class ServerEnd::ClientEnd : public Connection {
 public:
  explicit ClientEnd(std::shared_ptr<ServerEnd> end) : end_(std::move(end)) {}
  ~ClientEnd() override { end_->abandoned_ = true; }

  State state() const override { return end_->state_; }
  ConnectStep step() const override { return end_->step_; }
  const std::optional<ConnectFailure>& failure() const override { return end_->failure_; }

  std::size_t send(std::string_view bytes) override {
    if (end_->state_ != State::kOpen || end_->coming_) {
      return 0;
    }
    const std::size_t accepted = std::min(bytes.size(), end_->window_);
    end_->inFlight_ += bytes.substr(0, accepted);
    if (end_->window_ != kNoLimit) {
      end_->window_ -= accepted;
    }
    return accepted;
  }

  std::size_t receive(std::string& to, std::size_t most) override {
    if (end_->state_ != State::kOpen) {
      return 0;
    }
    const std::size_t count = std::min(most, end_->arrived_.size());
    to.append(end_->arrived_, 0, count);
    end_->arrived_.erase(0, count);
    end_->leftOver_ = !end_->arrived_.empty();
    if (count == 0 && most > 0 && end_->coming_ && end_->outgoing_.empty()) {
      end_->endWith(*end_->coming_);
    }
    return count;
  }

  void wantToSend(bool want) override { end_->wantsToSend_ = want; }
  void wantToReceive(bool want) override { end_->wantsToReceive_ = want; }

 private:
  std::shared_ptr<ServerEnd> end_;
};

void ServerEnd::reach(ConnectStep step) {
  changed_ = changed_ || step != step_;
  step_ = step;
}

void ServerEnd::open() {
  if (state_ == Connection::State::kOpening) {
    reach(ConnectStep::kReady);
    state_ = Connection::State::kOpen;
    changed_ = true;
  }
}

void ServerEnd::trace(const ProtocolLine& line) {
  if (trace_) {
    trace_(line);
  }
}

void ServerEnd::fail(ConnectFailure failure) {
  if (state_ == Connection::State::kOpening) {
    endWith(std::move(failure));
  } else if (!coming_) {
    coming_ = std::move(failure);
  }
}

void ServerEnd::close() {
  fail({.cause = ConnectFailure::Cause::kClosed,
        .step = step_,
        .words = "The server has ended the connection",
        .answer = {}});
}

void ServerEnd::trickle(std::size_t bytes, std::chrono::milliseconds every) {
  portion_ = bytes;
  interval_ = every;
}

void ServerEnd::acceptAtMost(std::size_t bytes) {
  mostAccepted_ = bytes;
  window_ = bytes;
}

void ServerEnd::drop() {
  outgoing_.clear();
  fail({.cause = ConnectFailure::Cause::kNotReached,
        .step = step_,
        .words = "The connection was lost",
        .answer = {}});
}

void ServerEnd::endWith(ConnectFailure failure) {
  failure_ = std::move(failure);
  state_ = Connection::State::kEnded;
  changed_ = true;
}

bool ServerEnd::readable() const {
  const bool input = !arrived_.empty() && (wantsToReceive_ || leftOver_);
  return state_ == Connection::State::kOpen && (input || (coming_ && outgoing_.empty()));
}

// Returns whether wait() has to tell the client something.
bool ServerEnd::progress(Time now) {
  if (abandoned_) {
    return false;
  }
  if (state_ == Connection::State::kOpening) {
    progressOpening(now);
  }
  if (state_ == Connection::State::kOpen) {
    hear();
    arrive(now);
  }
  return std::exchange(changed_, false) || readable() ||
         (state_ == Connection::State::kOpen && wantsToSend_ && window_ > 0 && !coming_);
}

void ServerEnd::progressOpening(Time now) {
  if (!std::exchange(introduced_, true)) {
    script_->connecting(*this);
  }
  if (state_ == Connection::State::kOpening && now >= openUntil_) {
    endWith({.cause = ConnectFailure::Cause::kTimedOut,
             .step = step_,
             .words = "The server did not answer in time",
             .answer = {}});
  }
}

void ServerEnd::hear() {
  if (hanging_ || coming_ || (mostUnread_ != kNoLimit && !outgoing_.empty())) {
    return;
  }
  window_ = mostAccepted_;
  std::string bytes = std::exchange(inFlight_, {});
  bytes.resize(std::min(bytes.size(), mostHeard_ - std::min(mostHeard_, heard_.size())));
  if (!bytes.empty()) {
    heard_ += bytes;
    script_->heard(*this, bytes);
  }
  if (heard_.size() >= mostHeard_) {
    drop();
  }
}

void ServerEnd::arrive(Time now) {
  if (!outgoing_.empty() && now >= nextArrival_) {
    const std::size_t count =
        std::min({outgoing_.size(), portion_, mostSaid_ - std::min(mostSaid_, said_),
                  mostUnread_ - std::min(mostUnread_, arrived_.size())});
    arrived_.append(outgoing_, 0, count);
    outgoing_.erase(0, count);
    said_ += count;
    nextArrival_ = now + interval_;
  }
  if (said_ >= mostSaid_) {
    drop();
  }
}

// When this connection will have something to report if nobody does anything.
std::optional<ServerEnd::Time> ServerEnd::nextEvent() const {
  if (abandoned_) {
    return std::nullopt;
  }
  if (state_ == Connection::State::kOpening) {
    return openUntil_;
  }
  if (state_ == Connection::State::kOpen && !outgoing_.empty() && portion_ > 0 &&
      arrived_.size() < mostUnread_) {
    return nextArrival_;
  }
  return std::nullopt;
}

void ScriptedNetwork::serve(std::function<std::unique_ptr<ServerScript>(ServerEnd&)> maker) {
  maker_ = std::move(maker);
}

void ScriptedNetwork::after(std::chrono::milliseconds delay, std::function<void()> act) {
  actions_.push_back({now_ + delay, std::move(act)});
}

std::unique_ptr<Connection> ScriptedNetwork::connect(const MailServer& server,
                                                     const std::optional<SignIn>& signIn,
                                                     std::chrono::milliseconds limit,
                                                     std::function<void(ProtocolLine)> trace) {
  class NobodyListens : public ServerScript {
    void connecting(ServerEnd& end) override {
      end.reach(ConnectStep::kConnect);
      end.fail({.cause = ConnectFailure::Cause::kNotReached,
                .step = ConnectStep::kConnect,
                .words = "Connection refused",
                .answer = {}});
    }
    void heard(ServerEnd&, std::string_view) override {}
  };
  auto end = std::make_shared<ServerEnd>();
  end->server_ = server;
  end->signIn_ = signIn;
  end->trace_ = std::move(trace);
  end->openUntil_ = now_ + limit;
  ends_.push_back(end);
  end->script_ = maker_ ? maker_(*end) : std::make_unique<NobodyListens>();
  return std::make_unique<ServerEnd::ClientEnd>(end);
}

void ScriptedNetwork::runDueActions() {
  // An action may add others.
  for (std::size_t i = 0; i < actions_.size();) {
    if (actions_[i].due > now_) {
      ++i;
      continue;
    }
    const auto act = std::move(actions_[i].act);
    actions_.erase(actions_.begin() + static_cast<std::ptrdiff_t>(i));
    act();
  }
}

bool ScriptedNetwork::somethingToReport() {
  runDueActions();
  bool any = false;
  // By number, because a script may cause another connection.
  for (std::size_t i = 0; i < ends_.size(); ++i) {
    const auto end = ends_[i];
    any = end->progress(now_) || any;
  }
  return woken_.exchange(false) || any;
}

std::chrono::milliseconds ScriptedNetwork::nextEvent(std::chrono::milliseconds latest) const {
  for (const auto& action : actions_) {
    latest = std::min(latest, action.due);
  }
  for (const auto& end : ends_) {
    latest = std::min(latest, end->nextEvent().value_or(latest));
  }
  return std::max(latest, now_);
}

// A client that goes round and round would hang its test.
void ScriptedNetwork::requireProgress() {
  constexpr int kManyWaits = 1'000'000;
  waitsAtThisTime_ = std::exchange(timeOfLastWait_, now_) == now_ ? waitsAtThisTime_ + 1 : 0;
  if (waitsAtThisTime_ > kManyWaits) {
    throw std::logic_error("ScriptedNetwork: the client waits over and over, and no time passes");
  }
}

void ScriptedNetwork::wait(std::chrono::milliseconds limit) {
  requireProgress();
  constexpr std::chrono::milliseconds kForever = std::chrono::hours(24 * 365);
  const auto latest = now_ + std::clamp(limit, std::chrono::milliseconds(0), kForever);
  bool idleCalled = false;
  while (!somethingToReport() && now_ < latest) {
    if (idle_ && !std::exchange(idleCalled, true)) {
      idle_();
      continue;
    }
    now_ = nextEvent(latest);
    if (now_ == latest && limit > kForever) {
      throw std::logic_error("ScriptedNetwork::wait() would never end");
    }
  }
}

}  // namespace relaybird
