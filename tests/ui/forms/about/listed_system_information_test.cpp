// SPDX-License-Identifier: MIT
#include "ui/forms/about/listed_system_information.h"

#include <gtest/gtest.h>

#include <utility>

#include "prefs/fake_files.h"

namespace relaybird {
namespace {

class ListedSystemInformationTest : public testing::Test {
 protected:
  FakeFiles files_;
  std::vector<std::pair<std::string, std::vector<std::string>>> started_;
  Result<void> outcome_;
  ListedSystemInformation information_{
      {{"/usr/bin/first", {"overview", "now"}}, {"/usr/bin/second", {}}},
      files_,
      [this](const std::string& program, const std::vector<std::string>& arguments) {
        started_.emplace_back(program, arguments);
        return outcome_;
      }};
};

TEST_F(ListedSystemInformationTest, TheFirstInstalledToolOfTheListIsTaken) {
  files_.addFile("/usr/bin/second", "");
  EXPECT_EQ(information_.program(), "/usr/bin/second");
  files_.addFile("/usr/bin/first", "");
  EXPECT_EQ(information_.program(), "/usr/bin/first");
}

TEST_F(ListedSystemInformationTest, WithoutAnyToolThereIsNone) {
  files_.addFolder("/usr/bin/first");
  EXPECT_EQ(information_.program(), std::nullopt);
}

TEST_F(ListedSystemInformationTest, AToolIsStartedWithItsArguments) {
  EXPECT_TRUE(information_.start("/usr/bin/first"));
  EXPECT_TRUE(information_.start("/usr/bin/second"));
  ASSERT_EQ(started_.size(), 2u);
  EXPECT_EQ(started_[0].first, "/usr/bin/first");
  EXPECT_EQ(started_[0].second, (std::vector<std::string>{"overview", "now"}));
  EXPECT_TRUE(started_[1].second.empty());
}

TEST_F(ListedSystemInformationTest, AStartThatFailsSaysWhy) {
  outcome_ = Error{13, "not allowed"};
  EXPECT_EQ(information_.start("/usr/bin/first").error().text, "not allowed");
}

TEST(FreeDesktopInformationTools, ComeInTheOrderOfPreference) {
  const std::vector<ListedProgram> tools = freeDesktopInformationTools();
  ASSERT_EQ(tools.size(), 4u);
  EXPECT_EQ(tools[0].path, "/usr/bin/gnome-control-center");
  EXPECT_EQ(tools[0].arguments, std::vector<std::string>{"info-overview"});
  EXPECT_EQ(tools[1].path, "/usr/bin/kinfocenter");
  EXPECT_EQ(tools[2].path, "/usr/bin/hardinfo2");
  EXPECT_EQ(tools[3].path, "/usr/bin/hardinfo");
}

}  // namespace
}  // namespace relaybird
