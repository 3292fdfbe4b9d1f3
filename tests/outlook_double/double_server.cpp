// SPDX-License-Identifier: MIT
#include "outlook_double/double_server.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>

#include "outlook_double/class_objects.h"
#include "outlook_double/library_bridge.h"

namespace relaybird::outlook_double {

namespace {

std::wstring builtFile(const char* name) {
  std::wstring file = toWide(name);
  std::replace(file.begin(), file.end(), L'/', L'\\');
  if (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) {
    throw std::runtime_error(std::string("this has not been built: ") + name);
  }
  return file;
}

}  // namespace

void registerDouble(DoublePlace place, const std::string& folder) {
  const bool loaded = place == DoublePlace::kLoaded;
  std::wstring command = builtFile(loaded ? OUTLOOK_DOUBLE_LIBRARY : OUTLOOK_DOUBLE_PROGRAM);
  if (!loaded) {
    command = L"\"" + command + L"\"" + (folder.empty() ? L"" : L" \"" + toWide(folder) + L"\"");
  }
  if (!registerClasses(loaded ? ServerKind::kLibrary : ServerKind::kProgram, command, false) ||
      (place == DoublePlace::kLibraryLoaded &&
       !registerLibrary(builtFile(OUTLOOK_DOUBLE_LIBRARY), false))) {
    throw std::runtime_error("the registry cannot be written");
  }
}

bool libraryIsLoaded() {
  return GetModuleHandleW(builtFile(OUTLOOK_DOUBLE_LIBRARY).c_str()) != nullptr;
}

DoubleServer::DoubleServer(const std::string& folder) {
  registerDouble(DoublePlace::kProgram, folder);
}

DoubleServer::~DoubleServer() {
  unregisterClasses();
}

}  // namespace relaybird::outlook_double
