// SPDX-License-Identifier: MIT
// A delivery from a folder in which anything may lie, on a disk that fails: no fault may deliver a
// message twice or lose it.
#include "outbox/delivery/delivery_worker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "outbox/delivery/outgoing_message.h"
#include "outbox/delivery_fixture.h"

namespace relaybird {
namespace {

using Kind = Outcome::Kind;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class DeliveryFolderTest : public DeliveryWorkerTest {};

TEST_F(DeliveryFolderTest, AListingThatFailsOnceKeepsWhatArrivedAndIsTriedAgain) {
  send("left from earlier");
  world.files.refused = [](const std::string& step) {
    return step.starts_with("list ") && step.ends_with("/new");
  };
  flush();
  EXPECT_THAT(take(), IsEmpty());
  world.files.refused = nullptr;
  ASSERT_TRUE(worker->nextAttempt());
  world.clock.set(*worker->nextAttempt());
  flush();
  EXPECT_THAT(take(), ElementsAre("left from earlier"));
  EXPECT_FALSE(worker->nextAttempt());
}

TEST_F(DeliveryFolderTest, AMessageWithoutRecipientsIsRefusedForGood) {
  ASSERT_TRUE(outbox->send("entry", "id", writes("From: a@example.org\nSubject: s\xff\n\nx")));
  flush();
  EXPECT_THAT(transport.subjects, IsEmpty());
  EXPECT_THAT(world.names("failed"), SizeIs(2));
  EXPECT_THAT(notices[0], HasSubstr("names no recipient"));
}

TEST_F(DeliveryFolderTest, HostileNamesAndThingsInNewDoNoHarm) {
  const std::vector<std::string> odd = {"-rf",      "a b;$(x)", "line\nfeed",
                                        "\xff\xfe", "..x",      "x.txt"};
  for (const std::string& name : odd) {
    world.put("new", name, mail("odd"));
  }
  ASSERT_EQ(::mkfifo((world.folder + "/new/fifo").c_str(), 0600), 0);
  world.put("new", std::string(255, 'l'), mail("odd"));
  world.put("new", ".hidden", mail("hidden"));
  transport.answer = [](const std::string&) { return Outcome{Kind::kPermanent, "no", false}; };
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(6));  // names with a leading dot are no messages
  EXPECT_THAT(world.names("new"), ElementsAre("..x", ".hidden", "fifo"));
  EXPECT_THAT(world.names("failed"), testing::Contains(std::string(255, 'l')));
}

TEST_F(DeliveryFolderTest, AFileThatCannotBeReadIsKeptAndTheRestGoesOn) {
  send("one");
  send("two");
  send("three");
  const std::string first = world.names("new")[0];
  world.files.refused = [&](const std::string& step) {
    return step == "open " + world.folder + "/new/" + first;
  };
  EXPECT_TRUE(flush());
  EXPECT_THAT(take(), ElementsAre("two", "three"));
  EXPECT_THAT(world.names("new"), ElementsAre(first));
  ASSERT_THAT(notices, SizeIs(3));
  EXPECT_THAT(notices[0], HasSubstr("Kept for a later try: \"" + first + "\": Injected fault"));
  world.files.refused = nullptr;
  world.clock.advance(minutes{1});
  EXPECT_TRUE(flush());
  EXPECT_THAT(take(), ElementsAre("one"));
}

TEST_F(DeliveryFolderTest, ARefusedMessageThatCannotBeMovedAsideIsKeptAndRefusedLater) {
  transport.answer = [](const std::string&) { return Outcome{Kind::kPermanent, "550 no", false}; };
  send("one");
  world.files.refused = [&](const std::string& step) {
    return step.starts_with("rename " + world.folder + "/new/");
  };
  flush();
  EXPECT_THAT(world.names("new"), SizeIs(1));
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_THAT(notices[0], HasSubstr("Kept for a later try: \"one\": 550 no; Injected fault"));
  world.files.refused = nullptr;
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(world.names("new"), IsEmpty());
  EXPECT_THAT(notices.back(), HasSubstr("Refused for good: \"one\": 550 no"));
}

TEST_F(DeliveryFolderTest, ARefusedMessageThatWasMovedAsideIsSaidToBeThereWhateverElseFails) {
  transport.answer = [](const std::string&) { return Outcome{Kind::kPermanent, "550 no", false}; };
  send("one");
  world.files.refused = [&](const std::string& step) {
    return step.find(".txt") != step.npos || step == "syncFolder " + world.folder + "/failed";
  };
  flush();
  EXPECT_THAT(world.names("failed"), SizeIs(1));
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_THAT(notices[0], HasSubstr("Refused for good: \"one\": 550 no"));
}

TEST_F(DeliveryFolderTest, AFileThatVanishedIsForgotten) {
  send("one");
  send("two");
  const std::string second = world.names("new")[1];
  transport.onDeliver = [&](std::stop_token) {
    std::filesystem::remove(world.folder + "/new/" + second);
  };
  EXPECT_TRUE(flush());
  EXPECT_THAT(transport.subjects, ElementsAre("one"));
  EXPECT_THAT(notices, SizeIs(1));
}

TEST_F(DeliveryFolderTest, ADiskThatFailsAfterADeliveryDoesNotDeliverTwice) {
  for (std::size_t step = 1; step <= 6; ++step) {
    send("one" + std::to_string(step));
    world.files.reset();
    world.files.failStep(step, EIO);
    EXPECT_TRUE(flush());
    world.files.reset();
    world.clock.advance(minutes{2});
    EXPECT_TRUE(flush());
    EXPECT_THAT(take(), SizeIs(1)) << step;
  }
}

// Tells how far files were read.
class MeasuringDisk : public FaultyFileSystem {
 public:
  using FaultyFileSystem::FaultyFileSystem;
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    class Measured : public InputFile {
     public:
      Measured(std::unique_ptr<InputFile> file, std::uint64_t& furthest)
          : file_(std::move(file)), furthest_(furthest) {}
      const FileInfo& info() const override { return file_->info(); }
      Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
        furthest_ = std::max(furthest_, offset + size);
        return file_->readAt(offset, buffer, size);
      }

