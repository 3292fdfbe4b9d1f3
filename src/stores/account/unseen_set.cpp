// SPDX-License-Identifier: MIT
// Which number belongs to the set after a question matters most. A server may tell of a later
// change before an earlier one, so the set gets the highest number that was told before the
// question was sent, not the highest one in its answer: some changes are told twice, none is left
// out. Applying a change twice does no harm, because it is the state of a message and not a step.
//
// Where the server is doubted:
// - A number that has gone back, or is missing, belongs to another history: a list.
// - Changes of which some were not understood, or too many: a list.
// - A message that was marked as read here, and is neither told as read nor as unread since, shows
//   that the server does not tell its changes: lists for the rest of this run.
// - A question that is refused: lists on this connection.
// - Connections that are lost over such questions, twice without an answer to one in between: lists
//   for the rest of this run. Otherwise a server that fails over them could never be read.
#include "stores/account/unseen_set.h"

#include <algorithm>
#include <utility>

namespace relaybird {
namespace {

// Each mark of ours is told as a change of its own, while a list names messages in ranges. After so
// many marks the list is shorter.
constexpr std::uint64_t kMarksToldSingly = 100;

constexpr int kMostLosses = 2;

}  // namespace

std::optional<ImapMoment> UnseenSet::openingMoment() {
  expecting_ = !distrusted_;
  return distrusted_ ? std::nullopt : std::optional(ImapMoment{uidValidity_, modSeq_});
}

bool UnseenSet::attach(const ImapOpened& opened, const UidSet& marked) {
  expecting_ = false;
  numbered_ = opened.modSeq != 0 && !distrusted_;
  const bool follows = numbered_ && modSeq_ != 0 && opened.uidValidity == uidValidity_ &&
                       opened.modSeq >= modSeq_ && !mustList();
  const auto modSeq = std::exchange(modSeq_, 0);
  uidValidity_ = opened.uidValidity;
  if (!follows) {
    return false;
  }
  // Without QRESYNC the number need not rise when a message vanishes, but the count falls.
  const bool same = opened.modSeq == modSeq && messages_ && *messages_ == opened.messages;
  if (!same && !opened.changes) {
    return false;
  }
  if (!apply(same ? ImapChanges() : *opened.changes, marked)) {
    return false;
  }
  modSeq_ = opened.modSeq;
  messages_ = opened.messages;
  ++refreshes_;
  return true;
}

void UnseenSet::detach(Loss how) {
  if (std::exchange(expecting_, false) && how != Loss::kOther && ++lostOverIt_ >= kMostLosses) {
    distrusted_ = true;
  }
  numbered_ = false;
  asking_ = {};
  done_ = {};
}

void UnseenSet::refresh(ImapClient& client, bool justOpened, Asking asking, Done done) {
  asking_ = std::move(asking);
  done_ = std::move(done);
  if (justOpened) {
    ask(client);
    return;
  }
  // A server may answer a question from what this session has seen so far, and not even tell that
  // there is more. What had happened before it answers a NOOP, it has seen.
  client.noop([this, &client](const Result<void>&) { ask(client); });
}

void UnseenSet::ask(ImapClient& client) {
  const UidSet marked = asking_();
  if (!numbered_ || distrusted_ || modSeq_ == 0 || client.missedChanges() || mustList() ||
      marked.count() > kMarksToldSingly) {
    list(client);
  } else {
    askForChanges(client, marked);
  }
}

// Where only the newest are known, older ones have to come in before too few are left.
bool UnseenSet::mustList() const {
  return refreshes_ >= kRefreshesByChanges || (floor_ != 0 && uids_.ranges().size() < most_ / 2);
}

// A set of the largest size may have lost its lowest ranges.
void UnseenSet::cutToSize() {
  uids_.keepNewest(most_);
  if (uids_.ranges().size() == most_) {
    floor_ = std::max(floor_, uids_.ranges().front().first);
  }
  if (floor_ > 1) {
    UidSet below;
    below.add(1, floor_ - 1);
    uids_.remove(below);
  }
}

void UnseenSet::list(ImapClient& client) {
  const std::uint64_t modSeq = numbered_ ? client.modSeq() : 0;
  modSeq_ = 0;  // for the case that the connection is lost: the set was doubted
  client.searchUnseen([this, &client, modSeq](const Result<UidSet>& found) {
    if (!found) {
      end(found.error());
      return;
    }
    uids_ = *found;
    floor_ = 0;
    cutToSize();
    modSeq_ = modSeq;
    refreshes_ = 0;
    messages_.reset();
    if (!client.missedChanges()) {
      messages_ = client.messages();
    }
    end({});
  });
}

void UnseenSet::askForChanges(ImapClient& client, const UidSet& marked) {
  expecting_ = true;
  const std::uint64_t modSeq = client.modSeq();
  client.fetchChanges(modSeq_, [this, &client, modSeq, marked](const Result<ImapChanges>& changes) {
    expecting_ = false;
    lostOverIt_ = 0;
    numbered_ = static_cast<bool>(changes);
    if (!changes || !apply(*changes, marked)) {
      (void)asking_();  // what was marked meanwhile, the list will see
      list(client);
      return;
    }
    modSeq_ = modSeq;
    messages_.reset();
    if (!client.missedChanges()) {
      messages_ = client.messages();
    }
    ++refreshes_;
    end({});
  });
}

// False: the set is not to be used any more.
bool UnseenSet::apply(const ImapChanges& changes, const UidSet& marked) {
  if (!changes.whole) {
    return false;
  }
  uids_.remove(changes.others);
  uids_.remove(changes.vanished);
  uids_.add(changes.unread);
  cutToSize();
  for (const std::uint32_t uid : marked.uids(kMarksToldSingly)) {
    if (uids_.contains(uid) && !changes.unread.contains(uid)) {
      distrusted_ = true;
      return false;
    }
  }
  return true;
}

void UnseenSet::end(const Result<void>& result) {
  asking_ = {};
  std::exchange(done_, {})(result);
}

}  // namespace relaybird
