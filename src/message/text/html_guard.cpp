// SPDX-License-Identifier: MIT
#include "message/text/html_guard.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "message/text/charset.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr auto kNone = std::string_view::npos;
constexpr int kMostAttributes = 500;

bool separatesAttributes(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '=';
}

bool startsWithoutCase(std::string_view text, std::string_view lowerCase) {
  return text.size() >= lowerCase.size() &&
         std::equal(lowerCase.begin(), lowerCase.end(), text.begin(),
                    [](char a, char b) { return a == asciiLower(b); });
}

bool beginsTag(std::string_view rest) {
  if (rest.size() < 2 || rest[0] != '<') {
    return false;
  }
  const char c = asciiLower(rest[1]);
  return (c >= 'a' && c <= 'z') || c == '/';
}

class Tamer {
 public:
  explicit Tamer(std::string_view html)
      : html_(html), lastTagEnd_(html.rfind('>')), lastCommentEnd_(html.rfind("-->")) {
    out_.reserve(html.size());
  }

  std::string run() {
    while (at_ < html_.size()) {
      const auto rest = html_.substr(at_);
      if (rest.starts_with("<!--")) {
        skipComment(rest);
      } else if (rest.starts_with("<![") && isBefore(at_, lastTagEnd_)) {
        at_ = html_.find('>', at_) + 1;
      } else if (startsWithoutCase(rest, "</body") || startsWithoutCase(rest, "</html")) {
        at_ = std::min(html_.find('>', at_), html_.size() - 1) + 1;
        out_ += "<p>";
      } else if (beginsTag(rest)) {
        copyTag();
        if (startsWithoutCase(rest, "<script")) {
          skipRawText(scriptEnd_, "</script");
        }
        if (startsWithoutCase(rest, "<style")) {
          skipRawText(styleEnd_, "</style");
        }
      } else {
        out_ += html_[at_++];
      }
    }
    return std::move(out_);
  }

 private:
  static bool isBefore(std::size_t at, std::size_t end) { return end != kNone && at < end; }

  void skipComment(std::string_view rest) {
    for (const std::string_view empty : {"<!-->", "<!--->"}) {
      if (rest.starts_with(empty)) {
        at_ += empty.size();
        return;
      }
    }
    at_ += 4;
    if (isBefore(at_ - 1, lastCommentEnd_)) {
      at_ = html_.find("-->", at_) + 3;
    }
  }

  // Attributes are counted by what can divide them, without regard to quotes: a miscount then cuts
  // a strange tag short and never lets one through.
  void copyTag() {
    const std::size_t start = at_;
    int attributes = 0;
    for (; at_ < html_.size() && html_[at_] != '>'; ++at_) {
      const bool divides = separatesAttributes(html_[at_]) && !separatesAttributes(html_[at_ - 1]);
      if (divides && ++attributes > kMostAttributes) {
        break;
      }
    }
    out_ += html_.substr(start, at_ - start);
    at_ = std::min(html_.find('>', at_), html_.size());
    if (at_ < html_.size()) {
      out_ += html_[at_++];
    }
  }

  // Where nothing ends it, the parser decides. `known` is the end found last, so that each end is
  // searched for once.
  void skipRawText(std::optional<std::size_t>& known, std::string_view endTag) {
    if (!known || *known < at_) {
      auto end = html_.find("</", at_);
      while (end != kNone && !startsWithoutCase(html_.substr(end), endTag)) {
        end = html_.find("</", end + 2);
      }
      known = end;
    }
    if (*known != kNone) {
      at_ = *known;
    }
  }

  std::string_view html_;
  std::size_t lastTagEnd_;
  std::size_t lastCommentEnd_;
  std::size_t at_ = 0;
  std::string out_;
  std::optional<std::size_t> scriptEnd_;
  std::optional<std::size_t> styleEnd_;
};

}  // namespace

std::string tamedHtml(std::string_view html) {
  std::string text = scrubUtf8(html);
  std::erase(text, '\0');
  return Tamer(text).run();
}

}  // namespace relaybird
