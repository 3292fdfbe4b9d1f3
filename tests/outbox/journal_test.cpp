// SPDX-License-Identifier: MIT
// The journal of the outbox: its lines, what is read back after any damage, what is on the disk
// when a call returns, and rewriting. A real file on a disk whose steps can be made to fail.
#include "outbox/journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <mutex>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "outbox/journal_line.h"
#include "platform/posix/posix_file_system.h"
#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using State = ForwardRecord::State;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class JournalTest : public testing::Test {
 protected:
  std::unique_ptr<Journal> open() { return std::move(Journal::open(files, clock, path).value()); }
  std::string bytes() { return readBytes(path); }

  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  PosixFileSystem disk{sleeper};
  FaultyFileSystem files{disk};
  std::string path = temp.path("journal");
};

// A disk on which a wait can last until other threads have done something.
class SlowDisk : public PosixFileSystem {
 public:
  using PosixFileSystem::PosixFileSystem;
  Result<std::unique_ptr<OutputFile>> append(const std::string& path) override {
    auto real = PosixFileSystem::append(path);
    if (!real) {
      return real;
    }
    return std::unique_ptr<OutputFile>(std::make_unique<File>(*this, std::move(*real)));
  }

  std::function<Result<void>(int number)> whileWaiting;  // instead of the wait of that number
  std::atomic<int> writes{0};
  std::atomic<int> waits{0};

 private:
  class File : public OutputFile {
   public:
    File(SlowDisk& disk, std::unique_ptr<OutputFile> real) : disk_(disk), real_(std::move(real)) {}
    Result<void> write(std::string_view bytes) override {
      auto written = real_->write(bytes);
      ++disk_.writes;
      return written;
    }
    Result<void> sync() override { return disk_.whileWaiting(++disk_.waits); }
    Result<void> close() override { return real_->close(); }

   private:
    SlowDisk& disk_;
    std::unique_ptr<OutputFile> real_;
  };
};

// Several threads with one journal, of which the first waits for the disk until all have written.
class SharedJournalTest : public testing::Test {
 protected:
  // The outcomes of intents of that many threads. The wait of the number `failing` fails.
  std::vector<bool> intendAtOnce(int count, int failing) {
    journal_ = std::move(Journal::open(disk_, clock_, path_, &mutex_).value());
    EXPECT_TRUE(intend("before"));  // makes the file
    std::vector<std::thread> others;
    std::vector<char> outcomes(static_cast<std::size_t>(count));
    disk_.whileWaiting = [&](int number) -> Result<void> {
      for (int i = 1; number == 1 && i < count; ++i) {
        others.emplace_back([&, i] { outcomes[static_cast<std::size_t>(i)] = intend(name(i)); });
      }
      // The limit ends a test that fails.
      const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (number == 1 && disk_.writes < count && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
      }
      return number == failing ? Result<void>(Error{EIO, "the disk is gone"}) : Result<void>();
    };
    outcomes[0] = intend(name(0));
    for (std::thread& other : others) {
      other.join();
    }
    return {outcomes.begin(), outcomes.end()};
  }
  bool intend(const std::string& entry) {
    const std::lock_guard lock(mutex_);
    return static_cast<bool>(journal_->intend(entry, "id of " + entry, "file of " + entry));
  }
  static std::string name(int number) { return "entry " + std::to_string(number); }

  TempFolder temp_;
  FakeClock clock_;
  RecordingSleeper sleeper_{clock_};
  SlowDisk disk_{sleeper_};
  std::string path_ = temp_.path("journal");
  std::mutex mutex_;
  std::unique_ptr<Journal> journal_;
};

TEST_F(SharedJournalTest, AWaitForTheDiskHoldsUpNobodyAndServesAllThatWroteBeforeIt) {
  EXPECT_EQ(intendAtOnce(4, 0), std::vector<bool>(4, true));
  EXPECT_EQ(disk_.waits, 2) << "the second one is for three threads";
  const auto again = std::move(Journal::open(disk_, clock_, path_).value());
  for (int i = 0; i < 4; ++i) {
    EXPECT_TRUE(again->records().find(name(i))) << i;
  }
}

