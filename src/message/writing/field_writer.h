// SPDX-License-Identifier: MIT
// Header fields but those of addresses as lines (RFC 5322 section 2.2.3, RFC 2047): 7-bit, folded
// so that no line is longer than need be, each encoded word at most 75 characters long and on a
// line of at most 76. Texts are UTF-8. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// A field whose value is text for people, on one line; "Subject:" alone where it is empty.
std::string textField(std::string_view name, std::string_view text);

/// A field of words of visible ASCII, which stay as they are; empty where there are none.
std::string wordField(std::string_view name, const std::vector<std::string>& words);

}  // namespace relaybird
