// SPDX-License-Identifier: MIT
// Which folder is the outbox of a mailbox, when there are several mailboxes, releases and programs.
// Two mailboxes must never share a journal, and no mailbox may leave its own journal behind. The
// folders are real ones below a temporary state folder.
#include "stores/mailbox/outbox_place.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "stores/maildir/maildir_house.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

class OutboxPlaceTest : public testing::Test {
 protected:
  OutboxPlaceTest() {
    fs::create_directories(state);
    for (const std::string& mailbox : {ann, work}) {
      fs::create_directories(mailbox + "/new");
    }
  }

  OutboxPlace place(const std::string& mailbox, const std::string& named = "") {
    return {files, mailbox, state, named};
  }
  // Opens the outbox of a mailbox, for as long as the result lives.
  std::unique_ptr<Outbox> open(const std::string& mailbox, const std::string& named = "") {
    auto outbox = place(mailbox, named).open(clock, countingRandom());
    EXPECT_TRUE(outbox) << outbox.error().text;
    return outbox ? std::move(*outbox) : nullptr;
  }
  std::string folderOf(const std::string& mailbox, const std::string& named = "") {
    const auto outbox = open(mailbox, named);
    return outbox ? outbox->folder() : "";
  }
  std::string whyNot(const std::string& mailbox, const std::string& named = "") {
    const auto outbox = place(mailbox, named).open(clock, countingRandom());
    return outbox ? "" : outbox.error().text;
  }
  void leaveWaiting(const std::string& outbox) {
    writeBytes(outbox + "/new/" + std::to_string(++left), "Subject: left\n\n");
  }

  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  UnsyncedDisk files{sleeper};
  std::string state = temp.path("state/rbx");
  std::string ann = temp.path("Ann");
  std::string work = temp.path("Work");
  int left = 0;
};

TEST_F(OutboxPlaceTest, ASecondMailboxHasAnOutboxOfItsOwn) {
  const auto first = open(ann);
  const auto second = open(work);
  ASSERT_TRUE(first && second);
  EXPECT_EQ(first->folder(), state + "/outbox");
  EXPECT_EQ(second->folder(), state + "/outbox-2");
}

TEST_F(OutboxPlaceTest, AMailboxKeepsItsOutboxInWhateverOrderTheyStart) {
  fs::create_directories(temp.path("Third/new"));
  EXPECT_EQ(folderOf(ann), state + "/outbox");
  EXPECT_EQ(folderOf(work), state + "/outbox-2");
  EXPECT_EQ(folderOf(temp.path("Third")), state + "/outbox-3");
  EXPECT_EQ(folderOf(work), state + "/outbox-2");
  EXPECT_EQ(folderOf(temp.path("Third")), state + "/outbox-3");
  EXPECT_EQ(folderOf(ann), state + "/outbox");
}

TEST_F(OutboxPlaceTest, AnOutboxOfAnEarlierReleaseGoesOnWithWhatWaitsInIt) {
  folderOf(ann);
  fs::remove(state + "/outbox/mailbox");
  leaveWaiting(state + "/outbox");
  const auto outbox = open(work);
  ASSERT_TRUE(outbox);
  EXPECT_EQ(outbox->folder(), state + "/outbox");
  EXPECT_EQ(outbox->queue().waiting()->size(), 1U);
  EXPECT_EQ(folderOf(ann), state + "/outbox-2") << "once it has an owner";
}

TEST_F(OutboxPlaceTest, AProgramOfAnEarlierReleaseIsNotPassedBy) {
  folderOf(ann);
  fs::remove(state + "/outbox/mailbox");
  const auto lock = files.lockFolder(state + "/outbox");
  ASSERT_TRUE(lock);
  EXPECT_EQ(whyNot(ann), "The outbox " + state + "/outbox is in use by another program");
  EXPECT_FALSE(fs::exists(state + "/outbox-2"));
}

TEST_F(OutboxPlaceTest, AMailboxThatWasMovedFindsItsOutboxAgain) {
  folderOf(ann);
  leaveWaiting(state + "/outbox");
  const std::string elsewhere = temp.path("Elsewhere");
  fs::rename(ann, elsewhere);
  EXPECT_EQ(folderOf(work), state + "/outbox-2");
  EXPECT_EQ(folderOf(elsewhere), state + "/outbox");
  EXPECT_THAT(readBytes(state + "/outbox/mailbox"), testing::StartsWith(elsewhere + "\n"));
}

// Another mailbox took it over with its journal, and the one that came back forwarded again what
// the journal knew.
TEST_F(OutboxPlaceTest, AMailboxThatIsOnlyNotMountedKeepsItsOutbox) {
  folderOf(ann);
  leaveWaiting(state + "/outbox");
  fs::rename(ann + "/new", ann + "/unmounted");
  const auto other = open(work);
  EXPECT_EQ(other->folder(), state + "/outbox-2");
  EXPECT_THAT(place(work).leftIn(other->folder()),
              ElementsAre("Forwards (1) wait in the outbox " + state +
                          "/outbox, and nobody delivers them: the mailbox " + ann +
                          " is not there now. To have them sent from here, move the files of " +
                          state + "/outbox/new to " + state + "/outbox-2/new"));
  fs::rename(ann + "/unmounted", ann + "/new");
  EXPECT_EQ(folderOf(ann), state + "/outbox");
}

