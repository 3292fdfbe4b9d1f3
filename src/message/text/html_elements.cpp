// SPDX-License-Identifier: MIT
// Elements mean one of four things for a plain text: a line or paragraph break around them, a mark
// (list items, links, rules), cells of a table, or text that is not shown. Unknown elements are
// transparent. Every beginning has its end, so counters are enough where elements nest.
#include "message/text/html_elements.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Deeper lists are not indented further, so that a hostile nesting makes no long lines.
constexpr std::size_t kDeepestIndent = 4;

template <std::size_t N>
bool isOneOf(std::string_view name, const std::array<std::string_view, N>& names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool isRawText(std::string_view name) {
  return name == "script" || name == "style";
}

bool isHidden(std::string_view name) {
  return isRawText(name) || name == "head" || name == "title" || name == "template";
}

// The line breaks that an element puts between its text and the text around it: two leave an empty
// line.
int linesAround(std::string_view name) {
  constexpr auto kSetApart = std::to_array<std::string_view>(
      {"p", "h1", "h2", "h3", "h4", "h5", "h6", "blockquote", "pre", "ul", "ol", "dl", "figure"});
  constexpr auto kOwnLine = std::to_array<std::string_view>(
      {"div",     "li",     "dt",      "dd",  "address",  "article", "aside",  "body",
       "caption", "center", "details", "dir", "fieldset", "footer",  "form",   "header",
       "legend",  "main",   "menu",    "nav", "option",   "section", "summary"});
  return isOneOf(name, kSetApart) ? 2 : isOneOf(name, kOwnLine) ? 1 : 0;
}

// libxml2's list of names and values, ended by a null name. An attribute without a value has a null
// value.
std::string_view attribute(const char* const* attributes, std::string_view name) {
  for (; attributes != nullptr && *attributes != nullptr; attributes += 2) {
    if (*attributes == name) {
      return attributes[1] != nullptr ? attributes[1] : "";
    }
  }
  return {};
}

// A link target on one line, with everything encoded that would end the angle brackets early.
std::string shownTarget(std::string_view target) {
  std::string out;
  for (const char c : target.substr(std::min(target.find_first_not_of(" \t\r\n"), target.size()))) {
    if (c == ' ') {
      out += "%20";
    } else if (c == '<') {
      out += "%3C";
    } else if (c == '>') {
      out += "%3E";
    } else if (static_cast<unsigned char>(c) > ' ' && c != 0x7F) {
      out += c;
    }
  }
  return out;
}

// A link or text reduced to what makes a difference: "https://x.org/" and "x.org" say the same.
std::string essence(std::string_view link) {
  std::string out = asciiLower(link);
  for (const std::string_view scheme : {"http://", "https://", "mailto:"}) {
    if (out.starts_with(scheme)) {
      out.erase(0, scheme.size());
    }
  }
  if (out.ends_with('/')) {
    out.pop_back();
  }
  return out;
}

// Targets with other schemes, such as "cid:" or "javascript:", mean nothing to a reader of plain
// text.
bool isShownScheme(std::string_view target) {
  const std::string scheme = asciiLower(target.substr(0, 8));
  return scheme.starts_with("http://") || scheme.starts_with("https://") ||
         scheme.starts_with("mailto:");
}

}  // namespace

void HtmlElements::begin(std::string_view name, const char* const* attributes) {
  if (isHidden(name)) {
    ++hidden_;
  }
  if (isRawText(name)) {
    ++rawText_;
  }
  if (hidden_ > 0) {
    return;
  }
  if (const int lines = linesAround(name); lines > 0) {
    // A list within a list is part of its item.
    const bool inner = (name == "ul" || name == "ol") && !lists_.empty();
    layout_.endBlock(inner ? 1 : lines);
  }
  if (name == "br") {
    layout_.endLine();
  } else if (name == "hr") {
    layout_.endBlock(1);
    layout_.text("----");
    layout_.endBlock(1);
  } else if (name == "img") {
    layout_.text(attribute(attributes, "alt"));
  } else if (name == "a") {
    beginLink(attribute(attributes, "href"));
  } else if (name == "pre") {
    layout_.beginPreformatted();
  } else if (name == "ul" || name == "ol") {
    beginList(name == "ol", attribute(attributes, "start"));
  } else if (name == "li") {
    beginItem();
  } else if (name == "table") {
    layout_.beginTable();
  } else if (name == "tr") {
    layout_.beginRow();
  } else if (name == "td" || name == "th") {
    layout_.beginCell();
  }
}

void HtmlElements::end(std::string_view name) {
  // A hidden element ends the hiding only after its end tag, which therefore counts as hidden too.
  const bool seen = hidden_ == 0;
  if (isHidden(name) && hidden_ > 0) {
    --hidden_;
  }
  if (isRawText(name) && rawText_ > 0) {
    --rawText_;
  }
  if (!seen) {
    return;
  }
  if (name == "a") {
    endLink();
  } else if (name == "pre") {
    layout_.endPreformatted();
  } else if ((name == "ul" || name == "ol") && !lists_.empty()) {
    lists_.pop_back();
  } else if (name == "table") {
    layout_.endTable();
  } else if (name == "tr") {
    layout_.endRow();
  }
  if (const int lines = linesAround(name); lines > 0) {
    const bool inner = (name == "ul" || name == "ol") && !lists_.empty();
    layout_.endBlock(inner ? 1 : lines);
  }
}

void HtmlElements::text(std::string_view utf8) {
  if (hidden_ == 0) {
    layout_.text(utf8);
  }
}

void HtmlElements::forgetNesting() {
  endLink();
  lists_.clear();
  hidden_ = 0;
  layout_.forgetNesting();
}

std::string HtmlElements::take() {
  endLink();
  return layout_.take();
}

void HtmlElements::beginList(bool ordered, std::string_view start) {
  List list{ordered, 1};
  // A list may count from any number. The limit keeps a hostile one from overflowing.
  std::from_chars(start.data(), start.data() + start.size(), list.next);
  list.next = std::clamp(list.next, -1'000'000L, 1'000'000L);
  lists_.push_back(list);
}

void HtmlElements::beginItem() {
  const std::size_t depth = std::clamp<std::size_t>(lists_.size(), 1, kDeepestIndent) - 1;
  std::string mark(2 * depth, ' ');
  if (!lists_.empty() && lists_.back().ordered) {
    mark += std::to_string(lists_.back().next++) + ". ";
  } else {
    mark += "- ";
  }
  layout_.setMarker(std::move(mark));
}

void HtmlElements::beginLink(std::string_view target) {
  // Links do not nest: a new one ends the one before, as in browsers.
  endLink();
  linkStart_ = layout_.size();
  target_ = shownTarget(target);
  if (!isShownScheme(target_)) {
    target_.clear();
  }
}

void HtmlElements::endLink() {
  if (target_.empty()) {
    return;
  }
  // The target is added only if the link's text does not say it already.
  if (essence(layout_.since(linkStart_)) != essence(target_)) {
    layout_.annotate("<" + target_ + ">");
  }
  target_.clear();
}

}  // namespace relaybird
