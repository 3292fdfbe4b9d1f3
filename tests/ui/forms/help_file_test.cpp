// SPDX-License-Identifier: MIT
// Finding, choosing and remembering the help file, over the world in memory (fake_world.h). The
// viewer records what it is asked to show, and can refuse it.
#include "ui/forms/help_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <optional>
#include <vector>

#include "ui/forms/fake_world.h"

namespace relaybird {
namespace {

constexpr const char* kNotFound =
    "Help file (rbx.chm) not found:|The help file could not be found.  This could be caused by the "
    "Relaybird program .exe file being copied or moved away from the location where it was "
    "initially installed.  If you would like to view the help file then please specify its "
    "location.  The name of the file is rbx.chm and the default location is in the directory where "
    "the Relaybird program was initially installed.|none|OK Cancel";
constexpr const char* kChosenMissing =
    "Error|The help file you chose does not exist.|exclamation|OK";
constexpr const char* kUnreadable =
    "Error|/app/rbx.chm is no help file.\r\n\r\nPress OK to look for another help "
    "file.|exclamation|"
    "OK Cancel";
constexpr const char* kMemory = "/windows/rbx.ini";

class HelpFileTest : public testing::Test, protected FakeWorld {
 protected:
  HelpFileTest() {
    folders_.windows = "/windows";
    helpFile_ = "/app/rbx.chm";
    files_.addFolder("/windows");
  }

  // The help file of a program that has just started.
  HelpFile program() {
    if (!world_) {
      world_.emplace(world());
    }
    return HelpFile(*world_);
  }
  void showAndChoose(HelpFile& help, std::optional<std::string> file) {
    dialogs_.answer(BoxAnswer::kOk);
    dialogs_.choose(std::move(file));
    help.show();
  }
  std::vector<std::string> boxes() const {
    std::vector<std::string> lines;
    for (const AnswerBox& box : dialogs_.boxes) {
      lines.push_back(boxLine(box));
    }
    return lines;
  }

