// SPDX-License-Identifier: MIT
// The calls of Windows as profile strings: what they keep, and what a failure leaves.
#include "platform/win32/win32_profile_strings.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "platform/profile/profile_file.h"
#include "platform/win32/win32_file_system.h"
#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using namespace std::string_literals;

class Win32Profile : public testing::Test {
 protected:
  std::string get(std::string_view key, std::string_view fallback = "(default)",
                  std::size_t size = kProfileBufferSize) {
    return profiles.read(file)->get("S", key, fallback, size);
  }
  bool set(std::string_view key, std::string_view value) {
    const auto writer = profiles.write(file);
    const bool done = writer->set("S", key, value) && writer->commit();
    lastError = writer->error();
    return done;
  }

  FakeClock clock;
  RecordingSleeper sleeper{clock};
  Win32FileSystem disk{sleeper};
  FaultyFileSystem files{disk};
  Win32ProfileStrings profiles{files};
  TempFolder temp;
  std::string file = temp.path("rbx.ini");
  std::string lastError;
};

TEST_F(Win32Profile, EveryCharacterIsKept) {
  const std::string name = "J\u00f6rg \u20ac \u4e2d\u6587 \U0001F426";
  EXPECT_TRUE(set("k", name)) << lastError;
  EXPECT_EQ(get("k"), name);
  EXPECT_TRUE(set("other", "x")) << lastError;
  EXPECT_EQ(get("k"), name);
  EXPECT_EQ(ProfileFile(disk).read(file)->get("S", "k", ""), name) << "on another system";
}

TEST_F(Win32Profile, WhatAnOlderReleaseWroteInTheCodePageIsReadAndKept) {
  writeBytes(file, "[S]\r\nold=J\xF6rg \x80\r\nb=1\r\n");
  EXPECT_EQ(get("old"), "J\u00f6rg \u20ac");
  EXPECT_TRUE(set("b", "\u4e2d")) << lastError;
  EXPECT_EQ(get("old"), "J\u00f6rg \u20ac");
  EXPECT_EQ(get("b"), "\u4e2d");
}

TEST_F(Win32Profile, AFileInUtf8IsReadAndKeptWithAndWithoutAMark) {
  for (const std::string mark : {"", "\xEF\xBB\xBF"}) {
    writeBytes(file, mark + "[S]\nold=J\u00f6rg \u4e2d\nb=1\n");
    EXPECT_EQ(get("old"), "J\u00f6rg \u4e2d");
    EXPECT_TRUE(set("b", "2")) << lastError;
    EXPECT_EQ(get("old"), "J\u00f6rg \u4e2d");
    EXPECT_EQ(get("b"), "2");
  }
}

// In UTF-16 the two characters are what was typed.
TEST_F(Win32Profile, TextThatLooksLikeUtf8InTheCodePageStaysInAMarkedFile) {
  EXPECT_TRUE(set("k", "\u00c3\u00b6"));
  EXPECT_EQ(get("k"), "\u00c3\u00b6");
}

TEST_F(Win32Profile, ValuesAreCutByCharacters) {
  std::string value;
  for (int i = 0; i < 300; ++i) {
    value += "\U0001F426";
  }
  EXPECT_TRUE(set("k", value));
  EXPECT_EQ(get("k").size(), 254 * 4u);
  EXPECT_EQ(get("k", "", 2), "\U0001F426");
  EXPECT_EQ(get("k", "", 1), "");
  EXPECT_EQ(get("k", "", 0), "");
}

TEST_F(Win32Profile, TheDefaultIsForAnAbsentKeyAlone) {
  writeBytes(file, "[S]\r\nempty=\r\n");
  EXPECT_EQ(get("empty"), "");
  EXPECT_EQ(get("absent"), "(default)");
  EXPECT_EQ(get("absent", "\"quoted\"  "), "\"quoted\"");
  EXPECT_EQ(profiles.read(temp.path("missing.ini"))->get("S", "k", "none"), "none");
}

TEST_F(Win32Profile, WhatWouldBreakTheLinesIsRefused) {
  EXPECT_FALSE(set("k", "one\r\nmbolBcc=1"));
  EXPECT_FALSE(set("k", "nul\0byte"s));
  EXPECT_FALSE(set("a=b", "x"));
  EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(Win32Profile, ValuesThatAreThereAlreadyWriteNothing) {
  EXPECT_TRUE(set("k", "v"));
  files.reset();
  EXPECT_TRUE(set("k", "v"));
  EXPECT_EQ(files.record(), (std::vector<std::string>{"syncFolder " + temp.path()}));
}

TEST_F(Win32Profile, AFailureOfAnyStepLeavesTheOldFileWhole) {
  const std::string old = "; mine\r\n[S]\r\nk=old\r\n";
  writeBytes(file, old);
  EXPECT_TRUE(set("k", "new"));
  const std::size_t steps = files.steps();
  EXPECT_GE(steps, 6u);
  for (std::size_t step = 1; step < steps; ++step) {
    writeBytes(file, old);
    files.reset();
    files.failStep(step, ENOSPC);
    EXPECT_FALSE(set("k", "new")) << step;
    EXPECT_NE(lastError, "");
    EXPECT_EQ(readBytes(file), old) << step;
    EXPECT_FALSE(std::filesystem::exists(temporaryName(file, 1))) << step;
    files.reset();
    EXPECT_TRUE(set("k", "new")) << step;
    EXPECT_EQ(get("k"), "new");
  }
}

TEST_F(Win32Profile, WhatACrashLeftIsReplaced) {
  writeBytes(temporaryName(file, 1), "torn");
  EXPECT_TRUE(set("k", "v")) << lastError;
  EXPECT_EQ(get("k"), "v");
  EXPECT_FALSE(std::filesystem::exists(temporaryName(file, 1)));
}

TEST_F(Win32Profile, AReadOnlyFileIsRefusedInWords) {
  writeBytes(file, "[S]\r\nk=old\r\n");
  std::filesystem::permissions(file, std::filesystem::perms::owner_read);
  EXPECT_FALSE(set("k", "new"));
  EXPECT_NE(lastError.find("it is read-only"), std::string::npos) << lastError;
  EXPECT_EQ(get("k"), "old");
  std::filesystem::permissions(file, std::filesystem::perms::owner_all);
}

TEST_F(Win32Profile, AnotherHolderOfTheLockIsToldOf) {
  const auto lock = disk.lockFolder(temp.path());
  EXPECT_FALSE(set("k", "v"));
  EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
}  // namespace relaybird
