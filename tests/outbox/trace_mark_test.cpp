// SPDX-License-Identifier: MIT
// Marks and Message-IDs with seals: own ones are recognised in every later run, and no others. The
// random numbers count up, so that every run makes the same marks.
#include "outbox/trace_mark.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "outbox/outbox_world.h"

namespace relaybird {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class TraceMarkTest : public testing::Test {
 protected:
  TraceMark open(const std::string& mailbox = {}) {
    return std::move(TraceMark::open(world.files, world.random, keyFile, mailbox).value());
  }
  OutboxWorld world;
  std::string keyFile = world.temp.path("trace.key");
};

TEST_F(TraceMarkTest, KnowsItsOwnMarksAlsoInALaterRun) {
  const std::string value = *open().make();
  EXPECT_LT(value.size(), 100u);
  EXPECT_EQ(value.find_first_of(" \t\r\n"), value.npos);
  const TraceMark later = open();
  EXPECT_TRUE(later.isOurs(value));
  EXPECT_TRUE(later.isOurs("  " + value + "\r\n"));
}

TEST_F(TraceMarkTest, NoTwoMarksAreAlike) {
  const TraceMark mark = open();
  EXPECT_NE(*mark.make(), *mark.make());
}

TEST_F(TraceMarkTest, RefusesWhateverItDidNotMake) {
  const TraceMark mark = open();
  const std::string value = *mark.make();
  for (std::size_t at = 0; at < value.size(); ++at) {
    std::string changed = value;
    changed[at] = changed[at] == '0' ? '1' : '0';
    EXPECT_FALSE(mark.isOurs(changed)) << at;
  }
  for (const std::string& other :
       {std::string(), std::string(" "), std::string("."), value.substr(1), value + "0",
        value + " " + value, std::string(1'000'000, 'a'), std::string(81, '\0')}) {
    EXPECT_FALSE(mark.isOurs(other));
  }
}

TEST_F(TraceMarkTest, ASealIsTheHmacOfTheNonceUnderTheKey) {
  writeBytes(keyFile, std::string(31, '\0') + '\1');
  EXPECT_TRUE(
      open().isOurs("0000000000000002."
                    "42ce02d9d7c06f5e3c74e2f66df2ecb03bff0b371d9f1b2f2e9ff28d8a8324be"));
}

TEST_F(TraceMarkTest, AnotherUsersMarkIsNotOurs) {
  const std::string value = *open().make();
  writeBytes(keyFile, std::string(32, 'k'));
  EXPECT_FALSE(open().isOurs(value));
}

TEST_F(TraceMarkTest, AnotherMailboxOfTheUserHasMarksOfItsOwn) {
  const TraceMark first = open("/home/ann/Maildir");
  const TraceMark second = open("/home/ann/Mail2");
  const std::string mark = *first.make();
  const std::string id = *first.makeMessageId("ann@example.org");
  EXPECT_TRUE(first.isOurs(mark) && first.isOurMessageId(id));
  EXPECT_FALSE(second.isOurs(mark));
  EXPECT_FALSE(second.isOurMessageId(id));
}

TEST_F(TraceMarkTest, TheKeyIsTheUsersAloneAndMadeOnce) {
  (void)open();
  struct stat status {};
  ASSERT_EQ(::stat(keyFile.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0600u);
  const std::string key = readBytes(keyFile);
  EXPECT_EQ(key.size(), 32u);
  (void)open();
  EXPECT_EQ(readBytes(keyFile), key);
}

TEST_F(TraceMarkTest, AKeyOfTheWrongLengthIsReplaced) {
  for (const std::size_t size : {0u, 31u, 33u, 100000u}) {
    writeBytes(keyFile, std::string(size, 'x'));
    const TraceMark mark = open();
    EXPECT_EQ(readBytes(keyFile).size(), 32u);
    EXPECT_TRUE(mark.isOurs(*mark.make()));
  }
}

TEST_F(TraceMarkTest, AKeyThatCannotBeKeptIsAnError) {
  for (std::size_t step = 1; step <= 5; ++step) {
    world.files.failStep(step, ENOSPC);
    const auto opened = TraceMark::open(world.files, world.random, keyFile, {});
    EXPECT_FALSE(opened) << step;
    world.files.reset();
    (void)world.files.remove(keyFile);
    world.files.reset();
  }
}

TEST_F(TraceMarkTest, WithoutRandomNumbersThereIsNoKeyNoMarkAndNoMessageId) {
  const RandomBytes none = [](std::size_t) -> Result<std::string> {
    return Error{ENOSYS, "no numbers"};
  };
  EXPECT_FALSE(TraceMark::open(world.files, none, keyFile, {}));
  (void)open();
  const auto mark = TraceMark::open(world.files, none, keyFile, {});
  ASSERT_TRUE(mark);
  EXPECT_FALSE(mark->make());
  EXPECT_FALSE(mark->makeMessageId("ann@example.org"));
}

TEST_F(TraceMarkTest, KnowsItsOwnMessageIdsAlsoInALaterRun) {
  const std::string id = *open().makeMessageId("ann@example.org");
  EXPECT_THAT(id, EndsWith("@example.org"));
  EXPECT_NE(id, *open().makeMessageId("ann@example.org"));
  const TraceMark later = open();
  EXPECT_TRUE(later.isOurMessageId(id));
  EXPECT_TRUE(later.isOurMessageId("<" + id + ">"));
  const std::string left = id.substr(0, id.find('@'));
  EXPECT_TRUE(later.isOurMessageId("<" + left + "@new.example>")) << "the address was changed";
}

TEST_F(TraceMarkTest, AMessageIdHoldsADotAtomOfPlainLettersAndNoAddress) {
  const std::string id = *open().makeMessageId("ann.example@example.org");
  const std::string left = id.substr(0, id.find('@'));
  EXPECT_EQ(left.find_first_not_of("0123456789abcdef."), left.npos) << id;
  EXPECT_EQ(std::count(left.begin(), left.end(), '.'), 1) << id;
  EXPECT_LE(left.size(), 64u);
}

TEST_F(TraceMarkTest, RefusesMessageIdsThatItDidNotMake) {
  const TraceMark mark = open();
  const std::string id = *mark.makeMessageId("ann@example.org");
  for (std::size_t at = 0; at <= id.find('@'); ++at) {
    std::string changed = id;
    changed[at] = changed[at] == '0' ? '1' : '0';
    EXPECT_FALSE(mark.isOurMessageId(changed)) << at;
  }
  const std::string left = id.substr(0, id.find('@'));
  for (const std::string& other :
       {std::string(), std::string("<>"), std::string("@"), std::string("<@>"), left,
        "<" + left + ">", "<<" + id + ">", "a" + id, std::string(1'000'000, 'a'),
        std::string(49, '\0') + "@a", std::string("0123456789abcdef0123456789abcdef@a")}) {
    EXPECT_FALSE(mark.isOurMessageId(other)) << other.substr(0, 100);
  }
  writeBytes(keyFile, std::string(32, 'k'));
  EXPECT_FALSE(open().isOurMessageId(id)) << "another user's";
}

TEST_F(TraceMarkTest, AMarkIsNoMessageIdAndAMessageIdIsNoMark) {
  const TraceMark mark = open();
  const std::string trace = *mark.make();
  const std::string id = *mark.makeMessageId("ann@example.org");
  EXPECT_FALSE(mark.isOurMessageId(trace + "@example.org"));
  EXPECT_FALSE(mark.isOurMessageId(trace.substr(0, 49) + "@example.org"));
  EXPECT_FALSE(mark.isOurs(id.substr(0, id.find('@'))));
}

TEST_F(TraceMarkTest, AMessageIdFallsBackWhereTheDomainCannotBeUsed) {
  const TraceMark mark = open();
  for (const std::string& sender :
       {std::string("ann"), std::string("ann@"), std::string("ann@a..b"), std::string("ann@.a"),
        std::string("ann@a."), std::string("ann@[127.0.0.1]"), std::string("ann@a>\r\nBcc: x"),
        std::string("ann@b\xC3\xBC.de"), "ann@" + std::string(300, 'a')}) {
    EXPECT_THAT(*mark.makeMessageId(sender), EndsWith("@localhost.invalid")) << sender;
  }
}

TEST(SystemRandomBytes, GivesAsManyAsAskedForAndOthersEachTime) {
  std::set<std::string> seen;
  for (const std::size_t size : {16u, 16u, 256u, 257u, 1000u}) {
    const auto bytes = systemRandomBytes(size);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(bytes->size(), size);
    seen.insert(*bytes);
  }
  EXPECT_EQ(seen.size(), 5u);
  EXPECT_EQ(systemRandomBytes(0)->size(), 0u);
}

}  // namespace
}  // namespace relaybird
