// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/result.h"

namespace relaybird {

/// A path as the calls for files take it: in UTF-16, and where it is longer than those calls allow
/// (260 characters), in the form that has no such limit. EINVAL for a path with a NUL, which would
/// end it early. `what` is for the error's text.
Result<std::wstring> systemPath(const std::string& path, const std::string& what);

/// What a system call has returned, as the program's other parts write it: in UTF-8, without the
/// prefix of the form without limit.
std::string plainPath(std::wstring path);

}  // namespace relaybird
