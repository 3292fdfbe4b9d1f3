// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <string_view>

namespace relaybird {

/// Writes text to whoever has started a program of the kind that has no console of its own: to the
/// standard stream (STD_OUTPUT_HANDLE or STD_ERROR_HANDLE) if that is redirected, as bytes of UTF-8
/// with the line ends of Windows; else onto the console of the program that has started this one.
/// False if there is neither, or nothing can be written.
bool writeToStarter(DWORD stream, std::string_view text);

}  // namespace relaybird
