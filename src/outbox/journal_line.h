// SPDX-License-Identifier: MIT
// The text of one journal line: a check sum, then fields apart by a blank, each free of blanks and
// line ends by percent-encoding.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// The line with its LF. Fields are arbitrary bytes, empty ones included.
std::string encodeJournalLine(const std::vector<std::string_view>& fields);

/// The fields of a line without its LF; nothing when it is not as it was written.
std::optional<std::vector<std::string>> decodeJournalLine(std::string_view line);

}  // namespace relaybird
