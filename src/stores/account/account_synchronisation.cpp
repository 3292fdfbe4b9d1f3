// SPDX-License-Identifier: MIT
#include "stores/account/account_synchronisation.h"

#include <utility>

namespace relaybird {

AccountSynchronisation::AccountSynchronisation(EventQueue& events, std::function<void()> refreshed,
                                               std::function<void(const std::string&)> complain)
    : events_(events), refreshed_(std::move(refreshed)), complain_(std::move(complain)) {}

void AccountSynchronisation::begin(ImapSession& session, std::function<void()> done) {
  session_ = &session;
  waiting_.push_back(std::move(done));
  endWanted_ = true;
  number_ = session.work([](ImapWork& work) { return work.wantRefresh(); });
}

// Nobody is woken who does not wait: a server that says every two minutes that it is still there
// would wake the user-interface thread too.
void AccountSynchronisation::onNews() {
  if (endWanted_ && !posted_.exchange(true)) {
    events_.post([this, alive = std::weak_ptr<char>(alive_)] {
      if (alive.lock()) {
        posted_ = false;
        end();
      }
    });
  }
}

void AccountSynchronisation::end() {
  if (waiting_.empty() || session_ == nullptr) {
    return;
  }
  const auto state = session_->look([&](const ImapWork& work) { return work.refreshed(number_); });
  if (state == Wanted::kComing) {
    return;
  }
  std::string failure;
  if (state == Wanted::kFailed) {
    failure = session_->look([](const ImapWork& work) { return work.refreshFailure().text; });
  } else {
    refreshed_();
  }
  if (std::exchange(reported_, failure) != failure && !failure.empty()) {
    complain_(failure);
  }
  endWanted_ = false;
  for (const auto& done : std::exchange(waiting_, {})) {
    done();
  }
}

void AccountSynchronisation::close() {
  session_ = nullptr;
}

}  // namespace relaybird
