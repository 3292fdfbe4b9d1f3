// SPDX-License-Identifier: MIT
// The folder in which the provider keeps what the account has sent. When the answer for a message
// got lost, it tells whether the message has arrived, at providers that put sent mail there by
// themselves. At others the user can have a copy of each forward stored there.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>

#include "mail/mail_settings.h"
#include "mail/sign_in_source.h"
#include "mail/store_world.h"
#include "outbox/delivery/transport.h"
#include "platform/event_queue.h"
#include "platform/system/network.h"

namespace relaybird {

/// How long one search, or storing the copies of a series, may take in all.
inline constexpr std::chrono::seconds kSentSearchLimit{60};
inline constexpr std::chrono::seconds kSentStoreLimit{600};
/// After storing copies has failed, it is not tried for so long: new forwards wait during a try.
inline constexpr std::chrono::minutes kSentStorePause{30};
/// A copy over which storing has failed so often is given up.
inline constexpr int kMostStoreFailures = 3;

/// No copy is kept of a larger message, in bytes: a copy is in memory several times on its way.
inline constexpr std::size_t kLargestSentCopy = std::size_t{4} << 20;

/// One thread at a time, which is not the user-interface thread. A failure is told in the log, each
/// cause once until there is success again or the user asks for another try.
class SentFolder {
 public:
  /// What `world` refers to must outlive the object.
  SentFolder(const MailSettings& settings, const StoreWorld& world);

  /// Whether a message of this identifier ("<...>") is there. Makes a connection of its own. kNo
  /// too if the account has no such folder. kNotKnownNow if the server is out of reach, refuses, or
  /// does not answer in time, and after a stop.
  Arrived has(const std::string& messageId, std::stop_token stop);
  /// Stores what `next` gives, with CR LF at the line ends, as read messages, one after the other.
  /// `ended` is called for each that the server has stored or refused. Ends early when the
  /// connection does, and returns whether it has not.
  bool store(const std::function<std::optional<std::string>()>& next,
             const std::function<void()>& ended, std::stop_token stop);
  /// Tells that a copy is not kept, because the server has not answered for it in so many tries.
  void tellOfUnanswered(int tries);
  /// As Network::steadyTime().
  std::chrono::milliseconds steadyTime() const { return network_()->steadyTime(); }
  /// The user has asked for another try: a password that was refused may be tried again.
  void tryAgain();

 private:
  class Talk;
  /// What can fail: how the log says it, and the causes that it has named.
  struct Matter {
    const char* sentence;
    std::set<std::string> told = {};
  };
  bool converse(Talk& talk, Matter& matter, std::chrono::seconds limit, std::stop_token stop);
  void tell(Matter& matter, const std::string& cause, const std::string& words);

  MailServer server_;
  std::string version_;
  NetworkMaker network_;
  std::function<void(ProtocolLine)> trace_;
  EventQueue& events_;
  std::function<void(StoreNotice)> notice_;
  SignInSource secret_;
  Matter searching_{"The folder of sent mail cannot be searched"};
  Matter storing_{"Copies of forwards wait, as they cannot be stored in the folder of sent mail"};
  Matter refusing_{"The server does not store copies of forwards in the folder of sent mail"};
};

/// The same transport, which asks the account's folder before a message whose answer got lost is
/// sent again, and stores copies there if the settings say so. Null for null.
std::shared_ptr<Transport> withSentFolder(std::shared_ptr<Transport> transport,
                                          const MailSettings& settings, const StoreWorld& world);

}  // namespace relaybird