TEST_F(SharedJournalTest, AWaitThatFailsFailsForAllThatItWasFor) {
  EXPECT_EQ(intendAtOnce(4, 2), (std::vector<bool>{true, false, false, false}));
  EXPECT_EQ(journal_->records().find(name(0))->state, State::kIntended);
  EXPECT_EQ(journal_->records().find(name(3))->state, State::kVoid);
  const std::lock_guard lock(mutex_);
  ASSERT_TRUE(journal_->sync());  // writes the file anew
  const auto again = std::move(Journal::open(disk_, clock_, path_).value());
  EXPECT_EQ(again->records().find(name(0))->state, State::kIntended);
  EXPECT_EQ(again->records().find(name(3))->state, State::kVoid);
}

TEST_F(SharedJournalTest, AWaitThatFailsIsNoFailureForThoseWhoWroteAfterItBegan) {
  EXPECT_EQ(intendAtOnce(3, 1), (std::vector<bool>{false, true, true}));
  const auto again = std::move(Journal::open(disk_, clock_, path_).value());
  EXPECT_EQ(again->records().find(name(1))->state, State::kIntended);
  EXPECT_EQ(again->records().find(name(2))->state, State::kIntended);
}

TEST_F(SharedJournalTest, AWaitCanBeLeftToAnotherThread) {
  disk_.whileWaiting = [](int) { return Result<void>(); };
  journal_ = std::move(Journal::open(disk_, clock_, path_, &mutex_).value());
  EXPECT_TRUE(intend("before"));
  std::unique_lock lock(mutex_);
  ASSERT_TRUE(journal_->begin("file"));
  EXPECT_FALSE(journal_->leaveToOthers(journal_->writes(), std::chrono::milliseconds{1}));
  std::thread other([&] { EXPECT_TRUE(intend("other")); });
  EXPECT_TRUE(journal_->leaveToOthers(journal_->writes(), std::chrono::seconds{20}));
  const int waits = disk_.waits;
  EXPECT_TRUE(journal_->syncUpTo(journal_->writes()));
  EXPECT_EQ(disk_.waits, waits);
  lock.unlock();
  other.join();
}

TEST(JournalLine, EveryByteComesBack) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    all += static_cast<char>(byte);
  }
  const std::string line = encodeJournalLine({"event", all, "", "%"});
  EXPECT_EQ(line.find('\n'), line.size() - 1);
  const auto fields = decodeJournalLine(std::string_view(line).substr(0, line.size() - 1));
  ASSERT_TRUE(fields);
  EXPECT_THAT(*fields, ElementsAre("event", all, "", "%"));
}

TEST(JournalLine, NoBeginningOfALinePassesForALine) {
  const std::string line = encodeJournalLine({"intent", "1", "entry", "id", "file"});
  for (std::size_t size = 0; size + 1 < line.size(); ++size) {
    EXPECT_FALSE(decodeJournalLine(std::string_view(line).substr(0, size))) << size;
  }
}

TEST(JournalLine, AChangedByteIsNoticed) {
  const std::string line = encodeJournalLine({"done", "file"});
  for (std::size_t at = 0; at + 1 < line.size(); ++at) {
    std::string damaged = line.substr(0, line.size() - 1);
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    EXPECT_FALSE(decodeJournalLine(damaged)) << at;
  }
}

TEST_F(JournalTest, RemembersEachRecordAcrossRuns) {
  const std::string odd("entry \n\0%\xff", 10);
  {
    const auto journal = open();
    ASSERT_TRUE(journal->intend(odd, "id 1@example", "file 1"));
    ASSERT_TRUE(journal->done("file 1"));
    ASSERT_TRUE(journal->intend("two", "id2", "file2"));
    ASSERT_TRUE(journal->annul("file2"));
    ASSERT_TRUE(journal->intend("three", "id3", "file3"));
    ASSERT_TRUE(journal->intend("four", "id4", "file4"));
    ASSERT_TRUE(journal->settle("four"));
    ASSERT_TRUE(journal->deliver({"file 1"}));
    ASSERT_TRUE(journal->deliver({"other"}));
    ASSERT_TRUE(journal->removed({"other", "unheard of"}));
  }
  const auto journal = open();
  ASSERT_TRUE(journal->records().find(odd));
  EXPECT_EQ(journal->records().find(odd)->state, State::kSent);
  EXPECT_EQ(journal->records().find(odd)->messageId, "id 1@example");
  EXPECT_EQ(journal->records().find(odd)->file, "file 1");
  EXPECT_EQ(journal->records().find("two")->state, State::kVoid);
  EXPECT_EQ(journal->records().find("three")->state, State::kIntended);
  EXPECT_FALSE(journal->records().find("four"));
  EXPECT_THAT(journal->records().delivered(), ElementsAre("file 1"));
  EXPECT_EQ(journal->damagedLines(), 0u);
}

