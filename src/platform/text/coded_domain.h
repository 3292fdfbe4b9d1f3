// SPDX-License-Identifier: MIT
// Internationalised domains, as far as the core needs them.
#pragma once

#include <string>
#include <string_view>

namespace relaybird {

/// The text with each "xn--" label of a domain decoded (Punycode, RFC 3492), in UTF-8:
/// "a@xn--mnchen-3ya.example" becomes "a@m\u00FCnchen.example". An invalid label is unchanged. For
/// matching, not for display: two domains can look the same when decoded. Quadratic in the length
/// of a label, which is at most 63 characters.
std::string withDecodedLabels(std::string_view text);

}  // namespace relaybird
