// SPDX-License-Identifier: MIT
// libcurl opens the connection (CURLOPT_CONNECT_ONLY) and then gives its hands off it: bytes go
// through curl_easy_send() and curl_easy_recv(). These need the handle to stay in the multi handle.
#include "platform/curl/curl_connection.h"

#include <arpa/inet.h>
#include <idn2.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "platform/curl/curl_failure.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Large enough that a message of a megabyte takes few calls of the system, each of which may wake
// the server. What was accepted of a portion is kept until it has been sent.
constexpr std::size_t kSendPortion = std::size_t{128} << 10;
// Room that is cleared for each read, however little comes.
constexpr std::size_t kReceivePortion = std::size_t{64} << 10;
constexpr std::size_t kFirstReceivePortion = std::size_t{16} << 10;  // most answers are short

bool hasControlCharacter(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; });
}

// Characters that would end a line or a text of C.
bool isSendable(std::string_view secret) {
  return secret.find_first_of(std::string_view("\0\r\n", 3)) == std::string_view::npos;
}

// A secret as a text of C.
Secret withZero(const Secret& secret) {
  Secret text = Secret::ofSize(secret.bytes().size() + 1);
  std::ranges::copy(secret.bytes(), text.writable().begin());
  return text;
}

}  // namespace

std::optional<std::string> urlHost(const std::string& host) {
  in6_addr address{};
  if (inet_pton(AF_INET6, host.c_str(), &address) == 1 && !hasControlCharacter(host)) {
    return '[' + host + ']';
  }
  std::string name = host;
  if (!isAscii(host)) {
    char* ascii = nullptr;
    if (hasControlCharacter(host) ||
        idn2_to_ascii_8z(host.c_str(), &ascii, IDN2_NFC_INPUT | IDN2_NONTRANSITIONAL) != IDN2_OK) {
      return std::nullopt;
    }
    name = ascii;
    idn2_free(ascii);
  }
  const bool good = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return isLetterOrDigit(c) || c == '.' || c == '-' || c == '_';
  });
  return good ? std::optional(name) : std::nullopt;
}

CurlConnection::CurlConnection(CurlNetwork& network, const MailServer& server,
                               const std::optional<SignIn>& signIn, std::chrono::milliseconds limit,
                               std::function<void(ProtocolLine)> trace)
    : network_(network),
      server_(server),
      signIn_(signIn),
      openUntil_(network.steadyTime() + limit),
      trace_(std::move(trace)) {
  if (!urlHost(server_.host) || server_.port == 0) {
    end({.cause = ConnectFailure::Cause::kNoSuchHost,
         .step = ConnectStep::kResolve,
         .words = "The name or the port of the server is not a possible one",
         .answer = {}});
  } else if (signIn_ && (signIn_->user.empty() || hasControlCharacter(signIn_->user))) {
    end({.cause = ConnectFailure::Cause::kSignInRefused,
         .step = ConnectStep::kSignIn,
         .words = "The user name is empty or has characters that cannot be sent",
         .answer = {}});
  } else if (signIn_ && (signIn_->secret.empty() || !isSendable(signIn_->secret.bytes()))) {
    end({.cause = ConnectFailure::Cause::kSignInRefused,
         .step = ConnectStep::kSignIn,
         .words = "The password is empty or has characters that cannot be sent",
         .answer = {}});
  } else {
    start();
  }
  network_.connections_.push_back(this);  // the last step, because the others may throw
}

CurlConnection::~CurlConnection() {
  closeHandle();
  std::erase(network_.connections_, this);
}

