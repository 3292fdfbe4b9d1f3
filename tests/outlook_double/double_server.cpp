// SPDX-License-Identifier: MIT
#include "outlook_double/double_server.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>

#include "outlook_double/class_objects.h"

namespace relaybird::outlook_double {

DoubleServer::DoubleServer(const std::string& folder) {
  std::wstring file = toWide(OUTLOOK_DOUBLE_PROGRAM);
  std::replace(file.begin(), file.end(), L'/', L'\\');
  if (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES) {
    throw std::runtime_error("the double's program has not been built");
  }
  const std::wstring kept = folder.empty() ? L"" : L" \"" + toWide(folder) + L"\"";
  if (!registerClasses(ServerKind::kProgram, L"\"" + file + L"\"" + kept, false)) {
    throw std::runtime_error("the registry cannot be written");
  }
}

DoubleServer::~DoubleServer() {
  unregisterClasses();
}

}  // namespace relaybird::outlook_double
