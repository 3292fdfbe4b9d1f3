// SPDX-License-Identifier: MIT
// What Windows itself is asked for a program, over the registry and the user of the test.
#include "app/win32/win32_platform.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "app/win32/win32_desktop_programs.h"
#include "platform/win32/win32_file_system.h"
#include "platform/win32/win32_text.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

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

}  // namespace
}  // namespace relaybird
