// SPDX-License-Identifier: MIT
// Where the password or the access token of a mail server comes from.
//
// A source is asked before each sign-in and told its outcome. It remembers what it got, so that the
// keyring, the command or the desktop is asked once, and it refuses to hand out again what the
// server has refused: a program that runs for months would otherwise repeat a wrong password at
// every check, and servers lock the account of such a program.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>

#include "mail/mail_settings.h"
#include "mail/store_world.h"
#include "platform/file_system.h"
#include "platform/system/network.h"
#include "platform/system/secret.h"
#include "platform/system/secret_store.h"

namespace relaybird {

/// Why there is nothing to sign in with.
struct SignInFailure {
  enum class Cause {
    kMissing,    ///< the place has no password for this server, or does not exist here
    kDeclined,   ///< the user did not unlock the keyring
    kRefused,    ///< the server has refused what the place has; nothing new since
    kCancelled,  ///< `stop` was requested
    kFailed,     ///< any other failure
  };
  Cause cause = Cause::kFailed;
  std::string words;  ///< for people: what happened and what to do
};

struct SignInMaterial {
  std::optional<SignIn> signIn;
  SignInFailure failure = {};  ///< where there is no `signIn`
};

/// One thread at a time uses a source, not the user-interface thread.
class SignInSource {
 public:
  /// What `world` refers to must outlive the source.
  /// `account.signIn` has a value. `secretOwner` says where the secret is: the account itself, or
  /// the one that it shares the secret with. `appPasswordLength` is the length of the provider's
  /// app passwords, where the provider shows them with spaces that do not belong to them; else 0.
  SignInSource(SecretWorld world, FileSystem& files, const AccountSettings& account,
               const AccountSettings& secretOwner, std::size_t appPasswordLength = 0);

  /// What to sign in with. May wait for the user or for a command, two minutes at most for the
  /// latter; ends soon after `stop` was requested. When the user did not unlock the keyring, the
  /// question is not put again for an hour or until tryAgain().
  SignInMaterial get(std::stop_token stop);
  /// The server has refused user or secret; not to be called for a refusal that the server calls
  /// temporary. The next get() asks the place anew. If that has nothing new, or if the second
  /// secret was refused too, get() fails for an hour, and longer until there is something new.
  void refused();
  /// The server has accepted them. One for sending that offers no sign-in has not: see
  /// beginsSignIn(). This and refused() also clear the calling thread's stack of what the sign-in
  /// left there.
  void accepted();
  /// The user has asked for another try: the place is asked again, and something new is tried at
  /// once. What was refused is tried again half a minute after the refusal at the earliest, because
  /// a user who clicks and clicks would lock the account.
  void tryAgain();

 private:
  struct Found {
    Secret secret;
    bool token = false;
    std::optional<std::chrono::milliseconds> lifetime;
    std::optional<SignInFailure> failure;
  };
  Found ask(std::stop_token stop) const;
  Found askKeyring(std::stop_token stop) const;
  Found askCommand(std::stop_token stop) const;
  Found askCredential() const;
  Found askOnlineAccount(std::stop_token stop) const;
  Found failed(SignInFailure::Cause cause, std::string words) const;
  std::string whose() const;
  SignInMaterial material() const;
  SignInMaterial refusal() const;
  std::chrono::milliseconds now() const;

  SecretWorld world_;
  FileSystem& files_;
  AccountSettings account_;
  AccountSettings owner_;
  std::size_t appPasswordLength_;
  std::optional<Found> kept_;
  std::chrono::milliseconds keptUntil_{0};
  std::optional<Secret> refused_;
  std::chrono::milliseconds refusedAt_{0};
  int refusals_ = 0;
  std::optional<SignInFailure> declined_;  ///< by the user, and not asked again before quietUntil_
  std::chrono::milliseconds quietUntil_{0};
};

/// An app password as its provider shows it, in groups: without the spaces, if `length` characters
/// are left then. Any other password is returned as it is.
Secret withoutGroups(const Secret& password, std::size_t length);

/// Whether this line of those that a Network has traced begins a sign-in. A connection is open
/// without one, too: where a server for sending offers none, or a server for reading wants none.
bool beginsSignIn(const ProtocolLine& line, MailProtocol protocol);

/// What the keyring files the secret of an account under.
SecretKey secretKeyOf(const AccountSettings& account);

/// Whether a password begins or ends with a space, which often is a slip in copying.
bool hasSpaceAtAnEnd(const Secret& password);

}  // namespace relaybird
