// SPDX-License-Identifier: MIT
#include "ui/help/help_topics.h"

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

using Meant = std::function<bool(const std::string& nameOrTitle)>;

// The topic whose name or title matches, if it is the only one.
const HelpTopic* onlyTopic(const Meant& meant) {
  const HelpTopic* only = nullptr;
  for (const HelpTopic& topic : helpTopics()) {
    if (!meant(asciiLower(topic.name)) && !meant(asciiLower(topic.title))) {
      continue;
    }
    if (only != nullptr) {
      return nullptr;
    }
    only = &topic;
  }
  return only;
}

std::vector<std::string> lowerWords(std::string_view text) {
  std::istringstream stream{asciiLower(text)};
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(std::move(word));
  }
  return words;
}

// Roughly the visible text of a page: its characters outside tags.
std::string lowerText(std::string_view html) {
  std::string text;
  bool insideTag = false;
  for (const char c : html) {
    insideTag = c == '<' || (insideTag && c != '>');
    text += insideTag ? ' ' : c;
  }
  return asciiLower(text);
}

bool containsAll(const std::string& text, const std::vector<std::string>& words) {
  return std::all_of(words.begin(), words.end(),
                     [&](const std::string& word) { return text.find(word) != std::string::npos; });
}

}  // namespace

// Each way is tried only if the stricter ones found nothing: a full name must not fail because
// longer names begin with it.
const HelpTopic* findHelpTopic(std::string_view words) {
  const std::string wanted = asciiLower(trimBlanks(words));
  if (wanted.empty()) {
    return nullptr;
  }
  const Meant ways[] = {
      [&](const std::string& text) { return text == wanted; },
      [&](const std::string& text) { return text.starts_with(wanted); },
      [&](const std::string& text) { return text.find(wanted) != std::string::npos; },
  };
  for (const Meant& meant : ways) {
    if (const HelpTopic* topic = onlyTopic(meant)) {
      return topic;
    }
  }
  return nullptr;
}

// Titles first: a word that is the subject of a page occurs in many others too.
std::vector<const HelpTopic*> searchHelpTopics(std::string_view words) {
  const std::vector<std::string> wanted = lowerWords(words);
  std::vector<const HelpTopic*> inTitles;
  std::vector<const HelpTopic*> inPages;
  if (wanted.empty()) {
    return inTitles;
  }
  for (const HelpTopic& topic : helpTopics()) {
    const std::string heading = asciiLower(topic.name) + ' ' + asciiLower(topic.title);
    if (containsAll(heading, wanted)) {
      inTitles.push_back(&topic);
    }
    if (containsAll(lowerText(topic.html), wanted)) {
      inPages.push_back(&topic);
    }
  }
  return inTitles.empty() ? inPages : inTitles;
}

}  // namespace relaybird
