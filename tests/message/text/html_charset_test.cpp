// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "message/text/html_text.h"

namespace relaybird {
namespace {

struct Sample {
  std::string_view html;
  std::string_view label;
};

TEST(HtmlCharset, IsReadFromMetaElements) {
  for (const Sample& sample : std::initializer_list<Sample>{
           {"<meta charset=\"windows-1251\">", "windows-1251"},
           {"<META CHARSET = 'KOI8-R' >", "koi8-r"},
           {"<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=gb2312\">",
            "gb2312"},
           {"<meta name=x content=y><meta charset=shift_jis/>", "shift_jis"},
           {"<meta charset=utf-16>", "utf-8"},
           {"<!-- <meta charset=big5> --><meta charset=euc-kr>", "euc-kr"}}) {
    EXPECT_EQ(sniffHtmlCharset(sample.html), sample.label) << sample.html;
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
