// SPDX-License-Identifier: MIT
// The file of a journal by itself: what is in it after each step that fails, and what is known of
// that. The lines mean nothing here.
#include "outbox/journal_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "outbox/outbox_world.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class JournalFileTest : public testing::Test {
 protected:
  std::unique_ptr<JournalFile> open() {
    read.clear();
    auto file = std::make_unique<JournalFile>(
        files, path, [this] { return content; }, nullptr);
    EXPECT_TRUE(file->read([this](std::string_view line) {
      read.emplace_back(line);
      return line.starts_with("text");
    }));
    files.reset();
    return file;
  }
  std::string bytes() { return readBytes(path); }

  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  UnsyncedDisk disk{sleeper};
  FaultyFileSystem files{disk};
  std::string path = temp.path("journal");
  JournalFile::Content content;
  std::vector<std::string> read;
};

TEST_F(JournalFileTest, TellsWholeLinesAloneAndWritesACutOneOver) {
  writeBytes(path, "one\ntext two\ncut");
  const auto file = open();
  EXPECT_THAT(read, ElementsAre("one", "text two"));
  EXPECT_EQ(file->textSize(), 8U);
  content = {"one\ntext two\nthree\n", 9};
  ASSERT_TRUE(file->append("three\n"));
  EXPECT_EQ(bytes(), content.lines);
  EXPECT_EQ(file->textSize(), 9U);
}

TEST_F(JournalFileTest, ALineThatCouldNotBeWrittenIsWrittenWithTheWholeFile) {
  writeBytes(path, "one\n");
  const auto file = open();
  files.tearFailingWrites(true);
  files.refused = [](const std::string& step) { return step.starts_with("write "); };
  EXPECT_FALSE(file->append("two\n"));
  content.lines = "one\ntwo\nthree\n";
  EXPECT_FALSE(file->append("three\n")) << "the whole file cannot be written either";
  files.refused = nullptr;
  ASSERT_TRUE(file->sync());
  EXPECT_EQ(bytes(), content.lines);
}

TEST_F(JournalFileTest, AMessageThatCouldNotBeAppendedIsCertainlyNotThere) {
  writeBytes(path, "one\n");
  const auto file = open();
  files.refused = [](const std::string& step) { return step.starts_with("write "); };
  bool certain = false;
  EXPECT_FALSE(file->appendText("text\n", certain));
  EXPECT_TRUE(certain);
  EXPECT_EQ(bytes(), "one\n");
}

TEST_F(JournalFileTest, AMessageWhoseWaitForTheDiskFailedMayBeThereUntilTheFileIsWrittenAnew) {
  writeBytes(path, "one\n");
  const auto file = open();
  files.refused = [](const std::string& step) { return step.starts_with("sync "); };
  bool certain = true;
  EXPECT_FALSE(file->appendText("text\n", certain));
  EXPECT_FALSE(certain);
  EXPECT_THAT(bytes(), HasSubstr("text"));
  files.refused = nullptr;
  content.lines = "one\n";
  ASSERT_TRUE(file->sync());
  EXPECT_EQ(bytes(), "one\n");
}

// The steps of the disk: create, write, sync, close, rename, syncFolder.
TEST_F(JournalFileTest, AFileThatHasGrownKeepsAllLinesWhicheverStepOfWritingItAnewFails) {
  const std::string large = "text " + std::string((std::size_t{4} << 20) + 1, 'x') + "\n";
  for (std::size_t step = 1; step <= 6; ++step) {
    SCOPED_TRACE(step);
    writeBytes(path, "one\n" + large);
    const auto file = open();
    content = {"one\ntext\n", 5};
    files.failStep(step, ENOSPC);
    bool certain = true;
    EXPECT_FALSE(file->appendText("text\n", certain));
    EXPECT_FALSE(certain) << "the rename may have been done";
    EXPECT_EQ(bytes(), step < 6 ? "one\n" + large : content.lines);
    files.reset();
    content = {"one\n", 0};
    ASSERT_TRUE(file->sync());
    EXPECT_EQ(bytes(), "one\n");
    EXPECT_EQ(file->textSize(), 0U);
  }
}

TEST_F(JournalFileTest, WhatIsDurableIsNotWaitedForAgain) {
  writeBytes(path, "one\n");
  const auto file = open();
  ASSERT_TRUE(file->sync()) << "an earlier program may have ended before it waited for the disk";
  EXPECT_THAT(files.record(), ElementsAre("append " + path, "sync " + path));
  files.reset();
  ASSERT_TRUE(file->sync());
  EXPECT_THAT(files.record(), IsEmpty());
  ASSERT_TRUE(file->appendDurably("two\n"));
  const auto write = file->writes();
  ASSERT_TRUE(file->append("three\n"));
  files.reset();
  ASSERT_TRUE(file->syncUpTo(write));
  EXPECT_THAT(files.record(), IsEmpty());
  ASSERT_TRUE(file->syncUpTo(file->writes()));
  EXPECT_THAT(files.record(), ElementsAre("sync " + path));
}

}  // namespace
}  // namespace relaybird
