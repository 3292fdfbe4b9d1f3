// SPDX-License-Identifier: MIT
// Makes messages in every form that mail has, correct and malformed, by number: a number makes the
// same message everywhere. Tests read them, and the message fuzzer starts from them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

class MailMaker {
 public:
  explicit MailMaker(std::uint32_t number) : state_(number * 2654435761U + 1) {}

  /// The whole message.
  std::string make() {
    const bool crLf = oneIn(4);
    std::string mail = fields() + part(0);
    if (oneIn(8)) {
      mail = "From a@example.org Fri Nov 20 09:00:00 2026\n" + mail;
    }
    if (oneIn(12)) {
      mail.resize(pick(static_cast<std::uint32_t>(mail.size())) + 1);
    }
    return crLf ? withCrLf(mail) : mail;
  }

 private:
  std::uint32_t next() {
    state_ = state_ * 1664525U + 1013904223U;
    return state_ >> 8U;
  }
  std::uint32_t pick(std::uint32_t count) { return next() % count; }
  bool oneIn(std::uint32_t count) { return pick(count) == 0; }

  template <std::size_t N>
  std::string one(const char* const (&list)[N]) {
    return list[pick(N)];
  }

  static std::string withCrLf(const std::string& text) {
    std::string out;
    for (const char c : text) {
      out += c == '\n' ? "\r\n" : std::string(1, c);
    }
    return out;
  }

  static std::string repeated(const std::string& text, std::uint32_t times) {
    std::string out;
    for (; times > 0; --times) {
      out += text;
    }
    return out;
  }

  std::string words() {
    static const char* const kWords[] = {"lunch",
                                         "Käse",
                                         "\xE9t\xE9",
                                         "日本語",
                                         "\x1b[31mred\x1b[0m",
                                         "=?utf-8?Q?a_b?=",
                                         "=?x?B?w?=",
                                         "\xF0\x9F\x98\x80",
                                         "a\001b",
                                         "=",
                                         "---",
                                         "\xC2\xAD",
                                         "\xE2\x80\x8D",
                                         "<b>",
                                         "\"quoted\"",
                                         "x",
                                         "\x1b$B$\"\x1b(B",
                                         "Привет",
                                         "price:",
                                         "a\rb",
                                         "\x7f",
                                         "https://example.org/?a=b&c=d"};
    std::string text;
    for (std::uint32_t i = pick(12); i > 0; --i) {
      text += one(kWords) + (oneIn(5) ? "  " : " ");
    }
    if (oneIn(10)) {
      text += repeated("long", 20 + pick(400));
    }
    return text;
  }

  std::string id() {
    static const char* const kIds[] = {"<a@example.org>",
                                       "<a b@example.org>",
                                       "plain@example.org",
                                       "<<a@example.org>",
                                       "<a@b@c>",
                                       "<no-domain>",
                                       "<>",
                                       "(x) <c@d>",
                                       "<torn\n  id@example.org>",
                                       "<\xE9@example.org>",
                                       "<\"q s\"@x>"};
    return oneIn(6) ? "<" + repeated("i", pick(1500)) + "@example.org>" : one(kIds);
  }

  std::string fields() {
    static const char* const kFroms[] = {"Anna <anna@example.org>",
                                         "anna@example.org",
                                         "\"Doe, Jane\" <jane@example.org>",
                                         "=?utf-8?B?SsO8cmdlbg==?= <j@example.org>",
                                         "J\xFCrgen <j@example.org>",
                                         "Anna",
                                         "<>",
                                         "a@b@c",
                                         "group: a@example.org, b@example.org;",
                                         "Me <me@b\303\274cher.example>"};
    std::string all = "From: " + one(kFroms) + "\n";
    all += oneIn(6) ? "From: " + words() + " <w@example.org>\n" : "";
    all += "To: Me <me@example.com>" + (oneIn(5) ? repeated(",\n x@example.org", pick(200)) : "") +
           "\n";
    all += oneIn(3) ? "Bcc: secret@example.org,\n other@example.org\n" : "";
    all += "Subject: " + words() + (oneIn(4) ? "\n " + words() : "") + "\n";
    all += oneIn(5) ? "" : "Message-ID: " + id() + "\n";
    for (std::uint32_t i = oneIn(2) ? pick(40) : 0; i > 0; --i) {
      all += (all.ends_with("x\n") ? "References: " : "References:\n ") + id() + "\n";
    }
    all += oneIn(5) ? "" : "Date: Fri, 20 Nov 2026 09:0" + std::to_string(pick(9)) + ":00 +0100\n";
    all += oneIn(9) ? "rubbish\n" : "";
    return all + "MIME-Version: 1.0\n";
  }