void CurlConnection::start() {
  lines_ = std::make_unique<OpeningLines>(server_.protocol, signIn_ ? signIn_->secret : Secret(),
                                          trace_);
  // A cache of connections of its own: when libcurl opens a connection, it closes those in the
  // cache that look dead, and to later versions unread input is a sign of that.
  share_.reset(curl_share_init());
  easy_.reset(curl_easy_init());
  if (!share_ || !easy_) {
    throw std::bad_alloc();
  }
  curl_share_setopt(share_.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
  set(CURLOPT_SHARE, share_.get());
  setAddress();
  setEncryption();
  setSignIn();
  setLimits();
  setCallbacks();
  if (curl_multi_add_handle(network_.multi_, easy_.get()) != CURLM_OK) {
    throw std::bad_alloc();
  }
}

// A failure to set an option can only be a lack of memory, or a libcurl without what is needed.
template <class Value>
void CurlConnection::set(CURLoption option, Value value) {
  if (curl_easy_setopt(easy_.get(), option, value) != CURLE_OK) {
    throw std::bad_alloc();
  }
}

void CurlConnection::setAddress() {
  const bool imap = server_.protocol == MailProtocol::kImap;
  std::string url = imap ? "imap" : "smtp";
  url += server_.security == Security::kTls ? "s://" : "://";
  url += *urlHost(server_.host) + ':' + std::to_string(server_.port);
  // The name to greet an SMTP server with: this computer's own name is nobody's business.
  url += imap ? "/" : "/%5B127.0.0.1%5D";
  set(CURLOPT_URL, url.c_str());
  set(CURLOPT_PROTOCOLS_STR, imap ? "imap,imaps" : "smtp,smtps");
  set(CURLOPT_CONNECT_ONLY, 1L);
  set(CURLOPT_PROXY, "");  // whatever the environment says
  set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  // Commands are short, and the next one often waits for the answer.
  set(CURLOPT_TCP_NODELAY, 1L);
  // Routers at home forget a connection in silence after some minutes.
  set(CURLOPT_TCP_KEEPALIVE, 1L);
  set(CURLOPT_TCP_KEEPIDLE, 120L);
  set(CURLOPT_TCP_KEEPINTVL, 60L);
}

void CurlConnection::setEncryption() {
  set(CURLOPT_USE_SSL,
      static_cast<long>(server_.security == Security::kNone ? CURLUSESSL_NONE : CURLUSESSL_ALL));
  // Older versions are not to be used any more (RFC 8996).
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  // This file alone counts then, not the authorities that the system trusts.
  if (!server_.caFile.empty()) {
    set(CURLOPT_CAINFO, server_.caFile.c_str());
    set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
  }
}

// libcurl would try GSSAPI and NTLM first wherever a server offers them, and fail without asking
// for another method. A challenge-response method is worth more only without encryption; it also
// fails on servers that keep hashed passwords. So passwords go by PLAIN or LOGIN, and only if the
// server offers neither, a second attempt leaves the choice to libcurl. That also covers IMAP's
// LOGIN command.
void CurlConnection::setSignIn() {
  if (!signIn_) {
    return;
  }
  set(CURLOPT_USERNAME, signIn_->user.c_str());
  const Secret secret = withZero(signIn_->secret);
  switch (signIn_->method) {
    case SignInMethod::kPassword:
      if (!anyMethod_) {
        set(CURLOPT_LOGIN_OPTIONS, server_.security == Security::kNone
                                       ? "AUTH=CRAM-MD5;AUTH=PLAIN;AUTH=LOGIN"
                                       : "AUTH=PLAIN;AUTH=LOGIN");
      }
      break;
    case SignInMethod::kPlain:
      set(CURLOPT_LOGIN_OPTIONS, "AUTH=PLAIN");
      break;
    case SignInMethod::kLogin:
      set(CURLOPT_LOGIN_OPTIONS, "AUTH=LOGIN");
      break;
    case SignInMethod::kXoauth2:
      set(CURLOPT_LOGIN_OPTIONS, "AUTH=XOAUTH2");
      set(CURLOPT_XOAUTH2_BEARER, secret.bytes().data());
      return;
    case SignInMethod::kOauthBearer:
      set(CURLOPT_LOGIN_OPTIONS, "AUTH=OAUTHBEARER");
      set(CURLOPT_XOAUTH2_BEARER, secret.bytes().data());
      return;
  }
  set(CURLOPT_PASSWORD, secret.bytes().data());
}

// One limit holds for the whole attempt, including a second try to sign in. libcurl's own limits
// are set too, because they may be shorter: five minutes to connect, two for each answer.
void CurlConnection::setLimits() {
  const auto left =
      std::max(openUntil_ - network_.steadyTime(), std::chrono::milliseconds(1)).count();
  set(CURLOPT_TIMEOUT_MS, static_cast<long>(left));
  set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(left));
  set(CURLOPT_SERVER_RESPONSE_TIMEOUT, static_cast<long>(left / 1000 + 1));
  set(CURLOPT_NOSIGNAL, 1L);  // several threads have connections
  // Otherwise a look-up of a name that does not end would hold up everything at the limit.
  set(CURLOPT_QUICK_EXIT, 1L);
}

