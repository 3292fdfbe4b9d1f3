// SPDX-License-Identifier: MIT
// What is known of messages when a server numbers them anew. The way over a session is in
// account_inbox_test.cpp.
#include "stores/account/message_identities.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "platform/posix/posix_file_system.h"
#include "stores/account/renumbering.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using Found = MessageIdentities::Found;

class MessageIdentitiesTest : public testing::Test {
 protected:
  MessageIdentitiesTest() { identities_.begin(7); }

  static ImapHead head(std::uint32_t uid, const std::string& name, DateTime received) {
    ImapHead made;
    made.uid = uid;
    made.received = received;
    made.header = "Message-ID: <" + name + "@example.org>\r\nSubject: " + name + "\r\n\r\n";
    return made;
  }
  static Found found(const ImapHead& head) {
    return {head.uid, MessageIdentities::fingerprintOf(head),
            MessageIdentities::earlierFingerprintOf(head), head.received};
  }
  std::string nameOf(std::uint32_t uid) const {
    return MessageIdentities::entryId(8, uid, *identities_.aliases());
  }

  const DateTime noon_ = makeTime(2026, 11, 20, 12, 0, 0);
  FakeClock clock_;
  RecordingSleeper sleeper_{clock_};
  PosixFileSystem files_{sleeper_};
  TempFolder folder_;
  MessageIdentities identities_{files_, folder_.path("account/messages")};
};

// It may be one that was forwarded and that another program has marked unread since.
TEST_F(MessageIdentitiesTest, OnlyWhatIsYoungerThanAllThatWasSeenIsNew) {
  identities_.note(head(1, "known", noon_));
  const std::vector<Found> all = {found(head(11, "older", noon_ - std::chrono::seconds(1))),
                                  found(head(12, "as old", noon_)),
                                  found(head(13, "younger", noon_ + std::chrono::seconds(1)))};
  EXPECT_EQ(identities_.renumber(8, all), 2U);
  EXPECT_TRUE(identities_.isLeftOut(11));
  EXPECT_TRUE(identities_.isLeftOut(12));
  EXPECT_FALSE(identities_.isLeftOut(13));
  EXPECT_EQ(nameOf(13), "imap-8-13");
}

TEST_F(MessageIdentitiesTest, AMessageThatCameTwiceIsRecognisedAsOftenAsItWasSeen) {
  identities_.note(head(1, "twin", noon_));
  identities_.note(head(2, "twin", noon_));
  EXPECT_EQ(identities_.renumber(8, {found(head(11, "twin", noon_)), found(head(12, "twin", noon_)),
                                     found(head(13, "twin", noon_))}),
            1U);
  const std::set<std::string> names = {nameOf(11), nameOf(12)};
  EXPECT_EQ(names, (std::set<std::string>{"imap-7-1", "imap-7-2"}));
  EXPECT_TRUE(identities_.isLeftOut(13));
}

// Copies of a circular have the same Message-ID at some senders.
TEST_F(MessageIdentitiesTest, TheSubjectTellsMessagesOfOneIdentifierApart) {
  ImapHead one = head(1, "circular", noon_);
  ImapHead other = one;
  other.header.replace(other.header.find("Subject: circular"), 17, "Subject: another!");
  EXPECT_NE(MessageIdentities::fingerprintOf(one), MessageIdentities::fingerprintOf(other));
}

TEST_F(MessageIdentitiesTest, WhatIsReadIsForgotten) {
  identities_.note(head(1, "read", noon_));
  identities_.note(head(2, "unread", noon_));
  UidSet unread;
  unread.add(2);
  identities_.keepOnly(unread);
  ASSERT_TRUE(identities_.writeToDisk(identities_.takeUnsaved()));
  MessageIdentities later(files_, folder_.path("account/messages"));
  later.restore(later.readFromDisk());
  EXPECT_EQ(later.uidValidity(), 7U);
  EXPECT_EQ(later.renumber(8, {found(head(11, "read", noon_)), found(head(12, "unread", noon_))}),
            1U);
  EXPECT_TRUE(later.isLeftOut(11));
}

