// SPDX-License-Identifier: MIT
// The system-information tool of Windows, found by way of the registry. The registry itself is
// handed in, so that the search works, and is tested, anywhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>

#include "platform/file_system.h"
#include "ui/forms/form_world.h"

namespace relaybird {

enum class RegistryRoot { kCurrentUser, kLocalMachine };

/// The buffer that a value is read into, in characters.
inline constexpr std::size_t kRegistryBufferSize = 1024;

/// A text (REG_SZ, in UTF-8, with whatever the buffer held from the closing NUL on) or a 32-bit
/// number (REG_DWORD).
using RegistryValue = std::variant<std::string, std::uint32_t>;

/// An open key. Destroying it closes it (RegCloseKey).
class RegistryKey {
 public:
  virtual ~RegistryKey() = default;
  /// Reads a value (RegQueryValueExA). An error where there is none of that name, where it is of
  /// another kind and where it does not fit into `bufferSize` characters.
  virtual Result<RegistryValue> query(const std::string& valueName, std::size_t bufferSize) = 0;
};

class Registry {
 public:
  virtual ~Registry() = default;
  /// Opens a key with full access (RegOpenKeyExA with KEY_ALL_ACCESS).
  virtual Result<std::unique_ptr<RegistryKey>> open(RegistryRoot root,
                                                    const std::string& keyName) = 0;
};

/// True and the value in `result` where it can be read: a text up to its first NUL, a number in
/// decimal digits. Else false and an empty `result`. The key is closed either way.
bool GetKeyValue(Registry& registry, RegistryRoot root, const std::string& keyName,
                 const std::string& valueName, std::string& result);

class RegistrySystemInformation : public SystemInformation {
 public:
  /// Starts a program with a normal, focused window and returns at once.
  using Starter = std::function<Result<void>(const std::string& program)>;

  /// `registry` and `files` must outlive it.
  RegistrySystemInformation(Registry& registry, FileSystem& files, Starter starter);

  /// The tool that the registry names, unseen; else MSINFO32.EXE where it is in the folder that the
  /// registry names.
  std::optional<std::string> program() override;
  Result<void> start(const std::string& program) override { return starter_(program); }

 private:
  Registry& registry_;
  FileSystem& files_;
  Starter starter_;
};

}  // namespace relaybird
