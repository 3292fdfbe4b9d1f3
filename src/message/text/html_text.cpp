// SPDX-License-Identifier: MIT
// Three steps: DocumentCleaner removes what libxml2 would misread or take too long over, HtmlReader
// feeds the rest to libxml2's push parser in small chunks, and HtmlElements (html_elements.h) turns
// the parser's events into text. Everything is linear in the document's size: where libxml2 is not,
// as with deep nesting, its input is bounded here.
#include "message/text/html_text.h"

#include <libxml/HTMLparser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "message/text/charset.h"
#include "message/text/html_elements.h"
#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

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

// Removes from a document what the parser must not see, or what would cost the reader the text or
// us the time:
// - comments, the text of scripts and style sheets;
// - the opening of a comment that never ends, which would swallow all that follows;
// - the end tags of body and html, because mailing lists put their footers behind them;
// - the conditional marks that Outlook writes ("<![if !mso]>"), which libxml2 takes for text;
// - attributes of a tag beyond the 500th, because libxml2 compares each with all others.
class DocumentCleaner {
 public:
  explicit DocumentCleaner(std::string_view html)
      // The last ends are found once. Behind them no comment or tag can end, so a document of many
      // openings without an end is not searched again for each.
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
        // A paragraph in its place, because the footer behind it is a text of its own.
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
    // Both are whole comments, as browsers read them.
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

  // Counts attributes by the characters that can separate them and ignores quotes. A miscount can
  // only cut an odd tag short; it never lets too many attributes through.
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

  // Leaves a script without an end tag to the parser. `known` is the end tag found last, so that no
  // part of the document is searched twice.
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

// The document as valid UTF-8 without NULs, cleaned as described above.
std::string cleanedDocument(std::string_view utf8Html) {
  std::string text = scrubUtf8(utf8Html);
  std::erase(text, '\0');
  return DocumentCleaner(text).run();
}

// libxml2 searches all open elements at every stray end tag. A document nested deeper than this
// gets a fresh parser: it loses its outer elements, and we lose no time.
constexpr int kDeepest = 256;
// Small, so that one chunk cannot nest much deeper before the depth is checked.
constexpr std::size_t kChunk = 1024;

// Chunks end between characters: behind a "<" the parser takes the first bytes of a character that
// the chunk cuts in two for text.
std::size_t chunkLength(std::string_view html) {
  std::size_t length = std::min(html.size(), kChunk);
  while (length < html.size() && isContinuation(html[length])) {
    ++length;
  }
  return length;
}

// The parser calls back for each element and text, and builds no tree, so memory does not grow with
// the document.
class HtmlReader {
 public:
  explicit HtmlReader(std::string_view html) : html_(html) {
    handler_.startElement = onStart;
    handler_.endElement = onEnd;
    handler_.characters = onText;
    handler_.ignorableWhitespace = onText;
    handler_.cdataBlock = onCdata;
  }

  std::string run() {
    prepareLibraries();
    renew();
    while (!html_.empty()) {
      const auto chunk = html_.substr(0, chunkLength(html_));
      html_.remove_prefix(chunk.size());
      feed(chunk);
      if (isSpent() || isTooDeep()) {
        startOver();
      }
    }
    feed({});
    htmlParseChunk(parser_.get(), nullptr, 0, 1);
    rethrow();
    return elements_.take();
  }

 private:
  struct FreeParser {
    void operator()(htmlParserCtxtPtr parser) const { htmlFreeParserCtxt(parser); }
  };

  void renew() {
    parser_.reset(
        htmlCreatePushParserCtxt(&handler_, this, nullptr, 0, nullptr, XML_CHAR_ENCODING_UTF8));
    if (!parser_) {
      throw std::bad_alloc();
    }
    // No network access; the document is UTF-8 already, so its own charset label must not count.
    htmlCtxtUseOptions(parser_.get(), HTML_PARSE_RECOVER | HTML_PARSE_NONET |
                                          HTML_PARSE_IGNORE_ENC | HTML_PARSE_NOERROR |
                                          HTML_PARSE_NOWARNING);
  }

  void feed(std::string_view chunk) {
    if (!chunk.empty()) {
      htmlParseChunk(parser_.get(), chunk.data(), static_cast<int>(chunk.size()), 0);
    }
    rethrow();
  }