TEST_F(OutboxPlaceTest, AnAccountKeepsItsOutboxBesideAFolder) {
  const std::string account = "imap:ann@imap.example.org/INBOX";
  EXPECT_EQ(folderOf(account), state + "/outbox");
  EXPECT_EQ(readBytes(state + "/outbox/mailbox"), account + "\n");
  EXPECT_EQ(folderOf(work), state + "/outbox-2");
  EXPECT_EQ(folderOf("imap:bob@imap.example.org/INBOX"), state + "/outbox-3");
  EXPECT_EQ(folderOf(account), state + "/outbox");
}

// No file of the account's name is on this disk, which says nothing about the account.
TEST_F(OutboxPlaceTest, AnAccountIsNeverSaidToBeGone) {
  folderOf("imap:ann@imap.example.org/INBOX");
  leaveWaiting(state + "/outbox");
  const auto other = open(work);
  EXPECT_THAT(place(work).leftIn(other->folder()),
              ElementsAre("Forwards (1) wait in the outbox " + state +
                          "/outbox, and nobody delivers them: no program works on the mailbox "
                          "imap:ann@imap.example.org/INBOX"));
  EXPECT_THAT(whyNot(ann, state + "/outbox"),
              testing::HasSubstr("belongs to the mailbox imap:ann@imap.example.org/INBOX. Two "
                                 "mailboxes cannot share an outbox"));
}

TEST_F(OutboxPlaceTest, ACopyOfAMailboxHasAnOutboxOfItsOwn) {
  folderOf(ann);
  const std::string copy = temp.path("Copy");
  fs::copy(ann, copy, fs::copy_options::recursive);
  EXPECT_EQ(folderOf(copy), state + "/outbox-2");
}

// The inode of a mailbox that was made anew may be another mailbox's by now.
TEST_F(OutboxPlaceTest, AMailboxThatIsThereKeepsItsOutboxWhateverInodeItsNoteNames) {
  folderOf(ann);
  folderOf(work);
  const std::string notes[] = {state + "/outbox/mailbox", state + "/outbox-2/mailbox"};
  const std::string identity = readBytes(notes[1]).substr(work.size());
  writeBytes(notes[0], ann + identity);
  fs::remove_all(state + "/outbox-2");
  EXPECT_EQ(folderOf(work), state + "/outbox-2");
  EXPECT_EQ(folderOf(ann), state + "/outbox");
}

TEST_F(OutboxPlaceTest, ANoteOfAnEarlierReleaseIsKnown) {
  folderOf(ann);
  const std::string note = state + "/outbox/mailbox";
  const std::string whole = readBytes(note);
  for (const std::string& text : {ann + "\n", ann}) {
    writeBytes(note, text);
    EXPECT_EQ(folderOf(work), state + "/outbox-2");
    EXPECT_EQ(folderOf(ann), state + "/outbox");
    EXPECT_EQ(readBytes(note), whole);
  }
}

TEST_F(OutboxPlaceTest, AMailboxThatIsAwayForAWhileKeepsTheOutboxThatItsProgramHasOpen) {
  const auto first = open(ann);
  fs::rename(ann, temp.path("Elsewhere"));
  EXPECT_EQ(folderOf(work), state + "/outbox-2");
}

// Its own mailbox made a new one, without the journal, and what waited in this one stayed there.
TEST_F(OutboxPlaceTest, AnOutboxWhoseNoteCannotBeReadIsNeitherLeftNorTaken) {
  folderOf(ann);
  folderOf(work);
  const std::string note = state + "/outbox/mailbox";
  fs::remove(note);
  fs::create_directory(note);
  for (const std::string& mailbox : {ann, temp.path("Third")}) {
    EXPECT_THAT(whyNot(mailbox),
                AllOf(HasSubstr("It cannot be told which mailbox the outbox " + state +
                                "/outbox belongs to: Cannot open " + note),
                      EndsWith(". See to it that this file can be read, or remove it if the outbox "
                               "is the one of the mailbox " +
                               mailbox)));
  }
  EXPECT_EQ(folderOf(work), state + "/outbox-2") << "its own note can be read";
  EXPECT_FALSE(fs::exists(state + "/outbox-3"));
  EXPECT_THAT(whyNot(ann, state + "/outbox"), HasSubstr("It cannot be told"));
  fs::remove(note);
  writeBytes(note, "");
  EXPECT_THAT(whyNot(ann), HasSubstr(note + " is empty"));
  fs::remove(note);
  EXPECT_EQ(folderOf(ann), state + "/outbox");
}

