// SPDX-License-Identifier: MIT
// Domains beyond ASCII, as far as the core has to know them.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// The text with each "xn--" label of a domain in it as the characters that it stands for
/// (Punycode, RFC 3492), in UTF-8: "a@xn--mnchen-3ya.example" becomes "a@m\u00FCnchen.example". A
/// label that stands for nothing stays as it is. For finding, not for showing: two domains can look
/// the same this way. Quadratic in the length of a label, of which no more than 63 characters
/// count.
std::string withDecodedLabels(std::string_view text);

}  // namespace relaybird
