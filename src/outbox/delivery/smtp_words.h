// SPDX-License-Identifier: MIT
// What the refusals of mail servers mean: for the delivery, and in plain words for the user.
#pragma once

#include <string>
#include <string_view>

#include "outbox/delivery/smtp_reply.h"
#include "platform/system/network.h"

namespace relaybird {

/// What to do about a refusal, as a sentence; empty for one that explains itself or is not known.
std::string smtpHint(const SmtpReply& reply);

/// Whether the server wants less mail for now, from this user or from everybody.
bool asksToSlowDown(const SmtpReply& reply);

/// Whether the server takes no more from this account for a while, whatever the message, although
/// it says so with a code that means "for good".
bool limitsAccount(const SmtpReply& reply);

/// Whether the server does not accept who the user is.
bool refusesSignIn(const SmtpReply& reply);

/// Why there is no connection, as sentences for the log: what was found, which names the server,
/// the server's own words, and what to do.
std::string connectWords(const MailServer& server, const ConnectFailure& failure);

/// The words, with the server's name before them if they do not name it.
std::string withServer(const std::string& server, const std::string& words);

}  // namespace relaybird