TEST_F(JournalTest, AnIntentIsOnTheMediumWhenTheCallReturnsAndDoneCostsNoSync) {
  const auto journal = open();
  ASSERT_TRUE(journal->intend("first", "id", "file"));
  files.reset();
  ASSERT_TRUE(journal->intend("entry", "id", "file2"));
  ASSERT_TRUE(journal->done("file2"));
  ASSERT_EQ(files.record().size(), 4u);
  EXPECT_THAT(files.record()[0], HasSubstr("append " + path));
  EXPECT_THAT(files.record()[1], HasSubstr("write " + path));
  EXPECT_THAT(files.record()[2], HasSubstr("sync " + path));
  EXPECT_THAT(files.record()[3], HasSubstr("write " + path));
}

TEST_F(JournalTest, AnOrderlyEndSyncsOnceWhatWasWrittenWithoutASync) {
  {
    const auto journal = open();
    ASSERT_TRUE(journal->intend("entry", "id", "file"));
    ASSERT_TRUE(journal->intend("other", "id", "file2"));
    ASSERT_TRUE(journal->done("file"));
    ASSERT_TRUE(journal->settle("entry"));
    files.reset();
  }
  EXPECT_THAT(files.record(), ElementsAre("sync " + path));
  files.reset();
  {
    const auto journal = open();
    ASSERT_TRUE(journal->deliver({"file2"}));
    ASSERT_TRUE(journal->sync());
    files.reset();
  }
  EXPECT_THAT(files.record(), IsEmpty()) << "all was on the medium";
}

TEST_F(JournalTest, ASettlementThatCouldNotBeWrittenIsReportedAndMadeUpForByTheNextChange) {
  const auto journal = open();
  ASSERT_TRUE(journal->intend("entry", "id", "file"));
  ASSERT_TRUE(journal->done("file"));
  files.reset();
  files.failStep(1, ENOSPC);
  const auto settled = journal->settle("entry");
  ASSERT_FALSE(settled);
  EXPECT_EQ(settled.error().code, ENOSPC);
  EXPECT_FALSE(journal->records().find("entry"));
  EXPECT_TRUE(open()->records().find("entry")) << "the file does not know it yet";
  ASSERT_TRUE(journal->intend("next", "id2", "file2"));
  EXPECT_FALSE(open()->records().find("entry"));
}

TEST_F(JournalTest, TheLatestIntentOfAnEntryCounts) {
  const auto journal = open();
  ASSERT_TRUE(journal->intend("entry", "id", "old"));
  ASSERT_TRUE(journal->intend("entry", "id", "new"));
  ASSERT_TRUE(journal->done("old"));
  EXPECT_EQ(journal->records().find("entry")->state, State::kIntended);
  EXPECT_EQ(journal->records().find("entry")->file, "new");
}

TEST_F(JournalTest, ATornLastLineIsIgnoredWhereverItIsTornAndTheNextOneIsWhole) {
  {
    const auto journal = open();
    ASSERT_TRUE(journal->intend("kept", "id1", "file1"));
    ASSERT_TRUE(journal->intend("torn", "id2", "file2"));
  }
  const std::string whole = bytes();
  const std::size_t first = whole.find('\n') + 1;
  for (std::size_t size = first; size < whole.size(); ++size) {
    writeBytes(path, whole.substr(0, size));
    {
      const auto journal = open();
      EXPECT_TRUE(journal->records().find("kept"));
      EXPECT_FALSE(journal->records().find("torn")) << size;
      EXPECT_EQ(journal->damagedLines(), 0u);
      ASSERT_TRUE(journal->intend("next", "id3", "file3"));
    }
    const auto journal = open();
    EXPECT_TRUE(journal->records().find("kept"));
    EXPECT_TRUE(journal->records().find("next"));
    EXPECT_EQ(journal->damagedLines(), 0u);
  }
}

