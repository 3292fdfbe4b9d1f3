// SPDX-License-Identifier: MIT
// pump() turns what is wanted into commands, in an order that matters: marks come before a refresh,
// so that the refresh sees them, and bodies before heads, because somebody mostly waits for them.
#include "stores/account/imap_work.h"

#include <algorithm>
#include <utility>

namespace relaybird {

ImapWork::ImapWork(BodySpool& spool, MessageIdentities& identities,
                   std::function<void(std::string)> complain, std::function<DateTime()> now,
                   std::size_t most)
    : identities_(identities),
      complain_(std::move(complain)),
      now_(std::move(now)),
      most_(most),
      server_(most),
      bodies_(spool, bodyBlame_, heads_),
      marks_([this](std::uint32_t uid, bool seen, const std::string& words, bool first) {
        onMarkRefused(uid, seen, words, first);
      }),
      renumbering_(identities, [this](const std::string& words) { complain_(words); }) {}

void ImapWork::setTime(MessageBlame::Time now) {
  headBlame_.setTime(now);
  bodyBlame_.setTime(now);
}

ImapClient::Events ImapWork::events() {
  return {[this](ImapHead head) { onHead(std::move(head)); },
          [this](ImapBody body) { bodies_.arrived(std::move(body)); }, [this] { changed_ = true; }};
}

void ImapWork::attach(ImapClient& client, const ImapOpened& opened) {
  if (opened.uidValidity != opened_.uidValidity) {
    forgetMailbox();
  }
  if (identities_.uidValidity() == 0) {
    identities_.begin(opened.uidValidity);
  }
  heads_.attach();
  bodies_.attach();
  client_ = &client;
  opened_ = opened;
  changed_ = true;
  const std::uint64_t asked = std::exchange(refreshSent_, refreshDone_);
  justOpened_ = asked == refreshWanted_;
  if (server_.attach(opened, marks_.confirmedSeen())) {
    changed_ = false;
    refreshSent_ = asked;
    settle(asked);
  }
}

std::optional<ImapMoment> ImapWork::openingMoment() {
  // Counts as sent, so that what is wanted from now on is asked for again: the server may tell the
  // state of this moment.
  refreshSent_ = wantRefresh();
  marksBefore_ = marks_.lastCommand();
  return server_.openingMoment();
}

void ImapWork::detach(Loss how) {
  client_ = nullptr;
  renumbering_.abandon();
  server_.detach(how);
  refreshSent_ = refreshDone_;
  heads_.detach(how);
  bodies_.detach(how);
  marks_.detach();
}

void ImapWork::forgetMailbox() {
  ++generation_;
  unseen_.reset();
  headBlame_.forget();
  bodyBlame_.forget();
  heads_.forget();
  bodies_.forget();
  marks_.forget();
}

void ImapWork::pump() {
  if (client_ == nullptr) {
    return;
  }
  marks_.pump(*client_, opened_.readOnly);
  pumpRefresh();
  bodies_.pump(*client_);
  heads_.pump(*client_);
}

bool ImapWork::hasToSend() const {
  return mustRefresh() || marks_.due() || bodies_.hasToSend() || heads_.hasToSend();
}

bool ImapWork::wantsAnything() const {
  return refreshed(refreshWanted_) == Wanted::kComing || heads_.wantsAny() || bodies_.wantsAny();
}

void ImapWork::giveUp(const Error& why) {
  if (refreshed(refreshWanted_) == Wanted::kComing) {
    refreshFailed_ = refreshWanted_;
    refreshFailure_ = why;
  }
  heads_.giveUp(why.text);
  bodies_.giveUp(why.text);
}

void ImapWork::onHead(ImapHead head) {
  if (head.received == kNoDate) {
    head.received = timeOfWriting(head).value_or(now_());
  }
  if (renumbering_.underWay()) {
    renumbering_.arrived(head);
  } else {
    heads_.arrived(std::move(head));
  }
}

// The message is listed again, as it is on the server.
void ImapWork::onMarkRefused(std::uint32_t uid, bool seen, const std::string& words, bool first) {
  changed_ = true;
  if (first) {
    complain_("The server does not mark the message " +
              MessageIdentities::entryId(opened_.uidValidity, uid, *identities_.aliases()) +
              " as " + (seen ? "read: " : "unread: ") + words);
  }
}

// The unread messages.

std::uint64_t ImapWork::wantRefresh() {
  marks_.flush();
  // One that was sent already may have missed what made the caller ask.
  if (refreshWanted_ == std::max({refreshSent_, refreshDone_, refreshFailed_})) {
    ++refreshWanted_;
  }
  return refreshWanted_;
}

Wanted ImapWork::refreshed(std::uint64_t number) const {
  if (refreshDone_ >= number) {
    return Wanted::kThere;
  }
  return refreshFailed_ >= number ? Wanted::kFailed : Wanted::kComing;
}

// One at a time: a search of a large folder may take the server minutes.
bool ImapWork::mustRefresh() const {
  return refreshWanted_ > std::max(refreshSent_, refreshFailed_) &&
         refreshSent_ <= std::max(refreshDone_, refreshFailed_);
}

void ImapWork::pumpRefresh() {
  const bool justOpened = std::exchange(justOpened_, false);
  if (!mustRefresh()) {
    return;
  }
  const std::uint64_t number = refreshWanted_;
  refreshSent_ = number;
  server_.refresh(
      *client_, justOpened,
      [this] {
        changed_ = false;
        marksBefore_ = marks_.lastCommand();
        return marks_.confirmedSeen();
      },
      [this, number](const Result<void>& result) { onRefreshed(number, result); });
}

void ImapWork::onRefreshed(std::uint64_t number, const Result<void>& result) {
  if (result) {
    settle(number);
  } else {
    failRefresh(number, result.error());
  }
}

// The set of the server is up to date.
void ImapWork::settle(std::uint64_t number) {
  const UidSet& found = server_.uids();
  auto uids = found.newest(most_);
  whole_ = server_.isWhole() && found.count() <= most_;
  if (identities_.uidValidity() != opened_.uidValidity) {
    renumbering_.begin(*client_, opened_.uidValidity, std::move(uids), whole_,
                       [this, number](Result<std::vector<std::uint32_t>> recognised) {
                         if (recognised) {
                           publish(number, std::move(*recognised));
                         } else {
                           failRefresh(number, recognised.error());
                         }
                       });
    return;
  }
  marks_.settle(found, marksBefore_, uids);
  heads_.keepOnly(found);
  bodies_.keepOnly(found);
  headBlame_.keepOnly(found);
  bodyBlame_.keepOnly(found);
  identities_.keepOnly(found);
  publish(number, std::move(uids));
}

void ImapWork::failRefresh(std::uint64_t number, const Error& why) {
  refreshFailed_ = std::max(refreshFailed_, number);
  refreshFailure_ = why;
  changed_ = true;
}

void ImapWork::publish(std::uint64_t number, std::vector<std::uint32_t> uids) {
  refreshDone_ = std::max(refreshDone_, number);
  std::erase_if(uids, [this](std::uint32_t uid) { return identities_.isLeftOut(uid); });
  if (!unseen_ || *unseen_ != uids) {
    unseen_ = std::make_shared<const std::vector<std::uint32_t>>(std::move(uids));
  }
}

std::optional<bool> ImapWork::isUnseen(std::uint32_t uid) const {
  if (!unseen_ || (!whole_ && (unseen_->empty() || uid < unseen_->front()))) {
    return std::nullopt;
  }
  return std::binary_search(unseen_->begin(), unseen_->end(), uid);
}

}  // namespace relaybird