  std::string parameters() {
    static const char* const kNames[] = {"; name=\"a.txt\"",
                                         "; name=\"=?utf-8?B?w6Q=?=.png\"",
                                         ";\n name*=utf-8''%C3%A4.txt",
                                         "; name=\xE4.txt",
                                         "; name*0=\"long\"; name*1=\"er.txt\"",
                                         "; charset=utf-8",
                                         "; charset=iso-8859-1",
                                         "; charset=shift_jis",
                                         "; charset=iso-2022-jp",
                                         "; charset=utf-16",
                                         "; charset=utf-7",
                                         "; charset=nonsense",
                                         "; charset=utf-8; format=flowed",
                                         "; charset=utf-8; format=flowed; delsp=yes",
                                         "",
                                         "; =",
                                         ";;;"};
    std::string all = one(kNames) + one(kNames);
    return oneIn(10) ? all + ";\n name=\"" + repeated("n\xC3\xA4me", pick(300)) + "\"" : all;
  }

  std::string bytes() {
    switch (pick(8)) {
      case 0:
        return repeated("line\n", pick(30));
      case 1:
        return repeated("x", pick(3000));
      case 2:
        return std::string("\0\r\n\r\xFF\n", 6) + words();
      case 3:
        return repeated("> quoted line that flows \n> on\n -- stuffed\n", pick(5)) + "-- \nme\n";
      case 4:
        return "<p>" + words() + "<img src=\"cid:p1\"><img src=\"pic.png\"></p>\n";
      case 5:
        return "  \n\t\n";
      case 6:
        return repeated(words() + "\n", pick(6));
      default:
        return repeated(words() + "=3D=\n=E9 =\r\n", pick(6));
    }
  }

  std::string base64() {
    std::string all;
    const std::uint32_t width = oneIn(3) ? 1 + pick(2000) : 76;
    for (std::uint32_t i = pick(300); i > 0; --i) {
      all += "QUJD";
      all += all.size() % width < 4 ? "\n" : "";
    }
    return oneIn(4) ? all + "Q" : oneIn(6) ? all + " !*\xE9" : all;
  }

  std::string leaf() {
    static const char* const kTypes[] = {"text/plain",
                                         "text/plain",
                                         "text/html",
                                         "text/html",
                                         "image/png",
                                         "application/pdf",
                                         "text/calendar; method=REQUEST",
                                         "message/rfc822",
                                         "message/delivery-status",
                                         "text/enriched",
                                         "application/octet-stream",
                                         "multipart/mixed",
                                         "text",
                                         "\xE9/\xE9",
                                         "text/x-\"y\""};
    static const char* const kEncodings[] = {"7bit",   "8bit",   "binary",     "quoted-printable",
                                             "base64", "BASE64", "x-uuencode", "base64 (really)",
                                             "none"};
    static const char* const kOthers[] = {
        "Content-Disposition: attachment; filename=\"a b.txt\"\n",
        "Content-Disposition: inline\n",
        "Content-ID: <p1>\n",
        "Content-Location: pic.png\n",
        "Content-Description: \xE9 long =?utf-8?B?w6Q=?=\n",
        "Content-Disposition: attachment;\n filename*0*=utf-8''%E2%82; filename*1*=%AC\n",
        "X-A:\n \n b\n",
        ""};
    std::string all = oneIn(8) ? "" : "Content-Type: " + one(kTypes) + parameters() + "\n";
    const std::string encoding = oneIn(4) ? "" : one(kEncodings);
    all += encoding.empty() ? "" : "Content-Transfer-Encoding: " + encoding + "\n";
    all += one(kOthers) + one(kOthers);
    all += oneIn(10) ? "" : oneIn(8) ? " \t\n" : "\n";
    return all + ((encoding == "base64" && !oneIn(5)) ? base64() : bytes());
  }

  std::string part(int depth) {
    if (depth > 4 || oneIn(static_cast<std::uint32_t>(depth) + 2)) {
      return leaf();
    }
    static const char* const kSubtypes[] = {"mixed",   "alternative",
                                            "related", "signed",
                                            "digest",  "report; report-type=delivery-status"};
    const std::string boundary = "b" + std::to_string(depth);
    std::string all =
        "Content-Type: multipart/" +
        std::string(oneIn(12) ? "signed" : kSubtypes[pick(3) == 0 ? pick(6) : pick(3)]) +
        "; boundary=\"" + boundary + "\"\n" + (oneIn(9) ? "" : "\n");
    for (std::uint32_t i = 1 + pick(3); i > 0; --i) {
      all += "--" + boundary + "\n" + part(depth + 1) + "\n";
    }
    return oneIn(6) ? all : all + "--" + boundary + "--\n";
  }

  std::uint32_t state_;
};

}  // namespace relaybird
