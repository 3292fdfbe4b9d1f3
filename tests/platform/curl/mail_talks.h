// SPDX-License-Identifier: MIT
// What servers of IMAP and SMTP say while a connection is opened.
#pragma once

#include <openssl/ssl.h>

#include <string>
#include <string_view>

#include "platform/system/network.h"
#include "tls_server.h"

namespace relaybird {

struct Talk {
  MailProtocol protocol = MailProtocol::kImap;
  Security security = Security::kTls;
  SSL_CTX* tls = nullptr;
  std::string greeting = {};  ///< empty: the usual one
  std::string methods = "PLAIN LOGIN XOAUTH2 OAUTHBEARER CRAM-MD5";
  bool offersStartTls = true;
  /// Instead of starting it, the line end included. After one of IMAP without a tag ("* BYE") the
  /// server closes.
  std::string startTlsAnswer = {};
  std::string refusal = {};       ///< answers the sign-in, without the tag; empty: it is accepted
  std::string challenge = {};     ///< what precedes the refusal
  bool silentAfterwards = false;  ///< answers nothing after the refusal
};

/// Runs the talk up to the end of the sign-in; `signsIn` false: up to the capabilities.
void openTalk(Peer& peer, const Talk& talk, bool signsIn = true);

}  // namespace relaybird
