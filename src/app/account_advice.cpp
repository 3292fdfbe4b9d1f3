// SPDX-License-Identifier: MIT
#include "app/account_advice.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>

#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// Providers word the same refusal differently, so that a few of their usual words are looked for.
bool mentions(const std::string& answer, std::initializer_list<std::string_view> words) {
  const std::string lower = asciiLower(answer);
  return std::any_of(words.begin(), words.end(),
                     [&](std::string_view word) { return lower.find(word) != std::string::npos; });
}

// What the list has, the page behind the remark that it belongs to.
std::string inOneText(const Proposal& known) {
  std::string text;
  for (const std::string& remark : known.remarks) {
    const bool first = text.empty();
    text += (first ? "" : " ") + remark;
    text += first && !known.page.empty() ? " " + known.page : "";
  }
  return text;
}

// A server says in its own words whether the password is wrong, or none is taken, or the access is
// off. People who read only "wrong password" go in circles.
std::string adviceAfterRefusal(const ConnectFailure& failure, const Proposal& known, bool byToken) {
  if (mentions(failure.answer, {"imap access is disabled", "not enabled for imap", "enable imap",
                                "imap is disabled"})) {
    return "Switch access by mail programs (IMAP) on in the settings of the provider's web site.";
  }
  const std::string remarks = inOneText(known);
  if (known.signIn == ProviderSignIn::kOauthOnly && !byToken) {
    return remarks;
  }
  // Either there was nothing that can be sent, or the server knows no such way to sign in.
  if (failure.answer.empty()) {
    return "The program has sent neither password nor token. Check user name and password, or "
           "choose another way to sign in.";
  }
  // What a provider wants of passwords does not help here.
  if (byToken) {
    return "Check the user name, and whether the token is for mail and for this user. The online "
           "account, or the program that prints the token, may have to be signed in again.";
  }
  if (mentions(failure.answer, {"application-specific", "app password", "app-specific"})) {
    return "The provider wants an app password, not the account's own. " +
           (known.page.empty() ? "Make one on its web site." : "See " + known.page);
  }
  if (mentions(failure.answer, {"basic authentication is disabled", "basicauthblocked", "oauth"})) {
    return "The provider accepts no password. Sign in with the desktop's online accounts, or with "
           "a command that prints a token.";
  }
  return "Check user name and password. " +
         (!remarks.empty() ? remarks
                           : "Many providers want an app password, or access by mail programs to "
                             "be switched on first: see the provider's web site.");
}

}  // namespace

// Before the sign-in the advice says that no password was sent, where a password may have been in
// danger: whoever reads it must know whether to change it.
std::string connectAdvice(const ConnectFailure& failure, const Proposal& known, bool byToken) {
  using Cause = ConnectFailure::Cause;
  switch (failure.cause) {
    case Cause::kNoSuchHost:
      return "Check the name of the server, and whether this computer is connected.";
    case Cause::kNotReached:
      return "Check the port, and whether this computer is connected.";
    case Cause::kNoEncryption:
      return "Choose the other kind of encryption, with its port. No password was sent.";
    case Cause::kCertificate:
      return "Check the name of the server. For a server with a certificate authority of its own, "
             "name the certificate file under Servers. No password was sent.";
    case Cause::kTls:
      return "Check port and encryption. No password was sent.";
    case Cause::kSignInRefused:
      return adviceAfterRefusal(failure, known, byToken);
    case Cause::kBusy:
      return std::string("The server turns connections away for now. Try again in a while.") +
             (failure.step < ConnectStep::kSignIn ? " No password was sent." : "");
    case Cause::kProtocol:
      return "What answers there is not a mail server of this kind. Check server and port.";
    case Cause::kTimedOut:
      return "Check the port. A firewall may be in between, or the server is slow now.";
    case Cause::kClosed:
      break;
  }
  return "The server has ended the connection. Try again later.";
}

}  // namespace relaybird
