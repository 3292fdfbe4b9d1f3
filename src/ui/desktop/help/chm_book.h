// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/result.h"

namespace relaybird::desktop {

/// Hands out every file that a compiled help file holds, by its path without the leading slash. An
/// error is a sentence for the user. Meant for the program's own help file: the library that reads
/// it does not stand up to damaged ones of strangers.
Result<void> readChm(
    const std::string& file,
    const std::function<void(const std::string& path, std::string_view bytes)>& take);

}  // namespace relaybird::desktop
