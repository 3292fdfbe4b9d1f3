// SPDX-License-Identifier: MIT
// The certificates, the server's socket and the conversations. Each client is served by a thread of
// its own, which ends when its client goes or when the destructor shuts the sockets.
#include "tls_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <stdexcept>
#include <utility>

namespace relaybird {
namespace {

void check(bool good, const char* what) {
  if (!good) {
    throw std::runtime_error(what);
  }
}

void addExtension(X509* certificate, int id, const std::string& value) {
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, nullptr, id, value.c_str());
  check(extension != nullptr, "an extension of a certificate");
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

}  // namespace

std::string Identity::pem() const {
  BIO* memory = BIO_new(BIO_s_mem());
  PEM_write_bio_X509(memory, certificate.get());
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory, &data);
  std::string text(data, static_cast<std::size_t>(size));
  BIO_free(memory);
  return text;
}

Identity makeIdentity(const CertificateWish& wish, const Identity* issuer) {
  static std::atomic<long> serial{1};
  constexpr long kDay = 24L * 3600;
  Identity made{KeyPtr(EVP_EC_gen("P-256")), CertificatePtr(X509_new())};
  X509* certificate = made.certificate.get();
  X509_set_version(certificate, X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial++);
  X509_gmtime_adj(X509_getm_notBefore(certificate), wish.fromDays * kDay);
  X509_gmtime_adj(X509_getm_notAfter(certificate), wish.toDays * kDay);
  X509_set_pubkey(certificate, made.key.get());
  X509_NAME* name = X509_get_subject_name(certificate);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(wish.name.c_str()), -1, -1, 0);
  X509_set_issuer_name(certificate,
                       issuer == nullptr ? name : X509_get_subject_name(issuer->certificate.get()));
  addExtension(certificate, NID_basic_constraints,
               wish.authority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  if (!wish.authority) {
    addExtension(certificate, NID_subject_alt_name, "DNS:" + wish.name);
  }
  check(X509_sign(certificate, issuer == nullptr ? made.key.get() : issuer->key.get(),
                  EVP_sha256()) > 0,
        "signing a certificate");
  return made;
}

ContextPtr makeServerTls(const Identity& identity, int mostVersion) {
  ContextPtr context(SSL_CTX_new(TLS_server_method()));
  check(SSL_CTX_use_certificate(context.get(), identity.certificate.get()) == 1 &&
            SSL_CTX_use_PrivateKey(context.get(), identity.key.get()) == 1,
        "a certificate for TLS");
  if (mostVersion != 0) {
    // OpenSSL thinks too little of old versions to speak them at its usual level.
    SSL_CTX_set_security_level(context.get(), 0);
    SSL_CTX_set_min_proto_version(context.get(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context.get(), mostVersion);
  }
  return context;
}

Peer::Peer(int socket, std::function<void(const std::string&)> note)
    : socket_(socket), note_(std::move(note)) {}

Peer::~Peer() {
  if (tls_) {
    SSL_shutdown(tls_.get());
  }
}

void Peer::startTls(SSL_CTX* context) {
  TlsPtr tls(SSL_new(context));
  SSL_set_fd(tls.get(), socket_);
  if (SSL_accept(tls.get()) != 1) {
    throw PeerGone();
  }
  tls_ = std::move(tls);
}

void Peer::say(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto size = static_cast<int>(std::min<std::size_t>(bytes.size(), 1U << 20U));
    const ssize_t sent =
        tls_ ? SSL_write(tls_.get(), bytes.data(), size)
             : ::send(socket_, bytes.data(), static_cast<std::size_t>(size), MSG_NOSIGNAL);
    if (sent <= 0) {
      throw PeerGone();
    }
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
}

std::size_t Peer::read(char* to, std::size_t most) {
  const ssize_t count =
      tls_ ? SSL_read(tls_.get(), to, static_cast<int>(most)) : ::recv(socket_, to, most, 0);
  if (count <= 0) {
    throw PeerGone();
  }
  return static_cast<std::size_t>(count);
}

std::string Peer::line() {
  auto end = unread_.find('\n');
  while (end == std::string::npos) {
    std::array<char, 4096> buffer;
    unread_.append(buffer.data(), read(buffer.data(), buffer.size()));
    end = unread_.find('\n');
  }
  std::string text = unread_.substr(0, end);
  unread_.erase(0, end + 1);
  if (text.ends_with('\r')) {
    text.pop_back();
  }
  note_(text);
  return text;
}

std::string Peer::bytes(std::size_t count) {
  while (unread_.size() < count) {
    std::array<char, 4096> buffer;
    unread_.append(buffer.data(), read(buffer.data(), buffer.size()));
  }
  std::string taken = unread_.substr(0, count);
  unread_.erase(0, count);
  return taken;
}

void Peer::pause() const {
  pollfd input{.fd = socket_, .events = POLLIN, .revents = 0};
  ::poll(&input, 1, 5);
}

void Peer::untilEnd() {
  std::array<char, 4096> buffer;
  while (true) {
    read(buffer.data(), buffer.size());
  }
}

void Peer::cut() {
  tls_.reset();
  throw PeerGone();
}

TlsServer::TlsServer(std::function<void(Peer&)> talk)
    : talk_(std::move(talk)), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  // Otherwise the system might keep all that a test sends.
  constexpr int kReceiveBuffer = 65536;
  ::setsockopt(listener_, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  check(::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
            ::listen(listener_, 8) == 0 &&
            ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) == 0,
        "a port to listen on");
  port_ = ntohs(address.sin_port);
  accepting_ = std::thread([this] { listen(); });
}

TlsServer::~TlsServer() {
  ::shutdown(listener_, SHUT_RDWR);
  accepting_.join();
  {
    const std::lock_guard lock(mutex_);
    for (const int socket : sockets_) {
      ::shutdown(socket, SHUT_RDWR);
    }
  }
  finish();
  ::close(listener_);
}

void TlsServer::listen() {
  while (true) {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) {
      return;
    }
    const std::lock_guard lock(mutex_);
    sockets_.push_back(socket);
    talks_.emplace_back([this, socket] { serve(socket); });
  }
}

void TlsServer::serve(int socket) {
  try {
    Peer peer(socket, [this](const std::string& line) {
      const std::lock_guard lock(mutex_);
      seen_.push_back(line);
    });
    talk_(peer);
  } catch (const PeerGone&) {
    // As good an end as any.
  }
  const std::lock_guard lock(mutex_);
  std::erase(sockets_, socket);
  ::close(socket);
}

std::vector<std::string> TlsServer::seen() const {
  const std::lock_guard lock(mutex_);
  return seen_;
}

void TlsServer::finish() {
  std::list<std::thread> talks;
  {
    const std::lock_guard lock(mutex_);
    talks.swap(talks_);
  }
  for (auto& talk : talks) {
    talk.join();
  }
}

std::string toBase64(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                   reinterpret_cast<const unsigned char*>(bytes.data()),
                                   static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(size));
  return text;
}

}  // namespace relaybird
