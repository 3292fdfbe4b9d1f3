// SPDX-License-Identifier: MIT
// Domains of mail addresses, above all those beyond ASCII (IDNA 2008, RFC 5890 to 5894). Internal
// to this folder. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace relaybird {

/// True for labels of ASCII letters, digits, "-" and "_" with single dots between them, none of
/// more than 63 bytes and all of them of at most 255, no "-" at either end of a label. Host names
/// have no
/// "_", but mail domains in use do (RFC 5322 allows it).
bool isAsciiDomain(std::string_view domain);

/// The form of a domain that name servers are asked for and that mail carries: labels beyond ASCII
/// become "xn--" labels, those of ASCII stay as they are. None where a label has no such form. What
/// IDNA maps first (capital letters, wide letters, composition) is mapped.
std::optional<std::string> wireDomain(std::string_view domain);

/// True where the wire form of `domain` stands for what is written, letter case and composition of
/// characters apart: nothing in it is mapped to other characters or dropped.
bool saysWhatItIs(std::string_view domain);

/// True where a label mixes scripts in a way that no language does (Latin with Cyrillic, for one):
/// such a domain looks like another one. Digits and marks count for nothing; Japanese, Chinese and
/// Korean go together with Latin as they are written (Unicode Technical Standard 39, highly
/// restrictive).
bool mixesScripts(std::string_view domain);

}  // namespace relaybird
