// SPDX-License-Identifier: MIT
// What a forward says: its header section, and the original text under a short header block. All
// texts are UTF-8. Those that come from strangers may contain anything and stay within their line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "message/message.h"
#include "platform/result.h"

namespace relaybird {

struct ForwardDraft;

/// Subjects of forwards are cut to this many characters.
inline constexpr std::size_t kSubjectCharacters = 250;

/// The subject on one line and cut to that length between characters.
std::string writableSubject(std::string_view subject);

/// The header block and the original text as plain text. `sentText` is the source's date in
/// readable form; empty leaves the line out.
std::string forwardText(const Message& source, std::string_view sentText);

/// The same as an HTML document, with the header block at the beginning of the original's body. The
/// source must have an HTML form.
std::string forwardHtml(const Message& source, std::string_view sentText);

/// The fields of a forward's header section as lines (RFC 5322), encoded and folded, without the
/// MIME fields and the empty line at the end. EINVAL as in writeForward().
Result<std::string> forwardHeader(const ForwardDraft& draft);

}  // namespace relaybird
