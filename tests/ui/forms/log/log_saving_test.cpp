// SPDX-License-Identifier: MIT
// The menu over the log's list, and saving the log to a file. Over a disk in memory, on which files
// may be in the way, read-only, or the disk full.
#include <cerrno>

#include "ui/forms/log/frm_log.h"
#include "ui/forms/log/frm_log_fixture.h"

namespace relaybird {
namespace {

TEST_F(FrmLog, TheMenuCopiesWhatIsSelectedOrAll) {
  addLines();
  log_.lstLog.setSelection({1});
  log_.mnuCopy.click();
  log_.mnuCopyAll.click();
  EXPECT_EQ(clipboard_.texts, (std::vector<std::string>{"two\r\n", "one\r\ntwo\r\nthree\r\n"}));
}

TEST_F(FrmLog, AllLinesAreSavedWhateverIsSelected) {
  addLines();
  log_.lstLog.setSelection({1});
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "one\ntwo\nthree\n");
  EXPECT_TRUE(dialogs_.boxes.empty());
  ASSERT_EQ(dialogs_.saved.size(), 1u);
  EXPECT_EQ(dialogs_.saved[0].name, "relaybird-log.txt");
  dialogs_.choose("/other.txt");
  log_.mnuSaveAs.click();
  EXPECT_EQ(files_.bytes("/other.txt"), "one\ntwo\nthree\n");
}

TEST_F(FrmLog, ASubjectBreaksNoLineOfASavedLog) {
  log_.AddToLog("subject\r\nwith \x1b[2Jcodes");
  saveAs("/log.txt");
  const std::string text = files_.bytes("/log.txt");
  EXPECT_EQ(text.find('\n'), text.size() - 1);
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
}

TEST_F(FrmLog, AUserWhoChoosesNoFileSavesNothing) {
  addLines();
  dialogs_.choose(std::nullopt);
  log_.cmdSaveAs.click();
  EXPECT_TRUE(files_.changes.empty());
  EXPECT_TRUE(dialogs_.boxes.empty());
}

TEST_F(FrmLog, AFileThatIsThereIsReplacedOnlyWhenTheUserSaysSo) {
  addLines();
  files_.addFile("/log.txt", "of yesterday");
  dialogs_.answer(BoxAnswer::kNo);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "of yesterday");
  dialogs_.answer(BoxAnswer::kYes);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "one\ntwo\nthree\n");
  ASSERT_EQ(dialogs_.boxes.size(), 2u);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]),
            "Save the Activity Log|There is a file /log.txt already.\r\n\r\nDo you want to replace "
            "it?|exclamation|Yes No");
}

TEST_F(FrmLog, AFileThatALinkNamesIsReplacedAndTheLinkStays) {
  addLines();
  files_.addFile("/real.txt", "of yesterday");
  files_.addLink("/log.txt", "/real.txt");
  dialogs_.answer(BoxAnswer::kYes);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/real.txt"), "one\ntwo\nthree\n");
  EXPECT_EQ(files_.entries.at("/log.txt").type, FileType::kLink);
}

TEST_F(FrmLog, AReadOnlyFileIsNotReplaced) {
  addLines();
  files_.addFile("/log.txt", "of yesterday");
  files_.entries.at("/log.txt").readOnly = true;
  dialogs_.answer(BoxAnswer::kYes);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "of yesterday");
  ASSERT_EQ(dialogs_.boxes.size(), 2u);
  EXPECT_EQ(dialogs_.boxes[1].title, "Error");
}

TEST_F(FrmLog, AFolderOrADeviceIsNotReplaced) {
  addLines();
  files_.addFolder("/folder");
  files_.entries["/pipe"] = {FileType::kOther, "", false, false};
  for (const char* path : {"/folder", "/pipe"}) {
    dialogs_.answer(BoxAnswer::kYes);
    saveAs(path);
    EXPECT_EQ(dialogs_.boxes.back().title, "Error") << path;
  }
  EXPECT_TRUE(files_.changes.empty());
}

TEST_F(FrmLog, ADiskThatIsFullIsToldAndLeavesWhatWasThere) {
  addLines();
  files_.addFile("/log.txt", "of yesterday");
  files_.failCallsWith("write ", ENOSPC);
  dialogs_.answer(BoxAnswer::kYes);
  saveAs("/log.txt");
  EXPECT_EQ(files_.bytes("/log.txt"), "of yesterday");
  const std::string words = dialogs_.boxes.back().text;
  EXPECT_TRUE(words.starts_with("The log could not be saved as /log.txt.\r\n\r\n")) << words;
}

TEST_F(FrmLog, AFolderThatCannotBeLookedIntoIsToldInTheBoxOfTheFailure) {
  addLines();
  files_.failCallsWith("/closed", EACCES);
  saveAs("/closed/log.txt");
  ASSERT_EQ(dialogs_.boxes.size(), 1u);
  EXPECT_EQ(dialogs_.boxes.back().title, "Error");
}

}  // namespace
}  // namespace relaybird
