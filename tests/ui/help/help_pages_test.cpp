// SPDX-License-Identifier: MIT
// The manual as a whole: every page can be reached, and every link leads somewhere. Reads the files
// of the folder help, and compares them with the pages that are built into the program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "platform/text/ascii_text.h"
#include "support/temp_folder.h"
#include "ui/help/help_topics.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAreArray;

const std::string kHelp = HELP_DIR;

std::set<std::string> pageFiles() {
  std::set<std::string> pages;
  for (const auto& entry : std::filesystem::directory_iterator(kHelp + "/pages")) {
    if (entry.path().extension() == ".html") {
      pages.insert(entry.path().filename().string());
    }
  }
  return pages;
}

std::vector<std::string> matches(const std::string& text, const std::string& pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator it(text.begin(), text.end(), expression), end; it != end; ++it) {
    found.push_back((*it)[1].str());
  }
  return found;
}

std::vector<std::string> targetsOf(const std::string& file) {
  return matches(readBytes(kHelp + "/" + file), "name=\"Local\" +value=\"([^\"#]+)");
}

std::vector<std::string> namesIn(const std::string& file) {
  return matches(readBytes(kHelp + "/" + file), "name=\"Name\" +value=\"([^\"]+)");
}

TEST(HelpPages, AreAllInTheContentsOnce) {
  EXPECT_THAT(targetsOf("rbx.hhc"), UnorderedElementsAreArray(pageFiles()));
  EXPECT_EQ(helpTopics().size(), pageFiles().size());
}

TEST(HelpPages, TheContentsCallThemByTheirTitles) {
  const std::vector<std::string> names = namesIn("rbx.hhc");
  for (const HelpTopic& topic : helpTopics()) {
    EXPECT_THAT(names, Contains(topic.title));
  }
}

TEST(HelpPages, TheProjectNamesEachOfThem) {
  const std::string project = readBytes(kHelp + "/rbx.hhp");
  for (const std::string& page : pageFiles()) {
    EXPECT_THAT(project, HasSubstr("\n" + page + "\n"));
  }
}

TEST(HelpPages, TheIndexIsRichAndInOrderAndLeadsToEachOfThem) {
  const std::vector<std::string> targets = targetsOf("rbx.hhk");
  EXPECT_GE(targets.size(), 60U);
  EXPECT_EQ(std::set<std::string>(targets.begin(), targets.end()), pageFiles());
  std::vector<std::string> names = namesIn("rbx.hhk");
  EXPECT_EQ(names.size(), targets.size());
  std::transform(names.begin(), names.end(), names.begin(),
                 [](const std::string& name) { return asciiLower(name); });
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  EXPECT_EQ(std::adjacent_find(names.begin(), names.end()), names.end());
}

TEST(HelpPages, LinksLeadToPagesThatExist) {
  const std::set<std::string> pages = pageFiles();
  for (const HelpTopic& topic : helpTopics()) {
    for (const std::string& link : matches(std::string(topic.html), "<a href=\"([^\"#]+)")) {
      EXPECT_THAT(pages, Contains(link)) << "in " << topic.name;
    }
  }
}

TEST(HelpPages, EveryKnownRefusalOfAServerSaysWhatTheUserCanDo) {
  const std::string page = readBytes(kHelp + "/pages/sending.html");
  const std::size_t from = page.find("<h2>Known refusals</h2>");
  const std::string table = page.substr(from, page.find("</table>", from) - from);
  const auto rows = matches(table, "<tr>(<td><code>[^]*?)</tr>");
  EXPECT_GE(rows.size(), 10u);
  for (const std::string& row : rows) {
    const auto cells = matches(row, "<td>([^]*?)</td>");
    ASSERT_EQ(cells.size(), 3u) << row;
    EXPECT_THAT(cells, testing::Each(Not(IsEmpty()))) << row;
  }
}

TEST(HelpPages, HaveOneHeadingThatIsTheirTitle) {
  for (const HelpTopic& topic : helpTopics()) {
    const std::string html(topic.html);
    EXPECT_EQ(matches(html, "<(h1)>").size(), 1U) << topic.name;
    const auto headings = matches(html, "<h1>([^<]+)</h1>");
    ASSERT_EQ(headings.size(), 1U) << topic.name;
    EXPECT_EQ(std::regex_replace(headings.front(), std::regex("&amp;"), "&"), topic.title);
  }
}

TEST(HelpPages, CloseWhatTheyOpenInItsOrder) {
  const std::set<std::string> empty = {"meta", "link", "br", "hr", "img"};
  const std::regex tag("<(/?)([a-z][a-z0-9]*)[^>]*>");
  for (const HelpTopic& topic : helpTopics()) {
    SCOPED_TRACE(std::string(topic.name));
    const std::string html(topic.html);
    std::vector<std::string> open;
    for (std::sregex_iterator it(html.begin(), html.end(), tag), end; it != end; ++it) {
      const std::string name = (*it)[2].str();
      if ((*it)[1].str().empty()) {
        if (empty.count(name) == 0) {
          open.push_back(name);
        }
      } else {
        ASSERT_FALSE(open.empty()) << "</" << name << ">";
        ASSERT_EQ(open.back(), name);
        open.pop_back();
      }
    }
    EXPECT_THAT(open, IsEmpty());
  }
}

TEST(HelpPages, SayTheirCharacterSetAndUseTheCommonStyleAndNoScript) {
  for (const HelpTopic& topic : helpTopics()) {
    SCOPED_TRACE(std::string(topic.name));
    const std::string html(topic.html);
    EXPECT_THAT(html, HasSubstr("charset=us-ascii"));
    EXPECT_THAT(matches(html, "<link [^>]*href=\"([^\"]+)\""), ElementsAre("relaybird.css"));
    EXPECT_THAT(html, Not(HasSubstr("<script")));
    EXPECT_THAT(html, Not(HasSubstr("style=")));
  }
  EXPECT_TRUE(std::filesystem::exists(kHelp + "/pages/relaybird.css"));
}

TEST(HelpPages, AreBuiltInByteForByte) {
  for (const HelpTopic& topic : helpTopics()) {
    EXPECT_EQ(topic.html, readBytes(kHelp + "/pages/" + std::string(topic.name) + ".html"));
  }
}

// Every viewer of help files reads ASCII correctly.
TEST(HelpPages, AreAscii) {
  for (const HelpTopic& topic : helpTopics()) {
    EXPECT_TRUE(std::all_of(topic.html.begin(), topic.html.end(), [](char c) {
      return static_cast<unsigned char>(c) < 0x80;
    })) << topic.name;
  }
}

}  // namespace
}  // namespace relaybird
