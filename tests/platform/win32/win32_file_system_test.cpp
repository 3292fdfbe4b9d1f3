// SPDX-License-Identifier: MIT
// What only this implementation has: long paths, files that others have open, names of devices.
#include "platform/win32/win32_file_system.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cerrno>

#include "platform/win32/object_handle.h"
#include "platform/win32/win32_error.h"
#include "platform/win32/win32_path.h"
#include "platform/win32/win32_text.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

template <class T>
int codeOf(const Result<T>& result) {
  return result ? 0 : result.error().code;
}

// A program that has a file open, as a virus scanner or an old editor does.
ObjectHandle openByOther(const std::string& path, DWORD share) {
  const HANDLE file =
      ::CreateFileW(toWide(path).c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_NE(file, INVALID_HANDLE_VALUE);
  return ObjectHandle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}

class Win32Files : public testing::Test {
 protected:
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  Win32FileSystem files{sleeper};
  TempFolder temp;
};

TEST_F(Win32Files, APathMayBeLongerThan260Characters) {
  std::string folder = temp.path();
  std::vector<std::string> made;
  while (folder.size() < 700) {
    folder += "/" + std::string(90, 'f');
    made.push_back(folder);
  }
  EXPECT_TRUE(MakeFolderPath(files, folder + "/file"));
  EXPECT_TRUE(replaceFile(files, folder + "/file", "first"));
  EXPECT_TRUE(replaceFile(files, folder + "/file", "second"));
  EXPECT_EQ(*readFile(files, folder + "/./file", 100), "second");
  EXPECT_EQ(files.list(folder)->size(), 1u);
  EXPECT_TRUE(files.lockFolder(folder));
  EXPECT_TRUE(files.mayWrite(folder + "/file"));
  EXPECT_TRUE(FileExists(files, folder + "/file"));
  EXPECT_TRUE(files.remove(folder + "/file"));
  for (auto level = made.rbegin(); level != made.rend(); ++level) {
    EXPECT_TRUE(::RemoveDirectoryW(systemPath(*level, "")->c_str()));
  }
}

TEST_F(Win32Files, ThePathsOfSharesAndOfTheLongFormComeBackPlain) {
  EXPECT_EQ(plainPath(L"\\\\?\\C:\\a\\b"), "C:\\a\\b");
  EXPECT_EQ(plainPath(L"\\\\?\\UNC\\server\\share\\b"), "\\\\server\\share\\b");
  EXPECT_EQ(plainPath(L"C:\\a"), "C:\\a");
  const std::string name(300, 'n');
  EXPECT_EQ(*systemPath("\\\\server\\share\\" + name, ""),
            L"\\\\?\\UNC\\server\\share\\" + toWide(name));
  EXPECT_EQ(*systemPath("C:/a/../b/" + name, ""), L"\\\\?\\C:\\b\\" + toWide(name));
  EXPECT_EQ(*systemPath("C:/a/../b", ""), L"C:/a/../b");
}

TEST_F(Win32Files, ADeviceIsNoFile) {
  EXPECT_EQ(files.inspect("NUL")->type, FileType::kOther);
  EXPECT_EQ(codeOf(files.open("NUL")), EINVAL);
  EXPECT_EQ(codeOf(files.append("NUL")), EINVAL);
  EXPECT_FALSE(FileExists(files, "NUL"));
}

TEST_F(Win32Files, ATargetThatAnotherProgramHasOpenIsWaitedFor) {
  writeBytes(temp.path("file"), "old");
  writeBytes(temp.path("new"), "new");
  auto scanner = openByOther(temp.path("file"), FILE_SHARE_READ);
  sleeper.onSleep = [&] {
    if (sleeper.slept.size() == 3) {
      scanner.reset();
    }
  };
  EXPECT_TRUE(files.rename(temp.path("new"), temp.path("file")));
  EXPECT_EQ(sleeper.slept.size(), 3u);
  EXPECT_EQ(readBytes(temp.path("file")), "new");
}

TEST_F(Win32Files, AFileThatStaysOpenElsewhereIsAnErrorInTheEnd) {
  writeBytes(temp.path("file"), "old");
  writeBytes(temp.path("new"), "new");
  const auto editor = openByOther(temp.path("file"), FILE_SHARE_READ);
  EXPECT_FALSE(files.rename(temp.path("new"), temp.path("file")));
  EXPECT_EQ(clock.elapsed(), kBusyFilePatience);
  EXPECT_EQ(codeOf(files.remove(temp.path("file"))), EBUSY);
  EXPECT_EQ(clock.elapsed(), 2 * kBusyFilePatience);
  EXPECT_EQ(readBytes(temp.path("file")), "old");
  EXPECT_EQ(readBytes(temp.path("new")), "new");
  EXPECT_FALSE(replaceFile(files, temp.path("file"), "new"));
  EXPECT_FALSE(std::filesystem::exists(temporaryName(temp.path("file"), 1)));
}

TEST_F(Win32Files, AFileThatNobodyMayReadNowIsBusy) {
  writeBytes(temp.path("file"), "x");
  const auto other = openByOther(temp.path("file"), 0);
  EXPECT_EQ(codeOf(files.open(temp.path("file"))), EBUSY);
  EXPECT_EQ(files.inspect(temp.path("file"))->size, 1u) << "its name can be looked at";
}

// That it is hidden cannot be tested here: Wine hides every name that begins with a point.
TEST_F(Win32Files, TheLockIsAFileThatLeavesWithIt) {
  auto lock = files.lockFolder(temp.path());
  ASSERT_TRUE(lock);
  const std::wstring file = toWide(temp.path(kFolderLockFile));
  EXPECT_NE(::GetFileAttributesW(file.c_str()), INVALID_FILE_ATTRIBUTES);
  lock->reset();
  EXPECT_EQ(::GetFileAttributesW(file.c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(Win32Files, AFileThatALockLeftInAPowerCutIsInNobodysWay) {
  writeBytes(temp.path(kFolderLockFile), "");
  EXPECT_TRUE(files.lockFolder(temp.path()));
  EXPECT_TRUE(std::filesystem::is_empty(temp.path()));
}

// The process of the next test: takes the lock, says so, and stays.
TEST(Win32FolderLock, DISABLED_Holder) {
  FakeClock clock;
  RecordingSleeper sleeper(clock);
  Win32FileSystem files(sleeper);
  wchar_t folder[MAX_PATH] = {};
  ASSERT_NE(::GetEnvironmentVariableW(L"RELAYBIRD_TEST_FOLDER", folder, MAX_PATH), 0u);
  const auto lock = files.lockFolder(fromWide(folder));
  ASSERT_TRUE(lock);
  writeBytes(fromWide(folder) + "\\held", "");
  ::Sleep(INFINITE);
}

TEST_F(Win32Files, AFolderLockExcludesOtherProcessesAndDiesWithThem) {
  const HANDLE change = ::FindFirstChangeNotificationW(toWide(temp.path()).c_str(), FALSE,
                                                       FILE_NOTIFY_CHANGE_FILE_NAME);
  ::SetEnvironmentVariableW(L"RELAYBIRD_TEST_FOLDER", toWide(temp.path()).c_str());
  wchar_t program[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  std::wstring line = L"test --gtest_also_run_disabled_tests --gtest_filter=*DISABLED_Holder";
  STARTUPINFOW start{};
  start.cb = sizeof start;
  PROCESS_INFORMATION child{};
  ASSERT_TRUE(::CreateProcessW(program, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                               &start, &child));
  while (!FileExists(files, temp.path("held"))) {
    ASSERT_EQ(::WaitForSingleObject(change, 60000), WAIT_OBJECT_0);
    ::FindNextChangeNotification(change);
  }
  ::FindCloseChangeNotification(change);
  EXPECT_EQ(codeOf(files.lockFolder(temp.path())), EWOULDBLOCK);
  ::TerminateProcess(child.hProcess, 1);
  EXPECT_EQ(::WaitForSingleObject(child.hProcess, 60000), WAIT_OBJECT_0);
  EXPECT_TRUE(files.lockFolder(temp.path()));
  ::CloseHandle(child.hThread);
  ::CloseHandle(child.hProcess);
}

TEST(Win32Error, FailuresHaveTheNumbersOfOtherSystemsAndTheSystemsWords) {
  EXPECT_EQ(win32Error("a", ERROR_PATH_NOT_FOUND).code, ENOENT);
  EXPECT_EQ(win32Error("a", ERROR_ALREADY_EXISTS).code, EEXIST);
  EXPECT_EQ(win32Error("a", ERROR_ACCESS_DENIED).code, EACCES);
  EXPECT_EQ(win32Error("a", ERROR_DISK_FULL).code, ENOSPC);
  EXPECT_EQ(win32Error("a", ERROR_NOT_SAME_DEVICE).code, EXDEV);
  EXPECT_EQ(win32Error("a", ERROR_CRC).code, EIO);
  EXPECT_EQ(win32Error("start", 0x20001234).text, "Cannot start: error 536875572");
  EXPECT_EQ(win32Error("start", ERROR_ACCESS_DENIED).text, "Cannot start: Access denied");
}

}  // namespace
}  // namespace relaybird
