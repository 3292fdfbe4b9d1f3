// SPDX-License-Identifier: MIT
// What a secret keeps and when its bytes are overwritten. WatchedMemory shows what the memory held
// when it was given back.
#include "platform/system/secret.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

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

TEST(Secret, CanBeFilledInPlaceAndCut) {
  Secret secret = Secret::ofSize(6);
  EXPECT_EQ(secret.bytes(), std::string_view("\0\0\0\0\0\0", 6));
  std::ranges::copy(std::string_view("sesame"), secret.writable().data());
  secret.cut(3);
  EXPECT_EQ(secret.bytes(), "ses");
  secret.cut(4);
  EXPECT_EQ(secret.bytes(), "ses");
  EXPECT_TRUE(Secret::ofSize(0).empty());
}

// Memory that keeps a picture of what it is given back.
class WatchedMemory : public SecretMemory {
 public:
  char* take(std::size_t size) override {
    taken += size;
    return new char[size];
  }
  void giveBack(char* bytes, std::size_t size) override {
    returned.emplace_back(bytes, size);
    taken -= size;
    delete[] bytes;
  }
  std::size_t taken = 0;
  std::vector<std::string> returned;
};

class SecretMemoryTest : public testing::Test {
 protected:
  SecretMemoryTest() { keepSecretsIn(memory_); }
  ~SecretMemoryTest() override { keepSecretsIn(ordinary_); }

  // Other tests of this process go on with memory of an ordinary kind.
  static WatchedMemory& ordinary() {
    static auto* const memory = new WatchedMemory;
    return *memory;
  }
  WatchedMemory memory_;

 private:
  WatchedMemory& ordinary_ = ordinary();
};

TEST_F(SecretMemoryTest, GetsItBackOverwrittenHoweverTheSecretEnds) {
  {
    Secret secret("open sesame");
    Secret copy = secret;
    copy = Secret("another");
    copy.cut(2);
    Secret moved = std::move(secret);
    moved = std::move(copy);
  }
  EXPECT_EQ(memory_.taken, 0U);
  EXPECT_EQ(memory_.returned.size(), 3U);
  for (const std::string& bytes : memory_.returned) {
    EXPECT_EQ(bytes, std::string(bytes.size(), '\0'));
  }
}

TEST_F(SecretMemoryTest, CuttingOverwritesTheRestAtOnce) {
  Secret secret("open sesame");
  const char* const bytes = secret.bytes().data();
  secret.cut(4);
  EXPECT_EQ(std::string(bytes, 11), std::string("open\0\0\0\0\0\0\0", 11));
}

TEST(Wipe, OverwritesAlsoWhatIsBehindTheEndOfAText) {
  for (const std::size_t size : {std::size_t{14}, std::size_t{60}}) {
    std::string text(size, 'x');
    const char* const bytes = text.data();
    text.resize(2);
    wipe(text);
    EXPECT_TRUE(text.empty());
    EXPECT_EQ(text.data(), bytes);
    EXPECT_EQ(std::string(bytes, size), std::string(size, '\0'));
  }
}

}  // namespace
}  // namespace relaybird
