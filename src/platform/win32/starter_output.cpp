// SPDX-License-Identifier: MIT
#include "platform/win32/starter_output.h"

#include <string>

#include "platform/win32/object_handle.h"
#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

std::string withWindowsLineEnds(std::string_view text) {
  std::string lines;
  for (const char c : text) {
    if (c == '\n') {
      lines += '\r';
    }
    lines += c;
  }
  return lines;
}

// Whoever starts the program may have handed down a handle that is none here.
bool isOpen(HANDLE stream) {
  return stream != nullptr && stream != INVALID_HANDLE_VALUE &&
         ::GetFileType(stream) != FILE_TYPE_UNKNOWN;
}

// The texts are short, so that a pipe takes them in one piece.
bool writeBytes(HANDLE file, const std::string& bytes) {
  DWORD written = 0;
  return ::WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) !=
             0 &&
         written == bytes.size();
}

// The prompt of the command line stands there already: it does not wait for such a program.
bool writeToParentConsole(const std::string& text) {
  if (::AttachConsole(ATTACH_PARENT_PROCESS) == 0) {
    return false;
  }
  const HANDLE opened =
      ::CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
  const ObjectHandle console(opened == INVALID_HANDLE_VALUE ? nullptr : opened);
  const std::wstring wide = toWide("\r\n" + text);
  DWORD written = 0;
  const bool done = console && ::WriteConsoleW(console.get(), wide.data(),
                                               static_cast<DWORD>(wide.size()), &written, nullptr);
  ::FreeConsole();
  return done;
}

}  // namespace

bool writeToStarter(DWORD stream, std::string_view text) {
  const std::string lines = withWindowsLineEnds(text);
  const HANDLE own = ::GetStdHandle(stream);
  DWORD mode = 0;
  if (isOpen(own) && !::GetConsoleMode(own, &mode)) {
    return writeBytes(own, lines);
  }
  return writeToParentConsole(lines);
}

}  // namespace relaybird
