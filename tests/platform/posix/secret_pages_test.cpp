// SPDX-License-Identifier: MIT
#include "platform/posix/secret_pages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/memory_flags.h"

namespace relaybird {
namespace {

TEST(SecretPages, AreLeftOutOfCoreDumps) {
  SecretPages pages;
  char* const bytes = pages.take(20000);
  EXPECT_THAT(memoryFlagsOf(bytes), testing::HasSubstr(" dd "));
  EXPECT_THAT(memoryFlagsOf(bytes + 19999), testing::HasSubstr(" dd "));
  pages.giveBack(bytes, 20000);
  EXPECT_THAT(memoryFlagsOf(bytes), testing::Not(testing::HasSubstr(" dd ")));
}

TEST(SecretPages, SecretsDoNotShareAPage) {
  SecretPages pages;
  char* const first = pages.take(1);
  char* const second = pages.take(1);
  *first = 'a';
  pages.giveBack(second, 1);
  EXPECT_EQ(*first, 'a');
  pages.giveBack(first, 1);
}

}  // namespace
}  // namespace relaybird
