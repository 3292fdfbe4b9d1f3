// SPDX-License-Identifier: MIT
#include "app/win32/win32_desktop_programs.h"

#include <windows.h>

#include <cerrno>
#include <utility>

#include "platform/win32/registry_value.h"
#include "platform/win32/shell_programs.h"

namespace relaybird {
namespace {

class Win32RegistryKey : public RegistryKey {
 public:
  explicit Win32RegistryKey(RegistryKeyHandle key) : key_(std::move(key)) {}
  Result<RegistryValue> query(const std::string& valueName, std::size_t bufferSize) override {
    return readRegistryValue(key_.get(), valueName, bufferSize);
  }

 private:
  RegistryKeyHandle key_;
};

}  // namespace

Result<std::unique_ptr<RegistryKey>> Win32Registry::open(RegistryRoot root,
                                                         const std::string& keyName) {
  const HKEY whole = root == RegistryRoot::kCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
  auto key = openRegistryKey(whole, keyName, KEY_ALL_ACCESS);
  if (!key && key.error().code == EACCES) {
    key = openRegistryKey(whole, keyName, KEY_READ);
  }
  if (!key) {
    return key.error();
  }
  return std::unique_ptr<RegistryKey>(std::make_unique<Win32RegistryKey>(std::move(*key)));
}

Win32SystemInformation::Win32SystemInformation(FileSystem& files)
    : named_(registry_, files,
             [](const std::string& program) { return startProgram(program, {}); }) {}

Result<void> ShellFolderViewer::show(const std::string& folder) {
  return openInShell(folder);
}

Result<void> ShellFolderViewer::browse(const std::string& address) {
  return openInShell(address);
}

}  // namespace relaybird