TEST_F(JournalTest, DamagedLinesAreLeftOutAndCounted) {
  {
    const auto journal = open();
    ASSERT_TRUE(journal->intend("kept", "id1", "file1"));
  }
  writeBytes(path, std::string(5, '\0') + "\nrubbish\n" + bytes() + "\n" +
                       encodeJournalLine({"unheard", "of"}) + encodeJournalLine({"done"}));
  const auto journal = open();
  EXPECT_TRUE(journal->records().find("kept"));
  EXPECT_EQ(journal->records().forwards().size(), 1u);
  EXPECT_EQ(journal->damagedLines(), 5u);
}

TEST_F(JournalTest, AFailedWriteIsMadeUpForByTheNextOne) {
  for (const bool tear : {false, true}) {
    writeBytes(path, "");
    const auto journal = open();
    ASSERT_TRUE(journal->intend("before", "id0", "file0"));
    files.reset();
    files.tearFailingWrites(tear);
    files.failStep(1, ENOSPC);
    EXPECT_FALSE(journal->done("file0"));
    ASSERT_TRUE(journal->intend("after", "id1", "file1"));
    files.reset();

    const auto again = open();
    EXPECT_EQ(again->records().find("before")->state, State::kSent);
    EXPECT_EQ(again->records().find("after")->state, State::kIntended);
    EXPECT_EQ(again->damagedLines(), 0u);
  }
}

TEST_F(JournalTest, WhatCouldNotBeWrittenIsWrittenByTheNextSync) {
  const auto journal = open();
  ASSERT_TRUE(journal->intend("entry", "id", "file"));
  files.reset();
  ASSERT_TRUE(journal->sync());
  EXPECT_EQ(files.steps(), 0u) << "all is on the disk";
  files.failFromStep(1, ENOSPC);
  EXPECT_FALSE(journal->done("file"));
  EXPECT_FALSE(journal->sync());
  files.reset();
  ASSERT_TRUE(journal->sync());
  EXPECT_EQ(open()->records().find("entry")->state, State::kSent);
}

TEST_F(JournalTest, AnIntentThatCouldNotBeWrittenIsVoidAndKeepsItsMessageId) {
  const auto journal = open();
  ASSERT_TRUE(journal->intend("other", "id0", "file0"));
  files.reset();
  files.failFromStep(1, EIO);
  const auto failed = journal->intend("entry", "id", "file");
  ASSERT_FALSE(failed);
  EXPECT_EQ(failed.error().code, EIO);
  EXPECT_THAT(failed.error().text, Not(IsEmpty()));
  EXPECT_EQ(journal->records().find("entry")->state, State::kVoid);
  EXPECT_EQ(journal->records().find("entry")->messageId, "id");
}

