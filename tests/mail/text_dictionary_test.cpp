// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>

#include "mail/shared_components.h"

namespace relaybird {
namespace {

std::string keyOf(int number) {
  return "imap-1700000000-" + std::to_string(number * 7919);
}

TEST(TextDictionary, FindsWhatWasAddedAndNothingElse) {
  TextDictionary dictionary;
  EXPECT_FALSE(dictionary.Exists(keyOf(1)));
  for (int number = 0; number < 20'000; ++number) {
    dictionary.Add(keyOf(number), "item");
  }
  EXPECT_EQ(dictionary.Count(), 20'000);
  for (int number = 0; number < 20'000; ++number) {
    ASSERT_TRUE(dictionary.Exists(keyOf(number))) << number;
    ASSERT_FALSE(dictionary.Exists(keyOf(number) + 'x')) << number;
  }
  EXPECT_FALSE(dictionary.Exists(""));
}

TEST(TextDictionary, RefusesAKeyThatIsThere) {
  TextDictionary dictionary;
  dictionary.Add("key", "item");
  EXPECT_THROW(dictionary.Add("key", "another"), MailStoreError);
  dictionary.Add("Key", "item");
  EXPECT_EQ(dictionary.Count(), 2);
}

// Keys are kept in blocks, one behind the other.
TEST(TextDictionary, TakesKeysOfAnyLengthAndBytes) {
  constexpr std::array<std::size_t, 8> kSizes = {0, 1, 65'530, 65'532, 65'533, 200'000, 2, 65'528};
  TextDictionary dictionary;
  const std::string zeros(3, '\0');
  for (const std::size_t size : kSizes) {
    const std::string key(size, 'k');
    dictionary.Add(key, "");
    dictionary.Add(key + zeros, "");
    EXPECT_TRUE(dictionary.Exists(key)) << size;
  }
  for (const std::size_t size : kSizes) {
    EXPECT_TRUE(dictionary.Exists(std::string(size, 'k'))) << size;
    EXPECT_TRUE(dictionary.Exists(std::string(size, 'k') + zeros)) << size;
    EXPECT_FALSE(dictionary.Exists(std::string(size, 'k') + "00")) << size;
  }
}

}  // namespace
}  // namespace relaybird
