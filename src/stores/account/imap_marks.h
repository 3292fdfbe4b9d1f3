// SPDX-License-Identifier: MIT
// Read marks on their way to a server: gathered, sent together, and followed until the server has
// confirmed or refused them. They outlive connections. Without input and output, threads and
// clocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/result.h"
#include "stores/account/imap_client.h"
#include "stores/account/uid_set.h"

namespace relaybird {

/// So many marks are sent at once even if more may follow soon.
inline constexpr std::size_t kMarksAtOnce = 200;

class ImapMarks {
 public:
  enum class Mark { kNone, kOnItsWay, kDurable, kRefused };
  /// Called for each mark that is refused: the message, whether it was to be read, why, and
  /// whether that is the first time for this message.
  using Refused =
      std::function<void(std::uint32_t uid, bool seen, const std::string& words, bool first)>;
  explicit ImapMarks(Refused refused) : refused_(std::move(refused)) {}

  void set(std::uint32_t uid, bool seen);
  Mark state(std::uint32_t uid) const;
  /// Whether it was marked as read here, and the server has not refused that.
  bool isSeen(std::uint32_t uid) const;
  /// Forgets a mark that was refused.
  void dropRefused(std::uint32_t uid);
  std::size_t waiting() const { return queue_.size(); }
  std::size_t unconfirmed() const { return queue_.size() + sent_; }
  /// Sends what waits at the next pump(), however few they are.
  void flush() { flush_ = true; }
  /// Whether the next pump() sends something.
  bool due() const { return !queue_.empty() && (flush_ || queue_.size() >= kMarksAtOnce); }

  /// Sends what waits, if it is enough. In a folder that may only be read all are refused.
  void pump(ImapClient& client, bool readOnly);
  /// The messages that the server has confirmed as read, and that no search has been settled with
  /// since.
  UidSet confirmedSeen() const;
  /// The number of the last command; for settle().
  std::uint64_t lastCommand() const { return lastCommand_; }
  /// A search that was sent after the command `before` has found these messages unread. Removes
  /// from `uids` those that are only unread because a mark is still on its way, and forgets the
  /// marks that the search has seen.
  void settle(const UidSet& found, std::uint64_t before, std::vector<std::uint32_t>& uids);
  /// The connection is lost: what was not confirmed is sent again on the next one.
  void detach();
  /// The folder was numbered anew.
  void forget();

 private:
  struct Slot {
    bool seen = true;
    Mark state = Mark::kOnItsWay;
    std::uint64_t command = 0;  // the one in which it was sent; 0: waits
    bool alone = false;         // a command with others was refused
  };

  void refuse(std::uint32_t uid, const std::string& words);
  void send(ImapClient& client);
  void onAnswered(std::uint64_t command, const std::vector<std::uint32_t>& uids,
                  const Result<void>& result);

  Refused refused_;
  std::unordered_map<std::uint32_t, Slot> slots_;
  std::deque<std::uint32_t> queue_;
  std::size_t sent_ = 0;                      // and not answered
  std::unordered_set<std::uint32_t> toldOf_;  // refused, and the user was told
  std::uint64_t lastCommand_ = 0;
  bool flush_ = false;
};

}  // namespace relaybird
