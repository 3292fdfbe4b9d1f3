// SPDX-License-Identifier: MIT
// Builds messages from text, with a base64 encoder and nothing else of its own: what reads them in
// the tests must not be what wrote them.
#include "support/mail_text.h"

#include <algorithm>
#include <stdexcept>

namespace relaybird {

namespace {

std::string base64(std::string_view bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      const bool used = i + k < bytes.size() + 1;
      text += used ? kDigits[group >> (18 - 6 * k) & 63U] : '=';
    }
  }
  return text;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string encoded(const std::string& text) {
  return isAscii(text) ? text : "=?utf-8?B?" + base64(text) + "?=";
}

// A From value with any text as the name.
std::string encodedFrom(const std::string& from) {
  const std::size_t bracket = from.rfind(" <");
  return bracket == std::string::npos || isAscii(from)
             ? from
             : encoded(from.substr(0, bracket)) + from.substr(bracket);
}

std::string part(const std::string& type, const std::string& bytes, const std::string& extra = "") {
  return "Content-Type: " + type + "\n" + extra + "Content-Transfer-Encoding: base64\n\n" +
         base64Lines(bytes);
}

std::string multipart(const std::string& type, const std::string& boundary,
                      const std::vector<std::string>& parts) {
  std::string text = "Content-Type: multipart/" + type + "; boundary=\"" + boundary + "\"\n\n";
  for (const auto& one : parts) {
    text += "--" + boundary + "\n" + one + "\n";
  }
  return text + "--" + boundary + "--\n";
}

std::string fields(const MailText& mail) {
  std::string text = "Date: Fri, 20 Nov 2026 12:00:00 +0000\nTo: ann@example.org\n";
  if (!mail.from.empty()) {
    text += "From: " + encodedFrom(mail.from) + "\n";
  }
  if (!mail.subject.empty()) {
    text += "Subject: " + encoded(mail.subject) + "\n";
  }
  return text + mail.extraFields + "MIME-Version: 1.0\n";
}

std::string calendar(const std::string& method, const std::string& component) {
  return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//test//EN\r\nMETHOD:" + method + "\r\n" +
         component + "END:VCALENDAR\r\n";
}

std::string task(int sequence, const std::string& status) {
  return "BEGIN:VTODO\r\nUID:1@writer.example\r\nDTSTAMP:20261120T120000Z\r\nSEQUENCE:" +
         std::to_string(sequence) + "\r\nSUMMARY:Boil water\r\nDESCRIPTION:For the tea\r\n" +
         "ORGANIZER:mailto:wren@writer.example\r\nATTENDEE;PARTSTAT=" + status +
         ":mailto:ann@example.org\r\nEND:VTODO\r\n";
}

std::string scheduling(const MailText& mail, const std::string& method,
                       const std::string& component) {
  return fields(mail) + multipart("alternative", "=_sched",
                                  {part("text/plain; charset=utf-8", mail.body),
                                   part("text/calendar; charset=utf-8; method=" + method,
                                        calendar(method, component))});
}

}  // namespace

std::string base64Lines(std::string_view bytes) {
  constexpr std::size_t kLine = 76;
  const std::string text = base64(bytes);
  std::string lines;
  for (std::size_t i = 0; i < text.size(); i += kLine) {
    lines += text.substr(i, kLine) + "\n";
  }
  return lines;
}

std::string mailText(const MailText& mail) {
  std::string content = part("text/plain; charset=utf-8", mail.body);
  if (!mail.html.empty()) {
    content =
        multipart("alternative", "=_alt", {content, part("text/html; charset=utf-8", mail.html)});
  }
  if (!mail.attachments.empty()) {
    std::vector<std::string> parts{content};
    for (const auto& [name, bytes] : mail.attachments) {
      parts.push_back(part("application/octet-stream", bytes,
                           "Content-Disposition: attachment; filename=\"" + name + "\"\n"));
    }
    content = multipart("mixed", "=_mix", parts);
  }
  return fields(mail) + content;
}

std::string mailTextOfKind(const std::string& kind, const MailText& mail) {
  if (kind == "MailItem") {
    return mailText(mail);
  }
  if (kind == "meetingitem") {
    return scheduling(mail, "REQUEST",
                      "BEGIN:VEVENT\r\nUID:2@writer.example\r\nDTSTAMP:20261120T120000Z\r\n"
                      "DTSTART:20261121T120000Z\r\nSUMMARY:Tea\r\nEND:VEVENT\r\n");
  }
  if (kind == "TaskRequestItem") {
    return scheduling(mail, "REQUEST", task(0, "NEEDS-ACTION"));
  }
  if (kind == "TaskRequestUpdateItem") {
    return scheduling(mail, "REQUEST", task(3, "NEEDS-ACTION"));
  }
  if (kind == "TaskRequestAcceptItem") {
    return scheduling(mail, "REPLY", task(0, "ACCEPTED"));
  }
  if (kind == "TaskRequestDeclineItem") {
    return scheduling(mail, "REPLY", task(0, "DECLINED"));
  }
  if (kind == "ReportItem") {
    return fields(mail) +
           multipart("report; report-type=delivery-status", "=_rep",
                     {part("text/plain; charset=utf-8", mail.body),
                      "Content-Type: message/delivery-status\n\nReporting-MTA: dns; x.example\n\n"
                      "Final-Recipient: rfc822; a@x.example\nAction: failed\nStatus: 5.1.1\n"});
  }
  throw std::invalid_argument("no message of kind " + kind);
}

}  // namespace relaybird
