// SPDX-License-Identifier: MIT
// The manual as a whole: every page can be reached, and every link leads somewhere.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "ui/help/help_topics.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::IsSupersetOf;

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

TEST(HelpPages, AreAllInTheContents) {
  const std::vector<std::string> contents = targetsOf("rbx.hhc");
  const std::set<std::string> named(contents.begin(), contents.end());
  EXPECT_EQ(named, pageFiles());
  EXPECT_EQ(helpTopics().size(), named.size());
}

TEST(HelpPages, TheIndexIsRichAndLeadsToPages) {
  const std::vector<std::string> index = targetsOf("rbx.hhk");
  EXPECT_GE(index.size(), 60U);
  EXPECT_THAT(pageFiles(), IsSupersetOf(std::set<std::string>(index.begin(), index.end())));
}

TEST(HelpPages, LinksLeadToPagesThatExist) {
  const std::set<std::string> pages = pageFiles();
  for (const HelpTopic& topic : helpTopics()) {
    for (const std::string& link : matches(std::string(topic.html), "<a href=\"([^\"#]+)")) {
      EXPECT_THAT(pages, Contains(link)) << "in " << topic.name;
    }
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

TEST(HelpPages, CloseWhatTheyOpen) {
  for (const HelpTopic& topic : helpTopics()) {
    std::map<std::string, int> open;
    const std::string html(topic.html);
    const std::regex tag("<(/?)([a-z][a-z0-9]*)[^>]*>");
    for (std::sregex_iterator it(html.begin(), html.end(), tag), end; it != end; ++it) {
      open[(*it)[2].str()] += (*it)[1].str().empty() ? 1 : -1;
    }
    for (const auto& [name, count] : open) {
      const bool isVoid = name == "meta" || name == "link" || name == "br" || name == "hr" ||
                          name == "img" || name == "col";
      EXPECT_TRUE(isVoid || count == 0) << topic.name << ": <" << name << "> " << count;
    }
  }
}

// Every viewer of help files reads these alike.
TEST(HelpPages, AreAscii) {
  for (const HelpTopic& topic : helpTopics()) {
    EXPECT_TRUE(std::all_of(topic.html.begin(), topic.html.end(), [](char c) {
      return static_cast<unsigned char>(c) < 0x80;
    })) << topic.name;
  }
}

}  // namespace
}  // namespace relaybird
