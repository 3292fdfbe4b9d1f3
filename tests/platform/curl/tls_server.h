// SPDX-License-Identifier: MIT
// Mail servers on this machine for tests of connections: each one listens on a free port of
// 127.0.0.1 and runs a function of the test for each connection, on a thread of its own. TLS is
// OpenSSL's, with certificates made in memory.
#pragma once

#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace relaybird {

template <class T, void (*kFree)(T*)>
struct OpenSslFree {
  void operator()(T* object) const { kFree(object); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, OpenSslFree<EVP_PKEY, EVP_PKEY_free>>;
using CertificatePtr = std::unique_ptr<X509, OpenSslFree<X509, X509_free>>;
using ContextPtr = std::unique_ptr<SSL_CTX, OpenSslFree<SSL_CTX, SSL_CTX_free>>;
using TlsPtr = std::unique_ptr<SSL, OpenSslFree<SSL, SSL_free>>;

/// A key and its certificate.
struct Identity {
  KeyPtr key;
  CertificatePtr certificate;

  std::string pem() const;  ///< the certificate
};

struct CertificateWish {
  std::string name = "mail.test";
  long fromDays = -1;  ///< valid from then on, in days from today
  long toDays = 30;
  bool authority = false;
};
/// Signed by `issuer`; by itself if there is none.
Identity makeIdentity(const CertificateWish& wish, const Identity* issuer);

/// A server's TLS; at most of that version (TLS1_1_VERSION...), 0: any.
ContextPtr makeServerTls(const Identity& identity, int mostVersion = 0);

/// The client has gone, or the test ends.
struct PeerGone : std::exception {};

/// The server's end of one connection. Its calls wait; they throw PeerGone.
class Peer {
 public:
  Peer(int socket, std::function<void(const std::string&)> note);
  ~Peer();
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void startTls(SSL_CTX* context);
  void say(std::string_view bytes);
  /// The next line without its line end, which is also noted as seen.
  std::string line();
  std::string bytes(std::size_t count);
  /// Waits for input for some milliseconds.
  void pause() const;
  /// Waits until the client ends the connection; what it sends until then is dropped.
  void untilEnd();
  /// Ends the connection without the farewell of TLS.
  [[noreturn]] void cut();

 private:
  std::size_t read(char* to, std::size_t most);

  int socket_;
  TlsPtr tls_;
  std::function<void(const std::string&)> note_;
  std::string unread_;
};

class TlsServer {
 public:
  explicit TlsServer(std::function<void(Peer&)> talk);
  /// Ends all connections and waits for their threads.
  ~TlsServer();
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;

  std::uint16_t port() const { return port_; }
  /// The lines that clients have sent so far.
  std::vector<std::string> seen() const;
  /// Waits until the conversations with all clients so far have ended.
  void finish();

 private:
  void listen();
  void serve(int socket);

  std::function<void(Peer&)> talk_;
  int listener_;
  std::uint16_t port_ = 0;
  mutable std::mutex mutex_;
  std::vector<std::string> seen_;
  std::vector<int> sockets_;
  std::list<std::thread> talks_;
  std::thread accepting_;
};

std::string toBase64(std::string_view bytes);

}  // namespace relaybird
