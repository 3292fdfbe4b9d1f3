// SPDX-License-Identifier: MIT
// A disk that becomes full, broken or read-only while a pass runs: the pass ends, the items that it
// has not reached stay unread, and the next checks continue from there.
#include <gtest/gtest.h>

#include <cerrno>

#include "support/cut_disk.h"
#include "support/faulty_file_system.h"
#include "support/mail_text.h"
#include "system/pass_program.h"

namespace relaybird {
namespace {

constexpr int kItems = 5;
const std::string kMaildir = "/home/ann/Maildir";
const std::string kStateFolder = "/home/ann/.local/state";
const std::string kState = kStateFolder + "/rbx";
const std::string kOutbox = kState + "/outbox";

MailSettings annsSettings() {
  return maildirSettings(kMaildir, kOutbox, "ann@example.org");
}

DiskImage fullInbox() {
  DiskImage image;
  image.folders = {"/",      "/home",           "/home/ann",       "/home/ann/.local",
                   kMaildir, kMaildir + "/new", kMaildir + "/cur", kMaildir + "/tmp"};
  for (int number = 1; number <= kItems; ++number) {
    MailText mail;
    mail.subject = "item " + std::to_string(number);
    image.files[kMaildir + "/new/170000000" + std::to_string(number) + ".M1P1.host"] =
        mailText(mail);
  }
  return image;
}

class FullDisk : public testing::Test {
 protected:
  void start() {
    program.reset();  // before its disk
    disk = std::make_unique<CutDisk>(clock, fullInbox());
    files = std::make_unique<FaultyFileSystem>(*disk);
    program = std::make_unique<PassProgram>(annsSettings(), kStateFolder, *files, 1, nullptr);
  }
  std::size_t linesWith(const std::string& words) const {
    std::size_t count = 0;
    for (const auto& line : program->log.lines) {
      if (line.find(words) != std::string::npos) {
        ++count;
      }
    }
    return count;
  }
  std::size_t forwards() const {
    std::size_t count = 0;
    for (const auto& [path, bytes] : disk->image().files) {
      if (path.starts_with(kOutbox + "/new/")) {
        ++count;
      }
    }
    return count;
  }
  std::size_t unread() const {
    std::size_t count = 0;
    for (const auto& [path, bytes] : disk->image().files) {
      if (path.starts_with(kMaildir) && !path.ends_with("S")) {
        ++count;
      }
    }
    return count;
  }

  FakeClock clock;
  std::unique_ptr<CutDisk> disk;
  std::unique_ptr<FaultyFileSystem> files;
  std::unique_ptr<PassProgram> program;
};

TEST_F(FullDisk, DuringAPassEndsItAndTheRestIsForwardedWhenThereIsRoomAgain) {
  start();
  files->refused = [&](const std::string& step) {
    return forwards() >= 2 && step.starts_with("write " + kOutbox + "/tmp/");
  };
  program->pass();
  EXPECT_EQ(forwards(), 2u);
  EXPECT_EQ(linesWith("Tried but failed to forward item 3"), 1u);
  EXPECT_EQ(linesWith("the message counts as read all the same and is not tried again"), 1u);
  EXPECT_EQ(linesWith("An Error occured at"), 1u);
  EXPECT_EQ(linesWith("the rest stays unread for the next check"), 1u);
  EXPECT_EQ(linesWith("Completed Email Check"), 0u);
  EXPECT_EQ(unread(), 2u);

  program->pass();
  EXPECT_EQ(linesWith("Tried but failed"), 1u) << "a check on a full disk must not use up an item";
  EXPECT_EQ(linesWith("An Error occured at"), 2u);
  EXPECT_EQ(unread(), 2u);

  files->refused = nullptr;
  program->pass();
  EXPECT_EQ(linesWith("Completed Email Check"), 1u);
  EXPECT_EQ(forwards(), 4u);
  EXPECT_EQ(unread(), 0u);
}

TEST_F(FullDisk, FromAnyStepOnLosesAtMostTheItemInHandAndSaysSo) {
  start();
  program->pass();
  const std::size_t steps = files->steps();
  ASSERT_GT(steps, 50u);
  std::size_t failed = 0;
  for (const bool inboxToo : {false, true}) {
    for (std::size_t first = 1; first <= steps; ++first) {
      SCOPED_TRACE("from step " + std::to_string(first) + (inboxToo ? " of the disk" : " there"));
      start();
      std::size_t taken = 0;
      if (inboxToo) {
        files->failFromStep(first, ENOSPC);
      } else {
        files->refused = [&](const std::string& step) {
          const bool looks = step.starts_with("inspect ") || step.starts_with("list ") ||
                             step.starts_with("open ");
          return !looks && step.find(kState) != step.npos && ++taken >= first;
        };
      }
      for (int check = 0; check < 3; ++check) {
        program->pass();
      }
      EXPECT_LE(linesWith("Tried but failed"), 1u);
      files->reset();
      files->refused = nullptr;
      for (int check = 0; check < 2; ++check) {
        program->pass();
      }
      const std::size_t lost = linesWith("Tried but failed");
      const std::size_t late = linesWith("may still go out");
      EXPECT_GE(forwards() + lost, std::size_t{kItems});
      EXPECT_LE(forwards() + lost, kItems + late);
      EXPECT_EQ(unread(), 0u);
      failed += lost;
      if (HasFailure()) {
        return;
      }
    }
  }
  EXPECT_GT(failed, 0u);
}

TEST_F(FullDisk, AMessageThatCannotBeReadDoesNotEndThePass) {
  start();
  files->refused = [](const std::string& step) {
    return step.starts_with("open ") && step.find("1700000003") != step.npos;
  };
  program->pass();
  EXPECT_EQ(linesWith("Completed Email Check"), 1u);
  EXPECT_GE(forwards(), std::size_t{kItems - 1});
}

}  // namespace
}  // namespace relaybird
