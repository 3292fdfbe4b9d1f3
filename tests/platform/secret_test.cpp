// SPDX-License-Identifier: MIT
#include "platform/system/secret.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace relaybird {
namespace {

TEST(Secret, KeepsArbitraryBytes) {
  const std::string bytes("p\0\xff \"\\", 6);
  const Secret secret(bytes);
  EXPECT_EQ(secret.bytes(), bytes);
  EXPECT_FALSE(secret.empty());
  EXPECT_TRUE(Secret().empty());
}

TEST(Secret, ACopyOutlivesItsSource) {
  Secret copy;
  {
    const Secret secret("open sesame");
    copy = secret;
  }
  EXPECT_EQ(copy.bytes(), "open sesame");
}

TEST(Secret, IsEmptyOnceItHasMoved) {
  Secret secret("open sesame");
  Secret other(std::move(secret));
  EXPECT_TRUE(secret.empty());  // NOLINT(bugprone-use-after-move): the state that is promised
  EXPECT_EQ(other.bytes(), "open sesame");
  Secret third("old");
  third = std::move(other);
  EXPECT_TRUE(other.empty());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(third.bytes(), "open sesame");
}

}  // namespace
}  // namespace relaybird
