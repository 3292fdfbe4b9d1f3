// SPDX-License-Identifier: MIT
// The unread messages of one refresh of an account, as the walk over the inbox reads them. What the
// walk will probably need next is fetched ahead of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/result.h"
#include "stores/account/imap_session.h"
#include "stores/account/message_identities.h"
#include "stores/account/uid_table.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {

/// What one walk over an inbox tells the next one.
struct WalkMemory {
  struct Nothing {};
  /// Messages whose heads were asked for since the start.
  UidTable<Nothing> walked;
  /// How many of the last heads were followed by the whole message, between 0 and 1.
  double opened = 0.2;
};

/// What a listing needs of its inbox; all of it must outlive the listing.
struct AccountListingWorld {
  ImapSession& session;
  WalkMemory& memory;
  /// Serves the connection until the condition is true, or returns why it waits no longer.
  std::function<Result<void>(const std::function<bool()>& reached)> waitUntil;
  /// Remembers a mark of a message, given by its identifier, that the server does not take because
  /// the folder may only be read.
  std::function<void(const std::string& entryId, bool seen)> markHere;
};

/// On the user-interface thread. After the server has numbered the folder anew, each call for a
/// message fails.
class AccountListing : public InboxListing {
 public:
  /// The numbers ascend; they are those of this generation of the session's work. `whole`: no
  /// unread message is missing.
  AccountListing(AccountListingWorld world, std::uint64_t generation, std::uint32_t uidValidity,
                 std::shared_ptr<const std::vector<std::uint32_t>> uids, bool whole,
                 std::shared_ptr<const MessageIdentities::Aliases> aliases);

  std::size_t size() const override { return uids_->size(); }
  bool isWhole() const override { return whole_; }
  std::string entryId(std::size_t index) const override {
    return MessageIdentities::entryId(uidValidity_, (*uids_)[index], *aliases_);
  }
  bool seen(std::size_t index) const override {
    return seen_[index] && mark(index) != ImapWork::Mark::kRefused;
  }
  Result<void> setSeen(std::size_t index, bool seen) override;
  InboxHead head(std::size_t index, const OwnMarks& own) override;
  Result<std::unique_ptr<InputFile>> open(std::size_t index) override;

 private:
  ImapWork::Mark mark(std::size_t index) const;
  bool isOf(const ImapWork& work) const { return work.generation() == generation_; }
  void wantHeads(ImapWork& work, std::size_t index);
  void wantBodies(ImapWork& work, std::size_t index);
  Result<ImapHead> fetchHead(std::size_t index);
  Result<std::unique_ptr<InputFile>> fetch(std::size_t index);
  void readKind(std::size_t index, const ImapHead& fetched, const OwnMarks& own, InboxHead& head);

  AccountListingWorld world_;
  std::uint64_t generation_;
  std::uint32_t uidValidity_;
  std::shared_ptr<const std::vector<std::uint32_t>> uids_;
  bool whole_;
  std::shared_ptr<const MessageIdentities::Aliases> aliases_;
  std::vector<bool> seen_;
  std::size_t headsFrom_;   ///< heads were asked for from here upwards
  std::size_t headsAhead_;  ///< and how many more are asked for at a time
  bool walkedToo_ = false;  ///< ask ahead for messages that were walked over before
  std::size_t bodiesFrom_;  ///< bodies were asked for from here upwards
  std::size_t opened_ = static_cast<std::size_t>(-1);  ///< the last message that was opened
  /// A message that was read to find its kind, as it may be forwarded next.
  std::size_t keptIndex_ = 0;
  std::unique_ptr<InputFile> kept_;
};

}  // namespace relaybird