void CurlConnection::setCallbacks() {
  set(CURLOPT_PRIVATE, static_cast<void*>(this));
  set(CURLOPT_ERRORBUFFER, errorText_.data());
  set(CURLOPT_VERBOSE, 1L);
  set(CURLOPT_DEBUGFUNCTION, onDebug);
  set(CURLOPT_DEBUGDATA, static_cast<void*>(this));
  set(CURLOPT_OPENSOCKETFUNCTION, onSocket);
  set(CURLOPT_OPENSOCKETDATA, static_cast<void*>(this));
}

// The verbose output is the only way to the conversation of the opening: the log shows it, and
// failures are judged by it. Neither sees bytes before OpeningLines has hidden the secrets in them.
int CurlConnection::onDebug(CURL*, curl_infotype kind, char* data, std::size_t size, void* self) {
  auto& connection = *static_cast<CurlConnection*>(self);
  if (!connection.lines_) {
    return 0;
  }
  if (kind == CURLINFO_HEADER_OUT) {
    connection.lines_->sent({data, size});
  } else if (kind == CURLINFO_HEADER_IN) {
    connection.lines_->received({data, size});
  } else if (kind == CURLINFO_SSL_DATA_OUT) {
    connection.tlsBegun_ = true;
  }
  return 0;
}

// Commands that the program starts must not inherit the connection, as libcurl's own sockets are.
curl_socket_t CurlConnection::onSocket(void* self, curlsocktype, curl_sockaddr* address) {
  const int socket = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
  if (socket >= 0) {
    static_cast<CurlConnection*>(self)->connecting_ = true;
  }
  return socket;
}

curl_off_t CurlConnection::timeOf(CURLINFO moment) const {
  curl_off_t time = 0;
  curl_easy_getinfo(easy_.get(), moment, &time);
  return time;
}

// libcurl sets its time when the encryption is ready too.
bool CurlConnection::connected() const {
  return tlsBegun_ || lines_->greeted() || timeOf(CURLINFO_CONNECT_TIME_T) > 0;
}

// libcurl does not say which step it is at, but leaves the time of each that is over.
void CurlConnection::noteStep() {
  const bool encrypted = timeOf(CURLINFO_APPCONNECT_TIME_T) > 0;
  ConnectStep now = ConnectStep::kResolve;
  const bool ready = connected() && (encrypted || server_.security == Security::kNone);
  if (ready && signIn_) {
    now = ConnectStep::kSignIn;
  } else if (connected() && server_.security != Security::kNone) {
    now = ConnectStep::kEncrypt;
  } else if (connecting_) {
    now = ConnectStep::kConnect;
  }
  // A second attempt goes through the steps again, and tells none of them twice.
  if (now > step_) {
    step_ = now;
    changed_ = true;
  }
}

void CurlConnection::openingDone(CURLcode code) {
  noteStep();
  if (code == CURLE_OK) {
    opened();
  } else if (!signInAgain(code)) {
    openingFailed(code);
  }
}

// Only before a secret was sent: a refused password is never sent again.
bool CurlConnection::signInAgain(CURLcode code) {
  if (code != CURLE_LOGIN_DENIED || !signIn_ || signIn_->method != SignInMethod::kPassword ||
      anyMethod_ || lines_->signInSent()) {
    return false;
  }
  anyMethod_ = true;
  closeHandle();
  start();
  return true;
}

// From here on the connection lives for hours, so nothing of the secret stays: libcurl's copies are
// overwritten when they are freed (curl_memory.h). The caller logs what is said now.
void CurlConnection::opened() {
  set(CURLOPT_VERBOSE, 0L);
  set(CURLOPT_PASSWORD, static_cast<char*>(nullptr));
  set(CURLOPT_XOAUTH2_BEARER, static_cast<char*>(nullptr));
  if (signIn_) {
    signIn_->secret = Secret();
  }
  lines_.reset();
  state_ = State::kOpen;
  step_ = ConnectStep::kReady;
  changed_ = true;
  // What has come with the last answer is in libcurl's memory already, so the socket may never tell
  // of it.
  mayHaveInput_ = true;
}

void CurlConnection::openingFailed(CURLcode code) {
  OpeningError error{.code = code, .text = errorText_.data(), .step = step_};
  error.connected = connected();
  error.encrypted = timeOf(CURLINFO_APPCONNECT_TIME_T) > 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &error.systemError);
  curl_easy_getinfo(easy_.get(), CURLINFO_SSL_VERIFYRESULT, &error.verifyResult);
  end(openingFailure(error, server_, signIn_ ? signIn_->method : SignInMethod::kPassword, *lines_));
}

