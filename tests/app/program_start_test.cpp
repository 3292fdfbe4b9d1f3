// SPDX-License-Identifier: MIT
#include "app/program_start.h"

#include <gtest/gtest.h>

#include "platform/paths.h"
#include "prefs/fake_files.h"

namespace relaybird {
namespace {

TEST(ProgramStart, TheHelpFileIsWhereItIsInstalledElseBesideTheProgram) {
  FakeFiles files;
  for (const char* folder : {"/usr", "/usr/bin", "/usr/share", "/usr/share/relaybird"}) {
    files.addFolder(folder);
  }
  const std::string installed = joinPath("/usr", "share/relaybird/rbx.chm");
  const std::string beside = joinPath("/usr/bin", "rbx.chm");
  EXPECT_EQ(defaultHelpFile(files, "/usr/bin"), installed) << "to be told where to look";
  files.addFile(beside, "x");
  EXPECT_EQ(defaultHelpFile(files, "/usr/bin"), beside);
  files.addFile(installed, "x");
  EXPECT_EQ(defaultHelpFile(files, "/usr/bin"), installed);
}

std::optional<CommandLineAnswer> answer(const std::vector<std::string>& arguments) {
  return answerArguments({"relaybird", "1.2.3", {1, 2, 3}}, "This helps.\n", arguments);
}

TEST(ProgramStart, WithoutOptionsTheProgramGoesOn) {
  EXPECT_FALSE(answer({}));
}

TEST(ProgramStart, HelpAndVersionAreAnswered) {
  EXPECT_EQ(answer({"--help"})->status, 0);
  EXPECT_EQ(answer({"--help"})->text, "This helps.\n");
  EXPECT_EQ(answer({"--version"})->status, 0);
  EXPECT_EQ(answer({"--version"})->text, "Relaybird 1.2.3\n");
}

TEST(ProgramStart, AnythingElseIsRefusedByName) {
  for (const auto& arguments :
       {std::vector<std::string>{"--quiet"}, {"--quiet", "--help"}, {"--quiet", "--version"}}) {
    EXPECT_EQ(answer(arguments)->status, kSettingsForbid);
    EXPECT_NE(answer(arguments)->text.find("\"--quiet\""), std::string::npos);
  }
  EXPECT_EQ(answer({"--help", "--quiet"})->status, kSettingsForbid);
}

}  // namespace
}  // namespace relaybird
