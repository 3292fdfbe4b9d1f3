// SPDX-License-Identifier: MIT
// Tells of the end of a connection without telling of input. curl_multi_poll() knows input, output
// and nothing else, so this is a descriptor of its own that has input once the connection has
// ended.
#pragma once

#include <optional>

namespace relaybird {

class EndWatch {
 public:
  /// Watches a connected socket. Where the system has no means for that, or none left,
  /// descriptor() is nothing.
  explicit EndWatch(int socket);
  ~EndWatch();
  EndWatch(const EndWatch&) = delete;
  EndWatch& operator=(const EndWatch&) = delete;

  /// Has input as long as the socket is ended by the other side, or has an error, also one that
  /// came before.
  std::optional<int> descriptor() const {
    return epoll_ < 0 ? std::nullopt : std::optional<int>(epoll_);
  }

 private:
  int epoll_ = -1;
};

}  // namespace relaybird
