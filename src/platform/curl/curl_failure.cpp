// SPDX-License-Identifier: MIT
// The words are for a person who has entered the name of a server and a password: each sentence
// names the server and what it did. libcurl's own words are used where they say more.
#include "platform/curl/curl_failure.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace relaybird {
namespace {

using Cause = ConnectFailure::Cause;

// X509_V_ERR_... of OpenSSL, which libcurl hands on as numbers.
constexpr long kNotYetValid = 9;
constexpr long kExpired = 10;
constexpr long kSelfSigned = 18;
constexpr long kSelfSignedInChain = 19;
constexpr long kNoIssuer = 20;
constexpr long kNoIssuerEither = 21;

std::string placeOf(const MailServer& server) {
  return server.host + ", port " + std::to_string(server.port);
}

std::string methodName(SignInMethod method) {
  switch (method) {
    case SignInMethod::kPassword:
      return "passwords";
    case SignInMethod::kPlain:
      return "the method PLAIN";
    case SignInMethod::kLogin:
      return "the method LOGIN";
    case SignInMethod::kXoauth2:
      return "the method XOAUTH2";
    case SignInMethod::kOauthBearer:
      return "the method OAUTHBEARER";
  }
  return {};
}

std::string inBrackets(const std::string& words) {
  return words.empty() ? words : " (" + words + ")";
}

// libcurl gives 0 where no system call has failed, as for a server that ends in an orderly way.
std::string systemWords(long systemError) {
  return systemError == 0
             ? ""
             : std::error_code(static_cast<int>(systemError), std::generic_category()).message();
}

std::string certificateWords(const OpeningError& error, const MailServer& server) {
  const std::string whose = "The certificate of " + server.host;
  // For this alone libcurl leaves no number.
  if (error.text.find("subject name") != std::string::npos) {
    return whose + " is for another server";
  }
  switch (error.verifyResult) {
    case kNotYetValid:
      return whose + " is not valid yet; the date of one of the two computers may be wrong";
    case kExpired:
      return whose + " has expired";
    case kSelfSigned:
      return whose + " is signed by the server itself, not by an authority";
    case kSelfSignedInChain:
    case kNoIssuer:
    case kNoIssuerEither:
      return whose + " comes from an authority that is not trusted here";
    default:
      return whose + " is not accepted" + inBrackets(error.text);
  }
}

// How far the attempt came tells the user what to look at: the name, the network, or the port. At a
// port for TLS a client without it waits for the greeting, and the server for the handshake.
std::string timeOutWords(const OpeningError& error, const MailServer& server,
                         const OpeningLines& lines) {
  switch (error.step) {
    case ConnectStep::kResolve:
      return "The address of " + server.host + " could not be looked up in time";
    case ConnectStep::kConnect:
      if (!error.connected) {
        return placeOf(server) + ", did not answer in time";
      }
      break;
    case ConnectStep::kEncrypt:
      if (server.security == Security::kTls && !error.encrypted) {
        return placeOf(server) + ", did not set up the encryption in time; is it a port with TLS?";
      }
      break;
    case ConnectStep::kSignIn:
    case ConnectStep::kReady:
      break;
  }
  return placeOf(server) + (lines.greeted() ? ", stopped answering before the connection was ready"
                                            : ", accepted the connection but said nothing in time");
}

// libcurl has one code for "the server offers no method that I may use" and "the server has refused
// the password". People have to do something else about each.
std::string signInWords(const MailServer& server, SignInMethod method, const OpeningLines& lines) {
  if (!lines.signInSent()) {
    return server.host + " offers no sign-in with " + methodName(method);
  }
  const bool token = method == SignInMethod::kXoauth2 || method == SignInMethod::kOauthBearer;
  return server.host + " does not accept the user name or the " +
         (token ? "access token" : "password");
}

// What the server said is part of the failure only where it is about the failure.
ConnectFailure said(Cause cause, const OpeningError& error, std::string words,
                    const OpeningLines& lines) {
  return {.cause = cause, .step = error.step, .words = std::move(words), .answer = lines.answer()};
}

// The server's last line is about an earlier step, or there is none.
ConnectFailure unsaid(Cause cause, const OpeningError& error, std::string words) {
  return {.cause = cause, .step = error.step, .words = std::move(words), .answer = {}};
}

// The server has said something that ends the attempt, or has gone away.
ConnectFailure brokenOff(const OpeningError& error, const MailServer& server,
                         const OpeningLines& lines) {
  if (lines.busy()) {
    return said(Cause::kBusy, error, server.host + " turns the connection away", lines);
  }
  // libcurl gives up in the same way where a server talks without end.
  const bool tooMuch = error.text.starts_with("Too large");
  const bool lost = !tooMuch && (error.code == CURLE_RECV_ERROR || error.code == CURLE_SEND_ERROR ||
                                 error.code == CURLE_GOT_NOTHING);
  if (!lost) {
    return said(Cause::kProtocol, error,
                server.host + " gave an answer that is not allowed" + inBrackets(error.text),
                lines);
  }
  // An orderly end is the server's decision, a reset mostly the network's.
  const bool closed = error.systemError == 0;
  return said(closed ? Cause::kClosed : Cause::kNotReached, error,
              closed ? server.host + " ended the connection before it was ready"
                     : "The connection with " + server.host + " was lost" +
                           inBrackets(systemWords(error.systemError)),
              lines);
}

}  // namespace

