// SPDX-License-Identifier: MIT
// The kind of each sample message of tests/data/mail, and of messages written in the test:
// meetings, tasks, reports, own forwards. Checks too that ordinary mail is judged without reading
// its body.
#include "message/message_kind.h"

#include <gtest/gtest.h>

#include <set>

#include "message/calendar_kind.h"
#include "message/mail_samples.h"

namespace relaybird {
namespace {

TEST(MessageKind, ClassNamesAreThoseOfTheMailApplication) {
  EXPECT_EQ(className(MessageKind::kMail), "MailItem");
  EXPECT_EQ(className(MessageKind::kMeeting), "meetingitem");
  EXPECT_EQ(className(MessageKind::kReport), "ReportItem");
  EXPECT_EQ(className(MessageKind::kTaskRequest), "TaskRequestItem");
  EXPECT_EQ(className(MessageKind::kTaskAccept), "TaskRequestAcceptItem");
  EXPECT_EQ(className(MessageKind::kTaskDecline), "TaskRequestDeclineItem");
  EXPECT_EQ(className(MessageKind::kTaskUpdate), "TaskRequestUpdateItem");
  EXPECT_EQ(className(MessageKind::kOwnForward), "RelaybirdForward");
  EXPECT_EQ(className(MessageKind::kOwnAnswer), "RelaybirdAnswer");
  EXPECT_EQ(className(MessageKind::kManyForwards), "RelaybirdChain");
}

TEST(MessageKind, OrdinaryMailIsMail) {
  for (const char* name :
       {"plain.eml", "html-only.eml", "html-and-text.eml", "iso-2022-jp.eml", "nested.eml",
        "attachments.eml", "broken-base64.eml", "no-headers.eml", "headers-only.eml", "crlf.eml",
        "unclosed-boundary.eml", "calendar-published.eml"}) {
    EXPECT_EQ(kindOf(sample(name)), MessageKind::kMail) << name;
  }
  EXPECT_EQ(kindOf(""), MessageKind::kMail);
}

TEST(MessageKind, SignedAndEncryptedMailIsMail) {
  EXPECT_EQ(kindOf(sample("signed.eml")), MessageKind::kMail);
  EXPECT_EQ(kindOf(sample("encrypted.eml")), MessageKind::kMail);
}

TEST(MessageKind, AnEventOfASchedulingMethodIsAMeeting) {
  EXPECT_EQ(kindOf(sample("meeting-request.eml")), MessageKind::kMeeting);
  EXPECT_EQ(kindOf(sample("meeting-reply.eml")), MessageKind::kMeeting);
}

TEST(MessageKind, TheFourTaskKindsAreToldApart) {
  EXPECT_EQ(kindOf(sample("task-request.eml")), MessageKind::kTaskRequest);
  EXPECT_EQ(kindOf(sample("task-update.eml")), MessageKind::kTaskUpdate);
  EXPECT_EQ(kindOf(sample("task-accept.eml")), MessageKind::kTaskAccept);
  EXPECT_EQ(kindOf(sample("task-decline.eml")), MessageKind::kTaskDecline);
}

TEST(MessageKind, ReportsAndReceiptsAreReports) {
  EXPECT_EQ(kindOf(sample("delivery-report.eml")), MessageKind::kReport);
  EXPECT_EQ(kindOf(sample("read-receipt.eml")), MessageKind::kReport);
}

TEST(MessageKind, AnAbuseReportIsMailForPeople) {
  EXPECT_EQ(kindOf("Content-Type: multipart/report; report-type=feedback-report; boundary=b\n\n"
                   "--b\n\nSpam was reported.\n--b--\n"),
            MessageKind::kMail);
}

TEST(MessageKind, OwnForwardsAndTheirBouncesAreOurs) {
  EXPECT_EQ(kindOf(sample("own-forward.eml")), MessageKind::kOwnForward);
  EXPECT_EQ(kindOf(sample("bounced-forward.eml")), MessageKind::kOwnAnswer);
  EXPECT_EQ(kindOf(sample("bounced-forward-plain.eml")), MessageKind::kOwnAnswer);
}

TEST(MessageKind, ABounceMayReturnTheWholeForwardEncoded) {
  EXPECT_EQ(kindOf("Content-Type: multipart/report; report-type=delivery-status; boundary=b\n\n"
                   "--b\n\nSorry.\n--b\nContent-Type: message/delivery-status\n\nAction: failed\n"
                   "--b\nContent-Type: message/global\nContent-Transfer-Encoding: base64\n\n"
                   "WC1SZWxheWJpcmQtVHJhY2U6IHNhbXBsZS10cmFjZQpTdWJqZWN0OiBGVzoKCmhpCg==\n--b--\n"),
            MessageKind::kOwnAnswer);
}

TEST(MessageKind, SomebodyElsesTraceDoesNotCount) {
  const auto no = [](std::string_view) { return false; };
  const OwnMarks stranger{no, no};
  for (const auto& [name, kind] : {std::pair{"own-forward.eml", MessageKind::kMail},
                                   std::pair{"bounced-forward.eml", MessageKind::kReport},
                                   std::pair{"bounced-forward-plain.eml", MessageKind::kMail}}) {
    MemoryInput file(sample(name));
    EXPECT_EQ(readMessageKind(*readHeaderBlock(file), file, stranger).value(), kind) << name;
  }
}

TEST(MessageKind, ATraceInTheTextOfOrdinaryMailIsJustText) {
  EXPECT_EQ(kindOf("Subject: how does it work?\n\nX-Relaybird-Trace: sample-trace\n"),
            MessageKind::kMail);
}

TEST(MessageKind, PlainMailIsJudgedWithoutItsBody) {
  const OwnMarks own = sampleMarks();
  for (const char* name : {"plain.eml", "html-only.eml", "signed.eml", "encrypted.eml"}) {
    EXPECT_EQ(kindFromHeaders(HeaderBlock(sample(name)), own), MessageKind::kMail) << name;
  }
  EXPECT_EQ(kindFromHeaders(HeaderBlock(sample("own-forward.eml")), own), MessageKind::kOwnForward);
  EXPECT_EQ(kindFromHeaders(HeaderBlock(sample("nested.eml")), own), std::nullopt);
  EXPECT_EQ(kindFromHeaders(HeaderBlock(sample("meeting-reply.eml")), own), std::nullopt);
}

TEST(MessageKind, AHugeMessageIsNotReadWhole) {
  const std::string big =
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n"
      "Content-Type: application/zip\n\n" +
      std::string(20'000'000, 'z') + "\n--b--\n";
  MemoryInput file(big);
  EXPECT_EQ(readMessageKind(*readHeaderBlock(file), file, sampleMarks()).value(),
            MessageKind::kMail);
  EXPECT_LE(file.readTo, kKindBytes);
}

TEST(MessageKind, AnInvitationMayBeEncodedAndDeepInside) {
  // BEGIN:VCALENDAR METHOD:COUNTER BEGIN:VEVENT
  const std::string calendar = "QkVHSU46VkNBTEVOREFSCk1FVEhPRDpDT1VOVEVSCkJFR0lOOlZFVkVOVAo=";
  EXPECT_EQ(kindOf("Content-Type: multipart/mixed; boundary=a\n\n--a\n"
                   "Content-Type: multipart/related; boundary=b\n\n--b\n"
                   "Content-Type: multipart/alternative; boundary=c\n\n--c\n\ntext\n--c\n"
                   "Content-Type: Text/Calendar\nContent-Transfer-Encoding: BASE64\n\n" +
                   calendar + "\n--c--\n--b--\n--a--\n"),
            MessageKind::kMeeting);
}

TEST(MessageKind, ACalendarAttachedOrEmbeddedIsNoInvitation) {
  const std::string calendar = "BEGIN:VCALENDAR\nMETHOD:REQUEST\nBEGIN:VEVENT\n";
  EXPECT_EQ(kindOf("Content-Type: multipart/mixed; boundary=a\n\n--a\nContent-Type: text/calendar\n"
                   "Content-Disposition: attachment\n\n" +
                   calendar + "--a--\n"),
            MessageKind::kMail);
  EXPECT_EQ(kindOf("Content-Type: multipart/mixed; boundary=a\n\n--a\nContent-Type: message/rfc822"
                   "\n\nContent-Type: text/calendar\n\n" +
                   calendar + "--a--\n"),
            MessageKind::kMail);
}

TEST(MessageKind, TellsThatReadingFailed) {
  MemoryInput file(sample("meeting-request.eml"));
  const auto headers = readHeaderBlock(file);
  ASSERT_TRUE(headers);
  file.failing = true;
  EXPECT_EQ(readMessageKind(*headers, file, sampleMarks()).error().code, EIO);
}

MessageKind calendarKindOf(const std::string& text, std::string_view parameter = {}) {
  return calendarKind(readCalendar(text), parameter);
}

TEST(CalendarKind, JudgesMethodAndComponent) {
  const struct {
    const char* method;
    const char* component;
    const char* properties;
    MessageKind kind;
  } cases[] = {
      {"REQUEST", "VEVENT", "", MessageKind::kMeeting},
      {"request", "vevent", "", MessageKind::kMeeting},
      {"REPLY", "VEVENT", "", MessageKind::kMeeting},
      {"CANCEL", "VEVENT", "", MessageKind::kMeeting},
      {"COUNTER", "VEVENT", "", MessageKind::kMeeting},
      {"DECLINECOUNTER", "VEVENT", "", MessageKind::kMeeting},
      {"PUBLISH", "VEVENT", "", MessageKind::kMail},
      {"NONSENSE", "VEVENT", "", MessageKind::kMail},
      {"REQUEST", "VJOURNAL", "", MessageKind::kMail},
      {"REQUEST", "VTODO", "", MessageKind::kTaskRequest},
      {"REQUEST", "VTODO", "SEQUENCE:0\n", MessageKind::kTaskRequest},
      {"REQUEST", "VTODO", "SEQUENCE:1\n", MessageKind::kTaskUpdate},
      {"REQUEST", "VTODO", "SEQUENCE:99999999999999999999\n", MessageKind::kTaskRequest},
      {"REPLY", "VTODO", "ATTENDEE;PARTSTAT=accepted:mailto:a\n", MessageKind::kTaskAccept},
      {"REPLY", "VTODO", "ATTENDEE;PARTSTAT=COMPLETED:mailto:a\n", MessageKind::kTaskAccept},
      {"REPLY", "VTODO", "ATTENDEE;PARTSTAT=IN-PROCESS:mailto:a\n", MessageKind::kTaskAccept},
      {"REPLY", "VTODO", "ATTENDEE;PARTSTAT=DECLINED:mailto:a\n", MessageKind::kTaskDecline},
      {"REPLY", "VTODO", "ATTENDEE;PARTSTAT=DELEGATED:mailto:a\n", MessageKind::kTaskUpdate},
      {"REPLY", "VTODO", "ATTENDEE;CN=\"a;PARTSTAT=DECLINED:\";PARTSTAT=ACCEPTED:mailto:a\n",
       MessageKind::kTaskAccept},
      {"CANCEL", "VTODO", "", MessageKind::kTaskUpdate},
  };
  for (const auto& each : cases) {
    const std::string text = std::string("BEGIN:VCALENDAR\nMETHOD:") + each.method +
                             "\nBEGIN:" + each.component + "\n" + each.properties +
                             "END:" + each.component + "\nEND:VCALENDAR\n";
    EXPECT_EQ(calendarKindOf(text), each.kind) << text;
  }
}

TEST(CalendarKind, TheMethodParameterCountsWhereTheObjectHasNone) {
  const std::string text = "BEGIN:VCALENDAR\nBEGIN:VEVENT\nEND:VEVENT\nEND:VCALENDAR\n";
  EXPECT_EQ(calendarKindOf(text), MessageKind::kMail);
  EXPECT_EQ(calendarKindOf(text, "request"), MessageKind::kMeeting);
}

TEST(CalendarKind, ReadsFoldedLinesAndSkipsTimeZonesAndAlarms) {
  const CalendarObject object = readCalendar(
      "BEGIN:VCALENDAR\r\nMETH\r\n OD:REQ\r\n\tUEST\r\nBEGIN:VTIMEZONE\r\nSEQUENCE:7\r\n"
      "END:VTIMEZONE\r\nBEGIN:VTODO\r\nBEGIN:VALARM\r\nSUMMARY:alarm\r\nEND:VALARM\r\n"
      "SUMMARY:Buy milk\\, eggs\\; \\\\ and\\n\r\n  bread\r\nEND:VTODO\r\nBEGIN:VTODO\r\n"
      "SEQUENCE:3\r\nDESCRIPTION:second\r\nEND:VTODO\r\nEND:VCALENDAR\r\n");
  EXPECT_EQ(object.method, "REQUEST");
  EXPECT_EQ(object.component, "VTODO");
  EXPECT_EQ(object.summary, "Buy milk, eggs; \\ and\n bread");
  EXPECT_EQ(object.sequence, 0);
  EXPECT_EQ(object.description, "");
}

TEST(CalendarKind, RubbishIsMail) {
  for (const char* text :
       {"", ":", ";:", "BEGIN", "BEGIN:", "END:VTODO\nEND:VTODO\nMETHOD:REQUEST",
        "METHOD:REQUEST\nBEGIN:VEVENT\n", "BEGIN:VCALENDAR\nMETHOD;X=\":REQUEST", "\\", " \n \n"}) {
    EXPECT_EQ(calendarKindOf(text), MessageKind::kMail) << text;
  }
}

TEST(CalendarKind, HostileObjectsCostLittle) {
  const std::string head = "BEGIN:VCALENDAR\nMETHOD:REPLY\nBEGIN:VTODO\n";
  std::string nested;
  std::string parameters = "ATTENDEE";
  for (int i = 0; i < 100'000; ++i) {
    nested += "BEGIN:X\n";
    parameters += ";A=b";
  }
  EXPECT_EQ(calendarKindOf(nested + head), MessageKind::kMail);
  EXPECT_EQ(calendarKindOf(head + parameters + ";PARTSTAT=ACCEPTED:x\n"),
            MessageKind::kTaskUpdate);  // beyond the bytes that are read
}

}  // namespace
}  // namespace relaybird
