// SPDX-License-Identifier: MIT
// What the system itself is asked for a program.
#include "app/posix/posix_platform.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "support/temp_folder.h"

namespace relaybird {
namespace {

TEST(PosixPlatform, TheProgramKnowsItsFolder) {
  EXPECT_TRUE(std::filesystem::is_regular_file(programFolder() + "/app_posix_test"));
}

TEST(PosixPlatform, WhoeverMayReadAProgramMayNotAlwaysRunIt) {
  TempFolder temp;
  writeBytes(temp.path("msmtp"), "#!/bin/sh\n");
  std::filesystem::permissions(temp.path("msmtp"), std::filesystem::perms(0644));
  EXPECT_FALSE(mayRun(temp.path("msmtp"))) << "not even the superuser";
  EXPECT_FALSE(mayRun(temp.path("missing")));
  std::filesystem::permissions(temp.path("msmtp"), std::filesystem::perms(0755));
  EXPECT_TRUE(mayRun(temp.path("msmtp")));
}

TEST(PosixPlatform, CredentialsAreInTheFolderThatTheServiceManagerNames) {
  ::unsetenv("CREDENTIALS_DIRECTORY");
  EXPECT_EQ(credentialFolder(), "");
  ::setenv("CREDENTIALS_DIRECTORY", "/run/user/1000/credentials/relaybird-console.service", 1);
  EXPECT_EQ(credentialFolder(), "/run/user/1000/credentials/relaybird-console.service");
  ::setenv("CREDENTIALS_DIRECTORY", "here", 1);
  EXPECT_EQ(credentialFolder(), "");
  ::unsetenv("CREDENTIALS_DIRECTORY");
}

}  // namespace
}  // namespace relaybird
