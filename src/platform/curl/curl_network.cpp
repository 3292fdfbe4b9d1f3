// SPDX-License-Identifier: MIT
// One multi handle drives all connections of a thread while they are being opened, and waits for
// them afterwards: the sockets of open connections are handed to curl_multi_poll() as further
// descriptors, because libcurl has nothing to do with them any more.
#include "platform/curl/curl_network.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>

#include "platform/curl/curl_connection.h"
#include "platform/curl/curl_memory.h"

namespace relaybird {

void prepareCurl() {
  static std::once_flag once;
  std::call_once(once, [] {
    // libcurl would write the keys of all connections to the file of that name.
    ::unsetenv("SSLKEYLOGFILE");
    initialiseCurlWithGuardedMemory();
  });
}

CurlNetwork::CurlNetwork() : multi_((prepareCurl(), curl_multi_init())) {
  if (multi_ == nullptr) {
    throw std::bad_alloc();
  }
}

CurlNetwork::~CurlNetwork() {
  curl_multi_cleanup(multi_);
}

std::unique_ptr<Connection> CurlNetwork::connect(const MailServer& server,
                                                 const std::optional<SignIn>& signIn,
                                                 std::chrono::milliseconds limit,
                                                 std::function<void(ProtocolLine)> trace) {
  return std::make_unique<CurlConnection>(*this, server, signIn, limit, std::move(trace));
}

std::chrono::milliseconds CurlNetwork::steadyTime() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

// A flag that is set already has woken the thread, or will end its next wait before the poll.
void CurlNetwork::wake() {
  if (!woken_.exchange(true)) {
    curl_multi_wakeup(multi_);
  }
}

void CurlNetwork::wait(std::chrono::milliseconds limit) {
  // Long enough for everybody, and short enough for the poll's int.
  constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24);
  const auto end = steadyTime() + std::clamp(limit, std::chrono::milliseconds(0), kLongest);
  while (true) {
    const bool something = progress();
    const bool woken = woken_.exchange(false);
    const auto left = std::max(end - steadyTime(), std::chrono::milliseconds(0));
    if (something || woken) {
      return;
    }
    // wake() ends the poll without an event; the next round finds its flag.
    if (poll(left) || left.count() == 0) {
      // What the poll has found for libcurl is taken along.
      progress();
      return;
    }
  }
}

// Returns whether a connection has something to report.
bool CurlNetwork::progress() {
  int running = 0;
  curl_multi_perform(multi_, &running);
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg == CURLMSG_DONE) {
      CurlConnection* connection = nullptr;
      curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &connection);
      connection->openingDone(message->data.result);
    }
  }
  bool any = false;
  for (CurlConnection* connection : connections_) {
    any = connection->progress() || any;
  }
  return any;
}

// Returns whether an open connection has input or accepts output that it waits for.
bool CurlNetwork::poll(std::chrono::milliseconds limit) {
  std::vector<curl_waitfd> sockets;
  std::vector<CurlConnection*> owners;
  for (CurlConnection* connection : connections_) {
    if (const auto socket = connection->openSocket()) {
      sockets.push_back({*socket, connection->pollEvents(), 0});
      owners.push_back(connection);
    }
  }
  curl_multi_poll(multi_, sockets.data(), static_cast<unsigned>(sockets.size()),
                  static_cast<int>(limit.count()), nullptr);
  bool any = false;
  for (std::size_t i = 0; i < sockets.size(); ++i) {
    any = (sockets[i].revents != 0 && owners[i]->polled(sockets[i].revents)) || any;
  }
  return any;
}

}  // namespace relaybird
