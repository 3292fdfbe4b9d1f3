// SPDX-License-Identifier: MIT
// A server that refuses the heads for now must not make all messages strangers, and one message
// that it always refuses must not keep the others from being recognised. So a refusal ends the
// attempt, and after some of them the heads are asked for one by one: then only the messages whose
// own heads are refused stay strangers.
#include "stores/account/renumbering.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "message/header_block.h"
#include "stores/account/imap_heads.h"

namespace relaybird {
namespace {

// After so many refusals the heads are asked for one by one.
constexpr int kRefusalsOfGroups = 2;

// So many messages are named in one sentence.
constexpr std::size_t kNamedMessages = 5;

constexpr std::size_t kSubjectBytes = 100;

std::string shortened(std::string subject) {
  if (subject.size() > kSubjectBytes) {
    std::size_t end = kSubjectBytes;
    while (end > 0 && (static_cast<unsigned char>(subject[end]) & 0xC0U) == 0x80U) {
      --end;  // within a character (RFC 3629)
    }
    subject.resize(end);
    subject += "...";
  }
  return subject;
}

// When the message came or was written, whichever is earlier: a move to another server may set the
// former anew.
DateTime earliestTime(const ImapHead& head) {
  return std::min(head.received, timeOfWriting(head).value_or(head.received));
}

}  // namespace

void Renumbering::begin(ImapClient& client, std::uint32_t uidValidity,
                        std::vector<std::uint32_t> uids, bool all, Done done) {
  attempt_ = Attempt{};
  attempt_->uidValidity = uidValidity;
  attempt_->below = uids.size() - std::min(uids.size(), kMostRemembered);
  attempt_->whole = all && attempt_->below == 0;
  uids.erase(uids.begin(), uids.begin() + static_cast<std::ptrdiff_t>(attempt_->below));
  attempt_->uids = std::move(uids);
  attempt_->done = std::move(done);
  attempt_->known = identities_.fingerprints();
  attempt_->singly = refusals_ >= kRefusalsOfGroups;
  const std::size_t size = attempt_->singly ? 1 : kHeadsInCommand;
  const auto& wanted = attempt_->uids;
  attempt_->commands = (wanted.size() + size - 1) / size;
  if (wanted.empty()) {
    end();
    return;
  }
  for (std::size_t begin = 0; begin < wanted.size(); begin += size) {
    const std::size_t end = std::min(wanted.size(), begin + size);
    client.fetchHeads({wanted.begin() + static_cast<std::ptrdiff_t>(begin),
                       wanted.begin() + static_cast<std::ptrdiff_t>(end)},
                      false, [this](const Result<void>& result) { onAnswered(result); });
  }
}

void Renumbering::arrived(const ImapHead& head) {
  if (head.missing) {
    return;  // a stranger
  }
  const MessageIdentities::Found found{head.uid, MessageIdentities::fingerprintOf(head),
                                       MessageIdentities::earlierFingerprintOf(head),
                                       earliestTime(head)};
  attempt_->found.set(head.uid, found);
  // Strangers write the subjects, and there may be a hundred thousand: few are kept, and cut.
  if (identities_.isStranger(found, attempt_->known)) {
    auto& subjects = attempt_->subjects;
    subjects[head.uid] = shortened(HeaderBlock(head.header).subject());
    if (subjects.size() > kNamedMessages) {
      subjects.erase(std::prev(subjects.end()));
    }
  }
}

void Renumbering::onAnswered(const Result<void>& result) {
  if (!attempt_) {
    return;
  }
  if (!result) {
    attempt_->refusal = result.error().text;
  }
  if (--attempt_->commands == 0) {
    end();
  }
}

void Renumbering::end() {
  Attempt all = std::move(*attempt_);
  attempt_.reset();
  if (!all.refusal.empty() && (!all.singly || all.found.entries().empty())) {
    ++refusals_;
    all.done(Error{0,
                   "The mail server has numbered the messages of the folder anew, and does not let "
                   "them be recognised yet: " +
                       all.refusal});
    return;
  }
  refusals_ = 0;
  renumber(all);
  all.done(std::move(all.uids));
}

void Renumbering::renumber(Attempt& all) {
  std::vector<MessageIdentities::Found> found;
  found.reserve(all.uids.size());
  for (const std::uint32_t uid : all.uids) {
    const auto* head = all.found.find(uid);
    found.push_back(head == nullptr ? MessageIdentities::Found{uid, {}, {}, kNoDate} : *head);
  }
  all.found.clear();
  const std::size_t leftOut = identities_.renumber(all.uidValidity, found) + all.below;
  if (!all.whole && !all.uids.empty() && all.uids.front() > 1) {
    UidSet below;
    below.add(1, all.uids.front() - 1);
    identities_.leaveOut(below);
  }
  complain_(
      "The server has numbered the messages of the folder anew. Unread messages that cannot "
      "be recognised and are not forwarded: " +
      std::string(all.whole ? "" : "at least ") + std::to_string(leftOut) + namesOf(all, leftOut));
}

// Their subjects in parentheses.
std::string Renumbering::namesOf(const Attempt& all, std::size_t leftOut) {
  std::string names;
  for (const auto& [uid, subject] : all.subjects) {
    names += (names.empty() ? "\"" : ", \"") + subject + '"';
  }
  names += !names.empty() && leftOut > all.subjects.size() ? ", ..." : "";
  return names.empty() ? names : " (" + names + ')';
}

}  // namespace relaybird
