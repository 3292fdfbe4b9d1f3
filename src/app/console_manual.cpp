// SPDX-License-Identifier: MIT
#include "app/console_manual.h"

#include <optional>
#include <string>
#include <vector>

#include "message/text/html_text.h"
#include "ui/help/help_topics.h"

namespace relaybird {
namespace {

std::string nameAndTitle(const HelpTopic& topic) {
  return std::string(topic.name) + ": " + std::string(topic.title);
}

// Cells of a table row are divided by tabs, which a terminal would set far apart.
std::string asLines(std::string text) {
  for (std::size_t tab = text.find('\t'); tab != std::string::npos; tab = text.find('\t', tab)) {
    text.replace(tab, 1, " - ");
  }
  return text;
}

std::optional<std::string> find(std::string_view words) {
  if (const HelpTopic* topic = findHelpTopic(words)) {
    return asLines(htmlToText(topic->html));
  }
  const std::vector<const HelpTopic*> mentioning = searchHelpTopics(words);
  if (mentioning.empty()) {
    return std::nullopt;
  }
  std::string text = "These topics tell of it:";
  for (const HelpTopic* topic : mentioning) {
    text += "\n" + nameAndTitle(*topic);
  }
  return text;
}

}  // namespace

Manual consoleManual() {
  Manual manual{find, {}};
  for (const HelpTopic& topic : helpTopics()) {
    manual.topics.push_back(nameAndTitle(topic));
  }
  return manual;
}

}  // namespace relaybird
