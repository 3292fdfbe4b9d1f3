// SPDX-License-Identifier: MIT
// HTML that tries to take long, exhaust the stack or hide the text. The documents are so large that
// a reader with quadratic cost would exceed the time limit.
#include <gtest/gtest.h>

#include <algorithm>

#include "message/text/charset.h"
#include "message/text/html_text.h"
#include "message/text/repeated.h"

namespace relaybird {
namespace {

TEST(HostileHtml, DeepNestingKeepsTheText) {
  EXPECT_EQ(htmlToText(repeated("<div>", 300'000) + "text"), "text");
  EXPECT_EQ(htmlToText(repeated("<table><tr><td>", 50'000) + "text"), "text");
  const std::string text = htmlToText(repeated("<b>x", 100'000) + repeated("</b>y", 100'000));
  EXPECT_EQ(std::count(text.begin(), text.end(), 'x'), 100'000);
  EXPECT_EQ(std::count(text.begin(), text.end(), 'y'), 100'000);
}

TEST(HostileHtml, ALargeTableKeepsItsCells) {
  const std::string text =
      htmlToText("<table>" + repeated("<tr><td>cell</td><td>b</td></tr>", 120'000) + "</table>");
  EXPECT_EQ(text.size(), 120'000 * 7u - 1);
  EXPECT_TRUE(text.starts_with("cell\tb\ncell\tb\n"));
}

TEST(HostileHtml, ACharacterBehindALoneAngleBracketIsNotCutInTwo) {
  // The parser gives up at such a tag; a fresh one reads the rest.
  const std::string start = "</t" + repeated("\uFFFD", 7) + "\x01" + "i8-r\na<!--td></tr>";
  for (std::size_t size = 970; size < 990; ++size) {
    EXPECT_TRUE(isValidUtf8(htmlToText(start + std::string(size, 'x') + "<\u20ac"))) << size;
  }
}

TEST(HostileHtml, MoreAttributesThanAnyTagHasAreDropped) {
  std::string tag = "<p";
  for (int i = 0; i < 200'000; ++i) {
    tag += " a" + std::to_string(i);
  }
  EXPECT_EQ(htmlToText("before" + tag + ">behind"), "before\n\nbehind");
}

TEST(HostileHtml, LongAttributesAreNone) {
  EXPECT_EQ(htmlToText("<img src='data:" + std::string(3'000'000, 'x') + "' alt=picture> text"),
            "picture text");
}

TEST(HostileHtml, TensOfThousandsOfEachTrapAreSurvived) {
  struct Trap {
    const char* opening;
    const char* closing;
  };
  for (const Trap& trap : std::initializer_list<Trap>{{"<div>", ""},
                                                      {"<b>", "</i>"},
                                                      {"<font>", "</p>"},
                                                      {"<table><tr><td>", ""},
                                                      {"<td>", "</table>"},
                                                      {"<ul><li>", "</ol>"},
                                                      {"<li>x", ""},
                                                      {"<dl><dt>", "</dd>"},
                                                      {"<a href=http://x>", ""},
                                                      {"<a href=\"", ""},
                                                      {"<a b ", ""},
                                                      {"<a b=c", "d"},
                                                      {"<!--", ""},
                                                      {"<!--", "-"},
                                                      {"<!-- ", "--!>"},
                                                      {"<![", ""},
                                                      {"<![", "]]"},
                                                      {"<script>", ""},
                                                      {"<script></", ""},
                                                      {"<style>", "</"},
                                                      {"<title>", ""},
                                                      {"<body>", "</body>"},
                                                      {"<head>", ""},
                                                      {"<form>", ""},
                                                      {"<select><option>", ""},
                                                      {"<frameset>", ""},
                                                      {"<pre>", "\n"},
                                                      {"<br>", ""},
                                                      {"<", ""},
                                                      {"<?", ""},
                                                      {"<!", ""},
                                                      {"</", ""},
                                                      {"</a", ""},
                                                      {"&", ""},
                                                      {"&#150;", "&nbsp;"},
                                                      {"<p>&nbsp;", "</p>"}}) {
    const std::string html =
        repeated(trap.opening, 100'000) + "text" + repeated(trap.closing, 100'000);
    const std::string text = htmlToText(html);
    EXPECT_TRUE(isValidUtf8(text)) << trap.opening << trap.closing;
    EXPECT_LE(text.size(), 10 * html.size()) << trap.opening << trap.closing;
  }
}

// `count` attributes with different names, `perTag` of them in each tag.
std::string attributes(std::size_t count, std::size_t perTag) {
  std::string tags;
  for (std::size_t i = 0; i < count; ++i) {
    tags += (i % perTag == 0 ? "><a a" : " a") + std::to_string(i);
  }
  return tags + ">text";
}

TEST(HostileHtml, ManyAttributesHideNoText) {
  for (const std::size_t perTag : {450u, 1'000'000u}) {
    EXPECT_TRUE(htmlToText(attributes(200'000, perTag)).ends_with("text")) << perTag;
  }
}

}  // namespace
}  // namespace relaybird
