// SPDX-License-Identifier: MIT
// Everything here reads what strangers may have written or changed. Our own marks and identifiers
// have seals that cannot be forged; foreign marks are only counted and carried on. The work is
// bounded: marks by kHopLimit, identifiers by kIdsLookedAt.
#include "message/circles.h"

#include <algorithm>

#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Only this many identifiers of a list are compared, from its end: each comparison computes a seal.
constexpr std::size_t kIdsLookedAt = 200;

// A comma and a NUL separate too: gateways join or damage trace fields, and that must not join two
// marks into one unknown mark.
constexpr std::string_view kSeparators(" \t\r\n,\0", 6);

bool isMarkChar(char c) {
  return isLetterOrDigit(c) || c == '.' || c == '-' || c == '_';
}

// Words that cannot be marks are skipped instead of ending the list, so that text which a relay
// adds in front does not hide the marks behind it.
bool isMark(std::string_view word) {
  return word.size() <= kLongestMark && std::all_of(word.begin(), word.end(), isMarkChar);
}

// Whether and how the message refers to forwards of ours.
struct Named {
  bool directly = false;  // as the message that it answers
  bool atAll = false;
};

// In-Reply-To names the message that is answered. References lists the whole thread with that
// message last (RFC 5322 section 3.6.4), so only its last identifier is a direct answer. A long
// list is read from its end, where the recent messages are.
Named namedForwards(const HeaderBlock& headers, const OwnMarks& own) {
  Named named;
  const auto look = [&](std::string_view field, bool allDirect) {
    const auto ids = messageIds(headers.value(field));
    const std::size_t count = std::min(ids.size(), kIdsLookedAt);
    for (auto id = ids.rbegin(); id != ids.rbegin() + static_cast<std::ptrdiff_t>(count); ++id) {
      if (own.isMessageId(*id)) {
        named.atAll = true;
        named.directly = named.directly || allDirect || id == ids.rbegin();
      }
    }
  };
  look("In-Reply-To", true);
  look("References", false);
  return named;
}

// The keyword of an Auto-Submitted value (RFC 3834 section 5) in lower case, without comments and
// parameters. An unclosed comment hides the rest of the value: the field counts as absent then.
std::string keywordOf(std::string_view value) {
  std::size_t depth = 0;
  std::string word;
  for (const char c : value) {
    if (c == '(') {
      ++depth;
    } else if (c == ')' && depth > 0) {
      --depth;
    } else if (depth == 0 && (c == ';' || (isBlank(c) && !word.empty()))) {
      break;
    } else if (depth == 0 && !isBlank(c)) {
      word += c;
    }
  }
  return asciiLower(word);
}

bool isSet(const HeaderBlock& headers, std::string_view field) {
  const std::string value = keywordOf(headers.value(field));
  return !value.empty() && value != "no";
}

bool isReport(const HeaderBlock& headers) {
  const auto type = headers.raw("Content-Type");
  return type && bareContentType(*type) == "multipart/report";
}

bool isMarkedAsAnswer(const HeaderBlock& headers) {
  return hasNullReturnPath(headers) || isReport(headers) ||
         keywordOf(headers.value("Auto-Submitted")) == "auto-replied" ||
         keywordOf(headers.value("Precedence")) == "auto_reply" || isSet(headers, "X-Autoreply") ||
         isSet(headers, "X-Autorespond");
}

}  // namespace

// Views into `value`; nothing is copied, because a listing asks for the marks of every message.
std::vector<std::string_view> marksIn(std::string_view value) {
  std::vector<std::string_view> marks;
  for (std::size_t pos = value.find_first_not_of(kSeparators); pos != std::string_view::npos;) {
    const std::size_t end = std::min(value.find_first_of(kSeparators, pos), value.size());
    if (isMark(value.substr(pos, end - pos))) {
      marks.push_back(value.substr(pos, end - pos));
    }
    pos = value.find_first_not_of(kSeparators, end);
  }
  return marks;
}

std::vector<std::string> traceMarks(const HeaderBlock& headers) {
  std::vector<std::string> all;
  for (const std::string_view value : headers.allRaw(kTraceHeader)) {
    for (const std::string_view mark : marksIn(value)) {
      // Further marks change nothing, since the message is not forwarded.
      if (all.size() == kHopLimit) {
        return all;
      }
      if (std::find(all.begin(), all.end(), mark) == all.end()) {
        all.emplace_back(mark);
      }
    }
  }
  return all;
}

bool isOwnForward(const HeaderBlock& headers, const OwnMarks& own) {
  const auto marks = traceMarks(headers);
  return std::any_of(marks.begin(), marks.end(), own.isTrace) ||
         own.isMessageId(headers.messageId());
}

bool hasNullReturnPath(const HeaderBlock& headers) {
  std::string path = headers.value("Return-Path");
  std::erase_if(path, isBlank);
  return path == "<>";
}

// With a sign of an automatic answer, a reference anywhere in the thread is enough. Without one,
// auto-generated mail counts only if it answers a forward directly; otherwise a ticket system in a
// long thread would be silenced.
bool isAutomaticAnswer(const HeaderBlock& headers, const OwnMarks& own) {
  const Named named = namedForwards(headers, own);
  return (named.atAll && isMarkedAsAnswer(headers)) ||
         (named.directly && isSet(headers, "Auto-Submitted"));
}

}  // namespace relaybird
