// SPDX-License-Identifier: MIT
// Measuring forwards and applying the size limit. First the rule by itself, then whole forwards
// over the mailbox in memory (StoreBench), whose attachments may claim sizes of gigabytes.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "compose/cls_security.h"
#include "compose/store_bench.h"

namespace relaybird {
namespace {

constexpr double kNone = 0;

SizeLimit limitOf(double megabytes) {
  return {true, megabytes};
}

TEST(SizeRule, TakesSizesUpToTheLimit) {
  EXPECT_TRUE(keepsLimit(1000000, limitOf(1)));
  EXPECT_FALSE(keepsLimit(1000001, limitOf(1)));
  EXPECT_TRUE(keepsLimit(0, limitOf(0)));
  EXPECT_FALSE(keepsLimit(1, limitOf(0)));
  EXPECT_FALSE(keepsLimit(0, limitOf(-1)));
}

TEST(SizeRule, RoundsTheLimitToBytesHalvesToEven) {
  EXPECT_TRUE(keepsLimit(250000, limitOf(0.25)));
  EXPECT_FALSE(keepsLimit(250001, limitOf(0.25)));
  EXPECT_FALSE(keepsLimit(1, limitOf(0.0000005)));
  EXPECT_TRUE(keepsLimit(2, limitOf(0.0000015)));
  EXPECT_FALSE(keepsLimit(3, limitOf(0.0000025)));
}

TEST(SizeRule, OverflowsBeyondThirtyTwoBits) {
  EXPECT_TRUE(keepsLimit(2147483647, limitOf(2147.483647)));
  for (const double megabytes : {2147.483648, 1e300, std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN(), -3000.0}) {
    EXPECT_THROW(keepsLimit(0, limitOf(megabytes)), MailStoreError) << megabytes;
    EXPECT_TRUE(keepsLimit(2147483647, SizeLimit{false, megabytes}));
  }
}

TEST(SizeRule, CountsWholeMegabytesForCopiedTexts) {
  EXPECT_TRUE(keepsWholeMegabytes(2000000, limitOf(1.5)));
  EXPECT_FALSE(keepsWholeMegabytes(2000001, limitOf(2.5)));
  EXPECT_FALSE(keepsWholeMegabytes(1, limitOf(0.5)));
  EXPECT_TRUE(keepsWholeMegabytes(0, limitOf(0.5)));
  EXPECT_FALSE(keepsWholeMegabytes(1000001, limitOf(1.4)));
  EXPECT_TRUE(keepsWholeMegabytes(2147000000, limitOf(2147.4)));
  EXPECT_THROW(keepsWholeMegabytes(0, limitOf(2148)), MailStoreError);
  EXPECT_THROW(keepsWholeMegabytes(0, limitOf(1e10)), MailStoreError);
  EXPECT_TRUE(keepsWholeMegabytes(2147483647, SizeLimit{false, 1e10}));
}

TEST(SizeRule, CountsCharactersOfTexts) {
  EXPECT_EQ(textSizeOf("\xC3\xA4\xE2\x82\xAC", "abc"), 5);
  EXPECT_EQ(textSizeOf("", ""), 0);
}

TEST(SizeRule, AddsSizesWithoutWrapping) {
  EXPECT_EQ(addedSizes(2147483646, 1), 2147483647);
  EXPECT_THROW(addedSizes(2147483647, 1), MailStoreError);
}

TEST(Sizes, AreThoseOfTheForward) {
  StoreBench bench;
  bench.prefs.fields().mbolMaxFwdSize = true;
  MemoryItem item;
  item.subject = "x";  // FW: x
  item.attachments = {attachmentOf(10), attachmentOf(20), attachmentOf(30)};
  Built made(bench, bench.deliver(item));
  ASSERT_TRUE(made.done);
  const std::string body = made.builder.GetSafeItemBody();
  EXPECT_EQ(made.builder.textSize(), static_cast<std::int32_t>(5 + body.size()));
  EXPECT_EQ(made.builder.attachmentsSize(), 60);
}

TEST(Sizes, OfASubjectOfFiveABodyOfFortyFiveAndThreeAttachments) {
  StoreBench bench;
  MemoryItem item = letter();
  item.subject = "S";                         // FW: S
  item.senderAddress = "ann@writer.example";  // the tag "[From:ann@writer.example] " has 26
  item.body = std::string(19, 'b');
  item.attachments = {attachmentOf(10), attachmentOf(20), attachmentOf(30)};
  Built made(bench, bench.deliver(item), true);
  ASSERT_TRUE(made.builder.GetSafeItemSizes());
  EXPECT_EQ(made.builder.textSize(), 50);
  EXPECT_EQ(made.builder.attachmentsSize(), 60);
}

TEST(Sizes, AreMeasuredBeforeTheSenderTag) {
  StoreBench bench;
  bench.prefs.fields().mbolMaxFwdSize = true;
  MemoryItem item = letter();
  item.attachments = {attachmentOf(7)};
  const auto delivered = bench.deliver(item);
  Built standard(bench, delivered);
  Built cell(bench, delivered, true);
  EXPECT_EQ(cell.builder.textSize(), standard.builder.textSize());
  EXPECT_EQ(cell.builder.attachmentsSize(), 7);
}

struct LimitRow {
  const char* what;
  bool limited;
  double megabytes;
  bool attachments;
  std::int32_t attachmentSize;
  bool within;
  std::size_t attachmentsLeft;
};

TEST(SizeLimit, HoldsBackWhatIsTooLarge) {
  for (const char* kind : {"MailItem", "meetingitem"}) {
    for (const LimitRow& row : {LimitRow{"off, kept", false, kNone, true, 2000000, true, 2},
                                LimitRow{"off, stripped", false, kNone, false, 2000000, true, 0},
                                LimitRow{"kept, small", true, 1, true, 1000, true, 2},
                                LimitRow{"kept, large", true, 1, true, 2000000, false, 2},
                                LimitRow{"stripped, large", true, 1, false, 2000000, true, 0},
                                LimitRow{"stripped, tiny limit", true, 0, false, 10, false, 0},
                                LimitRow{"off, overflow", false, 1e9, true, 10, true, 2}}) {
      StoreBench bench;
      bench.prefs.fields().mbolMaxFwdSize = row.limited;
      bench.prefs.fields().mdblMaxFwdSize = row.megabytes;
      bench.prefs.fields().mbolIncludeAttachments = row.attachments;
      MemoryItem item = ofKind(kind);
      item.attachments = {attachmentOf(row.attachmentSize), attachmentOf(0)};
      Built made(bench, bench.deliver(item));
      EXPECT_TRUE(made.done) << row.what;
      EXPECT_EQ(made.builder.sizeWithinLimit(), row.within) << row.what;
      ASSERT_TRUE(made.builder.send()) << row.what;
      EXPECT_EQ(bench.sent().attachments.size(), row.attachmentsLeft) << row.what;
    }
  }
}

TEST(SizeLimit, IsReachedByTheLastByte) {
  StoreBench bench;
  bench.prefs.fields().mbolMaxFwdSize = true;
  const std::int32_t text = Built(bench, bench.deliver(letter())).builder.textSize();
  for (const std::int32_t excess : {0, 1}) {
    MemoryItem item = letter();
    item.attachments = {attachmentOf(1000000 - text + excess)};
    Built made(bench, bench.deliver(item));
    EXPECT_EQ(made.builder.sizeWithinLimit(), excess == 0);
  }
}

TEST(SizeLimit, ThatOverflowsIsAFaultOnlyWhenItIsOn) {
  StoreBench bench;
  bench.prefs.fields().mdblMaxFwdSize = 3000;
  for (const char* kind : {"MailItem", "meetingitem", "ReportItem", "TaskRequestItem"}) {
    bench.prefs.fields().mbolMaxFwdSize = true;
    Built limited(bench, bench.deliver(ofKind(kind)));
    EXPECT_FALSE(limited.done) << kind;
    EXPECT_EQ(limited.builder.errorText(), "Overflow");
    bench.prefs.fields().mbolMaxFwdSize = false;
    Built free(bench, bench.deliver(ofKind(kind)));
    EXPECT_TRUE(free.done) << kind;
    EXPECT_TRUE(free.builder.sizeWithinLimit());
  }
}

TEST(SizeLimit, AttachmentsThatOverflowAreAFaultOfMeasuring) {
  StoreBench bench;
  bench.prefs.fields().mbolMaxFwdSize = true;
  MemoryItem item = letter();
  item.attachments = {attachmentOf(2000000000), attachmentOf(2000000000)};
  Built made(bench, bench.deliver(item));
  EXPECT_FALSE(made.done);
  EXPECT_EQ(made.builder.errorText(), "Overflow");
}

TEST(SizeLimit, OfReportsAndTasksCountsTheTextsInWholeMegabytes) {
  for (const char* kind : {"ReportItem", "TaskRequestItem"}) {
    StoreBench bench;
    bench.prefs.fields().mbolMaxFwdSize = true;
    bench.prefs.fields().mdblMaxFwdSize = 0.6;  // one whole megabyte
    MemoryItem item = ofKind(kind);
    item.subject = "12345";
    item.body = std::string(999995, 'b');
    item.attachments = {attachmentOf(500)};
    Built within(bench, bench.deliver(item));
    EXPECT_TRUE(within.builder.sizeWithinLimit());
    EXPECT_EQ(within.builder.textSize(), 1000000);
    item.body += "b";
    Built above(bench, bench.deliver(item));
    EXPECT_TRUE(above.done);
    EXPECT_FALSE(above.builder.sizeWithinLimit());
    bench.prefs.fields().mbolMaxFwdSize = false;
    Built free(bench, bench.deliver(item));
    EXPECT_TRUE(free.builder.sizeWithinLimit());
  }
}

TEST(GetSafeItemSizes, SaysWhenThereIsNothingOfTheRightKindToMeasure) {
  StoreBench bench;
  clsSecurity builder(bench.store.factory());
  EXPECT_FALSE(builder.GetSafeItemSizes());
  EXPECT_EQ(builder.errorText(), "clsSecurity::GetSafeItemSizes Error - mobjSafe wrong type");
}

// A library that returns the wrong wrapper.
struct WrongWrappers : ObjectFactory {
  explicit WrongWrappers(ObjectFactory& real) : real_(real) {}
  std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override {
    return real_.CreateObject(progId == prog_id::kSafeMailItem ? prog_id::kSafeTaskItem : progId);
  }
  ObjectFactory& real_;
};

TEST(GetSafeItemSizes, FailsTheForwardWhenTheWrapperIsOfAWrongKind) {
  StoreBench bench;
  WrongWrappers wrong(bench.store.factory());
  clsSecurity builder(wrong);
  builder.SetPref(bench.prefs);
  EXPECT_FALSE(builder.MakeSafeInboxItem(bench.deliver(letter())));
  EXPECT_EQ(builder.errorText(), "clsSecurity::GetSafeItemSizes Error - mobjSafe wrong type");
}

}  // namespace
}  // namespace relaybird
