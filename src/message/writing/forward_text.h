// SPDX-License-Identifier: MIT
// What a forward says: its subject, and the original text under a short header block. All texts are
// UTF-8; what comes from strangers may hold anything and stays within its line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "message/message.h"

namespace relaybird {

/// Subjects of forwards are cut behind this many characters.
inline constexpr std::size_t kSubjectCharacters = 250;

/// A subject as it can be written: on one line and cut at a character.
std::string writableSubject(std::string_view subject);

/// The header block and the original text, as plain text. `sentText` is the source's date as people
/// read it; empty leaves the line out.
std::string forwardText(const Message& source, std::string_view sentText);

/// The same as an HTML document: the header block before what the original's body shows. The source
/// must have an HTML form.
std::string forwardHtml(const Message& source, std::string_view sentText);

}  // namespace relaybird
