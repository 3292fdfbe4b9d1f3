// SPDX-License-Identifier: MIT
// Small rules that every mail store keeps in the same way.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace relaybird {

/// Whether the filter is kUnreadFilter, in any case and with blanks anywhere.
bool isUnreadFilter(std::string_view filter);

/// Throws MailStoreError unless 1 <= index <= count.
void requireIndex(std::int32_t index, std::int32_t count);

/// The subject of a forward: "FW: " and the subject, or the subject alone where it already begins
/// with "FW:" or "Fwd:" in any case.
std::string forwardSubject(std::string_view subject);

/// Whether the class name is one of the four kinds of task request, in any case.
bool isTaskRequest(std::string_view className);

}  // namespace relaybird
