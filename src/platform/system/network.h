// SPDX-License-Identifier: MIT
// Connections to mail servers. A connection is encrypted and signed in by the implementation; what
// is said on it afterwards is up to the protocol (IMAP in a store, SMTP in the delivery).
//
// One thread uses a Network and its connections, so that one loop can serve several connections.
// Only wake() may be called from any thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/system/secret.h"

namespace relaybird {

enum class MailProtocol { kImap, kSmtp };

enum class Security {
  kTls,       ///< encrypted from the first byte (RFC 8314, 3)
  kStartTls,  ///< encrypted by a command that must succeed before anything else is sent
  kNone,      ///< not encrypted: a server on this machine, or one that the user has insisted on
};

/// A server of the user's account.
struct MailServer {
  MailProtocol protocol = MailProtocol::kImap;
  std::string host;  ///< a name or an address, without brackets
  std::uint16_t port = 0;
  Security security = Security::kTls;
  /// A PEM file of certificates to trust instead of the system's; empty: the system's.
  std::string caFile;
};

/// How to prove who the user is (RFC 4422).
enum class SignInMethod {
  kPassword,     ///< by the best password mechanism that the server offers
  kPlain,        ///< PLAIN (RFC 4616)
  kLogin,        ///< LOGIN, an old mechanism without a standard
  kXoauth2,      ///< XOAUTH2, with an access token
  kOauthBearer,  ///< OAUTHBEARER (RFC 7628), with an access token
};

struct SignIn {
  std::string user;
  SignInMethod method = SignInMethod::kPassword;
  Secret secret;  ///< the password or the access token
};

/// The steps of opening a connection, in their order.
enum class ConnectStep { kResolve, kConnect, kEncrypt, kSignIn, kReady };

/// Why a connection could not be opened or has ended.
struct ConnectFailure {
  enum class Cause {
    kNoSuchHost,     ///< unknown, or names cannot be looked up for now
    kNotReached,     ///< refused, unreachable, or lost
    kNoEncryption,   ///< the server does not offer or refuses what `security` demands
    kCertificate,    ///< expired, for another host, or from an unknown issuer
    kTls,            ///< any other failure of the encryption
    kSignInRefused,  ///< the server does not accept this user, secret or method
    kBusy,           ///< the server turns everybody away for now, or this user (421, BYE and alike)
    kProtocol,       ///< the server said what this protocol does not allow
    kTimedOut,
    kClosed,  ///< the server has ended the connection
  };
  Cause cause = Cause::kNotReached;
  ConnectStep step = ConnectStep::kResolve;  ///< the step that failed; kReady: after it was open
  std::string words;                         ///< for people: what the library found, in one line
  std::string answer;  ///< the server's last words on it, without a line end; may be empty
};

/// A connection that is being opened, is open, or has ended. Destroying it closes it without a
/// farewell. It must not outlive its Network.
///
/// For a protocol on it: what the server said up to the end of the sign-in is not received here,
/// the greeting and the capabilities included, and neither are bytes that arrived together with the
/// last answer to the sign-in; their loss can begin in the middle of a line. So a client asks for
/// the capabilities itself and, until its first own answer arrives, skips lines that it does not
/// understand.
class Connection {
 public:
  enum class State { kOpening, kOpen, kEnded };

  virtual ~Connection() = default;
  virtual State state() const = 0;
  /// The step that is being done; kReady once the connection is open.
  virtual ConnectStep step() const = 0;
  /// Why it has ended; nothing as long as it has not.
  virtual const std::optional<ConnectFailure>& failure() const = 0;

  /// Sends as much as is accepted without waiting, and returns how many bytes that was: 0 if none,
  /// or if the connection is not open. Bytes that were not accepted must be offered again before
  /// others.
  virtual std::size_t send(std::string_view bytes) = 0;
  /// Appends what has arrived, at most `most` bytes, and returns how many: 0 if nothing has
  /// arrived, or if the connection is not open. The end of an open connection is found here: bytes
  /// that arrived before it are delivered first, and the state becomes kEnded in a call that finds
  /// no more. So call this after each wait() until it returns 0, also while only sending.
  virtual std::size_t receive(std::string& to, std::size_t most) = 0;
  /// Whether Network::wait() also ends when this connection accepts output; false at first.
  virtual void wantToSend(bool want) = 0;
  /// Whether Network::wait() also ends when input arrives; true at first. Without it, input waits
  /// in the system until receive() is called for another reason, and the server may have to stop
  /// sending meanwhile; the connection's end is still reported at once, unless so much input waits
  /// that it cannot get through. Input that receive() has left over is reported in any case. It is
  /// a wish to sleep: an implementation that cannot tell the end from input reports both.
  virtual void wantToReceive(bool want) = 0;
};

/// A line of a protocol for the verbose log, without its line end. Secrets are replaced already.
struct ProtocolLine {
  bool sent = false;  ///< by this program
  std::string text;
};

class Network {
 public:
  virtual ~Network() = default;
  /// Starts to open a connection and returns at once; progress happens in wait(). Without `signIn`
  /// the connection is open once it is encrypted and greeted. `limit` bounds the time until it is
  /// open. `trace`, which may be empty, gets the lines of the greeting and the sign-in, during
  /// wait(); it must not use the network.
  virtual std::unique_ptr<Connection> connect(const MailServer& server,
                                              const std::optional<SignIn>& signIn,
                                              std::chrono::milliseconds limit,
                                              std::function<void(ProtocolLine)> trace) = 0;
  /// Returns once a connection has changed its state or step, as long as one has an end, or input
  /// that it wants to receive, that receive() has not taken yet, or wants to send and accepts
  /// output, after wake(), or when the time is over. It may return without any of these.
  virtual void wait(std::chrono::milliseconds limit) = 0;
  /// Ends a wait() under way, or else the next one, at once. Any thread.
  virtual void wake() = 0;
  /// A time that only moves forward, in which limits are measured. Counts from an unknown moment.
  virtual std::chrono::milliseconds steadyTime() const = 0;
};

/// Makes a network for one thread. Any thread.
using NetworkMaker = std::function<std::unique_ptr<Network>()>;

}  // namespace relaybird
