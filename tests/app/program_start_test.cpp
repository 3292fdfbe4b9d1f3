// SPDX-License-Identifier: MIT
#include "app/program_start.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "app/posix/posix_platform.h"
#include "platform/posix/posix_file_system.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

TEST(ProgramStart, TheHelpFileIsWhereItIsInstalledElseBesideTheProgram) {
  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper(clock);
  PosixFileSystem files(sleeper);
  const std::string installed = temp.path("share/relaybird/rbx.chm");
  std::filesystem::create_directories(temp.path("bin"));
  std::filesystem::create_directories(temp.path("share/relaybird"));
  EXPECT_EQ(defaultHelpFile(files, temp.path("bin")), installed) << "to be told where to look";
  writeBytes(temp.path("bin/rbx.chm"), "x");
  EXPECT_EQ(defaultHelpFile(files, temp.path("bin")), temp.path("bin/rbx.chm"));
  writeBytes(installed, "x");
  EXPECT_EQ(defaultHelpFile(files, temp.path("bin")), installed);
}

TEST(ProgramStart, TheProgramKnowsItsFolder) {
  EXPECT_TRUE(std::filesystem::is_regular_file(programFolder() + "/app_posix_test"));
}

TEST(ProgramStart, CredentialsAreInTheFolderThatTheServiceManagerNames) {
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
