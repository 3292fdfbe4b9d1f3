// SPDX-License-Identifier: MIT
// What the header section of a message tells of circles: by whom it has been forwarded, and whether
// a program sent it in answer to a forward.
//
// The trace field (kTraceHeader) is a list of marks, one for each program that has forwarded the
// message, the last one's first, separated by blanks. One field, and not one for each, because some
// gateways keep only one field of a name that they do not know. What is read may have been changed
// on its way: any number of fields, and commas in them.
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

/// A message that so many programs have forwarded is not forwarded again. People chain two or three
/// on purpose (from work to home to a phone). Each one more multiplies what goes astray where
/// several addresses each forward to the others, and each user of a smaller circle knows his own
/// mark.
inline constexpr std::size_t kHopLimit = 5;

/// A longer mark is none (RFC 5322, 2.1.1 lets a line have 998 characters; ours have 81).
inline constexpr std::size_t kLongestMark = 100;

/// How this user's own forwards are known. Both are given anything that a stranger may write.
struct OwnMarks {
  std::function<bool(std::string_view mark)> isTrace;
  /// With its angle brackets.
  std::function<bool(std::string_view messageId)> isMessageId;
};

/// The marks in the value of one trace field: letters, digits, dots, hyphens and low lines. What
/// looks otherwise or is too long is left out, so that nothing else is ever carried on.
std::vector<std::string_view> marksIn(std::string_view value);

/// The marks of all trace fields of a message, each once, as they follow each other; no more than
/// kHopLimit.
std::vector<std::string> traceMarks(const HeaderBlock& headers);

/// Whether the message is one of our own forwards: it bears our trace anywhere, or a Message-ID of
/// ours, which stays where a gateway has taken the trace off.
bool isOwnForward(const HeaderBlock& headers, const OwnMarks& own);

/// Whether the server that brought the message was told to report no failure of it: an empty return
/// path, as notices and most answering machines have (RFC 5321, 4.5.5; RFC 3834, 3.3).
bool hasNullReturnPath(const HeaderBlock& headers);

/// Whether a program sent the message because it got a forward of ours.
///
/// What names a forward in In-Reply-To or anywhere in References is one where it is marked as an
/// answer of a machine: an empty return path, a report (multipart/report), "auto-replied" in
/// Auto-Submitted (RFC 3834, section 5), "Precedence: auto_reply", X-Autoreply or X-Autorespond.
/// The last three are no standard, but what machines older than that write, and nobody else.
/// "Precedence: bulk", "junk" and "list" do not count: mailing lists write them into what people
/// say.
///
/// Any other word of Auto-Submitted but "no" marks what a program sent of its own accord, or what
/// an answering machine sent that mistakes its own. That is an answer where In-Reply-To names a
/// forward of ours or References ends with one. Further to the front of References it only stands
/// in the same thread: news of a ticket, say, to which a receiver has replied from his phone.
bool isAutomaticAnswer(const HeaderBlock& headers, const OwnMarks& own);

}  // namespace relaybird
