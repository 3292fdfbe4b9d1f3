// SPDX-License-Identifier: MIT
// Values of the registry, in a key of the test's own, and autostart in the user's real Run key,
// whose value is put back.
#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <string>
#include <string_view>

#include "platform/win32/registry_value.h"
#include "platform/win32/run_key_autostart.h"
#include "platform/win32/win32_file_system.h"
#include "platform/win32/win32_text.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using namespace std::string_literals;

constexpr const char* kTestKey = "Software\\Relaybird test";

template <class T>
int codeOf(const Result<T>& result) {
  return result ? 0 : result.error().code;
}

class RegistryTest : public testing::Test {
 protected:
  RegistryTest() {
    auto made = makeRegistryKey(HKEY_CURRENT_USER, kTestKey, KEY_ALL_ACCESS);
    key = std::move(*made);
  }
  ~RegistryTest() override {
    key.reset();
    ::RegDeleteKeyW(HKEY_CURRENT_USER, toWide(kTestKey).c_str());
  }
  void put(const char* name, DWORD type, std::wstring_view text) {
    ::RegSetValueExW(key.get(), toWide(name).c_str(), 0, type,
                     reinterpret_cast<const BYTE*>(text.data()),
                     static_cast<DWORD>(text.size() * sizeof(wchar_t)));
  }
  std::string text(const char* name, std::size_t most = 1024) {
    const auto value = readRegistryValue(key.get(), name, most);
    return value ? std::get<std::string>(*value) : "error " + std::to_string(value.error().code);
  }

  RegistryKeyHandle key;
};

TEST_F(RegistryTest, ATextEndsAtItsFirstNulAndNeedsNone) {
  put("plain", REG_SZ, std::wstring_view(L"J\u00f6rg\0", 5));
  put("cut", REG_SZ, std::wstring_view(L"one\0two\0", 8));
  put("open", REG_SZ, std::wstring_view(L"open", 4));
  put("empty", REG_SZ, {});
  EXPECT_EQ(text("plain"), "J\u00f6rg");
  EXPECT_EQ(text("PLAIN"), "J\u00f6rg");
  EXPECT_EQ(text("cut"), "one");
  EXPECT_EQ(text("open"), "open");
  EXPECT_EQ(text("empty"), "");
}

TEST_F(RegistryTest, VariablesArePutIntoATextThatIsForThem) {
  ::SetEnvironmentVariableW(L"RELAYBIRD_TEST", L"C:\\Tools");
  put("expanded", REG_EXPAND_SZ, std::wstring_view(L"%RELAYBIRD_TEST%\\info.exe\0", 26));
  put("plain", REG_SZ, std::wstring_view(L"%RELAYBIRD_TEST%\0", 17));
  EXPECT_EQ(text("expanded"), "C:\\Tools\\info.exe");
  EXPECT_EQ(text("plain"), "%RELAYBIRD_TEST%");
}

TEST_F(RegistryTest, ANumberHas32Bits) {
  const DWORD number = 0x80000001;
  ::RegSetValueExW(key.get(), L"number", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 4);
  ::RegSetValueExW(key.get(), L"short", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), 2);
  const auto value = readRegistryValue(key.get(), "number", 1024);
  ASSERT_TRUE(value);
  EXPECT_EQ(std::get<std::uint32_t>(*value), 0x80000001u);
  EXPECT_EQ(codeOf(readRegistryValue(key.get(), "short", 1024)), EINVAL);
}

TEST_F(RegistryTest, WhatIsMissingTooLongOrOfAnotherTypeIsAnError) {
  put("bytes", REG_BINARY, L"ab");
  put("long", REG_SZ, std::wstring(1023, L'x') + L'\0');
  EXPECT_EQ(text("missing"), "error " + std::to_string(ENOENT));
  EXPECT_EQ(text("bytes"), "error " + std::to_string(EINVAL));
  EXPECT_EQ(text("long").size(), 1023u);
  EXPECT_EQ(text("long", 1023), "error " + std::to_string(ENAMETOOLONG));
  EXPECT_EQ(codeOf(openRegistryKey(HKEY_CURRENT_USER, "Software\\no such key", KEY_READ)), ENOENT);
}

