// SPDX-License-Identifier: MIT
// Connections to mail servers over libcurl, which resolves names, connects, encrypts with TLS 1.2
// or newer, checks certificates, and signs in. After that it only carries bytes.
//
// Neither proxies nor .netrc files nor environment variables are honoured: mail goes to the server
// that the user has entered, directly.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/system/network.h"

namespace relaybird {

/// Initialises libcurl. Only the first call has an effect. The programs call it before they start
/// anything, because it changes the environment, but after keepSecretsIn(), because libcurl's
/// memory is kept there as well. A CurlNetwork calls it too, for tests.
void prepareCurl();

class CurlConnection;

/// See Network. Writing to a connection that the server has closed can raise SIGPIPE, which the
/// process must ignore.
class CurlNetwork : public Network {
 public:
  CurlNetwork();
  ~CurlNetwork() override;
  CurlNetwork(const CurlNetwork&) = delete;
  CurlNetwork& operator=(const CurlNetwork&) = delete;

  std::unique_ptr<Connection> connect(const MailServer& server, const std::optional<SignIn>& signIn,
                                      std::chrono::milliseconds limit,
                                      std::function<void(ProtocolLine)> trace) override;
  void wait(std::chrono::milliseconds limit) override;
  void wake() override;
  std::chrono::milliseconds steadyTime() const override;

 private:
  friend class CurlConnection;
  using CurlMulti = void;

  bool progress();
  bool poll(std::chrono::milliseconds limit);

  CurlMulti* multi_;
  std::vector<CurlConnection*> connections_;
  std::atomic<bool> woken_{false};
};

}  // namespace relaybird
