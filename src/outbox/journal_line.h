// SPDX-License-Identifier: MIT
// A line of a file that is only appended to: a check sum, then fields separated by blanks.
// Percent-encoding keeps blanks and line ends out of the fields.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// The line with its LF. Fields are arbitrary bytes, empty ones included.
std::string encodeJournalLine(const std::vector<std::string_view>& fields);

/// The fields of a line without its LF; nothing when the line is damaged.
std::optional<std::vector<std::string>> decodeJournalLine(std::string_view line);

}  // namespace relaybird
