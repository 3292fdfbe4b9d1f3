// SPDX-License-Identifier: MIT
// Listing, marking and finding messages while other programs move them. The mailbox is a temporary
// folder on a disk that counts how often it is read, refuses what the test wants, and lets the test
// act between two steps.
#include "stores/maildir/maildir_folder.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <limits>

#include "stores/maildir/maildir_disk.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class MaildirFolderTest : public testing::Test {
 protected:
  MaildirListing list() {
    auto result = folder.list();
    EXPECT_TRUE(result) << (result ? "" : result.error().text);
    return result ? std::move(*result) : MaildirListing();
  }
  // "id" for what is unread, "id seen" for what has been read.
  std::vector<std::string> marks() {
    std::vector<std::string> texts;
    for (const MaildirMessage& message : list()) {
      texts.push_back(std::string(message.entryId()) + (message.seen ? " seen" : ""));
    }
    return texts;
  }

  MaildirDisk mail;
  MaildirFolder folder{mail.disk, mail.maildir};
};

TEST_F(MaildirFolderTest, AnEmptyMaildirListsNothing) {
  EXPECT_TRUE(list().empty());
}

TEST_F(MaildirFolderTest, AMissingMaildirIsNamed) {
  MaildirFolder missing(mail.disk, mail.temp.path("gone"));
  const auto result = missing.list();
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().text, "The Maildir " + mail.temp.path("gone") + " does not exist");
  EXPECT_EQ(missing.check().error().code, ENOENT);
}

TEST_F(MaildirFolderTest, AFolderWithoutCurIsNoMaildir) {
  std::filesystem::remove(mail.maildir + "/cur");
  EXPECT_EQ(folder.check().error().text, mail.maildir + " is not a Maildir: it has no folder cur");
}

TEST_F(MaildirFolderTest, AFileIsNoMaildir) {
  writeBytes(mail.temp.path("mbox"), "From x\n");
  MaildirFolder mbox(mail.disk, mail.temp.path("mbox"));
  EXPECT_THAT(mbox.check().error().text, HasSubstr("is not a Maildir"));
  std::filesystem::remove(mail.maildir + "/new");
  mail.deliver("new");
  EXPECT_THAT(folder.check().error().text, HasSubstr("/new is not a folder"));
}

TEST_F(MaildirFolderTest, AnUnreadableFolderSaysWhy) {
  mail.disk.unreadable = [&](const std::string& path) { return path == mail.maildir + "/cur"; };
  const auto result = folder.list();
  ASSERT_FALSE(result);
  EXPECT_THAT(result.error().text, HasSubstr("The Maildir " + mail.maildir + " cannot be read"));
  EXPECT_THAT(result.error().text, HasSubstr("Permission denied"));
}

TEST_F(MaildirFolderTest, AMaildirBehindALinkIsListed) {
  mail.deliver("new/1.a");
  std::filesystem::create_symlink(mail.maildir, mail.temp.path("link"));
  MaildirFolder linked(mail.disk, mail.temp.path("link"));
  const auto result = linked.list();
  ASSERT_TRUE(result);
  EXPECT_EQ(result->size(), 1U);
}

TEST_F(MaildirFolderTest, ListsOldestFirstAcrossBothFolders) {
  mail.deliver("cur/1700000002.b:2,");
  mail.deliver("new/1700000001.z");
  mail.deliver("new/999999999.q");
  mail.deliver("cur/1700000002.a:2,S");
  mail.deliver("new/no-time-stamp");
  EXPECT_THAT(marks(), ElementsAre("no-time-stamp", "999999999.q", "1700000001.z",
                                   "1700000002.a seen", "1700000002.b"));
}

TEST_F(MaildirFolderTest, OnlyTheSeenFlagMakesAMessageRead) {
  for (const char* name : {"cur/1", "cur/2:2,", "cur/3:2,FRT", "cur/4:2,S", "cur/5:2,FSx",
                           "cur/6:1,S", "new/7", "new/8:2,S"}) {
    mail.deliver(name);
  }
  EXPECT_THAT(marks(), ElementsAre("1", "2", "3", "4 seen", "5 seen", "6:1,S", "7", "8 seen"));
}

