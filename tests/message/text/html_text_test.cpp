// SPDX-License-Identifier: MIT
// Plain text made of HTML: tables of documents and the text that a reader gets.
// html_hostile_test.cpp has the documents that try to break it.
#include "message/text/html_text.h"

#include <gtest/gtest.h>

#include <utility>

namespace relaybird {
namespace {

struct Sample {
  std::string_view html;
  std::string_view text;
};

void expectAll(std::initializer_list<Sample> samples) {
  for (const Sample& sample : samples) {
    EXPECT_EQ(htmlToText(sample.html), sample.text) << sample.html;
  }
}

TEST(HtmlText, WhiteSpaceCollapses) {
  expectAll({{"plain text\nonly", "plain text only"},
             {"  a \t\r\n b  ", "a b"},
             {"a <b> b </b> c", "a b c"},
             {"<b>Hel</b>lo <i>W</i>orld", "Hello World"},
             {"", ""},
             {" \n ", ""}});
}

TEST(HtmlText, ParagraphsAndHeadingsAreSetApart) {
  expectAll({{"<p>one</p><p>two</p>", "one\n\ntwo"},
             {"<p>one<p>two", "one\n\ntwo"},
             {"<h1>Title</h1>text", "Title\n\ntext"},
             {"<p></p><p>a</p><p></p><p></p><p>b</p>", "a\n\nb"},
             {"<div>a</div><div>b</div>c", "a\nb\nc"},
             {"<div><div>a</div></div><div>b</div>", "a\nb"},
             {"<blockquote>said</blockquote>answer", "said\n\nanswer"},
             {"<div>a<hr>b</div>", "a\n----\nb"}});
}

TEST(HtmlText, BreaksEndLinesAndLeaveUpToTwoEmptyOnes) {
  expectAll({{"a<br>b", "a\nb"},
             {"a<br/> b", "a\nb"},
             {"a<br><br>b", "a\n\nb"},
             {"a<br><br><br><br><br>b", "a\n\n\nb"},
             {"<p>a<br></p><p>b</p>", "a\n\nb"},
             {"<br>a<br>", "a"}});
}

TEST(HtmlText, ListsAreMarked) {
  expectAll({{"<ul><li>one<li>two</ul>end", "- one\n- two\n\nend"},
             {"<ol><li>a</li><li>b</li></ol>", "1. a\n2. b"},
             {"<ol start=7><li>a<li>b</ol>", "7. a\n8. b"},
             {"<ul><li>a<ol><li>x<li>y</ol><li>b</ul>", "- a\n  1. x\n  2. y\n- b"},
             {"<ul><li><p>para</p></li></ul>", "- para"},
             {"<dl><dt>term<dd>meaning</dl>", "term\nmeaning"},
             {"<ul><li></li><li>b</li></ul>", "- b"}});
}

TEST(HtmlText, TableRowsAreLinesAndCellsAreTabbed) {
  expectAll({{"<table><tr><td>a</td><td>b</td></tr><tr><td>c</td><td>d</td></tr></table>end",
              "a\tb\nc\td\nend"},
             {"<table><tr><th>x<th>y<tr><td>1<td>2</table>", "x\ty\n1\t2"},
             {"<table><tr><td>a</td><td></td><td>c</td></tr></table>", "a\t\tc"},
             {"<table><tr><td><p>A</p></td><td><p>B</p></td></tr></table>", "A\tB"},
             {"<table>\n <tr>\n <td> a </td>\n <td> b </td>\n </tr>\n</table>", "a\tb"}});
}

TEST(HtmlText, CellsOfSeveralLinesStandBelowEachOther) {
  expectAll({{"<table><tr><td>l1<br>l2</td><td>right</td></tr></table>", "l1\nl2\nright"},
             {"<table><tr><td><table><tr><td>a<td>b<tr><td>c<td>d</table><td>e</table>",
              "a\tb\nc\td\ne"}});
}

TEST(HtmlText, ALinksTargetIsShownWhereItsTextDoesNotSayIt) {
  expectAll({{"<a href='http://y.example/a'>Y</a> more", "Y <http://y.example/a> more"},
             {"<a href='http://x.example/'>http://x.example</a>", "http://x.example"},
             {"<a href='https://x.example'>x.example</a>", "x.example"},
             {"<a href='mailto:a@b.example'>a@b.example</a>", "a@b.example"},
             {"<a href='mailto:a@b.example'>Ann</a>", "Ann <mailto:a@b.example>"},
             {"<a href='http://evil.example'>http://good.example</a>",
              "http://good.example <http://evil.example>"},
             {"<a href='https://i.example'><img src=x></a>", "<https://i.example>"},
             {"<a href='https://i.example'><img alt='Shop'></a>", "Shop <https://i.example>"},
             {"<p><a href='http://y.example'>Y</a></p><p>z</p>", "Y <http://y.example>\n\nz"},
             {"<a href='http://y.example?a=1&amp;b=2'>Y", "Y <http://y.example?a=1&b=2>"}});
}

TEST(HtmlText, OnlyTargetsForPeopleAreShownAndNoneBreaksItsBrackets) {
  expectAll(
      {{"<a href='javascript:x()'>j</a>", "j"},
       {"<a href='#top'>t</a>", "t"},
       {"<a href='file:///etc/passwd'>f</a>", "f"},
       {"<a name=x>anchor</a>", "anchor"},
       {"<a href=' http://y.example/a b>\r\nc '>Y</a>", "Y <http://y.example/a%20b%3Ec%20>"}});
}

TEST(HtmlText, EntitiesAreResolved) {
  expectAll({{"&lt;b&gt; &amp; &quot;", "<b> & \""},
             {"&eacute;&euro;&#8212;&#x20AC;", "é€—€"},
             {"&nosuch; &copy; 2020", "&nosuch; © 2020"},
             {"&#147;q&#148; &#150;", "“q” –"}});
}

TEST(HtmlText, NoBreakSpacesCountEach) {
  expectAll({{"a&nbsp;&nbsp;b", "a  b"},
             {"a&nbsp; b", "a  b"},
             {"<p>a</p><p>&nbsp;</p><p>b</p>", "a\n\nb"},
             {"a&nbsp;", "a"}});
}

TEST(HtmlText, ControlAndInvisibleCharactersGo) {
  expectAll({{"a\uFFFEb\uFFFFc", "abc"},
             {"a\x07"
              "b\x1B[31m",
              "ab[31m"},
             {"V&shy;i\u200Bagra", "Viagra"}});
}

TEST(HtmlText, WhatNobodySeesIsLeftOut) {
  expectAll({{"<head><title>T</title><style>p{}</style></head><body>x", "x"},
             {"a<script>var b='<p>no</p>';</script>c", "ac"},
             {"a<style>b{}</style>c", "ac"},
             {"a<!-- b -->c<!---->d", "acd"},
             {"a<SCRIPT>no</ScRiPt >b", "ab"},
             {"<title>x</title>y", "y"},
             {"<script>x=\"<!--\"</script>seen<!-- no -->", "seen"}});
}

TEST(HtmlText, OutlooksConditionalMarksLoseNoText) {
  expectAll(
      {{"<![if !mso]>shown<![endif]>", "shown"},
       {"<!--[if mso]>hidden<![endif]-->shown", "shown"},
       {"<!--[if !mso]><!-->shown<!--<![endif]--> too", "shown too"},
       {"<p class=MsoNormal>a<o:p></o:p></p><p class=MsoNormal><o:p>&nbsp;</o:p></p>b", "a\n\nb"},
       {"<?xml:namespace prefix = o />x", "x"}});
}

TEST(HtmlText, AnUnclosedCommentHidesNothing) {
  expectAll({{"a<!-- b <b>c</b>", "a b c"},
             {"a<!-- x -->b<!-- c <!-- d", "ab c d"},
             {"a<!-->b<!--->c", "abc"},
             {"<!--", ""}});
}

TEST(HtmlText, PreformattedTextKeepsItsWhiteSpace) {
  expectAll({{"<pre>\n a  b\n\n\tc</pre>d", " a  b\n\n\tc\n\nd"},
             {"x<pre>a\r\nb</pre>", "x\n\na\nb"},
             {"<pre>a<b> b</b>\n</pre>", "a b"}});
}

TEST(HtmlText, BrokenMarkupKeepsItsText) {
  expectAll({{"<b><i>a</b>b</i>c", "abc"},
             {"a </nothing> b", "a b"},
             {"1 < 2 and 3 > 2", "1 < 2 and 3 > 2"},
             {"<table>a<tr>b", "a\nb"},
             {"<td>a<td>b", "a\tb"},
             {"<li>a", "- a"},
             {"<p>a</body></html>b", "a\n\nb"}});
}

TEST(HtmlText, NulsAndBadBytesLoseNothingBehindThem) {
  using namespace std::string_view_literals;
  expectAll(
      {{"a\0b<p>c\0</p>d"sv, "ab\n\nc\n\nd"}, {"a\xFFz", "a\uFFFDz"}, {"caf\xC3", "caf\uFFFD"}});
}

TEST(HtmlText, AMetaCharsetDoesNotDecodeTheTextOnceMore) {
  expectAll({{"<meta charset=iso-8859-1><p>caf\xC3\xA9", "café"},
             {"<meta http-equiv=Content-Type content='text/html; charset=koi8-r'>\xD0\x9F", "П"}});
}

TEST(HtmlCharset, IsReadFromMetaElements) {
  for (const auto& [html, label] :
       std::initializer_list<std::pair<std::string_view, std::string_view>>{
           {"<meta charset=\"windows-1251\">", "windows-1251"},
           {"<META CHARSET = 'KOI8-R' >", "koi8-r"},
           {"<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=gb2312\">",
            "gb2312"},
           {"<meta name=x content=y><meta charset=shift_jis/>", "shift_jis"},
           {"<meta charset=utf-16>", "utf-8"},
           {"<!-- <meta charset=big5> --><meta charset=euc-kr>", "euc-kr"}}) {
    EXPECT_EQ(sniffHtmlCharset(html), label) << html;
  }
}

TEST(HtmlCharset, IsEmptyWhereThereIsNone) {
  using namespace std::string_view_literals;
  for (const auto html : {""sv, "<"sv, "<meta"sv, "<meta charset"sv, "<meta charset="sv,
                          "<meta charset=\""sv, "<meta name=charset>"sv, "charset=utf-8"sv,
                          "<!-- <meta charset=big5>"sv, "\0\0\0"sv, "<meta charset=>"sv}) {
    EXPECT_EQ(sniffHtmlCharset(html), "") << html;
  }
}

TEST(HtmlCharset, IsLookedForInTheFirstKilobyteOnly) {
  EXPECT_EQ(sniffHtmlCharset(std::string(900, ' ') + "<meta charset=big5>"), "big5");
  EXPECT_EQ(sniffHtmlCharset(std::string(1100, ' ') + "<meta charset=big5>"), "");
}

}  // namespace
}  // namespace relaybird
