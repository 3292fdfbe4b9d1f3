// SPDX-License-Identifier: MIT
// The manual as it is shown at a terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "message/text/html_text.h"
#include "ui/help/help_topics.h"

namespace relaybird {
namespace {

TEST(HelpText, EveryTopicReadsAsPlainText) {
  for (const HelpTopic& topic : helpTopics()) {
    SCOPED_TRACE(std::string(topic.name));
    const std::string text = htmlToText(topic.html);
    EXPECT_GT(text.size(), 300U);
    EXPECT_TRUE(text.starts_with(topic.title)) << text.substr(0, 60);
    EXPECT_THAT(text, testing::Not(testing::ContainsRegex("</?[a-z]+>|&[a-z]+;")));
  }
}

}  // namespace
}  // namespace relaybird
