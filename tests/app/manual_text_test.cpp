// SPDX-License-Identifier: MIT
// The manual's pages as text: without a library the same as with it.
#include "app/manual_text.h"

#include <gtest/gtest.h>

#include "message/text/html_text.h"
#include "ui/help/help_topics.h"

namespace relaybird {
namespace {

TEST(ManualText, EveryPageReadsAsTheHtmlOfMailIsRead) {
  ASSERT_FALSE(helpTopics().empty());
  for (const HelpTopic& topic : helpTopics()) {
    EXPECT_EQ(manualText(topic.html), htmlToText(topic.html)) << topic.name;
  }
}

TEST(ManualText, APageThatIsCutOffAnywhereEnds) {
  const std::string page =
      "<html><body><p class=\"a\">T\u00f6ne &amp; <a href=\"b.html\">Kl\u00e4nge</a><br>&none; & "
      "rest</body></html>";
  for (std::size_t length = 0; length <= page.size(); ++length) {
    (void)manualText(std::string_view(page).substr(0, length));
  }
  EXPECT_EQ(manualText(page), "T\u00f6ne & Kl\u00e4nge\n&none; & rest");
}

}  // namespace
}  // namespace relaybird
