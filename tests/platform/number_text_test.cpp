// SPDX-License-Identifier: MIT
// Numbers as people and files write them: reading, writing and rounding, in every locale.
#include "platform/text/number_text.h"
#include "platform/text/ascii_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <random>

namespace relaybird {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

TEST(NumericPrefix, ReadsTheLongestLeadingNumber) {
  const std::pair<const char*, double> cases[] = {
      {"15.0", 15},
      {"15", 15},
      {"2.5 minutes", 2.5},
      {"  7", 7},
      {"\t7", 7},
      {"-3.25x", -3.25},
      {"+4", 4},
      {".5", 0.5},
      {"5.", 5},
      {"1.2.3", 1.2},
      {"1e3", 1000},
      {"1E-2", 0.01},
      {"1e", 1},
      {"1e+", 1},
      {"1ex", 1},
      {"12,5", 12},
      {"1 000", 1},
      {"0x10", 0},
      {"007", 7},
      {"- 5", 0},
      {"--5", 0},
      {"", 0},
      {"   ", 0},
      {".", 0},
      {"-", 0},
      {"e5", 0},
      {".e5", 0},
      {"abc", 0},
      {"nan", 0},
      {"inf", 0},
      {"-infinity", 0},
      {"1e400", 0},
      {"-1e400", 0},
      {"1e-400", 0},
      {"0e99999", 0},
      {"1e99999999999999999999", 0},
      {"1e-99999999999999999999", 0},
  };
  for (const auto& [text, value] : cases) {
    EXPECT_EQ(numericPrefix(text), value) << text;
  }
  EXPECT_EQ(numericPrefix(std::string_view("7\0008", 3)), 7);
}

TEST(ReadPrefix, IsNoneOnlyForANumberBeyondTheRangeOfDouble) {
  for (const char* text : {"1e400", "-1e400", " 2e308 minutes", "1e99999999999999999999"}) {
    EXPECT_EQ(readPrefix(text), std::nullopt) << text;
  }
  const std::pair<const char*, double> cases[] = {
      {"2.5 minutes", 2.5}, {"abc", 0}, {"", 0}, {"1e-400", 0}, {"-3", -3}, {"1e308", 1e308}};
  for (const auto& [text, value] : cases) {
    EXPECT_EQ(readPrefix(text), value) << text;
  }
}

TEST(NumericPrefix, AHostileRunOfDigitsIsReadInOneGo) {
  const std::string digits(1000000, '0');
  EXPECT_EQ(numericPrefix("1." + digits), 1);
  EXPECT_EQ(numericPrefix("0." + digits + "1e1000001"), 1);
  EXPECT_EQ(numericPrefix("1" + digits), 0);
}

TEST(NumericPrefix, DoesNotCareForTheLocale) {
  const std::string before = std::setlocale(LC_NUMERIC, nullptr);
  std::setlocale(LC_NUMERIC, "de_DE.UTF-8");  // not everywhere installed, and no harm where it is
  EXPECT_EQ(numericPrefix("2.5"), 2.5);
  EXPECT_EQ(numericPrefix("2,5"), 2);
  EXPECT_EQ(shortestText(2.5), "2.5");
  std::setlocale(LC_NUMERIC, before.c_str());
}

TEST(ReadNumber, WantsTheWholeTextToBeOneNumber) {
  EXPECT_EQ(readNumber("15"), 15);
  EXPECT_EQ(readNumber("  2.50 "), 2.5);
  EXPECT_EQ(readNumber("-1e3"), -1000);
  EXPECT_EQ(readNumber("+.5"), 0.5);
  EXPECT_EQ(readNumber("1e-400"), 0);
  EXPECT_EQ(readNumber("-0"), 0);
  for (const char* text : {"", " ", "15x", "x15", "1 5", "1,5", ".", "e5", "1e", "nan", "inf",
                           "1e400", "-1e400", "0x10", "--1", "1e99999999999999999999"}) {
    EXPECT_FALSE(readNumber(text)) << text;
  }
}

TEST(ShortestText, WritesNumbersAsPeopleDo) {
  EXPECT_EQ(shortestText(15.0), "15");
  EXPECT_EQ(shortestText(2.5), "2.5");
  EXPECT_EQ(shortestText(0.1), "0.1");
  EXPECT_EQ(shortestText(-0.25), "-0.25");
  EXPECT_EQ(shortestText(0.0), "0");
  EXPECT_EQ(shortestText(-0.0), "0");
  EXPECT_EQ(shortestText(100000), "100000");
  EXPECT_EQ(shortestText(1234567.5), "1234567.5");
  EXPECT_EQ(shortestText(0.00001), "0.00001");
  EXPECT_EQ(shortestText(1.0 / 3), "0.3333333333333333");
  EXPECT_EQ(shortestText(1e20), "1e+20");
  EXPECT_EQ(shortestText(kInfinity), "0");
  EXPECT_EQ(shortestText(kNan), "0");
}

TEST(ShortestText, ReadsBackAsTheSameValue) {
  std::mt19937_64 random(4711);
  std::uniform_int_distribution<int> exponents(-300, 300);
  std::uniform_real_distribution<double> digits(-10, 10);
  for (int i = 0; i < 20000; ++i) {
    const double value = digits(random) * std::pow(10, i % 2 == 0 ? exponents(random) : i % 15);
    ASSERT_EQ(readNumber(shortestText(value)), value);
    ASSERT_EQ(numericPrefix(shortestText(value) + " MB"), value);
  }
  for (const double value : {std::numeric_limits<double>::max(), std::numeric_limits<double>::min(),
                             std::numeric_limits<double>::denorm_min()}) {
    EXPECT_EQ(readNumber(shortestText(value)), value);
  }
}

TEST(RoundHalfEven, SendsHalvesToTheEvenNeighbour) {
  const std::pair<double, double> cases[] = {{0.5, 0},   {1.5, 2},   {2.5, 2},      {-0.5, 0},
                                             {-1.5, -2}, {-2.5, -2}, {2.4, 2},      {2.6, 3},
                                             {-2.6, -3}, {7, 7},     {1e300, 1e300}};
  for (const auto& [value, rounded] : cases) {
    EXPECT_EQ(roundHalfEven(value), rounded) << value;
  }
  EXPECT_EQ(roundHalfEven(0.49999999999999994), 0);
  EXPECT_EQ(roundHalfEven(kInfinity), kInfinity);
  EXPECT_TRUE(std::isnan(roundHalfEven(kNan)));
}

TEST(Narrowing, GivesNoneForWhatDoesNotFit) {
  EXPECT_EQ(toInt16(32767), 32767);
  EXPECT_EQ(toInt16(32767.4), 32767);
  EXPECT_FALSE(toInt16(32767.5));  // would round to 32768
  EXPECT_EQ(toInt16(-32768.5), -32768);
  EXPECT_FALSE(toInt16(-32769));
  EXPECT_EQ(toInt16(2.5), 2);
  EXPECT_FALSE(toInt16(kNan));
  EXPECT_FALSE(toInt16(kInfinity));
  EXPECT_EQ(toInt32(2147483647), 2147483647);
  EXPECT_FALSE(toInt32(2147483648.0));
  EXPECT_EQ(toInt32(-2147483648.0), std::numeric_limits<std::int32_t>::min());
  EXPECT_FALSE(toInt32(-2147483649.0));
  EXPECT_FALSE(toInt32(-kInfinity));
  EXPECT_FALSE(toInt32(kNan));
}

TEST(TextHelpers, KnowBlanksAndAsciiOnly) {
  EXPECT_EQ(trimBlanks("  a b  "), "a b");
  EXPECT_EQ(trimBlanks("   "), "");
  EXPECT_EQ(trimBlanks(""), "");
  EXPECT_EQ(trimBlanks("\ta\t"), "\ta\t");
  EXPECT_EQ(asciiUpper("azAZ09{`\xC3\xA4"), "AZAZ09{`\xC3\xA4");
  EXPECT_EQ(asciiLower("azAZ09[@\xC3\x84"), "azaz09[@\xC3\x84");
}

TEST(WithPoint, ADecimalCommaIsReadAndGroupsNothing) {
  const std::pair<const char*, double> cases[] = {
      {"7,5", 7.5},      {"7.5", 7.5}, {"7", 7},       {",5", 0.5},    {"-2,25", -2.25},
      {"1.000", 1},      {"1,000", 1}, {"1.000,5", 1}, {"1,000.5", 1}, {"1.234.567", 1.234},
      {"7,5 Min.", 7.5}, {"", 0},      {"Uhr 7,5", 0}, {"1,5e2", 150},
  };
  for (const auto& [text, value] : cases) {
    EXPECT_EQ(numericPrefix(withPoint(text, ",")), value) << text;
  }
  EXPECT_EQ(numericPrefix(withPoint("7\u066B5", "\u066B")), 7.5);
  EXPECT_EQ(numericPrefix(withPoint("7,5", ".")), 7);
  EXPECT_EQ(numericPrefix(withPoint("7,5", "")), 7);
}

}  // namespace
}  // namespace relaybird
