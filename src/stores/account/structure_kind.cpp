// SPDX-License-Identifier: MIT
// Follows readMessageKind() step by step, and gives up where that would look at a part's content.
#include "stores/account/structure_kind.h"

#include <algorithm>

#include "message/text/header_text.h"

namespace relaybird {
namespace {

// The containers in which message_kind.cpp looks for an invitation.
bool holdsInvitations(const ImapPart& part) {
  return part.type == "multipart/mixed" || part.type == "multipart/alternative" ||
         part.type == "multipart/related";
}

bool mayInvite(const ImapPart& part) {
  if (part.type == "text/calendar" && part.disposition != "attachment") {
    return true;
  }
  return holdsInvitations(part) &&
         std::any_of(part.children.begin(), part.children.end(), mayInvite);
}

}  // namespace

std::optional<MessageKind> kindFromStructure(const HeaderBlock& headers, const ImapPart* structure,
                                             const OwnMarks& own) {
  if (const auto known = kindFromHeaders(headers, own)) {
    return known;
  }
  const auto type = headers.raw("Content-Type");
  if (structure == nullptr || !type || bareContentType(*type) != structure->type ||
      hasNullReturnPath(headers) || structure->type == "multipart/report" ||
      mayInvite(*structure)) {
    return std::nullopt;
  }
  return MessageKind::kMail;
}

std::string_view firstTextCharset(const ImapPart& structure) {
  if (structure.type.starts_with("text/")) {
    return structure.parameter("charset");
  }
  for (const ImapPart& child : structure.children) {
    if (const std::string_view found = firstTextCharset(child); !found.empty()) {
      return found;
    }
  }
  return {};
}

}  // namespace relaybird
