// SPDX-License-Identifier: MIT
// Open files: what they are, and the classes that read and write them. Part of
// win32_file_system.h.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "platform/file_system.h"
#include "platform/win32/object_handle.h"

namespace relaybird {

/// The type by the attributes of a file and, for one with a reparse point, its tag. Only symbolic
/// links and junctions are links; other reparse points, such as those of files that are kept in a
/// cloud, are of no interest to a reader.
FileType typeOf(DWORD attributes, DWORD reparseTag);

/// What an open file, folder or device is. `what` is for the error's text.
Result<FileInfo> infoOf(HANDLE file, const std::string& what);

/// Opens a file or folder, not what it links to. Others may do with it what they want meanwhile.
Result<ObjectHandle> openItself(const std::string& path, DWORD access, const std::string& what);

/// The same with every link followed.
Result<ObjectHandle> openTarget(const std::string& path, DWORD access, const std::string& what);

// FileSystem::open, create and append.
Result<std::unique_ptr<InputFile>> openWin32Input(const std::string& path);
Result<std::unique_ptr<OutputFile>> createWin32Output(const std::string& path);
Result<std::unique_ptr<OutputFile>> appendWin32Output(const std::string& path);

}  // namespace relaybird
