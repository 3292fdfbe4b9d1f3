// SPDX-License-Identifier: MIT
#include "platform/win32/shell_folders.h"

#include <objbase.h>

#include <array>
#include <string_view>
#include <utility>

#include "platform/paths.h"
#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

// A drive alone ("Z:\") would keep its separator, which the interface does not have.
std::string withoutClosing(const std::string& path) {
  const bool drive = path.size() == 3 && isSeparator(path.back(), PathStyle::kWindows);
  return drive ? path.substr(0, 2)
               : std::string(withoutClosingSeparators(path, PathStyle::kWindows));
}

}  // namespace

ShellFolderCalls systemShellFolderCalls() {
  return {[](int folderNumber, PIDLIST_ABSOLUTE* itemList) {
            return ::SHGetSpecialFolderLocation(nullptr, folderNumber, itemList);
          },
          [](PCIDLIST_ABSOLUTE itemList, wchar_t* path) {
            return ::SHGetPathFromIDListW(itemList, path) != 0;
          },
          [](PIDLIST_ABSOLUTE itemList) { ::CoTaskMemFree(itemList); }};
}

ShellFolders::ShellFolders(ShellFolderCalls calls) : calls_(std::move(calls)) {}

std::string ShellFolders::GetSpecialFolderPath(int folderNumber) const {
  PIDLIST_ABSOLUTE itemList = nullptr;
  const HRESULT located = calls_.locate(folderNumber, &itemList);
  // The call says that the buffer has this size; nothing after it is overwritten.
  std::array<wchar_t, MAX_PATH> path{};
  const bool found =
      SUCCEEDED(located) && itemList != nullptr && calls_.pathOf(itemList, path.data());
  // Also after a failure, which may have left a list.
  if (itemList != nullptr) {
    calls_.free(itemList);
  }
  if (!found) {
    return {};
  }
  const std::wstring_view whole(path.data(), path.size());
  return withoutClosing(fromWide(whole.substr(0, whole.find(L'\0'))));
}

std::string ShellFolders::templatesFolder() const {
  return GetSpecialFolderPath(CSIDL_TEMPLATES);
}

std::string ShellFolders::windowsFolder() const {
  std::array<wchar_t, MAX_PATH> path{};
  const UINT length = ::GetWindowsDirectoryW(path.data(), static_cast<UINT>(path.size()));
  return length > 0 && length < path.size() ? withoutClosing(fromWide({path.data(), length})) : "";
}

std::string ShellFolders::stateFolder() const {
  return GetSpecialFolderPath(CSIDL_LOCAL_APPDATA);
}

}  // namespace relaybird