  std::optional<ProgramWorld> world_;
};

TEST_F(HelpFileTest, AFileThatIsInItsPlaceIsShownWithoutAQuestion) {
  files_.addFile("/app/rbx.chm", "help");
  program().show();
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/app/rbx.chm"});
  EXPECT_TRUE(dialogs_.boxes.empty());
  EXPECT_TRUE(dialogs_.files.empty());
  EXPECT_TRUE(files_.changes.empty());
}

TEST_F(HelpFileTest, ATopicIsHandedToTheViewer) {
  files_.addFile("/app/rbx.chm", "help");
  program().show("settings-text");
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/app/rbx.chm#settings-text"});
}

TEST_F(HelpFileTest, CancellingTheQuestionShowsAndWritesNothing) {
  dialogs_.answer(BoxAnswer::kCancel);
  HelpFile help = program();
  help.show();
  EXPECT_EQ(boxes(), std::vector<std::string>{kNotFound});
  EXPECT_TRUE(dialogs_.files.empty());
  EXPECT_TRUE(helpViewer_.shown.empty());
  EXPECT_TRUE(files_.changes.empty());
  EXPECT_EQ(help.location(), "/app/rbx.chm");
}

TEST_F(HelpFileTest, TheFileDialogHasItsTitleInQuotesAndItsFilter) {
  HelpFile help = program();
  showAndChoose(help, std::nullopt);
  ASSERT_EQ(dialogs_.files.size(), 1u);
  EXPECT_EQ(dialogs_.files[0].title, "\"Please locate help file (rbx.chm)\"");
  EXPECT_EQ(dialogs_.files[0].filter, "Help File (*.chm)|*.chm");
}

TEST_F(HelpFileTest, CancellingTheFileDialogShowsAndWritesNothing) {
  HelpFile help = program();
  showAndChoose(help, std::nullopt);
  EXPECT_EQ(boxes(), std::vector<std::string>{kNotFound});
  EXPECT_TRUE(helpViewer_.shown.empty());
  EXPECT_TRUE(files_.changes.empty());
  EXPECT_EQ(help.location(), "/app/rbx.chm");
}

TEST_F(HelpFileTest, AChosenFileThatDoesNotExistIsToldAndChangesNothing) {
  files_.addFolder("/folder.chm");
  for (const char* chosen : {"/none.chm", "/folder.chm", ""}) {
    dialogs_.boxes.clear();
    HelpFile help = program();
    showAndChoose(help, chosen);
    EXPECT_EQ(boxes(), (std::vector<std::string>{kNotFound, kChosenMissing})) << chosen;
    EXPECT_EQ(help.location(), "/app/rbx.chm");
  }
  EXPECT_TRUE(helpViewer_.shown.empty());
  EXPECT_TRUE(files_.changes.empty());
}

TEST_F(HelpFileTest, AChosenFileIsShownAtOnce) {
  files_.addFile("/moved/rbx.chm", "help");
  HelpFile help = program();
  showAndChoose(help, "/moved/rbx.chm");
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/moved/rbx.chm"});
  EXPECT_EQ(help.location(), "/moved/rbx.chm");
  EXPECT_EQ(boxes(), std::vector<std::string>{kNotFound});
}

TEST_F(HelpFileTest, AChosenFileIsNotAskedForAgain) {
  files_.addFile("/moved/rbx.chm", "help");
  HelpFile help = program();
  showAndChoose(help, "/moved/rbx.chm");
  help.show();
  EXPECT_EQ(dialogs_.boxes.size(), 1u);
  EXPECT_EQ(helpViewer_.shown, (std::vector<std::string>{"/moved/rbx.chm", "/moved/rbx.chm"}));
}

TEST_F(HelpFileTest, AChosenFileIsWrittenBeforeItIsShown) {
  files_.addFile("/moved/rbx.chm", "help");
  std::string written;
  helpViewer_.onShow = [&] {
    written = profiles_.read(kMemory)->get("default", "strHelpFileLocation", "");
  };
  HelpFile help = program();
  showAndChoose(help, "/moved/rbx.chm");
  EXPECT_EQ(written, "/moved/rbx.chm");
}

TEST_F(HelpFileTest, AChosenFileSurvivesARestart) {
  const std::string file = "/moved/" + std::string(300, 'x') + "/rbx.chm";
  files_.addFile(file, "help");
  HelpFile help = program();
  showAndChoose(help, file);
  HelpFile next = program();
  EXPECT_EQ(next.location(), file);
  next.show();
  EXPECT_EQ(helpViewer_.shown, (std::vector<std::string>{file, file}));
  EXPECT_EQ(dialogs_.boxes.size(), 1u);
}

TEST_F(HelpFileTest, WhatElseIsInTheMemoryFileStays) {
  files_.addFile(kMemory, "[default]\r\nother=1\r\n");
  files_.addFile("/moved/rbx.chm", "help");
  HelpFile help = program();
  showAndChoose(help, "/moved/rbx.chm");
  EXPECT_EQ(files_.bytes(kMemory),
            "[default]\r\nother=1\r\nstrHelpFileLocation=/moved/rbx.chm\r\n");
}

TEST_F(HelpFileTest, ARememberedFileThatIsGoneDoesNotCount) {
  files_.addFile(kMemory, "[default]\r\nstrHelpFileLocation=/moved/rbx.chm\r\n");
  files_.addFile("/app/rbx.chm", "help");
  program().show();
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/app/rbx.chm"});
}

TEST_F(HelpFileTest, TheFileThatThePreferencesNameIsShown) {
  files_.addFile(kMemory, "[default]\r\nstrHelpFileLocation=/moved/rbx.chm\r\n");
  files_.addFile("/moved/rbx.chm", "help");
  files_.addFile("/named/rbx.chm", "help");
  HelpFile help = program();
  help.setLocation("/named/rbx.chm");
  help.show();
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/named/rbx.chm"});
}

TEST_F(HelpFileTest, ALinkToAFileIsAFileAndALinkToNothingIsNone) {
  files_.addFile("/share/rbx.chm", "help");
  files_.addLink("/app/rbx.chm", "/share/rbx.chm");
  program().show();
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/app/rbx.chm"});
  files_.addLink("/app/rbx.chm", "/share/gone.chm");
  dialogs_.answer(BoxAnswer::kCancel);
  program().show();
  EXPECT_EQ(helpViewer_.shown.size(), 1u);
}

TEST_F(HelpFileTest, AFolderOfTheFilesNameIsNoHelpFile) {
  files_.addFolder("/app/rbx.chm");
  dialogs_.answer(BoxAnswer::kCancel);
  program().show();
  EXPECT_EQ(boxes(), std::vector<std::string>{kNotFound});
}

TEST_F(HelpFileTest, AFileThatCannotBeShownIsToldInTheViewersWordsAndCancelChangesNothing) {
  files_.addFile("/app/rbx.chm", "damaged");
  helpViewer_.failure = "/app/rbx.chm is no help file.";
  dialogs_.answer(BoxAnswer::kCancel);
  HelpFile help = program();
  help.show();
  EXPECT_EQ(boxes(), std::vector<std::string>{kUnreadable});
  EXPECT_TRUE(dialogs_.files.empty());
  EXPECT_EQ(help.location(), "/app/rbx.chm");
  EXPECT_TRUE(files_.changes.empty());
}

TEST_F(HelpFileTest, AnotherFileCanBeChosenForOneThatCannotBeShown) {
  files_.addFile("/app/rbx.chm", "damaged");
  files_.addFile("/moved/rbx.chm", "help");
  helpViewer_.failure = "/app/rbx.chm is no help file.";
  dialogs_.onBox = [this](const AnswerBox&) { helpViewer_.failure.clear(); };
  HelpFile help = program();
  showAndChoose(help, "/moved/rbx.chm");
  EXPECT_EQ(helpViewer_.shown, (std::vector<std::string>{"/app/rbx.chm", "/moved/rbx.chm"}));
  EXPECT_EQ(boxes(), std::vector<std::string>{kUnreadable});
  EXPECT_EQ(help.location(), "/moved/rbx.chm");
  EXPECT_EQ(program().location(), "/moved/rbx.chm");
}

TEST_F(HelpFileTest, AChosenFileThatCannotBeShownIsNotTheLastWord) {
  files_.addFile("/moved/rbx.chm", "damaged");
  helpViewer_.failure = "/app/rbx.chm is no help file.";
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.choose("/moved/rbx.chm");
  dialogs_.answer(BoxAnswer::kOk);
  dialogs_.choose("/none.chm");
  HelpFile help = program();
  help.show();
  EXPECT_EQ(boxes(), (std::vector<std::string>{kNotFound, kUnreadable, kChosenMissing}));
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/moved/rbx.chm"});
  EXPECT_EQ(help.location(), "/moved/rbx.chm");
}

TEST_F(HelpFileTest, AFileThatCouldNotBeShownIsTriedAgainWithoutAQuestion) {
  files_.addFile("/app/rbx.chm", "damaged");
  helpViewer_.failure = "/app/rbx.chm is no help file.";
  dialogs_.answer(BoxAnswer::kCancel);
  HelpFile help = program();
  help.show();
  helpViewer_.failure.clear();
  help.show();
  EXPECT_EQ(helpViewer_.shown, (std::vector<std::string>{"/app/rbx.chm", "/app/rbx.chm"}));
  EXPECT_EQ(dialogs_.boxes.size(), 1u);
}

TEST_F(HelpFileTest, AChoiceThatCannotBeWrittenIsToldAfterTheHelpIsShown) {
  files_.addFile("/moved/rbx.chm", "help");
  files_.failCallsWith("create", ENOSPC);
  std::size_t boxesBefore = 0;
  helpViewer_.onShow = [&] { boxesBefore = dialogs_.boxes.size(); };
  HelpFile help = program();
  showAndChoose(help, "/moved/rbx.chm");
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/moved/rbx.chm"});
  EXPECT_EQ(boxesBefore, 1u);
  ASSERT_EQ(dialogs_.boxes.size(), 2u);
  EXPECT_EQ(dialogs_.boxes[1].title, "Error");
  EXPECT_EQ(dialogs_.boxes[1].icon, BoxIcon::kExclamation);
  EXPECT_EQ(dialogs_.boxes[1].buttons, BoxButtons::kOk);
  EXPECT_EQ(
      dialogs_.boxes[1].text.find("The location of the help file could not be remembered.\r\n\r\n"),
      0u);
  EXPECT_GT(dialogs_.boxes[1].text.size(), 60u);
  EXPECT_EQ(help.location(), "/moved/rbx.chm");
  EXPECT_FALSE(files_.has(kMemory));
}

TEST_F(HelpFileTest, AChoiceWithALineBreakInItsNameIsShownButNotRemembered) {
  files_.addFile("/moved/a\nb.chm", "help");
  HelpFile help = program();
  showAndChoose(help, "/moved/a\nb.chm");
  EXPECT_EQ(helpViewer_.shown.size(), 1u);
  EXPECT_EQ(dialogs_.boxes.size(), 2u);
  EXPECT_FALSE(files_.has(kMemory));
}

TEST_F(HelpFileTest, WithoutAWindowsFolderTheChoiceIsShownAndSaidNotToBeRemembered) {
  folders_.windows.clear();
  files_.addFile("/moved/rbx.chm", "help");
  HelpFile help = program();
  showAndChoose(help, "/moved/rbx.chm");
  EXPECT_EQ(helpViewer_.shown, std::vector<std::string>{"/moved/rbx.chm"});
  EXPECT_EQ(boxes(),
            (std::vector<std::string>{
                kNotFound,
                "Error|The location of the help file could not be remembered.\r\n\r\nThere "
                "is no folder to remember it in.|exclamation|OK"}));
  EXPECT_TRUE(files_.changes.empty());
}

}  // namespace
}  // namespace relaybird