// libcurl's code decides, but for the last cases: where a server says something unexpected, the
// code depends on the moment, so what the server has said is looked at.
ConnectFailure openingFailure(const OpeningError& error, const MailServer& server,
                              SignInMethod method, const OpeningLines& lines) {
  switch (error.code) {
    case CURLE_COULDNT_RESOLVE_HOST:
    // The server's name is the only part of the URL that is not made here.
    case CURLE_URL_MALFORMAT:
      return unsaid(Cause::kNoSuchHost, error,
                    "No address was found for the server " + server.host);
    case CURLE_COULDNT_CONNECT:
      return unsaid(
          Cause::kNotReached, error,
          placeOf(server) + ", cannot be reached" + inBrackets(systemWords(error.systemError)));
    case CURLE_OPERATION_TIMEDOUT:
      return unsaid(Cause::kTimedOut, error, timeOutWords(error, server, lines));
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
      return unsaid(Cause::kCertificate, error, certificateWords(error, server));
    case CURLE_SSL_CACERT_BADFILE:
      return unsaid(Cause::kCertificate, error,
                    "The file of trusted certificates cannot be used: " + server.caFile);
    // Either the server did not offer STARTTLS, or it has answered the command with a refusal. One
    // for now (RFC 3207, 4: 454) says nothing about the settings.
    case CURLE_USE_SSL_FAILED:
      return lines.startTlsSent() && lines.busy()
                 ? said(Cause::kBusy, error, server.host + " cannot encrypt for now", lines)
             : lines.startTlsSent()
                 ? said(Cause::kNoEncryption, error, server.host + " refuses encryption", lines)
                 : unsaid(Cause::kNoEncryption, error,
                          placeOf(server) + ", offers no encryption (STARTTLS)");
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
      return unsaid(Cause::kTls, error,
                    "No encrypted connection with " + placeOf(server) + inBrackets(error.text));
    case CURLE_LOGIN_DENIED:
    case CURLE_AUTH_ERROR:
      return lines.busy()
                 ? said(Cause::kBusy, error, server.host + " signs nobody in for now", lines)
             : lines.signInSent()
                 ? said(Cause::kSignInRefused, error, signInWords(server, method, lines), lines)
                 : unsaid(Cause::kSignInRefused, error, signInWords(server, method, lines));
    default:
      return brokenOff(error, server, lines);
  }
}

// An open connection whose reading ends without an error was closed by the server.
ConnectFailure lossOf(const MailServer& server, CURLcode code, long systemError) {
  if (code == CURLE_OK) {
    return {.cause = Cause::kClosed,
            .step = ConnectStep::kReady,
            .words = server.host + " has ended the connection",
            .answer = {}};
  }
  return {
      .cause = Cause::kNotReached,
      .step = ConnectStep::kReady,
      .words = "The connection with " + server.host + " was lost" +
               inBrackets(systemError != 0 ? systemWords(systemError) : curl_easy_strerror(code)),
      .answer = {}};
}

}  // namespace relaybird
