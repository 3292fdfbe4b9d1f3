// SPDX-License-Identifier: MIT
#include "app/manual_text.h"

#include <algorithm>
#include <array>
#include <vector>

#include "message/text/html_elements.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Elements without an end tag.
constexpr std::array<std::string_view, 4> kVoid = {"br", "img", "link", "meta"};

struct Entity {
  std::string_view name;
  std::string_view text;
};
constexpr std::array<Entity, 6> kEntities = {{{"amp", "&"},
                                              {"gt", ">"},
                                              {"lt", "<"},
                                              {"nbsp", "\u00a0"},
                                              {"quot", "\""},
                                              {"uuml", "\u00fc"}}};

std::string withoutEntities(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const auto end = text.front() == '&' ? text.find(';') : std::string_view::npos;
    const auto found = std::ranges::find(
        kEntities, end == std::string_view::npos ? "" : text.substr(1, end - 1), &Entity::name);
    if (found != kEntities.end()) {
      result += found->text;
      text.remove_prefix(end + 1);
    } else {
      result += text.front();
      text.remove_prefix(1);
    }
  }
  return result;
}

// The words of a tag: its name, and then names and values of its attributes in turn.
std::vector<std::string> wordsOf(std::string_view tag) {
  const auto blank = std::min(tag.find_first_of(" \n"), tag.size());
  std::vector<std::string> words = {asciiLower(tag.substr(0, blank))};
  tag.remove_prefix(blank);
  for (auto equals = tag.find("=\""); equals != std::string_view::npos; equals = tag.find("=\"")) {
    words.push_back(asciiLower(trimmed(tag.substr(0, equals), " \n")));
    tag.remove_prefix(equals + 2);
    const auto end = std::min(tag.find('"'), tag.size());
    words.push_back(withoutEntities(tag.substr(0, end)));
    tag.remove_prefix(std::min(end + 1, tag.size()));
  }
  return words;
}

void begin(HtmlElements& elements, std::string_view tag) {
  const std::vector<std::string> words = wordsOf(tag);
  std::vector<const char*> attributes;
  for (std::size_t i = 1; i < words.size(); ++i) {
    attributes.push_back(words[i].c_str());
  }
  attributes.push_back(nullptr);
  elements.begin(words.front(), attributes.data());
  if (std::ranges::find(kVoid, words.front()) != kVoid.end()) {
    elements.end(words.front());
  }
}

}  // namespace

std::string manualText(std::string_view page) {
  HtmlElements elements;
  while (!page.empty()) {
    const auto open = std::min(page.find('<'), page.size());
    elements.text(withoutEntities(page.substr(0, open)));
    page.remove_prefix(open);
    if (page.empty()) {
      break;
    }
    const auto close = std::min(page.find('>'), page.size());
    const std::string_view tag = page.substr(1, close - 1);
    if (tag.starts_with('/')) {
      elements.end(asciiLower(tag.substr(1)));
    } else if (!tag.starts_with('!')) {
      begin(elements, tag);
    }
    page.remove_prefix(std::min(close + 1, page.size()));
  }
  return elements.take();
}

}  // namespace relaybird
