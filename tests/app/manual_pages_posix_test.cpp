// SPDX-License-Identifier: MIT
// The manual's pages as text: without a library the same as with it.
#include <gtest/gtest.h>

#include "app/manual_text.h"
#include "message/text/html_text.h"
#include "ui/help/help_topics.h"

namespace relaybird {
namespace {

TEST(ManualPages, EveryPageReadsAsTheHtmlOfMailIsRead) {
  ASSERT_FALSE(helpTopics().empty());
  for (const HelpTopic& topic : helpTopics()) {
    EXPECT_EQ(manualText(topic.html), htmlToText(topic.html)) << topic.name;
  }
}

}  // namespace
}  // namespace relaybird
