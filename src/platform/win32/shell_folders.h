// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <shlobj.h>

#include <functional>
#include <string>

#include "platform/system/special_folders.h"

namespace relaybird {

/// The shell's calls, so that a test can let them fail and count what is freed.
struct ShellFolderCalls {
  /// SHGetSpecialFolderLocation without a window.
  std::function<HRESULT(int folderNumber, PIDLIST_ABSOLUTE* itemList)> locate;
  /// SHGetPathFromIDListW into a buffer of MAX_PATH characters.
  std::function<bool(PCIDLIST_ABSOLUTE itemList, wchar_t* path)> pathOf;
  /// Frees an item list by COM's allocator.
  std::function<void(PIDLIST_ABSOLUTE itemList)> free;
};
ShellFolderCalls systemShellFolderCalls();

/// modSpecialFol by the shell. The calls take text in UTF-16 and not in the user's code page, which
/// may not have the characters of the user's own name. Asked anew at each call.
class ShellFolders : public SpecialFolders {
 public:
  explicit ShellFolders(ShellFolderCalls calls = systemShellFolderCalls());

  std::string GetSpecialFolderPath(int folderNumber) const override;
  std::string templatesFolder() const override;
  std::string windowsFolder() const override;
  /// The local application data: unlike the others it does not follow the user to other computers.
  std::string stateFolder() const override;

 private:
  ShellFolderCalls calls_;
};

}  // namespace relaybird
