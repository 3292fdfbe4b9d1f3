// SPDX-License-Identifier: MIT
#include "stores/outlook/value.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

#include "fake_dispatch.h"
#include "mail/mail_store.h"
#include "support/fake_clock.h"

namespace relaybird::outlook {
namespace {

// A value of any kind, with the record filled by the test.
template <class Fill>
Value valueOf(VARTYPE type, Fill fill) {
  Value value;
  VARIANT* record = value.out();
  record->vt = type;
  fill(*record);
  return value;
}

TEST(ValueTest, TextsGoBothWaysInUtf8) {
  for (const std::string& text : {std::string(), std::string("plain"), std::string("Łódź 🐦 良い"),
                                  std::string("a\0b", 3), std::string(70000, 'x')}) {
    EXPECT_EQ(Value::ofText(text).text(), text);
  }
}

TEST(ValueTest, AMissingTextReadsAsEmpty) {
  EXPECT_EQ(Value().text(), "");
  EXPECT_EQ(valueOf(VT_NULL, [](VARIANT&) {}).text(), "");
  EXPECT_EQ(valueOf(VT_BSTR, [](VARIANT& record) { record.bstrVal = nullptr; }).text(), "");
}

TEST(ValueTest, ANumberReadsAsTextAndAnObjectDoesNot) {
  EXPECT_EQ(Value::ofNumber(-12).text(), "-12");
  FakeDispatch fake;
  EXPECT_THROW((void)Value::ofObject(&fake).text(), MailStoreError);
}

TEST(ValueTest, EveryKindOfWholeNumberReads) {
  const std::pair<VARTYPE, Value> kinds[] = {
      {VT_I1, valueOf(VT_I1, [](VARIANT& r) { r.cVal = 7; })},
      {VT_UI1, valueOf(VT_UI1, [](VARIANT& r) { r.bVal = 7; })},
      {VT_I2, valueOf(VT_I2, [](VARIANT& r) { r.iVal = 7; })},
      {VT_UI2, valueOf(VT_UI2, [](VARIANT& r) { r.uiVal = 7; })},
      {VT_I4, valueOf(VT_I4, [](VARIANT& r) { r.lVal = 7; })},
      {VT_UI4, valueOf(VT_UI4, [](VARIANT& r) { r.ulVal = 7; })},
      {VT_I8, valueOf(VT_I8, [](VARIANT& r) { r.llVal = 7; })},
      {VT_UI8, valueOf(VT_UI8, [](VARIANT& r) { r.ullVal = 7; })},
      {VT_INT, valueOf(VT_INT, [](VARIANT& r) { r.intVal = 7; })},
      {VT_UINT, valueOf(VT_UINT, [](VARIANT& r) { r.uintVal = 7; })},
      {VT_R8, valueOf(VT_R8, [](VARIANT& r) { r.dblVal = 7; })},
  };
  for (const auto& [type, value] : kinds) {
    EXPECT_EQ(value.number(), 7) << type;
  }
  std::int32_t target = -9;
  EXPECT_EQ(
      valueOf(VT_I4 | VT_BYREF, [&](VARIANT& r) { r.plVal = reinterpret_cast<LONG*>(&target); })
          .number(),
      -9);
}

TEST(ValueTest, ANumberThatDoesNotFitThrowsAndNeverWraps) {
  EXPECT_THROW((void)valueOf(VT_I8, [](VARIANT& r) { r.llVal = 5000000000; }).number(),
               MailStoreError);
  EXPECT_THROW((void)valueOf(VT_UI4, [](VARIANT& r) { r.ulVal = 0xFFFFFFFF; }).number(),
               MailStoreError);
  EXPECT_THROW((void)Value().number(), MailStoreError);
  EXPECT_THROW((void)Value::ofText("many").number(), MailStoreError);
}

TEST(ValueTest, YesAndNoReadFromBooleansAndNumbers) {
  EXPECT_TRUE(Value::ofTruth(true).truth());
  EXPECT_FALSE(Value::ofTruth(false).truth());
  EXPECT_TRUE(Value::ofNumber(1).truth());
  EXPECT_THROW((void)Value().truth(), MailStoreError);
}

TEST(ValueTest, NothingReadsAsNoObject) {
  FakeDispatch fake;
  EXPECT_EQ(Value::ofObject(&fake).object().get(), &fake);
  EXPECT_FALSE(Value::ofObject(nullptr).object());
  EXPECT_FALSE(Value().object());
  EXPECT_THROW((void)Value::ofText("text").object(), MailStoreError);
  EXPECT_EQ(fake.references(), 1u);
}

TEST(ValueTest, ACopyOwnsWhatItHolds) {
  FakeDispatch fake;
  {
    const Value first = Value::ofObject(&fake);
    const Value second(first);
    EXPECT_EQ(fake.references(), 3u);
    Value text = Value::ofText("one");
    const Value copy(text);
    text = Value::ofText("two");
    EXPECT_EQ(copy.text(), "one");
  }
  EXPECT_EQ(fake.references(), 1u);
}

Value dateValue(double date) {
  return valueOf(VT_DATE, [date](VARIANT& record) { record.date = date; });
}

TEST(ValueTest, DatesGoBothWaysToTheMillisecond) {
  for (const DateTime moment :
       {makeTime(2026, 11, 20, 15, 4, 5), makeTime(1970, 1, 1, 0, 0, 0),
        makeTime(1899, 12, 29, 6, 0, 1), makeTime(2026, 11, 20, 23, 59, 59)}) {
    EXPECT_EQ(timeText(Value::ofDate(moment).date()), timeText(moment));
  }
}

TEST(ValueTest, NoDateReadsAsNone) {
  EXPECT_EQ(Value().date(), kNoDate);
  EXPECT_EQ(dateValue(0).date(), kNoDate);
  EXPECT_EQ(Value::ofDate(kNoDate).date(), kNoDate);
  EXPECT_EQ(dateValue(949998).date(), kNoDate) << "1 January 4501";
  EXPECT_NE(dateValue(949997).date(), kNoDate);
}

TEST(ValueTest, WhatIsNoDateThrows) {
  EXPECT_THROW((void)fromAutomationDate(std::numeric_limits<double>::quiet_NaN()), MailStoreError);
  EXPECT_THROW((void)fromAutomationDate(1e300), MailStoreError);
  EXPECT_THROW((void)fromAutomationDate(-1e9), MailStoreError);
  EXPECT_THROW((void)Value::ofText("soon").date(), MailStoreError);
}

// Central Europe: an hour ahead of UTC, two from the last Sunday of March to that of October.
TIME_ZONE_INFORMATION centralEurope() {
  TIME_ZONE_INFORMATION zone{};
  zone.Bias = -60;
  zone.DaylightBias = -60;
  zone.DaylightDate.wMonth = 3;
  zone.DaylightDate.wDay = 5;
  zone.DaylightDate.wHour = 2;
  zone.StandardDate.wMonth = 10;
  zone.StandardDate.wDay = 5;
  zone.StandardDate.wHour = 3;
  return zone;
}

TEST(ValueTest, DatesAreLocalTimesAlsoInSummer) {
  const TIME_ZONE_INFORMATION zone = centralEurope();
  const std::pair<DateTime, double> pairs[] = {
      {makeTime(2026, 1, 15, 11, 0, 0), 46037.5},
      {makeTime(2026, 7, 15, 10, 0, 0), 46218.5},
  };
  for (const auto& [moment, date] : pairs) {
    EXPECT_EQ(timeText(fromAutomationDate(date, &zone)), timeText(moment));
    EXPECT_DOUBLE_EQ(toAutomationDate(moment, &zone), date);
  }
}

}  // namespace
}  // namespace relaybird::outlook