  // Whether the parser accepts no more input, because it thinks that the document has ended.
  bool isSpent() const { return parser_->instate == XML_PARSER_EOF; }

  bool isTooDeep() const {
    return parser_->nameNr > kDeepest && parser_->instate == XML_PARSER_CONTENT &&
           !elements_.inRawText();
  }

  // What the old parser has not consumed goes to the new one.
  void startOver() {
    const xmlParserInput* input = parser_->input;
    const std::string rest(reinterpret_cast<const char*>(input->cur),
                           static_cast<std::size_t>(input->end - input->cur));
    elements_.forgetNesting();
    renew();
    feed(rest);
  }

  void rethrow() {
    if (failure_) {
      std::rethrow_exception(failure_);
    }
  }

  // Exceptions must not cross the parser's C frames: the first one is kept and rethrown by feed().
  template <class Call>
  static void guarded(void* self, Call call) {
    auto* reader = static_cast<HtmlReader*>(self);
    if (reader->failure_) {
      return;
    }
    try {
      call(reader->elements_);
    } catch (...) {
      reader->failure_ = std::current_exception();
    }
  }

  static void onStart(void* self, const xmlChar* name, const xmlChar** attributes) {
    guarded(self, [&](HtmlElements& elements) {
      elements.begin(reinterpret_cast<const char*>(name),
                     reinterpret_cast<const char* const*>(attributes));
    });
  }
  static void onEnd(void* self, const xmlChar* name) {
    guarded(self,
            [&](HtmlElements& elements) { elements.end(reinterpret_cast<const char*>(name)); });
  }
  static void onText(void* self, const xmlChar* text, int length) {
    guarded(self, [&](HtmlElements& elements) {
      elements.text({reinterpret_cast<const char*>(text), static_cast<std::size_t>(length)});
    });
  }
  static void onCdata(void* self, const xmlChar* text, int length) { onText(self, text, length); }

  std::string_view html_;
  xmlSAXHandler handler_{};
  std::unique_ptr<htmlParserCtxt, FreeParser> parser_;
  HtmlElements elements_;
  std::exception_ptr failure_;
};

bool isLabelCharacter(char c) {
  return isLetterOrDigit(c) || c == '-' || c == '_' || c == '.' || c == ':' || c == '+';
}

// The value of "charset=" in the text of a tag, quoted or not; empty where there is none. Both
// <meta charset="x"> and <meta content="text/html; charset=x"> have it.
std::string_view charsetIn(std::string_view tag) {
  constexpr std::string_view kKey = "charset";
  for (auto at = tag.find(kKey); at != std::string_view::npos; at = tag.find(kKey, at)) {
    at += kKey.size();
    const auto equals = tag.find_first_not_of(" \t\r\n", at);
    if (equals == std::string_view::npos || tag[equals] != '=') {
      continue;
    }
    const auto start = tag.find_first_not_of(" \t\r\n\"'", equals + 1);
    if (start == std::string_view::npos) {
      return {};
    }
    const auto rest = tag.substr(start);
    const auto last = std::find_if_not(rest.begin(), rest.end(), isLabelCharacter);
    return rest.substr(0, static_cast<std::size_t>(last - rest.begin()));
  }
  return {};
}

}  // namespace

std::string htmlToText(std::string_view utf8Html) {
  const std::string html = cleanedDocument(utf8Html);
  std::string text = HtmlReader(html).run();
  // The result is promised to be UTF-8, so it is checked rather than trusted to the parser.
  return isValidUtf8(text) ? text : scrubUtf8(text);
}

std::string sniffHtmlCharset(std::string_view bytes) {
  // The bytes in which browsers look for the label too.
  constexpr std::size_t kLooked = 1024;
  const std::string head = asciiLower(bytes.substr(0, kLooked));
  const std::string_view view = head;
  for (auto at = view.find('<'); at != std::string_view::npos; at = view.find('<', at + 1)) {
    if (view.substr(at).starts_with("<!--")) {
      at = view.find("-->", at);
      if (at == std::string_view::npos) {
        break;
      }
    } else if (view.substr(at).starts_with("<meta")) {
      const auto label = charsetIn(view.substr(at, view.find('>', at) - at));
      // The document is readable as ASCII so far, so it is not UTF-16.
      if (!label.empty()) {
        return label.starts_with("utf-16") ? "utf-8" : std::string(label);
      }
    }
  }
  return {};
}

}  // namespace relaybird
