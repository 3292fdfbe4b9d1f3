// SPDX-License-Identifier: MIT
// The small services: versions, random numbers, pages for secrets, the start of programs.
#include <gtest/gtest.h>
#include <windows.h>

#include <shellapi.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/system/random_bytes.h"
#include "platform/win32/locked_pages.h"
#include "platform/win32/shell_folders.h"
#include "platform/win32/shell_programs.h"
#include "platform/win32/win32_text.h"
#include "platform/win32/win32_version.h"
#include "support/temp_folder.h"
#include "support/win32_folder_changes.h"

namespace relaybird {
namespace {

TEST(Win32Version, BothSizesOfTheRecordAreFilledAndNoOther) {
  Win32VersionCalls calls;
  RawVersionRecord plain;
  RawVersionRecord extended;
  ASSERT_TRUE(calls.query(kPlainVersionRecordSize, plain));
  ASSERT_TRUE(calls.query(kExtendedVersionRecordSize, extended));
  EXPECT_EQ(plain.majorVersion, extended.majorVersion);
  EXPECT_EQ(plain.minorVersion, extended.minorVersion);
  EXPECT_EQ(plain.buildNumber, extended.buildNumber);
  EXPECT_EQ(plain.platformId, 2u);
  EXPECT_STREQ(plain.servicePack, extended.servicePack);
  RawVersionRecord other;
  EXPECT_FALSE(calls.query(kPlainVersionRecordSize - 4, other));
  EXPECT_FALSE(calls.query(0, other));
}

TEST(Win32Version, TheSystemBelongsToNoneOfTheOldFamilies) {
  const Win32OsVersion system;
  const auto info = system.GetOSVersionInfo();
  ASSERT_TRUE(info);
  EXPECT_GE(info->majorVersion, 6u);
  EXPECT_EQ(*system.GetVersion() & 0xFFu, info->majorVersion);
  EXPECT_FALSE(IsPreWin95(system) || IsWin95(system) || IsWin98(system) || IsWinME(system));
}

TEST(Win32Random, BytesAreAsManyAsAskedAndDiffer) {
  EXPECT_EQ(systemRandomBytes(0)->size(), 0u);
  const auto first = systemRandomBytes(1000);
  const auto second = systemRandomBytes(1000);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->size(), 1000u);
  EXPECT_NE(*first, *second);
  EXPECT_NE(first->find_first_not_of(first->front()), std::string::npos);
}

TEST(LockedPagesTest, EachSecretHasPagesOfItsOwn) {
  LockedPages pages;
  char* const first = pages.take(10);
  char* const second = pages.take(10000);
  first[9] = 'x';
  second[9999] = 'y';
  MEMORY_BASIC_INFORMATION info{};
  ASSERT_NE(::VirtualQuery(second, &info, sizeof info), 0u);
  EXPECT_EQ(info.AllocationBase, second);
  EXPECT_EQ(info.Protect, static_cast<DWORD>(PAGE_READWRITE));
  pages.giveBack(second, 10000);
  ASSERT_NE(::VirtualQuery(second, &info, sizeof info), 0u);
  EXPECT_EQ(info.State, static_cast<DWORD>(MEM_FREE));
  pages.giveBack(first, 10);
  EXPECT_THROW((void)pages.take(std::size_t{1} << 60), std::bad_alloc);
}

TEST(ShellPrograms, AProgramReadsTheWordsThatItWasGiven) {
  const std::vector<std::string> words = {
      "plain",     "two words",   "",          "\"",     "a\"b",
      "C:\\dir\\", "C:\\a b\\\\", "\\\"mixed", "\\\\\"", "J\u00f6rg"};
  std::string line = commandLineWord("program.exe");
  for (const std::string& word : words) {
    line += ' ' + commandLineWord(word);
  }
  int count = 0;
  wchar_t** const read = ::CommandLineToArgvW(toWide(line).c_str(), &count);
  ASSERT_EQ(count, static_cast<int>(words.size()) + 1);
  for (std::size_t i = 0; i < words.size(); ++i) {
    EXPECT_EQ(fromWide(read[i + 1]), words[i]);
  }
  ::LocalFree(read);
}

TEST(ShellPrograms, WhatIsNotThereCannotBeStartedOrOpened) {
  TempFolder temp;
  const auto started = startProgram(temp.path("missing.exe"), {});
  ASSERT_FALSE(started);
  EXPECT_EQ(started.error().code, ENOENT);
  EXPECT_NE(started.error().text.find("missing.exe"), std::string::npos);
  EXPECT_FALSE(openInShell(temp.path("missing folder")));
}

// Renaming a file is what the started program does.
TEST(ShellPrograms, AProgramIsStartedWithItsArguments) {
  TempFolder temp;
  writeBytes(temp.path("a file"), "copied");
  const FolderChanges changes(temp.path());
  const std::string shell = ShellFolders().windowsFolder() + "\\system32\\cmd.exe";
  ASSERT_TRUE(startProgram(shell, {"/c", "ren", temp.path("a file"), "renamed"}));
  EXPECT_EQ(changes.bring(temp.path("renamed")), "copied");
}

}  // namespace
}  // namespace relaybird
