// SPDX-License-Identifier: MIT
// A folder of an account as an inbox. Only unread messages are listed. What the walk over the inbox
// will probably need next is fetched ahead of it, and read marks are sent behind it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "mail/mail_settings.h"
#include "mail/sign_in_source.h"
#include "mail/store_world.h"
#include "stores/account/account_listing.h"
#include "stores/account/account_synchronisation.h"
#include "stores/account/imap_session.h"
#include "stores/mailbox/inbox.h"

namespace relaybird {

/// How long a listing is believed without asking the server, where that reports changes by itself,
/// and where it does not.
inline constexpr std::chrono::minutes kListingLife{5};
inline constexpr std::chrono::seconds kUnwatchedListingLife{20};

class AccountInbox : public Inbox {
 public:
  enum class Threading {
    kOwn,     ///< the connection is served by a thread of the inbox
    kCaller,  ///< for tests: waits, and step(), serve it on the caller's thread
  };

  /// `world.network` must be set. Nothing is connected before something is asked.
  AccountInbox(MailSettings settings, StoreWorld world, Threading threading = Threading::kOwn);
  ~AccountInbox() override;

  Result<std::string> identity() const override;
  std::string account() const override;
  Result<void> check() override { return {}; }
  Result<void> alive() override;
  Result<void> signIn() override;
  void userAsks() override { session_->tryAgain(); }
  void minutePassed() override { session_->takeAlong(now()); }
  void forwardingSwitched(bool on) override { session_->watch(on); }
  Result<std::shared_ptr<InboxListing>> list() override;
  MarkReport syncMarks(const std::unordered_set<std::string>& entryIds) override;
  void synchronise(std::function<void()> done) override;
  bool beginToClose(std::function<void()> ready) override;
  void close() override;

  /// With Threading::kCaller: serves the connection once, as ImapSession::step() does. Waits are
  /// measured in the network's time then.
  bool step();

 private:
  std::string folderOnDisk() const;
  void sortMark(ImapWork& work, const std::string& entryId, MarkReport& report) const;
  void markHere(const std::string& entryId, bool seen);
  Result<void> refresh();
  Result<void> hear();
  std::chrono::milliseconds now() const;
  Error silence() const;
  Result<void> waitUntil(const std::function<bool()>& reached);
  bool isCurrent() const;
  void sayGoodbye();
  AccountListingWorld listingWorld();
  std::shared_ptr<InboxListing> currentListing();
  std::shared_ptr<const std::vector<std::uint32_t>> withoutMarked(
      const std::shared_ptr<const std::vector<std::uint32_t>>& uids) const;
  void report(const std::string& line);

  MailSettings settings_;
  StoreWorld world_;
  Threading threading_;
  std::unique_ptr<Network> network_;
  std::unique_ptr<SignInSource> secret_;
  AccountSynchronisation synchronisation_;  ///< before the session, which calls it
  std::unique_ptr<ImapSession> session_;
  std::thread thread_;
  bool closed_ = false;  ///< or being closed
  bool gone_ = false;    ///< close() was called
  std::function<void()> readyToClose_;
  std::chrono::milliseconds eventsRun_{0};
  std::chrono::steady_clock::time_point refreshed_;

  std::shared_ptr<InboxListing> last_;
  std::shared_ptr<const std::vector<std::uint32_t>> lastUids_;
  WalkMemory memory_;
  std::uint64_t walkedOf_ = 0;  ///< the generation of memory_.walked
  /// Messages that were marked as read where the folder may only be read.
  std::unordered_set<std::string> readHere_;
  bool toldOfReadOnly_ = false;
  std::shared_ptr<char> alive_ = std::make_shared<char>();
};

}  // namespace relaybird
