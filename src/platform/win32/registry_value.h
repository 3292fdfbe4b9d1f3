// SPDX-License-Identifier: MIT
// The registry's values, as the program reads and writes them.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/result.h"

namespace relaybird {

struct CloseRegistryKey {
  using pointer = HKEY;
  void operator()(HKEY key) const { ::RegCloseKey(key); }
};
/// Owns an open key.
using RegistryKeyHandle = std::unique_ptr<HKEY, CloseRegistryKey>;

/// Opens a key. An error where it does not exist (ENOENT) or the access is not allowed (EACCES).
Result<RegistryKeyHandle> openRegistryKey(HKEY root, const std::string& name, REGSAM access);
/// The same, and makes the key where it does not exist.
Result<RegistryKeyHandle> makeRegistryKey(HKEY root, const std::string& name, REGSAM access);

/// A text of any kind, in UTF-8 and up to its first NUL, with the environment's variables put in
/// where its type asks for that; or a 32-bit number.
using RegistryTextOrNumber = std::variant<std::string, std::uint32_t>;

/// An error if there is no such value (ENOENT), if it has another type (EINVAL), or if its text is
/// longer than `mostCharacters` UTF-16 units with the closing NUL (ENAMETOOLONG).
Result<RegistryTextOrNumber> readRegistryValue(HKEY key, const std::string& name,
                                               std::size_t mostCharacters);
/// The bytes of a value of any type.
Result<std::vector<unsigned char>> readRegistryBytes(HKEY key, const std::string& name);

Result<void> writeRegistryText(HKEY key, const std::string& name, const std::string& text);
/// ENOENT where there is no such value.
Result<void> removeRegistryValue(HKEY key, const std::string& name);

}  // namespace relaybird