TEST_F(JournalTest, StaysSmallOverMonths) {
  const auto journal = open();
  ASSERT_TRUE(journal->intend("unsettled", "id", "file"));
  ASSERT_TRUE(journal->done("file"));
  std::size_t largest = 0;
  for (int number = 0; number < 600; ++number) {
    const std::string file = "file" + std::to_string(number);
    ASSERT_TRUE(journal->intend("entry", std::string(1000, 'i'), file));
    ASSERT_TRUE(journal->done(file));
    ASSERT_TRUE(journal->settle("entry"));
    if (number % 10 == 0) {
      largest = std::max(largest, bytes().size());
    }
  }
  EXPECT_LT(largest, 300'000u);
  EXPECT_GT(largest, 100'000u);  // it does not rewrite the file all the time either
  const auto again = open();
  EXPECT_EQ(again->records().forwards().size(), 1u);
  EXPECT_EQ(again->records().find("unsettled")->state, State::kSent);
}

TEST_F(JournalTest, TheMessageIdOfAFailedForwardIsForgottenAfterAMonth) {
  const auto journal = open();
  ASSERT_TRUE(journal->intend("failed", "id1", "file1"));
  ASSERT_TRUE(journal->annul("file1"));
  ASSERT_TRUE(journal->intend("sent", "id2", "file2"));
  ASSERT_TRUE(journal->done("file2"));
  clock.advance(std::chrono::hours{31 * 24});
  for (int number = 0; number < 3000; ++number) {
    ASSERT_TRUE(journal->done(std::string(100, 'x')));
  }
  const auto again = open();
  EXPECT_FALSE(again->records().find("failed"));
  EXPECT_TRUE(again->records().find("sent"));
}

TEST_F(JournalTest, AMissingAnswerIsKnownAcrossRunsAndRewritesUntilTheFileIsGone) {
  const auto now = std::chrono::floor<std::chrono::seconds>(clock.now()).time_since_epoch().count();
  ASSERT_TRUE(open()->unanswered("file 1", true));
  files.refused = [](const std::string& step) { return step.starts_with("append "); };
  const auto journal = open();
  (void)journal->deliverTo("file2", {"bob@example.org"});
  files.refused = nullptr;
  ASSERT_TRUE(journal->sync());  // rewrites the file
  EXPECT_EQ(open()->records().unansweredSince("file 1"), now);
  ASSERT_TRUE(journal->deliver({"file 1"}));
  EXPECT_EQ(open()->records().unansweredSince("file 1"), std::nullopt);
}

TEST_F(JournalTest, AMissingAnswerForSomeIsKnownAcrossRunsAsOne) {
  ASSERT_TRUE(open()->begin("begun"));
  for (const char* file : {"begun", "not begun"}) {
    ASSERT_TRUE(open()->unanswered(file, true));
    EXPECT_TRUE(open()->records().mayHaveReachedAll(file));
    ASSERT_TRUE(open()->unanswered(file, false));
    EXPECT_FALSE(open()->records().mayHaveReachedAll(file));
    EXPECT_NE(open()->records().unansweredSince(file), std::nullopt);
    EXPECT_EQ(open()->records().begun(file), std::string(file) == "begun");
  }
}

TEST_F(JournalTest, ARewriteThatFailsAtAnyStepLosesNothing) {
  for (std::size_t step = 1; step <= 6; ++step) {
    writeBytes(path, "");
    {
      const auto journal = open();
      ASSERT_TRUE(journal->intend("kept", "id1", "file1"));
      while (bytes().size() <= 256u << 10) {
        ASSERT_TRUE(journal->done(std::string(50000, 'x')));
      }
      files.reset();
      files.failStep(step, ENOSPC);
      (void)journal->done("file1");
      files.reset();
      ASSERT_TRUE(journal->intend("next", "id2", "file2")) << step;
    }
    const auto again = open();
    ASSERT_TRUE(again->records().find("kept")) << step;
    EXPECT_EQ(again->records().find("kept")->state, State::kSent) << step;
    EXPECT_TRUE(again->records().find("next")) << step;
    EXPECT_LT(bytes().size(), 100'000u);
  }
}

TEST_F(JournalTest, AFileThatCannotBeReadIsAnErrorAndNoEmptyJournal) {
  ASSERT_TRUE(disk.createFolder(path));
  const auto opened = Journal::open(files, clock, path);
  ASSERT_FALSE(opened);
  EXPECT_THAT(opened.error().text, HasSubstr(path));
}

// Which try went without an answer is told by the order of the lines alone.
TEST(JournalRecords, ItsLinesTellTheSameOfEachTry) {
  using Event = std::vector<std::string>;
  const Event begun = {"begun", "f"};
  const Event ended = {"ended", "f"};
  const Event unknown = {"unknown", "f", "7"};
  const Event toOne = {"delivered-to", "f", "a@example.org"};
  const std::vector<std::pair<std::vector<Event>, bool>> cases = {
      {{begun, unknown}, true},
      {{begun, unknown, toOne}, true},
      {{unknown}, true},
      {{unknown, toOne}, true},
      {{begun, toOne, begun, unknown}, false},
      {{begun, unknown, begun}, false},
      {{begun, unknown, begun, ended}, false},
      {{begun, unknown, begun, toOne}, false},
      {{begun, unknown, begun, toOne, ended}, false}};
  for (const auto& [events, reachedAll] : cases) {
    JournalRecords records;
    for (const Event& event : events) {
      ASSERT_TRUE(records.apply(event));
    }
    EXPECT_EQ(records.mayHaveReachedAll("f"), reachedAll);
    JournalRecords again;
    std::istringstream lines(records.lines().lines);
    for (std::string line; std::getline(lines, line);) {
      ASSERT_TRUE(again.apply(*decodeJournalLine(line)));
    }
    SCOPED_TRACE(records.lines().lines);
    EXPECT_EQ(again.mayHaveReachedAll("f"), reachedAll);
    EXPECT_EQ(again.begun("f"), records.begun("f"));
    EXPECT_EQ(again.settledFor("f"), records.settledFor("f"));
    EXPECT_EQ(again.unansweredSince("f"), records.unansweredSince("f"));
  }
}

}  // namespace
}  // namespace relaybird
