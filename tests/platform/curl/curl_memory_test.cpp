// SPDX-License-Identifier: MIT
// Where libcurl keeps what it is given. A program of its own, because the memory of secrets is
// chosen once for the whole process.
#include "platform/curl/curl_memory.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/posix/secret_pages.h"
#include "support/memory_flags.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RELAYBIRD_SANITIZER 1
#else
#define RELAYBIRD_SANITIZER 0
#endif

namespace relaybird {
namespace {

class CurlMemory : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    static auto* const pages = new SecretPages;
    keepSecretsIn(*pages);
    initialiseCurlWithGuardedMemory();
  }
  // libcurl's own copy of a text, in its own memory.
  static char* kept(CURL* handle, const std::string& text) {
    return curl_easy_escape(handle, text.data(), static_cast<int>(text.size()));
  }
};

TEST_F(CurlMemory, ALongTokenIsNotInACoreDump) {
  if (RELAYBIRD_SANITIZER) {
    GTEST_SKIP() << "a sanitizer's own memory is used";
  }
  CURL* const handle = curl_easy_init();
  for (const std::size_t size : {20, 4000, 5000, 9000, 20000, 40000, 500000}) {
    const std::string token(size, 't');
    char* const copy = kept(handle, token);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy, token);
    EXPECT_THAT(memoryFlagsOf(copy), testing::HasSubstr(" dd ")) << size;
    EXPECT_THAT(memoryFlagsOf(copy + size), testing::HasSubstr(" dd ")) << size;
    curl_free(copy);
  }
  curl_easy_cleanup(handle);
}

TEST_F(CurlMemory, ALargeBlockIsGivenBack) {
  if (RELAYBIRD_SANITIZER) {
    GTEST_SKIP() << "a sanitizer's own memory is used";
  }
  CURL* const handle = curl_easy_init();
  char* const copy = kept(handle, std::string(500000, 't'));
  curl_free(copy);
  EXPECT_THAT(memoryFlagsOf(copy), testing::Not(testing::HasSubstr(" dd ")));
  curl_easy_cleanup(handle);
}

}  // namespace
}  // namespace relaybird
