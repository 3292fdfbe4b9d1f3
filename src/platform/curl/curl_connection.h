// SPDX-License-Identifier: MIT
// One connection of a CurlNetwork.
#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/curl/curl_network.h"
#include "platform/curl/end_watch.h"
#include "platform/curl/opening_lines.h"
#include "platform/system/network.h"

namespace relaybird {

class CurlConnection : public Connection {
 public:
  CurlConnection(CurlNetwork& network, const MailServer& server,
                 const std::optional<SignIn>& signIn, std::chrono::milliseconds limit,
                 std::function<void(ProtocolLine)> trace);
  ~CurlConnection() override;
  CurlConnection(const CurlConnection&) = delete;
  CurlConnection& operator=(const CurlConnection&) = delete;

  State state() const override { return state_; }
  ConnectStep step() const override { return step_; }
  const std::optional<ConnectFailure>& failure() const override { return failure_; }
  std::size_t send(std::string_view bytes) override;
  std::size_t receive(std::string& to, std::size_t most) override;
  void wantToSend(bool want) override { wantsToSend_ = want; }
  void wantToReceive(bool want) override { wantsToReceive_ = want; }

  // For CurlNetwork, in wait():

  /// libcurl has opened the connection, or failed.
  void openingDone(CURLcode code);
  /// Sends what waits. Returns whether Network::wait() has to end for this connection.
  bool progress();
  /// What to wait for, while the connection is open: these events of this descriptor.
  std::optional<curl_socket_t> openSocket();
  short pollEvents() const;
  /// Returns whether Network::wait() has to end for these events.
  bool polled(short events);

 private:
  struct EndEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };
  struct EndShare {
    void operator()(CURLSH* share) const { curl_share_cleanup(share); }
  };

  void start();
  void setAddress();
  void setEncryption();
  void setSignIn();
  void setLimits();
  void setCallbacks();
  bool signInAgain(CURLcode code);
  void opened();
  void openingFailed(CURLcode code);
  void end(ConnectFailure failure);
  void closeHandle();
  /// When something happened, in microseconds from the start; 0: it has not.
  curl_off_t timeOf(CURLINFO moment) const;
  bool connected() const;
  void noteStep();
  bool flush();
  template <class Value>
  void set(CURLoption option, Value value);

  static int onDebug(CURL* easy, curl_infotype kind, char* data, std::size_t size, void* self);
  static curl_socket_t onSocket(void* self, curlsocktype purpose, curl_sockaddr* address);

  CurlNetwork& network_;
  MailServer server_;
  std::optional<SignIn> signIn_;  // without the secret once the connection is open
  std::chrono::milliseconds openUntil_;
  std::function<void(ProtocolLine)> trace_;
  std::unique_ptr<OpeningLines> lines_;
  bool connecting_ = false;
  bool tlsBegun_ = false;
  bool anyMethod_ = false;  // the second attempt; see setSignIn()

  std::unique_ptr<CURLSH, EndShare> share_;
  std::unique_ptr<CURL, EndEasy> easy_;
  std::array<char, CURL_ERROR_SIZE> errorText_{};

  State state_ = State::kOpening;
  ConnectStep step_ = ConnectStep::kResolve;
  std::optional<ConnectFailure> failure_;
  std::optional<ConnectFailure> coming_;  // found, but input may be left
  bool changed_ = false;
  bool mayHaveInput_ = false;
  bool wantsToSend_ = false;
  bool wantsToReceive_ = true;
  std::optional<EndWatch> endWatch_;  // made when it is first needed
  std::string pending_;               // accepted, but not sent yet
  std::size_t pendingSent_ = 0;
};

/// The ASCII form of a server's name or address for a URL: an international name as in IDNA 2008,
/// an IPv6 address in brackets. Nothing if it is none of these.
std::optional<std::string> urlHost(const std::string& host);

}  // namespace relaybird
