// SPDX-License-Identifier: MIT
// The synchronisations of an account: each one is a refresh of the unread messages whose end
// somebody is told of.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/event_queue.h"
#include "stores/account/imap_session.h"

namespace relaybird {

/// On the user-interface thread, except for onNews().
class AccountSynchronisation {
 public:
  /// `refreshed` is called when a synchronisation has succeeded, and `complain` with the reason
  /// when one has failed, once for several failures in a row for the same reason. `events` must
  /// outlive this object.
  AccountSynchronisation(EventQueue& events, std::function<void()> refreshed,
                         std::function<void(const std::string&)> complain);

  /// Asks for a refresh. `done` is called at its end, successful or not, never inside this call; if
  /// another refresh is asked for first, at the end of that one. The session must be the same each
  /// time, and must live until close().
  void begin(ImapSession& session, std::function<void()> done);
  /// The session has news. On any thread; must not be called any more when this object ends.
  void onNews();
  /// Nobody is told of an end any more.
  void close();

 private:
  void end();

  EventQueue& events_;
  std::function<void()> refreshed_;
  std::function<void(const std::string&)> complain_;
  ImapSession* session_ = nullptr;              ///< null before begin() and after close()
  std::vector<std::function<void()>> waiting_;  ///< for the end
  std::uint64_t number_ = 0;                    ///< of the refresh that ends it
  std::string reported_;                        ///< the last failure told
  std::atomic<bool> endWanted_{false};          ///< somebody waits for the end
  std::atomic<bool> posted_{false};
  std::shared_ptr<char> alive_ = std::make_shared<char>();
};

}  // namespace relaybird
