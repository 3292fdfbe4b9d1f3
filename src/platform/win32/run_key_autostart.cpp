// SPDX-License-Identifier: MIT
#include "platform/win32/run_key_autostart.h"

#include <cerrno>
#include <utility>
#include <variant>

#include "platform/win32/registry_value.h"

namespace relaybird {
namespace {

constexpr std::size_t kLongestCommand = 32768;

// The program in a command line: quoted, or up to the first blank.
std::string programOf(const std::string& command) {
  const bool quoted = command.starts_with('"');
  return quoted ? command.substr(1, command.find('"', 1) - 1)
                : command.substr(0, command.find(' '));
}

// The first byte of the system's note is even for a program that may start. Without a note it may.
bool switchedOff() {
  const auto key = openRegistryKey(HKEY_CURRENT_USER, kRunApprovalKey, KEY_READ);
  if (!key) {
    return false;
  }
  const auto note = readRegistryBytes(key->get(), kRunValue);
  return note && !note->empty() && note->front() % 2 != 0;
}

Result<void> removeFrom(const char* keyName) {
  const auto key = openRegistryKey(HKEY_CURRENT_USER, keyName, KEY_SET_VALUE);
  const auto removed = key ? removeRegistryValue(key->get(), kRunValue) : key.error();
  return !removed && removed.error().code == ENOENT ? Result<void>() : removed;
}

}  // namespace

RunKeyAutostart::RunKeyAutostart(FileSystem& files, std::string program)
    : files_(files), program_(std::move(program)) {}

bool RunKeyAutostart::enabled() {
  const auto key = openRegistryKey(HKEY_CURRENT_USER, kRunKey, KEY_READ);
  if (!key) {
    return false;
  }
  const auto value = readRegistryValue(key->get(), kRunValue, kLongestCommand);
  const std::string* const command = value ? std::get_if<std::string>(&*value) : nullptr;
  return command != nullptr && FileExists(files_, programOf(*command)) && !switchedOff();
}

Result<void> RunKeyAutostart::setEnabled(bool enabled) {
  if (!enabled) {
    return removeFrom(kRunKey);
  }
  // What the user has switched off elsewhere, the user switches on here.
  if (auto allowed = removeFrom(kRunApprovalKey); !allowed) {
    return allowed;
  }
  const auto key = makeRegistryKey(HKEY_CURRENT_USER, kRunKey, KEY_SET_VALUE);
  if (!key) {
    return key.error();
  }
  return writeRegistryText(key->get(), kRunValue, '"' + program_ + '"');
}

}  // namespace relaybird