// A server that changes its numbers right after an update of this program would lose all of them.
TEST_F(MessageIdentitiesTest, FingerprintsOfEarlierVersionsAreRecognisedAndReplaced) {
  const std::string path = folder_.path("messages");
  // FNV-1a of the Message-ID, the date, the subject and nothing, each with FF at its end.
  writeBytes(
      path,
      "relaybird-messages 1\n7\n1795176000\n-\n1 e117d0f6e814005d\n2 17eb70dda0a2345 imap-6-9\n");
  MessageIdentities updated(files_, path);
  updated.restore(updated.readFromDisk());
  EXPECT_EQ(updated.uidValidity(), 7U);
  updated.note(head(2, "two", noon_));
  const std::string text = updated.takeUnsaved();
  EXPECT_THAT(text, testing::StartsWith("relaybird-messages 2\n7\n"));
  MessageIdentities later(files_, path);
  later.restore(text);
  EXPECT_EQ(later.renumber(8, {found(head(11, "one", noon_)), found(head(12, "two", noon_)),
                               found(head(13, "old", noon_))}),
            1U);
  EXPECT_EQ(MessageIdentities::entryId(8, 11, *later.aliases()), "imap-7-1");
  EXPECT_EQ(MessageIdentities::entryId(8, 12, *later.aliases()), "imap-6-9");
  EXPECT_TRUE(later.isLeftOut(13));
}

TEST_F(MessageIdentitiesTest, FingerprintsAreReadAsTheyWereWritten) {
  std::vector<Found> all;
  for (std::uint32_t uid = 1; uid <= 300; ++uid) {  // some with zeros in front
    identities_.note(head(uid, "m" + std::to_string(uid), noon_));
    all.push_back(found(head(1000 + uid, "m" + std::to_string(uid), noon_)));
    all.back().earlier = {};
  }
  MessageIdentities later(files_, folder_.path("messages"));
  later.restore(identities_.takeUnsaved());
  EXPECT_EQ(later.renumber(8, all), 0U);
}

TEST_F(MessageIdentitiesTest, NothingIsTakenFromADamagedFile) {
  identities_.note(head(1, "one", noon_));
  identities_.note(head(2, "two", noon_));
  ASSERT_TRUE(identities_.writeToDisk(identities_.takeUnsaved()));
  const std::string path = folder_.path("account/messages");
  writeBytes(path, readBytes(path) + "rubbish\n");
  MessageIdentities later(files_, path);
  later.restore(later.readFromDisk());
  EXPECT_EQ(later.uidValidity(), 0U);
  later.begin(7);
  EXPECT_EQ(later.renumber(8, {found(head(11, "one", noon_))}), 0U) << "nothing was seen before";
  EXPECT_EQ(MessageIdentities::entryId(8, 11, *later.aliases()), "imap-8-11");
}

// All heads of a huge mailbox are not read for it. Those that are not, may have been forwarded.
TEST_F(MessageIdentitiesTest, OlderMessagesThatAreNotAskedForAreLeftOutByARenumbering) {
  identities_.note(head(1, "known", noon_));
  std::vector<std::string> told;
  Renumbering renumbering(identities_, [&](const std::string& words) { told.push_back(words); });
  ImapClient client({}, {});
  std::vector<std::uint32_t> listed;
  renumbering.begin(client, 8, {500, 501}, false, [&](auto uids) { listed = std::move(*uids); });
  renumbering.arrived(head(500, "known", noon_));
  renumbering.arrived(head(501, "young", noon_ + std::chrono::seconds(1)));
  client.dialogue().received("r1 OK\r\n");
  EXPECT_THAT(listed, testing::ElementsAre(500, 501));
  EXPECT_EQ(nameOf(500), "imap-7-1");
  EXPECT_FALSE(identities_.isLeftOut(501));
  EXPECT_TRUE(identities_.isLeftOut(499));
  EXPECT_TRUE(identities_.isLeftOut(1));
  EXPECT_THAT(told, testing::ElementsAre(testing::HasSubstr("not forwarded: at least 0")));
}

TEST_F(MessageIdentitiesTest, AFullMailboxIsRecognisedByItsNewestMessages) {
  std::vector<std::uint32_t> uids;
  for (std::uint32_t uid = 1; uid <= kMostRemembered + 5; ++uid) {
    uids.push_back(uid);
  }
  Renumbering renumbering(identities_, [](const std::string&) {});
  ImapClient client({}, {});
  renumbering.begin(client, 8, uids, true, [](const auto&) {});
  const std::string& asked = client.dialogue().output();
  EXPECT_THAT(asked, testing::StartsWith("r1 UID FETCH 6:105 "));
  EXPECT_EQ(std::count(asked.begin(), asked.end(), '\n'),
            static_cast<std::ptrdiff_t>(kMostRemembered / kHeadsInCommand));
}

}  // namespace
}  // namespace relaybird
