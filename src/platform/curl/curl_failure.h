// SPDX-License-Identifier: MIT
// What an error of libcurl means for the user.
#pragma once

#include <curl/curl.h>

#include <string>

#include "platform/curl/opening_lines.h"
#include "platform/system/network.h"

namespace relaybird {

/// What is known when an attempt to open a connection has failed.
struct OpeningError {
  CURLcode code = CURLE_OK;
  std::string text;       ///< libcurl's own words (CURLOPT_ERRORBUFFER)
  long systemError = 0;   ///< an errno, or 0
  long verifyResult = 0;  ///< of OpenSSL: why the certificate was not accepted, or 0
  bool connected = false;
  bool encrypted = false;
  ConnectStep step = ConnectStep::kResolve;
};

ConnectFailure openingFailure(const OpeningError& error, const MailServer& server,
                              SignInMethod method, const OpeningLines& lines);

/// Why an open connection has ended. CURLE_OK: the server has closed it.
ConnectFailure lossOf(const MailServer& server, CURLcode code, long systemError);

}  // namespace relaybird
