// SPDX-License-Identifier: MIT
#include "message/writing/forward_text.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "message/parts/message_text.h"
#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// A mail to a thousand people need not name them all in its forward.
constexpr std::size_t kHeaderLineCharacters = 1000;

constexpr std::string_view kRule = "-----Original Message-----";

// The first `count` characters; a cut text ends in three dots where `dots` asks for them.
std::string cut(std::string_view text, std::size_t count, bool dots) {
  const std::string_view kept = firstCharacters(text, count);
  return std::string(kept) + (dots && kept.size() < text.size() ? " ..." : "");
}

using HeaderLines = std::vector<std::pair<std::string_view, std::string>>;

HeaderLines headerLines(const Message& source, std::string_view sentText) {
  HeaderLines lines;
  const auto add = [&lines](std::string_view name, const std::string& text) {
    if (!text.empty()) {
      lines.emplace_back(name, cut(text, kHeaderLineCharacters, true));
    }
  };
  add("From", source.addressText("From"));
  add("Sent", onOneLine(scrubUtf8(sentText)));
  add("To", source.addressText("To"));
  add("Cc", source.addressText("Cc"));
  add("Subject", source.subject());
  return lines;
}

// Finds tags well enough to place a block among them; a browser's tree is not needed for that.
class TagFinder {
 public:
  explicit TagFinder(std::string_view html) : html_(html) {}

  // The next start tag, from its '<' up to behind its '>'; empty at the end. Comments are skipped.
  std::string_view next() {
    while (pos_ < html_.size()) {
      const std::size_t open = html_.find('<', pos_);
      if (open == std::string_view::npos) {
        break;
      }
      if (html_.substr(open).starts_with("<!--")) {
        const std::size_t close = html_.find("-->", open + 4);
        pos_ = close == std::string_view::npos ? html_.size() : close + 3;
        continue;
      }
      pos_ = isTagName(open + 1) ? tagEnd(open) : open + 1;
      if (pos_ > open + 1) {
        return html_.substr(open, pos_ - open);
      }
    }
    pos_ = html_.size();
    return {};
  }

 private:
  bool isTagName(std::size_t at) const {
    const char lower = at < html_.size() ? static_cast<char>(html_[at] | 0x20) : ' ';
    return lower >= 'a' && lower <= 'z';
  }

  // A quote that never ends does not swallow the document: then the next '>' ends the tag. Nor is
  // any byte looked at for more than one tag.
  std::size_t tagEnd(std::size_t open) const {
    const std::size_t limit = std::min(html_.size(), open + kLongestTag);
    for (std::size_t i = open; i < limit; ++i) {
      if (html_[i] == '>') {
        return i + 1;
      }
      if (html_[i] == '"' || html_[i] == '\'') {
        const std::size_t close = html_.substr(0, limit).find(html_[i], i + 1);
        if (close != std::string_view::npos) {
          i = close;
        }
      }
    }
    return limit;
  }

  static constexpr std::size_t kLongestTag = 4096;

  std::string_view html_;
  std::size_t pos_ = 0;
};

bool isTag(std::string_view tag, std::string_view name) {
  const std::size_t size = name.size() + 1;
  return tag.size() > size && equalsAsciiCase(tag.substr(1, name.size()), name) &&
         std::string_view(" \t\r\n/>").find(tag[size]) != std::string_view::npos;
}

// The document is written in UTF-8 whatever it was; a <meta> that still says otherwise would be
// believed by some readers.
std::string withUtf8(std::string_view tag) {
  std::string lower = asciiLower(tag);
  const std::size_t name = lower.find("charset");
  const std::size_t equals = name == std::string::npos ? name : lower.find('=', name);
  if (equals == std::string::npos) {
    return std::string(tag);
  }
  const std::size_t begin = lower.find_first_not_of(" \t\r\n\"'", equals + 1);
  const std::size_t end = lower.find_first_of(" \t\r\n\"';/>", begin);
  if (begin == std::string::npos || end == std::string::npos) {
    return std::string(tag);
  }
  return std::string(tag.substr(0, begin)) + "utf-8" + std::string(tag.substr(end));
}

std::string htmlBlock(const HeaderLines& lines) {
  std::string block = "<div><p>" + std::string(kRule) + "<br>\n";
  for (const auto& [name, text] : lines) {
    block += "<b>" + std::string(name) + ":</b> " + escapeHtml(text) + "<br>\n";
  }
  return block + "</p></div>\n";
}

}  // namespace

std::string writableSubject(std::string_view subject) {
  return cut(onOneLine(scrubUtf8(subject)), kSubjectCharacters, false);
}

std::string forwardText(const Message& source, std::string_view sentText) {
  std::string text(kRule);
  text += '\n';
  for (const auto& [name, line] : headerLines(source, sentText)) {
    text += std::string(name) + ": " + line + '\n';
  }
  return text + '\n' + source.bodyText();
}

std::string forwardHtml(const Message& source, std::string_view sentText) {
  const std::string& html = *source.htmlBody();
  std::string head;
  std::size_t copied = 0;
  TagFinder tags(html);
  for (std::string_view tag = tags.next(); !tag.empty(); tag = tags.next()) {
    const auto end = static_cast<std::size_t>(tag.data() - html.data()) + tag.size();
    if (isTag(tag, "meta")) {
      head += html.substr(copied, end - tag.size() - copied) + withUtf8(tag);
      copied = end;
    } else if (isTag(tag, "body")) {
      head += html.substr(copied, end - copied);
      return head + '\n' + htmlBlock(headerLines(source, sentText)) + html.substr(end);
    }
  }
  return htmlBlock(headerLines(source, sentText)) + head + html.substr(copied);
}

}  // namespace relaybird
