// SPDX-License-Identifier: MIT
// A folder of an account as an inbox. Only unread messages are listed. What the walk over the inbox
// will probably need next is fetched ahead of it, and read marks are sent behind it.
#pragma once

#include <atomic>
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
  Result<void> check() override { return {}; }
  Result<void> alive() override;
  Result<void> signIn() override;
  void userAsks() override { session_->tryAgain(); }
  Result<std::shared_ptr<InboxListing>> list() override;
  MarkReport syncMarks(const std::unordered_set<std::string>& entryIds) override;
  void synchronise(std::function<void()> done) override;
  void close() override;

  /// With Threading::kCaller: serves the connection once, as ImapSession::step() does. Waits are
  /// measured in the network's time then.
  bool step() { return session_->step(); }

 private:
  friend class AccountListing;

  std::string folderOnDisk() const;
  void sortMark(ImapWork& work, const std::string& entryId, MarkReport& report) const;
  void markHere(const std::string& entryId, bool seen);
  Result<void> refresh();
  std::chrono::milliseconds now() const;
  Error silence() const;
  template <class Reached>
  Result<void> waitUntil(const Reached& reached);
  bool isCurrent() const;
  std::shared_ptr<InboxListing> currentListing();
  std::shared_ptr<const std::vector<std::uint32_t>> withoutMarked(
      const std::shared_ptr<const std::vector<std::uint32_t>>& uids) const;
  void trace(const ProtocolLine& line) const;
  void onNews();
  void endSynchronisation();
  void report(const std::string& line);

  MailSettings settings_;
  StoreWorld world_;
  Threading threading_;
  std::unique_ptr<Network> network_;
  std::unique_ptr<SignInSource> secret_;
  std::unique_ptr<ImapSession> session_;
  std::thread thread_;
  bool closed_ = false;
  std::chrono::milliseconds eventsRun_{0};
  std::chrono::steady_clock::time_point refreshed_;

  std::shared_ptr<InboxListing> last_;
  std::shared_ptr<const std::vector<std::uint32_t>> lastUids_;
  std::unordered_set<std::uint32_t>
      walked_;                  ///< messages whose heads were asked for since the start
  std::uint64_t walkedOf_ = 0;  ///< the generation of these numbers
  /// Messages that were marked as read where the folder may only be read.
  std::unordered_set<std::string> readHere_;
  bool toldOfReadOnly_ = false;
  /// How many of the last heads were followed by the whole message, between 0 and 1.
  double opened_ = 0.2;

  std::vector<std::function<void()>> waiting_;  ///< for the end of the synchronisation
  std::uint64_t synchronising_ = 0;             ///< the refresh that ends it
  std::string reported_;                        ///< the last failure told
  std::atomic<bool> endWanted_{false};          ///< somebody waits for that end
  std::atomic<bool> posted_{false};
  std::shared_ptr<char> alive_ = std::make_shared<char>();
};

}  // namespace relaybird
