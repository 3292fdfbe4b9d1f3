// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/result.h"

namespace relaybird::desktop {

/// Takes a file of a compiled help file.
using TakeFile = std::function<void(const std::string& path, std::string_view bytes)>;

/// Reads a compiled help file and calls `take` with each file in it; the paths have no leading
/// slash. An error is a sentence for the user. Use it for the program's own help file only: the
/// library (chmlib) is not safe against malicious files.
Result<void> readChm(const std::string& file, const TakeFile& take);

}  // namespace relaybird::desktop
