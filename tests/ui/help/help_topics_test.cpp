// SPDX-License-Identifier: MIT
#include "ui/help/help_topics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace relaybird {
namespace {

using testing::IsEmpty;

std::string found(std::string_view words) {
  const HelpTopic* topic = findHelpTopic(words);
  return topic == nullptr ? "" : std::string(topic->name);
}

TEST(HelpTopics, BeginWithTheWelcomePage) {
  ASSERT_FALSE(helpTopics().empty());
  EXPECT_EQ(helpTopics().front().name, "welcome");
}

TEST(HelpTopics, AreFoundByNameAndTitleWhateverTheLetterCase) {
  for (const HelpTopic& topic : helpTopics()) {
    EXPECT_EQ(found(topic.name), topic.name);
    EXPECT_EQ(found(topic.title), topic.name);
  }
  EXPECT_EQ(found(" SETTINGS-Size "), "settings-size");
}

TEST(HelpTopics, AreFoundByAnUnmistakablePart) {
  EXPECT_EQ(found("settings-si"), "settings-size");
  EXPECT_EQ(found("gateway"), "gateway-closed");
  EXPECT_EQ(found("activity"), "activity-log");
}

TEST(HelpTopics, WhatCouldMeanSeveralMeansNone) {
  EXPECT_EQ(findHelpTopic("settings"), nullptr);
  EXPECT_EQ(findHelpTopic("no such thing"), nullptr);
  EXPECT_EQ(findHelpTopic(""), nullptr);
  EXPECT_EQ(findHelpTopic("   "), nullptr);
}

TEST(HelpTopics, SearchingLooksAtTitlesFirst) {
  const auto topics = searchHelpTopics("settings");
  EXPECT_EQ(topics.size(), 5U);
  for (const HelpTopic* topic : topics) {
    EXPECT_TRUE(topic->name.starts_with("settings-")) << topic->name;
  }
}

TEST(HelpTopics, SearchingLooksIntoThePagesNext) {
  const auto topics = searchHelpTopics("SYSTEMCTL");
  ASSERT_FALSE(topics.empty());
  for (const HelpTopic* topic : topics) {
    EXPECT_NE(topic->html.find("systemctl"), std::string_view::npos) << topic->name;
  }
  EXPECT_THAT(searchHelpTopics("zyxwvu"), IsEmpty());
  EXPECT_THAT(searchHelpTopics("stylesheet"), IsEmpty());
  EXPECT_THAT(searchHelpTopics("  "), IsEmpty());
}

}  // namespace
}  // namespace relaybird