     private:
      std::unique_ptr<InputFile> file_;
      std::uint64_t& furthest_;
    };
    auto file = FaultyFileSystem::open(path);
    if (!file) {
      return file.error();
    }
    return std::unique_ptr<InputFile>(std::make_unique<Measured>(std::move(*file), furthest));
  }
  std::uint64_t furthest = 0;
};

class LargeFileTest : public DeliveryWorkerTest {
 protected:
  LargeFileTest() {
    close();
    world.through = &measuring;
    outbox = world.open();
    restart();
  }
  ~LargeFileTest() override { close(); }
  void close() {
    worker.reset();
    outbox.reset();
  }

  MeasuringDisk measuring{world.disk};
};

TEST_F(LargeFileTest, AFileThatIsTooLargeMovesAsideAndIsNeverWholeInMemory) {
  world.put("new", "huge", mail("huge"));
  // A file with a hole takes no room on the disk.
  std::filesystem::resize_file(world.folder + "/new/huge", kLargestOutgoing + (1U << 24));
  flush();
  EXPECT_THAT(transport.subjects, IsEmpty());
  EXPECT_THAT(world.names("failed"), testing::Contains("huge"));
  ASSERT_THAT(notices, SizeIs(1));
  EXPECT_THAT(notices[0], HasSubstr("too large"));
  EXPECT_LE(measuring.furthest, kLargestOutgoing + 1);
}

TEST_F(DeliveryFolderTest, MessagesThatOthersPutBackAreFoundWithinAMinute) {
  flush();
  world.put("new", "by hand", mail("by hand"));
  flush();
  EXPECT_THAT(transport.subjects, IsEmpty());
  world.clock.advance(minutes{1});
  flush();
  EXPECT_THAT(transport.subjects, ElementsAre("by hand"));
}

TEST_F(DeliveryFolderTest, MessagesThatOthersPutBackAreFoundAfterTheClockWasSetBackToo) {
  flush();
  world.clock.set(world.clock.now() - std::chrono::hours{48});
  world.put("new", "by hand", mail("by hand"));
  flush();
  EXPECT_THAT(transport.subjects, ElementsAre("by hand"))
      << "the folder was read at a time that is still to come";
}

TEST_F(DeliveryFolderTest, AThousandFlushesDoNotReadTheFolderAThousandTimes) {
  transport.answer = [](const std::string&) { return temporary(true); };
  for (int number = 0; number < 50; ++number) {
    send(std::to_string(number));
    flush();
  }
  EXPECT_THAT(transport.subjects, SizeIs(1));
  world.clock.advance(minutes{1});
  transport.answer = nullptr;
  flush();
  EXPECT_THAT(transport.subjects, SizeIs(51));
}

}  // namespace
}  // namespace relaybird
