// SPDX-License-Identifier: MIT
#include "platform/posix/secret_pages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

namespace relaybird {
namespace {

// The flags that the kernel shows for the mapping of an address.
std::string flagsOf(const void* address) {
  const auto wanted = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream maps("/proc/self/smaps");
  bool inside = false;
  for (std::string line; std::getline(maps, line);) {
    std::uintptr_t from = 0;
    std::uintptr_t to = 0;
    char dash = 0;
    if (std::istringstream(line) >> std::hex >> from >> dash >> to && dash == '-') {
      inside = from <= wanted && wanted < to;
    } else if (inside && line.starts_with("VmFlags:")) {
      return line + " ";
    }
  }
  return {};
}

TEST(SecretPages, AreLeftOutOfCoreDumps) {
  SecretPages pages;
  char* const bytes = pages.take(20000);
  EXPECT_THAT(flagsOf(bytes), testing::HasSubstr(" dd "));
  EXPECT_THAT(flagsOf(bytes + 19999), testing::HasSubstr(" dd "));
  pages.giveBack(bytes, 20000);
  EXPECT_THAT(flagsOf(bytes), testing::Not(testing::HasSubstr(" dd ")));
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
