// SPDX-License-Identifier: MIT
// A walk goes from the last message to the first, and asks for the head of each that it has not
// decided yet. So heads are asked for ahead of it in groups, from the one asked for downwards;
// messages whose heads were taken before in this run are left out, because those are mostly decided
// and will not be asked for. Bodies are asked for ahead only while enough of the last heads were
// followed by one: a rule on senders may reject nearly all messages.
#include "stores/account/account_listing.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "message/text/charset.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"
#include "stores/account/structure_kind.h"

namespace relaybird {
namespace {

// Heads are asked for ahead in groups of this size, at first and while the walk goes on.
constexpr std::size_t kFirstHeadsAhead = 100;
constexpr std::size_t kMostHeadsAhead = 400;

// Bodies are asked for ahead in groups of this size, once fewer than half of it are left.
constexpr std::size_t kBodiesAhead = 100;

// The share of heads followed by a body from which bodies are fetched ahead, and the weight of one
// message in it.
constexpr double kWorthFetching = 0.25;
constexpr double kWeight = 0.1;

Error vanished() {
  return {ENOENT, "The message is no longer there"};
}

// The message may still be there, under another number.
Error interrupted() {
  return {kInboxLost, "The connection to the mail server was opened anew during the check"};
}

HeaderBlock headersOf(const ImapHead& head) {
  HeaderBlock headers(head.header);
  if (isAscii(headers.bytes()) || isValidUtf8(headers.bytes())) {
    return headers;
  }
  std::string charset;
  if (const auto type = headers.raw("Content-Type")) {
    charset = parseContentType(*type).parameter("charset");
  }
  if (charset.empty() && head.structure) {
    charset = firstTextCharset(*head.structure);
  }
  headers.setRawCharset(std::move(charset));
  return headers;
}

}  // namespace

AccountListing::AccountListing(AccountListingWorld world, std::uint64_t generation,
                               std::uint32_t uidValidity,
                               std::shared_ptr<const std::vector<std::uint32_t>> uids, bool whole,
                               std::shared_ptr<const MessageIdentities::Aliases> aliases)
    : world_(std::move(world)),
      generation_(generation),
      uidValidity_(uidValidity),
      uids_(std::move(uids)),
      whole_(whole),
      aliases_(std::move(aliases)),
      seen_(uids_->size()),
      headsFrom_(uids_->size()),
      headsAhead_(kFirstHeadsAhead),
      bodiesFrom_(uids_->size()) {}

ImapWork::Mark AccountListing::mark(std::size_t index) const {
  return world_.session.look([&](const ImapWork& work) {
    return isOf(work) ? work.mark((*uids_)[index]) : ImapWork::Mark::kNone;
  });
}

Result<void> AccountListing::setSeen(std::size_t index, bool seen) {
  if (this->seen(index) == seen) {
    return {};
  }
  const std::uint32_t uid = (*uids_)[index];
  bool readOnly = false;
  const auto result = world_.session.work([&](ImapWork& work) -> Result<void> {
    if (!isOf(work)) {
      return vanished();
    }
    readOnly = work.readOnly();
    if (!readOnly) {
      work.setSeen(uid, seen);
    }
    return {};
  });
  if (readOnly) {
    world_.markHere(entryId(index), seen);
  }
  if (result) {
    seen_[index] = seen;
  }
  return result;
}

// Asks for the head, and for those below that the walk will probably come to.
void AccountListing::wantHeads(ImapWork& work, std::size_t index) {
  const std::uint32_t uid = (*uids_)[index];
  walkedToo_ = walkedToo_ || world_.memory.walked.contains(uid);
  std::vector<std::uint32_t> uids = {uid};
  if (work.head(uid) == Wanted::kNot || work.head(uid) == Wanted::kLost) {
    if (index >= headsFrom_) {  // taken before, in a new walk now, or dropped for want of room
      headsAhead_ = kFirstHeadsAhead;
      bodiesFrom_ = index + 1;
    }
    headsFrom_ = index;
  }
  if (index < headsFrom_ + headsAhead_ / 2) {
    while (headsFrom_ > 0 && uids.size() < headsAhead_) {
      const std::uint32_t next = (*uids_)[--headsFrom_];
      if (walkedToo_ || !world_.memory.walked.contains(next)) {
        uids.push_back(next);
      }
    }
    headsAhead_ = std::min(kMostHeadsAhead, headsAhead_ * 2);
  }
  work.wantHeads(uids);
}

void AccountListing::wantBodies(ImapWork& work, std::size_t index) {
  work.dropBodiesBehind((*uids_)[index]);
  bodiesFrom_ = std::min(bodiesFrom_, index + 1);
  if (world_.memory.opened < kWorthFetching ||
      index - std::min(index, bodiesFrom_) >= kBodiesAhead / 2) {
    return;
  }
  std::vector<std::uint32_t> uids;
  for (std::size_t i = bodiesFrom_; i > 0 && uids.size() < kBodiesAhead; --i) {
    uids.push_back((*uids_)[i - 1]);
  }
  bodiesFrom_ -= work.wantBodiesAhead(uids);
}

Result<ImapHead> AccountListing::fetchHead(std::size_t index) {
  const std::uint32_t uid = (*uids_)[index];
  world_.session.work([&](ImapWork& work) {
    if (isOf(work)) {
      wantHeads(work, index);
    }
  });
  const auto waited = world_.waitUntil([&] {
    return world_.session.look(
        [&](const ImapWork& work) { return !isOf(work) || work.head(uid) != Wanted::kComing; });
  });
  if (!waited) {
    return waited.error();
  }
  world_.memory.walked.set(uid, {});
  return world_.session.work([&](ImapWork& work) -> Result<ImapHead> {
    // Looked at anew: the session may have gone on meanwhile.
    if (!isOf(work)) {
      return interrupted();
    }
    const Wanted state = work.head(uid);
    if (state == Wanted::kThere) {
      wantBodies(work, index);
      return work.takeHead(uid);
    }
    if (state == Wanted::kNot || state == Wanted::kComing) {
      return interrupted();
    }
    const Error error = work.takeHeadFailure(uid);
    return state == Wanted::kGone ? vanished() : error;
  });
}

InboxHead AccountListing::head(std::size_t index, const OwnMarks& own) {
  const auto isOpened = opened_ == index + 1 ? 1.0 : 0.0;
  world_.memory.opened += kWeight * (isOpened - world_.memory.opened);
  InboxHead head;
  auto fetched = fetchHead(index);
  if (!fetched) {
    head.failure = fetched.error();
    return head;
  }
  head.headers = headersOf(*fetched);
  head.received = fetched->received;
  readKind(index, *fetched, own, head);
  return head;
}

void AccountListing::readKind(std::size_t index, const ImapHead& fetched, const OwnMarks& own,
                              InboxHead& head) {
  const ImapPart* structure = fetched.structure ? &*fetched.structure : nullptr;
  if (const auto kind = kindFromStructure(head.headers, structure, own)) {
    head.kind = *kind;
    return;
  }
  auto file = fetch(index);
  if (!file) {
    head.failure = file.error();
    return;
  }
  auto headers = readHeaderBlock(**file);
  const auto kind =
      headers ? readMessageKind(*headers, **file, own) : Result<MessageKind>(headers.error());
  if (!kind) {
    head.failure = kind.error();
    return;
  }
  head.headers = std::move(*headers);
  head.kind = *kind;
  keptIndex_ = index;
  kept_ = std::move(*file);
}

Result<std::unique_ptr<InputFile>> AccountListing::open(std::size_t index) {
  opened_ = index;
  if (kept_ && keptIndex_ == index) {
    return std::move(kept_);
  }
  return fetch(index);
}

Result<std::unique_ptr<InputFile>> AccountListing::fetch(std::size_t index) {
  const std::uint32_t uid = (*uids_)[index];
  world_.session.work([&](ImapWork& work) {
    if (isOf(work)) {
      work.wantBody(uid);
    }
  });
  const auto waited = world_.waitUntil([&] {
    return world_.session.look(
        [&](const ImapWork& work) { return !isOf(work) || work.body(uid) != Wanted::kComing; });
  });
  return world_.session.work([&](ImapWork& work) -> Result<std::unique_ptr<InputFile>> {
    if (!isOf(work)) {
      return interrupted();
    }
    if (!waited) {
      work.leaveBody(uid);
      return waited.error();
    }
    const Wanted state = work.body(uid);
    if (state == Wanted::kNot || state == Wanted::kComing) {
      return interrupted();
    }
    return work.takeBody(uid);
  });
}

}  // namespace relaybird
