// SPDX-License-Identifier: MIT
// Detects mail that goes in circles, by the header section: which programs have forwarded a
// message, and whether a program sent it in answer to a forward.
//
// The trace field (kTraceHeader) is a list of marks separated by blanks, one for each program that
// has forwarded the message, the latest first. There is one field for all, because some gateways
// keep only one field of a name that they do not know. A reader must expect changes made on the
// way: several fields, and commas in them.
//
// Linear time, whatever strangers write into their fields. Any thread.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "message/header_block.h"

namespace relaybird {

/// A message that this many programs have forwarded is not forwarded again. People chain two or
/// three on purpose (from work to home to a phone), and smaller circles end at the user's own mark.
/// Every further hop multiplies the copies where several addresses each forward to all the others.
inline constexpr std::size_t kHopLimit = 5;

/// A longer mark is ignored. Ours have 81 characters; a line has at most 998 (RFC 5322 section
/// 2.1.1).
inline constexpr std::size_t kLongestMark = 100;

/// Recognises this user's own forwards. Both functions are called with any text from strangers.
struct OwnMarks {
  std::function<bool(std::string_view mark)> isTrace;
  /// With its angle brackets.
  std::function<bool(std::string_view messageId)> isMessageId;
};

/// The marks in the value of one trace field: letters, digits, dots, hyphens and underscores. Words
/// with other characters, or too long, are left out, so that a forward never carries them on.
std::vector<std::string_view> marksIn(std::string_view value);

/// The marks of all trace fields of a message in order, each once; at most kHopLimit.
std::vector<std::string> traceMarks(const HeaderBlock& headers);

/// Whether the message is one of our own forwards: it has our mark anywhere in its trace, or a
/// Message-ID of ours, which remains where a gateway has removed the trace.
bool isOwnForward(const HeaderBlock& headers, const OwnMarks& own);

/// Whether the message has an empty return path, which asks servers not to report failures. Notices
/// and most automatic answers have it (RFC 5321 section 4.5.5, RFC 3834 section 3.3).
bool hasNullReturnPath(const HeaderBlock& headers);

/// Whether a program sent the message because it received a forward of ours.
///
/// A message that names a forward of ours in In-Reply-To or anywhere in References is such an
/// answer if it is marked as automatic: an empty return path, a report (multipart/report),
/// "auto-replied" in Auto-Submitted (RFC 3834 section 5), "Precedence: auto_reply", X-Autoreply or
/// X-Autorespond. The last three are not standardised, but only older answering programs write
/// them. "Precedence: bulk", "junk" and "list" do not count, because mailing lists add them to what
/// people write.
///
/// Any other keyword of Auto-Submitted except "no" marks a message that a program sent on its own,
/// or an answer with a wrong keyword. It counts as an answer only if In-Reply-To names a forward of
/// ours or References ends with one. A forward named earlier in References only shows the same
/// thread: for example, news of a ticket to which a recipient has replied from a phone.
bool isAutomaticAnswer(const HeaderBlock& headers, const OwnMarks& own);

}  // namespace relaybird
