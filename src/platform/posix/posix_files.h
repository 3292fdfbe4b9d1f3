// SPDX-License-Identifier: MIT
// Open files of a POSIX system. Part of posix_file_system.h.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>

#include "platform/file_system.h"

namespace relaybird {

FileInfo fileInfo(const struct stat& status);

/// ::open with O_CLOEXEC, tried again when a signal interrupts it. A new file gets mode 0600.
int openAgain(const std::string& path, int flags);
/// ::fsync, tried again when a signal interrupts it.
int syncAgain(int descriptor);

Result<std::unique_ptr<InputFile>> openPosixInput(const std::string& path);
Result<std::unique_ptr<OutputFile>> createPosixOutput(const std::string& path);
Result<std::unique_ptr<OutputFile>> appendPosixOutput(const std::string& path);

}  // namespace relaybird
