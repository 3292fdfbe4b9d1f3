// SPDX-License-Identifier: MIT
#include "ui/desktop/help/chm_book.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "support/temp_folder.h"

namespace relaybird::desktop {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Key;

using Files = std::map<std::string, std::string>;

Files filesOf(const std::string& book) {
  Files files;
  const auto read =
      readChm(book, [&](const std::string& path, std::string_view bytes) { files[path] = bytes; });
  EXPECT_TRUE(read) << read.error().text;
  return files;
}

TEST(ChmBook, ReadsEveryPageByteForByte) {
  const Files files = filesOf(HELP_FILE);
  for (const auto& entry : std::filesystem::directory_iterator(HELP_PAGES)) {
    const std::string name = entry.path().filename().string();
    ASSERT_THAT(files, Contains(Key(name)));
    EXPECT_EQ(files.at(name), readBytes(entry.path().string())) << name;
  }
}

TEST(ChmBook, ReadsTheContentsAndTheIndex) {
  const Files files = filesOf(HELP_FILE);
  EXPECT_THAT(files, Contains(Key("rbx.hhc")));
  EXPECT_THAT(files, Contains(Key("rbx.hhk")));
}

std::string errorOf(const std::string& book) {
  const auto read = readChm(book, [](const std::string&, std::string_view) {});
  return read ? "" : read.error().text;
}

TEST(ChmBook, AMissingFileIsAnError) {
  const TempFolder folder;
  EXPECT_THAT(errorOf(folder.path("none.chm")), HasSubstr("cannot be opened"));
}

TEST(ChmBook, AFileOfAnotherKindIsAnError) {
  const TempFolder folder;
  writeBytes(folder.path("text.chm"), "not a help file at all");
  EXPECT_THAT(errorOf(folder.path("text.chm")), HasSubstr("cannot be opened"));
}

TEST(ChmBook, ATruncatedFileIsAnError) {
  const TempFolder folder;
  const std::string whole = readBytes(HELP_FILE);
  writeBytes(folder.path("cut.chm"), whole.substr(0, whole.size() / 2));
  EXPECT_NE(errorOf(folder.path("cut.chm")), "");
}

}  // namespace
}  // namespace relaybird::desktop
