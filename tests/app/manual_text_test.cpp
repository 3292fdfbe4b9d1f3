// SPDX-License-Identifier: MIT
#include "app/manual_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace relaybird {
namespace {

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