// It was used without the note, and went to another mailbox at the next start.
TEST_F(OutboxPlaceTest, AnOutboxWhoseNoteCannotBeWrittenIsNotUsed) {
  FaultyFileSystem faulty(files);
  faulty.refused = [&](const std::string& step) {
    return step.starts_with("create " + state + "/outbox/mailbox");
  };
  OutboxPlace full(faulty, ann, state, "");
  const auto outbox = full.open(clock, countingRandom());
  ASSERT_FALSE(outbox);
  EXPECT_THAT(outbox.error().text,
              HasSubstr("The outbox " + state +
                        "/outbox cannot be marked as the one of the mailbox " + ann + ": "));
  folderOf(ann);
  writeBytes(state + "/outbox/mailbox", ann + "\n");
  EXPECT_TRUE(full.open(clock, countingRandom())) << "it says whose it is already";
}

// A disk on which another mailbox's program takes the outbox between the look and the lock.
class SlowerDisk : public UnsyncedDisk {
 public:
  using UnsyncedDisk::UnsyncedDisk;
  Result<std::unique_ptr<FolderLock>> lockFolder(const std::string& folder) override {
    if (before) {
      std::exchange(before, nullptr)();
    }
    return UnsyncedDisk::lockFolder(folder);
  }
  std::function<void()> before;
};

TEST_F(OutboxPlaceTest, TwoThatStartAtOnceDoNotEndUpWithOneOutbox) {
  SlowerDisk slower(sleeper);
  std::unique_ptr<Outbox> first;
  slower.before = [&] { first = open(ann); };
  OutboxPlace second(slower, work, state, "");
  const auto outbox = second.open(clock, countingRandom());
  ASSERT_TRUE(outbox) << outbox.error().text;
  EXPECT_EQ(first->folder(), state + "/outbox");
  EXPECT_EQ((*outbox)->folder(), state + "/outbox-2");
}

TEST_F(OutboxPlaceTest, ANamedOutboxThatTwoMailboxesAreToShareIsRefusedInPlainWords) {
  const std::string named = temp.path("shared");
  const auto first = open(ann, named);
  EXPECT_EQ(whyNot(work, named),
            "The outbox " + named + " is in use by a program that works on the mailbox " + ann +
                ". Two mailboxes cannot share an outbox: name another folder in the key outbox of "
                "section [mail], or leave that key out");
}

TEST_F(OutboxPlaceTest, ANamedOutboxIsKept) {
  const std::string named = temp.path("named");
  EXPECT_EQ(folderOf(ann, named), named);
  EXPECT_EQ(folderOf(ann, named), named);
  EXPECT_FALSE(fs::exists(state + "/outbox"));
}

// The second mailbox had the note written anew, and went on with the journal of the first.
TEST_F(OutboxPlaceTest, ANamedOutboxIsNotTakenFromTheMailboxThatItsNoteNames) {
  const std::string named = temp.path("named");
  folderOf(ann, named);
  const std::string note = readBytes(named + "/mailbox");
  fs::remove(named + "/cur");  // whoever opens it makes it anew
  EXPECT_EQ(whyNot(work, named),
            "The outbox " + named + " belongs to the mailbox " + ann +
                ". Two mailboxes cannot share an outbox: name another folder in the key outbox of "
                "section [mail], or leave that key out");
  fs::rename(ann, temp.path("away"));
  EXPECT_EQ(whyNot(work, named), "The outbox " + named + " belongs to the mailbox " + ann +
                                     ", which is not there now. If the mailbox " + work +
                                     " has taken its place, remove the file " + named + "/mailbox");
  EXPECT_EQ(readBytes(named + "/mailbox"), note);
  EXPECT_FALSE(fs::exists(named + "/cur")) << "it was opened";
  EXPECT_EQ(folderOf(temp.path("away"), named), named) << "it was moved";
  fs::remove(named + "/mailbox");
  EXPECT_EQ(folderOf(work, named), named);
}

TEST_F(OutboxPlaceTest, SaysWhatWaitsInAnOutboxThatNoProgramHas) {
  folderOf(ann);
  const auto own = open(work);
  EXPECT_THAT(place(work).leftIn(own->folder()), IsEmpty());
  leaveWaiting(state + "/outbox");
  leaveWaiting(state + "/outbox");
  EXPECT_THAT(
      place(work).leftIn(own->folder()),
      ElementsAre("Forwards (2) wait in the outbox " + state +
                  "/outbox, and nobody delivers them: no program works on the mailbox " + ann));
  const auto again = open(ann);
  EXPECT_THAT(place(work).leftIn(own->folder()), IsEmpty()) << "its own program delivers it";
}

TEST_F(OutboxPlaceTest, SaysWhatWaitsInTheOutboxThatTheUserNoLongerNames) {
  folderOf(ann);
  leaveWaiting(state + "/outbox");
  const auto own = open(ann, temp.path("named"));
  EXPECT_THAT(place(ann, temp.path("named")).leftIn(own->folder()),
              ElementsAre("Forwards (1) wait in the outbox " + state +
                          "/outbox, and nobody delivers them: the key outbox of section [mail] "
                          "names another folder"));
}

}  // namespace
}  // namespace relaybird
