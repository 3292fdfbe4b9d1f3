// SPDX-License-Identifier: MIT
// The small services: versions, random numbers, pages for secrets, the start of programs.
#include <gtest/gtest.h>
#include <windows.h>

#include <shellapi.h>

#include <cerrno>
#include <cstdlib>
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

// Another name for the version, which no manifest changes.
OSVERSIONINFOEXW systemVersion() {
  using Query = LONG(WINAPI*)(OSVERSIONINFOEXW*);
  const auto query = reinterpret_cast<Query>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
  OSVERSIONINFOEXW version{};
  version.dwOSVersionInfoSize = sizeof version;
  query(&version);
  return version;
}

// The status of a program that has come to the end of the test below. One that runs no test at all
// has succeeded too.
constexpr DWORD kToldByItsNumber = 42;

// Not a test of its own: a program that ReleasesAfterWindows8AreToldByTheirOwnNumber starts.
TEST(Win32Version, DISABLED_OnWindows10) {
  const auto info = Win32OsVersion().GetOSVersionInfo();
  ASSERT_TRUE(info);
  EXPECT_GE(systemVersion().dwMajorVersion, 10u);
  EXPECT_EQ(info->majorVersion, systemVersion().dwMajorVersion);
  EXPECT_EQ(info->minorVersion, systemVersion().dwMinorVersion);
  EXPECT_EQ(info->buildNumber, systemVersion().dwBuildNumber);
  EXPECT_EQ(*Win32OsVersion().GetVersion() & 0xFFFFu, info->majorVersion);
  if (!HasFailure()) {
    std::exit(kToldByItsNumber);
  }
}

// Has Wine play Windows 10 for this program, from the next start on. Windows takes no notice.
class Windows10 {
 public:
  Windows10() {
    RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"Version", REG_SZ, L"win10", sizeof L"win10");
  }
  ~Windows10() { RegDeleteTreeW(HKEY_CURRENT_USER, kKey); }
  Windows10(const Windows10&) = delete;
  Windows10& operator=(const Windows10&) = delete;

 private:
  static constexpr const wchar_t* kKey = L"Software\\Wine\\AppDefaults\\platform_win32_test.exe";
};

// Without a manifest that names it, Windows 10 told of Windows 8.
TEST(Win32Version, ReleasesAfterWindows8AreToldByTheirOwnNumber) {
  const Windows10 played;
  wchar_t program[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  std::wstring line =
      L"test --gtest_also_run_disabled_tests --gtest_filter=Win32Version.DISABLED_OnWindows10";
  STARTUPINFOW how{};
  how.cb = sizeof how;
  PROCESS_INFORMATION process{};
  ASSERT_TRUE(CreateProcessW(program, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                             &how, &process));
  DWORD status = 0;
  EXPECT_EQ(WaitForSingleObject(process.hProcess, 20000), WAIT_OBJECT_0);
  EXPECT_TRUE(GetExitCodeProcess(process.hProcess, &status));
  EXPECT_EQ(status, kToldByItsNumber) << "its output is above";
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
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
