// SPDX-License-Identifier: MIT
#include "platform/text/coded_domain.h"

#include <gtest/gtest.h>

namespace relaybird {
namespace {

TEST(CodedDomain, LabelsAreDecodedWhereverTheyStand) {
  EXPECT_EQ(withDecodedLabels("joe@xn--mnchen-3ya.example"), "joe@m\u00FCnchen.example");
  EXPECT_EQ(withDecodedLabels("joe@a.XN--STRAE-OQA.xn--p1ai"), "joe@a.STRA\u00DFE.\u0440\u0444");
  EXPECT_EQ(withDecodedLabels("xn--fsqu00a.xn--fiqs8s"), "\u4F8B\u5B50.\u4E2D\u56FD");
  EXPECT_EQ(withDecodedLabels("xn--egbpdaj6bu4bxfgehfvwxn"),
            "\u0644\u064A\u0647\u0645\u0627\u0628\u062A\u0643\u0644\u0645\u0648\u0634\u0639\u0631"
            "\u0628\u064A\u061F");
}

TEST(CodedDomain, WhatStandsForNothingStaysAsItIs) {
  for (const std::string text :
       {"", "joe@example.com", "xn--", "joe@xn--.example", "joe@xn--99999999999.example",
        "joe@xn--a-b-\u00FC.example", "joe@axn--mnchen-3ya.example", "a@xn--b\xFF", "a@xn---",
        "a@xn--a-"}) {
    EXPECT_EQ(withDecodedLabels(text), text);
  }
  const std::string overlong = "xn--" + std::string(60, 'a');
  EXPECT_EQ(withDecodedLabels(overlong), overlong);
}

}  // namespace
}  // namespace relaybird
