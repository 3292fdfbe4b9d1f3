// SPDX-License-Identifier: MIT
// What Windows itself is asked for a program, over the registry and the user of the test.
#include "app/win32/win32_platform.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "app/program_platform.h"
#include "app/win32/win32_desktop_programs.h"
#include "platform/win32/win32_file_system.h"
#include "platform/win32/win32_text.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"
#include "support/win32_folder_changes.h"

namespace relaybird {
namespace {

// A program that writes down what it was started with, in a file that appears when it is whole.
class WritingTool {
 public:
  WritingTool() {
    writeBytes(path(), "@echo [%*]>\"%~dp0writing\"\r\n@ren \"%~dp0writing\" written\r\n");
  }
  std::string path() const { return folder_.path("a tool.cmd"); }
  // What it was started with, in brackets, without the quotes of the command line.
  std::string heard() {
    auto words = changes_.bring(folder_.path("written")).value_or("nothing: it was not started");
    std::erase_if(words, [](char c) { return c == '"' || c == '\r' || c == '\n'; });
    return words;
  }

 private:
  TempFolder folder_;
  FolderChanges changes_{folder_.path()};
};

std::string variable(const wchar_t* name) {
  const wchar_t* const value = ::_wgetenv(name);
  return value == nullptr ? "" : fromWide(value);
}

TEST(LocalIdentity, ItIsTheUserWhomTheEnvironmentNames) {
  const LocalIdentity identity = localIdentity();
  ASSERT_NE(variable(L"USERNAME"), "");
  EXPECT_EQ(identity.userAtHost.substr(0, identity.userAtHost.find('@')), variable(L"USERNAME"));
  EXPECT_EQ(identity.homeFolder, variable(L"USERPROFILE"));
  const auto at = identity.userAtHost.find('@');
  ASSERT_NE(at, std::string::npos);
  EXPECT_NE(identity.userAtHost.substr(at + 1), "");
}

// A script tells errors from answers by the stream, and reads both as UTF-8.
TEST(Win32Streams, EachTextGoesToItsOwnStreamAsItIs) {
  const StandardStreams streams = systemPlatform().streams;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  streams.out("an answer \u00e9\n");
  streams.err("a refusal \u20ac\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "an answer \u00e9\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "a refusal \u20ac\n");
}

class Win32RegistryTest : public testing::Test {
 protected:
  Win32RegistryTest() {
    ::RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\RelaybirdTest", L"Path", REG_SZ,
                      L"C:\\tool.exe", 24);
  }
  ~Win32RegistryTest() override { ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\RelaybirdTest"); }

  Win32Registry registry;
};

TEST_F(Win32RegistryTest, AValueOfAKeyIsRead) {
  const auto key = registry.open(RegistryRoot::kCurrentUser, "Software\\RelaybirdTest");
  ASSERT_TRUE(key) << key.error().text;
  const auto value = (*key)->query("Path", 1024);
  ASSERT_TRUE(value) << value.error().text;
  EXPECT_EQ(std::get<std::string>(*value), "C:\\tool.exe");
}

TEST_F(Win32RegistryTest, WhatIsMissingIsAnError) {
  EXPECT_FALSE(registry.open(RegistryRoot::kCurrentUser, "Software\\RelaybirdTest\\None"));
  EXPECT_FALSE(registry.open(RegistryRoot::kLocalMachine, "Software\\RelaybirdTest"))
      << "the key of the user";
  const auto key = registry.open(RegistryRoot::kCurrentUser, "Software\\RelaybirdTest");
  ASSERT_TRUE(key);
  EXPECT_FALSE((*key)->query("None", 1024));
}

// The keys of the whole computer are those of a key of the test's own.
class Win32SystemInformationTest : public testing::Test {
 protected:
  Win32SystemInformationTest() {
    ::RegCreateKeyExW(HKEY_CURRENT_USER, kComputer, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                      &computer, nullptr);
    EXPECT_EQ(::RegOverridePredefKey(HKEY_LOCAL_MACHINE, computer), ERROR_SUCCESS);
  }
  ~Win32SystemInformationTest() override {
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    ::RegCloseKey(computer);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kComputer);
  }
  void put(const std::string& key, const char* name, const std::string& text) const {
    const std::wstring wide = toWide(text);
    EXPECT_EQ(::RegSetKeyValueW(computer, toWide("SOFTWARE\\Microsoft\\" + key).c_str(),
                                toWide(name).c_str(), REG_SZ, wide.c_str(),
                                static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }

  static constexpr const wchar_t* kComputer = L"Software\\RelaybirdTestComputer";
  HKEY computer = nullptr;
  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  Win32FileSystem files{sleeper};
  Win32SystemInformation information{files};
};

TEST_F(Win32SystemInformationTest, ItIsTheToolThatTheRegistryNames) {
  EXPECT_EQ(information.program(), std::nullopt);
  put("Shared Tools Location", "MSINFO", temp.path());
  EXPECT_EQ(information.program(), std::nullopt) << "the folder has no such file";
  writeBytes(temp.path("MSINFO32.EXE"), "");
  EXPECT_EQ(information.program(), temp.path() + "\\MSINFO32.EXE");
  put("Shared Tools\\MSINFO", "PATH", "C:\\J\u00f6rg\\tool.exe");
  EXPECT_EQ(information.program(), "C:\\J\u00f6rg\\tool.exe");
}

TEST_F(Win32SystemInformationTest, TheToolIsStarted) {
  WritingTool tool;
  ASSERT_TRUE(information.start(tool.path()));
  EXPECT_EQ(tool.heard(), "[]");
  EXPECT_FALSE(information.start(temp.path("no tool.exe")));
}

// What opens folders and addresses is registered in a key of the test's own.
class ShellFolderViewerTest : public testing::Test {
 protected:
  ShellFolderViewerTest() {
    ::RegCreateKeyExW(HKEY_CURRENT_USER, kClasses, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &classes,
                      nullptr);
    EXPECT_EQ(::RegOverridePredefKey(HKEY_CLASSES_ROOT, classes), ERROR_SUCCESS);
  }
  ~ShellFolderViewerTest() override {
    ::RegOverridePredefKey(HKEY_CLASSES_ROOT, nullptr);
    ::RegCloseKey(classes);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, kClasses);
  }
  void put(const std::string& key, const wchar_t* name, const std::string& text) const {
    const std::wstring wide = toWide(text);
    EXPECT_EQ(::RegSetKeyValueW(classes, toWide(key).c_str(), name, REG_SZ, wide.c_str(),
                                static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }
  void letToolOpen(const std::string& kind) const {
    put(kind + "\\shell", nullptr, "open");
    put(kind + "\\shell\\open\\command", nullptr, "cmd.exe /c \"\"" + tool.path() + "\" \"%1\"\"");
  }

  static constexpr const wchar_t* kClasses = L"Software\\RelaybirdTestClasses";
  HKEY classes = nullptr;
  WritingTool tool;
  TempFolder temp;
  ShellFolderViewer viewer;
};

TEST_F(ShellFolderViewerTest, AnAddressGoesToTheProgramThatIsRegisteredForIt) {
  put("relaybirdtest", L"URL Protocol", "");
  letToolOpen("relaybirdtest");
  ASSERT_TRUE(viewer.browse("relaybirdtest:page"));
  EXPECT_EQ(tool.heard(), "[relaybirdtest:page]");
}

TEST_F(ShellFolderViewerTest, AFolderGoesToTheProgramForFolders) {
  letToolOpen("Folder");
  letToolOpen("Directory");
  std::filesystem::create_directory(temp.path("a folder"));
  ASSERT_TRUE(viewer.show(temp.path("a folder")));
  EXPECT_EQ(tool.heard(), "[" + temp.path("a folder") + "]");
}

TEST_F(ShellFolderViewerTest, WhatNobodyOpensIsAnError) {
  EXPECT_FALSE(viewer.browse("relaybirdtest:page"));
  EXPECT_FALSE(viewer.show(temp.path("missing")));
}

}  // namespace
}  // namespace relaybird