TEST_F(MaildirFolderTest, OnlyRegularFilesWithoutALeadingDotAreMessages) {
  const std::string outside = mail.temp.path("outside");
  writeBytes(outside, "secret");
  std::filesystem::create_directory(mail.maildir + "/new/1.folder");
  ASSERT_EQ(::mkfifo((mail.maildir + "/new/2.pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink(outside, mail.maildir + "/cur/3.link:2,");
  mail.deliver("new/.4.hidden");
  mail.deliver("new/5.message");
  EXPECT_THAT(marks(), ElementsAre("5.message"));
}

TEST_F(MaildirFolderTest, AMessageInBothFoldersIsListedOnce) {
  mail.deliver("new/1.a");
  mail.deliver("cur/1.a:2,F");
  mail.deliver("new/2.b");
  mail.deliver("cur/2.b:2,S");
  mail.deliver("cur/3.c:2,");
  mail.deliver("cur/3.c:2,RS");
  const auto listing = list();
  ASSERT_EQ(listing.size(), 3U);
  EXPECT_EQ(listing[0].name, "1.a:2,F");
  EXPECT_EQ(listing[1].name, "2.b:2,S");
  EXPECT_EQ(listing[2].name, "3.c:2,RS");
}

TEST_F(MaildirFolderTest, ThirtyThousandEntriesTakeOneLookAtEachFolder) {
  for (int i = 0; i < 30000; ++i) {
    const std::string id = std::to_string(1700000000 + (i * 7919) % 30000) + ".M1P2.host";
    mail.deliver(i % 2 ? "new/" + id : "cur/" + id + ":2,", "");
  }
  const auto listing = list();
  EXPECT_EQ(listing.size(), 30000U);
  EXPECT_TRUE(std::is_sorted(listing.begin(), listing.end(), [](const auto& a, const auto& b) {
    return a.entryId() < b.entryId();
  }));
  EXPECT_THAT(mail.disk.listed, ElementsAre(mail.maildir + "/new", mail.maildir + "/cur"));
  EXPECT_THAT(mail.disk.opened, IsEmpty());
  EXPECT_LT(mail.disk.inspected, 10);
  EXPECT_EQ(mail.disk.steps(), 0U);
}

TEST_F(MaildirFolderTest, MarkingReadMovesOutOfNewAndKeepsTheOtherFlags) {
  mail.deliver("new/1.a");
  mail.deliver("cur/2.b:2,zF");
  mail.deliver("cur/3.c");
  auto listing = list();
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_TRUE(folder.setSeen(listing, i, true));
    EXPECT_TRUE(listing[i].seen);
  }
  EXPECT_THAT(mail.contents(), ElementsAre("cur/1.a:2,S", "cur/2.b:2,FSz", "cur/3.c:2,S"));
  EXPECT_THAT(marks(), ElementsAre("1.a seen", "2.b seen", "3.c seen"));
}

TEST_F(MaildirFolderTest, MarkingUnreadTakesOnlyTheSeenFlagAway) {
  mail.deliver("cur/1.a:2,SRa");
  mail.deliver("cur/2.b:2,S");
  auto listing = list();
  ASSERT_TRUE(folder.setSeen(listing, 0, false));
  ASSERT_TRUE(folder.setSeen(listing, 1, false));
  EXPECT_THAT(mail.contents(), ElementsAre("cur/1.a:2,Ra", "cur/2.b:2,"));
}

TEST_F(MaildirFolderTest, SettingWhatStandsChangesNothing) {
  mail.deliver("new/1.a");
  mail.deliver("cur/2.b:2,S");
  auto listing = list();
  ASSERT_TRUE(folder.setSeen(listing, 0, false));
  ASSERT_TRUE(folder.setSeen(listing, 1, true));
  EXPECT_EQ(mail.disk.steps(), 0U);
}

TEST_F(MaildirFolderTest, AMovedMessageIsFoundByItsUniqueName) {
  mail.deliver("new/1.a");
  mail.deliver("cur/2.b:2,");
  auto listing = list();
  mail.move("new/1.a", "cur/1.a:2,R");
  mail.move("cur/2.b:2,", "cur/2.b:2,FS");
  ASSERT_TRUE(folder.setSeen(listing, 0, true));
  ASSERT_TRUE(folder.setSeen(listing, 1, true));
  EXPECT_THAT(mail.contents(), ElementsAre("cur/1.a:2,RS", "cur/2.b:2,FS"));
}

TEST_F(MaildirFolderTest, AVanishedMessageIsReportedOnceTheFoldersWereSearchedTwice) {
  mail.deliver("new/1.a");
  auto listing = list();
  std::filesystem::remove(mail.maildir + "/new/1.a");
  mail.disk.listed.clear();
  const auto result = folder.setSeen(listing, 0, true);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().code, ENOENT);
  EXPECT_EQ(result.error().text, "The message 1.a is no longer in the Maildir " + mail.maildir);
  EXPECT_EQ(mail.disk.listed.size(), 4U);
}

TEST_F(MaildirFolderTest, AMailboxClearedUnderTheWalkIsSearchedOnce) {
  for (int i = 0; i < 100; ++i) {
    mail.deliver("new/" + std::to_string(100 + i) + ".a");
  }
  auto listing = list();
  for (int i = 1; i < 100; ++i) {
    std::filesystem::remove(mail.maildir + "/new/" + std::to_string(100 + i) + ".a");
  }
  mail.disk.listed.clear();
  int used = 0;
  for (std::size_t i = 0; i < 100; ++i) {
    const auto result = folder.withFile(listing, i, [&](const std::string& path) -> Result<void> {
      ++used;
      const auto info = mail.disk.inspect(path);
      return info ? Result<void>() : Result<void>(info.error());
    });
    EXPECT_EQ(static_cast<bool>(result), i == 0);
  }
  EXPECT_EQ(mail.disk.listed.size(), 4U);
  EXPECT_EQ(used, 2);
}

// A folder that is read while a file in it is renamed may show neither the old nor the new name.
TEST_F(MaildirFolderTest, AMessageMissedByOneSearchIsFoundByTheNext) {
  mail.deliver("new/1.a");
  auto listing = list();
  mail.move("new/1.a", "tmp/1.a");
  int looks = 0;
  mail.disk.afterList = [&](const std::string&) {
    if (++looks == 2) {
      mail.move("tmp/1.a", "cur/1.a:2,");
    }
  };
  ASSERT_TRUE(folder.setSeen(listing, 0, true));
  EXPECT_THAT(mail.contents(), ElementsAre("cur/1.a:2,S"));
}

TEST_F(MaildirFolderTest, AReadOnlyMaildirSaysWhyAndKeepsTheEntry) {
  mail.deliver("new/1.a");
  auto listing = list();
  mail.disk.failFromStep(1, EROFS);
  const auto result = folder.setSeen(listing, 0, true);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().code, EROFS);
  EXPECT_FALSE(listing[0].seen);
  EXPECT_THAT(mail.contents(), ElementsAre("new/1.a"));
}

