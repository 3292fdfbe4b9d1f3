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

// A server says in its own words whether the password is wrong, or none is taken, or the access is
// off. People who read only "wrong password" go in circles.
std::string adviceAfterRefusal(const ConnectFailure& failure, const Proposal& known) {
  // The first remark about a provider with a page is about signing in, and ends before the page.
  const std::string page = known.page.empty() || known.signIn == ProviderSignIn::kOauthOnly
                               ? std::string()
                               : known.remarks.front() + " " + known.page;
  if (mentions(failure.answer, {"application-specific", "app password", "app-specific"})) {
    return !page.empty() ? page
                         : "The provider wants an app password, not the account's own. Make one on "
                           "its web site.";
  }
  if (mentions(failure.answer, {"basic authentication is disabled", "basicauthblocked", "oauth"})) {
    return "The provider accepts no password. Sign in with the desktop's online accounts, or with "
           "a command that prints a token.";
  }
  if (mentions(failure.answer, {"imap access is disabled", "not enabled for imap", "enable imap",
                                "imap is disabled"})) {
    return "Switch access by mail programs (IMAP) on in the settings of the provider's web site.";
  }
  return "Check user name and password. " +
         (!page.empty() ? page + " The tab Your Mail says what else is known."
                        : "Many providers want an app password, or access by mail programs to be "
                          "switched on first: the tab Your Mail says what is known.");
}

}  // namespace

// Where encryption failed the advice says that no password was sent: whoever reads it must know
// whether to change the password.
std::string connectAdvice(const ConnectFailure& failure, const Proposal& known) {
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
      return adviceAfterRefusal(failure, known);
    case Cause::kBusy:
      return "The server turns connections away for now. Try again in a while.";
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
