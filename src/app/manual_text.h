// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// A page of the manual as plain text. For the program's own pages alone, which are well-formed: an
/// end tag that is missing there shows in the text. The mail of strangers is for htmlToText(),
/// which gives the same text for these pages, by a library that not every system has.
std::string manualText(std::string_view page);

}  // namespace relaybird
