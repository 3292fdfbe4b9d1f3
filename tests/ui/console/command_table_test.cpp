// SPDX-License-Identifier: MIT
#include "ui/console/command_table.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ui/console/console_fixture.h"

namespace relaybird {
namespace {

using Words = std::vector<std::string>;

TEST(CommandTable, FindsCommandsWhateverTheCaseOfTheirLetters) {
  ASSERT_NE(findCommand("START"), nullptr);
  EXPECT_EQ(findCommand("START")->name, "start");
  EXPECT_EQ(findCommand("sta"), nullptr);
}

TEST(CommandTable, ListsEachCommandOnALineOfItsOwn) {
  const std::string list = commandList();
  EXPECT_EQ(static_cast<std::size_t>(std::count(list.begin(), list.end(), '\n')) + 1,
            commandTable().size());
  EXPECT_NE(list.find("\nlog [N]                         show the last N lines"),
            std::string::npos);
}

class CompletionTest : public testing::Test {
 protected:
  Completion of(std::string_view line) { return completions(line, program.forms()); }
  SmallProgram program;
};

TEST_F(CompletionTest, CompletesCommands) {
  EXPECT_EQ(of("sta").words, (Words{"start", "status"}));
  EXPECT_EQ(of("  STO").words, Words{"stop"});
  EXPECT_EQ(of("  STO").from, 2U);
  EXPECT_EQ(of("").words.size(), commandTable().size());
  EXPECT_EQ(of("start ").words, Words{});
}

TEST_F(CompletionTest, CompletesFormsAndTheControlsThatTakeInput) {
  EXPECT_EQ(of("click f").words, (Words{"frmMain.", "frmDialog."}));
  EXPECT_EQ(of("show frmD").words, Words{"frmDialog"});
  EXPECT_FALSE(of("show frmD").whole) << "a point may follow";
  EXPECT_TRUE(of("show frmDialog.c").whole);
  EXPECT_TRUE(of("close frmD").whole);
  EXPECT_EQ(of("set frmmain.TXT").words, (Words{"frmMain.txtState", "frmMain.txtName"}));
  EXPECT_EQ(of("set frmmain.TXT").from, 4U);
  EXPECT_EQ(of("click frmDialog.").words, Words{}) << "a window that is not open";
  EXPECT_EQ(of("show frmDialog.").words, Words{"frmDialog.cmdOk"});
  EXPECT_EQ(of("close frmM").words, Words{"frmMain"});
}

TEST_F(CompletionTest, CompletesTheValuesOfAControl) {
  EXPECT_EQ(of("set frmMain.chkLoud o").words, (Words{"on", "off"}));
  EXPECT_EQ(of("set frmMain.cmbPlace message b").words, Words{"Message Body Text"});
  EXPECT_EQ(of("set frmMain.cmbPlace message b").from, 21U);
  EXPECT_EQ(of("set frmMain.txtName ").words, Words{"\"Ann\""});
  EXPECT_EQ(of("set frmNone.txtName ").words, Words{});
}

}  // namespace
}  // namespace relaybird