void CurlConnection::end(ConnectFailure failure) {
  failure_ = std::move(failure);
  state_ = State::kEnded;
  changed_ = true;
  closeHandle();
  lines_.reset();
  signIn_.reset();
}

void CurlConnection::closeHandle() {
  endWatch_.reset();
  if (easy_) {
    curl_multi_remove_handle(network_.multi_, easy_.get());
    easy_.reset();
    share_.reset();
  }
}

// What was found stays something to report until receive() has taken it, so a caller that takes
// only part of it is not put to sleep over the rest.
bool CurlConnection::progress() {
  if (state_ == State::kOpening) {
    noteStep();
  } else if (state_ == State::kOpen) {
    flush();
  }
  const bool changed = std::exchange(changed_, false);
  return changed || (state_ == State::kOpen &&
                     (mayHaveInput_ || coming_ || (wantsToSend_ && pending_.empty())));
}

// What waits to be sent is waited for at the socket itself, where input ends the wait too.
std::optional<curl_socket_t> CurlConnection::openSocket() {
  curl_socket_t socket = CURL_SOCKET_BAD;
  if (state_ == State::kOpen) {
    curl_easy_getinfo(easy_.get(), CURLINFO_ACTIVESOCKET, &socket);
  }
  if (socket == CURL_SOCKET_BAD) {
    return std::nullopt;
  }
  if (!wantsToReceive_ && pending_.empty()) {
    if (!endWatch_) {
      endWatch_.emplace(socket);
    }
    return endWatch_->descriptor().value_or(socket);
  }
  return socket;
}

short CurlConnection::pollEvents() const {
  return pending_.empty() ? CURL_WAIT_POLLIN : CURL_WAIT_POLLIN | CURL_WAIT_POLLOUT;
}

bool CurlConnection::polled(short events) {
  flush();
  // An event other than these is an error of the socket, which receive() will find.
  mayHaveInput_ = mayHaveInput_ || (events & ~CURL_WAIT_POLLOUT) != 0;
  return mayHaveInput_ || coming_ || (wantsToSend_ && pending_.empty());
}

// OpenSSL wants a write that could not be done to be repeated with the same bytes at the same
// place, which is why what was accepted is kept here. Returns whether nothing is left.
bool CurlConnection::flush() {
  while (!pending_.empty() && !coming_) {
    std::size_t sent = 0;
    const CURLcode code = curl_easy_send(easy_.get(), pending_.data() + pendingSent_,
                                         pending_.size() - pendingSent_, &sent);
    if (code == CURLE_AGAIN) {
      return false;
    }
    if (code != CURLE_OK) {
      long systemError = 0;
      curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &systemError);
      coming_ = lossOf(server_, code, systemError);
      return false;
    }
    pendingSent_ += sent;
    if (pendingSent_ == pending_.size()) {
      pending_.clear();
      pendingSent_ = 0;
    }
  }
  return pending_.empty();
}

// In portions, so that what is kept for a repetition is small, whatever the caller has.
std::size_t CurlConnection::send(std::string_view bytes) {
  std::size_t accepted = 0;
  while (state_ == State::kOpen && !coming_ && accepted < bytes.size() && flush()) {
    pending_ = bytes.substr(accepted, kSendPortion);
    accepted += pending_.size();
    flush();
  }
  return accepted;
}

// mayHaveInput_ stays set until there is no more: input that is left in the memory of the
// encryption would not wake a poll.
std::size_t CurlConnection::receive(std::string& to, std::size_t most) {
  if (state_ != State::kOpen) {
    return 0;
  }
  std::size_t total = 0;
  bool drained = false;
  while (total < most && !drained) {
    const std::size_t before = to.size();
    const std::size_t portion = total == 0 ? kFirstReceivePortion : kReceivePortion;
    to.resize(before + std::min(most - total, portion));
    std::size_t count = 0;
    const CURLcode code =
        curl_easy_recv(easy_.get(), to.data() + before, to.size() - before, &count);
    to.resize(before + count);
    total += count;
    if (code == CURLE_AGAIN) {
      mayHaveInput_ = false;
      drained = true;
    } else if (code != CURLE_OK || count == 0) {
      long systemError = 0;
      curl_easy_getinfo(easy_.get(), CURLINFO_OS_ERRNO, &systemError);
      coming_ = lossOf(server_, code, systemError);
      drained = true;
    }
  }
  // The end is told after everything that came before it has been read.
  if (total == 0 && most > 0 && coming_) {
    end(*coming_);
  }
  return total;
}

}  // namespace relaybird
