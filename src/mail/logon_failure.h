// SPDX-License-Identifier: MIT
// The codes of a MailLogonError that callers tell apart.
#pragma once

namespace relaybird {

/// The server does not accept the user or the secret. Another try has the same end, and may lock
/// the account. The value is MAPI_E_LOGON_FAILED.
inline constexpr int kLogonRefused = static_cast<int>(0x80040111);

/// There is nothing to sign in with: this session has no keyring, it is locked, or the place has no
/// secret. That may change by itself, as soon as the user has logged in, and the server was not
/// asked. The value is MAPI_E_NOT_FOUND.
inline constexpr int kNoSecretYet = static_cast<int>(0x8004010F);

/// Whether an error of that code becomes a MailLogonError.
inline constexpr bool isLogonFailure(int code) {
  return code == kLogonRefused || code == kNoSecretYet;
}

}  // namespace relaybird