TEST_F(RegistryTest, ATextThatIsWrittenIsReadAgain) {
  ASSERT_TRUE(writeRegistryText(key.get(), "w", "\"C:\\J\u00f6rg\\\U0001F426.exe\""));
  EXPECT_EQ(text("w"), "\"C:\\J\u00f6rg\\\U0001F426.exe\"");
  EXPECT_TRUE(removeRegistryValue(key.get(), "w"));
  EXPECT_EQ(codeOf(removeRegistryValue(key.get(), "w")), ENOENT);
}

class RunKeyAutostartTest : public testing::Test {
 protected:
  RunKeyAutostartTest() {
    writeBytes(program, "");
    runKey = std::move(*makeRegistryKey(HKEY_CURRENT_USER, kRunKey, KEY_ALL_ACCESS));
    approvals = std::move(*makeRegistryKey(HKEY_CURRENT_USER, kRunApprovalKey, KEY_ALL_ACCESS));
    if (const auto value = readRegistryValue(runKey.get(), kRunValue, 32768)) {
      before = std::get<std::string>(*value);
    }
  }
  ~RunKeyAutostartTest() override {
    (void)removeRegistryValue(approvals.get(), kRunValue);
    (void)removeRegistryValue(runKey.get(), kRunValue);
    if (before) {
      (void)writeRegistryText(runKey.get(), kRunValue, *before);
    }
  }
  std::string command() {
    const auto value = readRegistryValue(runKey.get(), kRunValue, 32768);
    return value ? std::get<std::string>(*value) : "";
  }
  void approve(unsigned char first) {
    const unsigned char note[12] = {first};
    ::RegSetValueExW(approvals.get(), toWide(kRunValue).c_str(), 0, REG_BINARY, note, sizeof note);
  }

  TempFolder temp;
  std::string program = temp.path("Relay bird.exe");
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  Win32FileSystem files{sleeper};
  RegistryKeyHandle runKey;
  RegistryKeyHandle approvals;
  std::optional<std::string> before;
  RunKeyAutostart autostart{files, program};
};

TEST_F(RunKeyAutostartTest, IsSwitchedOnAndOff) {
  ASSERT_TRUE(autostart.setEnabled(false));
  EXPECT_FALSE(autostart.enabled());
  EXPECT_TRUE(autostart.offered());
  ASSERT_TRUE(autostart.setEnabled(true));
  EXPECT_EQ(command(), '"' + program + '"');
  EXPECT_TRUE(autostart.enabled());
  EXPECT_TRUE(autostart.setEnabled(false));
  EXPECT_TRUE(autostart.setEnabled(false)) << "it is off already";
  EXPECT_EQ(command(), "");
}

TEST_F(RunKeyAutostartTest, AProgramThatIsGoneDoesNotStart) {
  ASSERT_TRUE(autostart.setEnabled(true));
  ASSERT_TRUE(files.remove(program));
  EXPECT_FALSE(autostart.enabled());
}

TEST_F(RunKeyAutostartTest, AnotherCopyCountsWithAndWithoutQuotesAndArguments) {
  writeBytes(temp.path("other.exe"), "");
  ASSERT_TRUE(writeRegistryText(runKey.get(), kRunValue, temp.path("other.exe") + " -x"));
  EXPECT_TRUE(autostart.enabled());
  ASSERT_TRUE(writeRegistryText(runKey.get(), kRunValue, '"' + program + "\" -x"));
  EXPECT_TRUE(autostart.enabled());
  for (const char* broken : {"\"", "", "\"unclosed"}) {
    ASSERT_TRUE(writeRegistryText(runKey.get(), kRunValue, broken));
    EXPECT_FALSE(autostart.enabled()) << broken;
  }
}

TEST_F(RunKeyAutostartTest, WhatTheSystemsSettingsSwitchedOffIsOffUntilItIsSwitchedOnHere) {
  ASSERT_TRUE(autostart.setEnabled(true));
  approve(2);
  EXPECT_TRUE(autostart.enabled());
  approve(3);
  EXPECT_FALSE(autostart.enabled());
  ASSERT_TRUE(autostart.setEnabled(true));
  EXPECT_TRUE(autostart.enabled());
}

}  // namespace
}  // namespace relaybird