TEST_F(MaildirFolderTest, AMaildirTakenAwayIsNotTakenForAVanishedMessage) {
  mail.deliver("new/1.a");
  auto listing = list();
  std::filesystem::rename(mail.maildir, mail.temp.path("away"));
  const auto result = folder.setSeen(listing, 0, true);
  ASSERT_FALSE(result);
  EXPECT_THAT(result.error().text, HasSubstr("does not exist"));
  std::filesystem::rename(mail.temp.path("away"), mail.maildir);
  EXPECT_TRUE(folder.setSeen(listing, 0, true));
}

std::string_view base(std::string_view name) {
  return name.substr(0, maildirBaseLength(name));
}

TEST(MaildirName, TheUniqueNameEndsBeforeTheFlags) {
  EXPECT_EQ(base("1700000000.M1P2.host:2,RS"), "1700000000.M1P2.host");
  EXPECT_EQ(base("1700000000.M1P2.host:2,"), "1700000000.M1P2.host");
  EXPECT_EQ(maildirFlags("1700000000.M1P2.host:2,RS"), "RS");
  EXPECT_EQ(maildirFlags("1700000000.M1P2.host:2,"), "");
}

TEST(MaildirName, WithoutFlagsTheWholeNameIsUnique) {
  EXPECT_EQ(base("1700000000.M1P2.host"), "1700000000.M1P2.host");
  EXPECT_EQ(base("name:1,S"), "name:1,S");
  EXPECT_EQ(base("S:S"), "S:S");
  EXPECT_EQ(base(""), "");
  EXPECT_EQ(maildirFlags("1700000000.S.hoSt"), "");
  EXPECT_EQ(maildirFlags("S:1,S"), "");
}

TEST(MaildirName, ANameOfFlagsAloneStaysAName) {
  EXPECT_EQ(base(":2,S"), ":2,S");
  EXPECT_EQ(withMaildirFlag(":2,S", 'S', true), ":2,S:2,S");
  EXPECT_EQ(base(":2,S:2,S"), ":2,S");
}

TEST(MaildirName, TheLastMarkCounts) {
  EXPECT_EQ(base("a:2,b:2,S"), "a:2,b");
  EXPECT_EQ(maildirFlags("a:2,b:2,S"), "S");
  EXPECT_EQ(base("a:2,S:x"), "a");
}

TEST(MaildirName, SettingAFlagSortsAndKeepsTheOthers) {
  EXPECT_EQ(withMaildirFlag("x", 'S', true), "x:2,S");
  EXPECT_EQ(withMaildirFlag("x:2,", 'S', true), "x:2,S");
  EXPECT_EQ(withMaildirFlag("x:2,TF", 'S', true), "x:2,FST");
  EXPECT_EQ(withMaildirFlag("x:2,zRa", 'S', true), "x:2,RSaz");
  EXPECT_EQ(withMaildirFlag("x:2,S", 'S', true), "x:2,S");
  EXPECT_EQ(withMaildirFlag("x:2,RR", 'S', true), "x:2,RS");
}

TEST(MaildirName, ClearingAFlagKeepsTheOthers) {
  EXPECT_EQ(withMaildirFlag("x:2,FS", 'S', false), "x:2,F");
  EXPECT_EQ(withMaildirFlag("x:2,S", 'S', false), "x:2,");
  EXPECT_EQ(withMaildirFlag("x:2,SaS", 'S', false), "x:2,a");
  EXPECT_EQ(withMaildirFlag("x", 'S', false), "x:2,");
}

TEST(MaildirName, TheTimeStampIsTheLeadingNumber) {
  EXPECT_EQ(maildirTimeStamp("1700000000.M1P2.host"), 1700000000U);
  EXPECT_EQ(maildirTimeStamp("00012x"), 12U);
  EXPECT_EQ(maildirTimeStamp("msg.1"), 0U);
  EXPECT_EQ(maildirTimeStamp(""), 0U);
  EXPECT_EQ(maildirTimeStamp("99999999999999999999999"), std::numeric_limits<std::uint64_t>::max());
}

}  // namespace
}  // namespace relaybird
