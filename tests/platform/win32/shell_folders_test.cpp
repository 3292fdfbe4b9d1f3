// SPDX-License-Identifier: MIT
#include "platform/win32/shell_folders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/file_system.h"
#include "platform/paths.h"
#include "platform/win32/win32_file_system.h"
#include "support/fake_clock.h"

namespace relaybird {
namespace {

// A shell that fails where it is told to. Its item list is only an address.
class ShellFoldersTest : public testing::Test {
 protected:
  ShellFolders folders() {
    return ShellFolders({[this](int number, PIDLIST_ABSOLUTE* list) {
                           asked.push_back(number);
                           *list = givesList ? &item : nullptr;
                           return located;
                         },
                         [this](PCIDLIST_ABSOLUTE, wchar_t* path) {
                           std::copy(text.begin(), text.end(), path);
                           return converted;
                         },
                         [this](PIDLIST_ABSOLUTE list) { freed += list == &item ? 1 : 100; }});
  }

  ITEMIDLIST item{};
  bool givesList = true;
  HRESULT located = S_OK;
  bool converted = true;
  std::wstring text = std::wstring(L"C:\\Users\\J\u00f6rg\\AppData\\Roaming\0rest", 35);
  std::vector<int> asked;
  int freed = 0;
};

TEST_F(ShellFoldersTest, TheTextBeforeTheFirstNulIsThePath) {
  EXPECT_EQ(folders().GetAppDataFolder(), "C:\\Users\\J\u00f6rg\\AppData\\Roaming");
  EXPECT_EQ(asked, (std::vector<int>{26}));
  EXPECT_EQ(freed, 1);
}

TEST_F(ShellFoldersTest, APathThatFillsTheBufferIsTakenWhole) {
  text = L"C:\\" + std::wstring(257, L'f');
  EXPECT_EQ(folders().GetAppDataFolder(), "C:\\" + std::string(257, 'f'));
}

TEST_F(ShellFoldersTest, TheListIsFreedInEveryCase) {
  converted = false;
  EXPECT_EQ(folders().GetAppDataFolder(), "");
  EXPECT_EQ(freed, 1);
  located = E_FAIL;
  EXPECT_EQ(folders().GetAppDataFolder(), "");
  EXPECT_EQ(freed, 2);
  givesList = false;
  EXPECT_EQ(folders().GetAppDataFolder(), "");
  located = S_OK;
  EXPECT_EQ(folders().GetAppDataFolder(), "");
  EXPECT_EQ(freed, 2) << "there was none";
}

TEST_F(ShellFoldersTest, PathsHaveNoClosingSeparator) {
  text = std::wstring(L"Z:\\\0", 4);
  EXPECT_EQ(folders().templatesFolder(), "Z:");
  text = std::wstring(L"C:\\Templates\\\0", 14);
  EXPECT_EQ(folders().templatesFolder(), "C:\\Templates");
}

TEST(SystemShellFolders, TheUsersFoldersExist) {
  const ShellFolders folders;
  FakeClock clock;
  RecordingSleeper sleeper(clock);
  Win32FileSystem files(sleeper);
  for (const std::string& folder :
       {folders.GetAppDataFolder(), folders.stateFolder(), folders.windowsFolder()}) {
    EXPECT_TRUE(isAbsolutePath(folder, PathStyle::kWindows)) << folder;
    const auto info = files.inspect(folder);
    ASSERT_TRUE(info) << folder;
    EXPECT_EQ(info->type, FileType::kFolder);
  }
  EXPECT_NE(folders.stateFolder(), folders.GetAppDataFolder());
  EXPECT_TRUE(isAbsolutePath(folders.templatesFolder(), PathStyle::kWindows));
  EXPECT_EQ(folders.GetSpecialFolderPath(9999), "");
}

}  // namespace
}  // namespace relaybird
