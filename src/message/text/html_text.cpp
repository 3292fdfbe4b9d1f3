// SPDX-License-Identifier: MIT
#include "message/text/html_text.h"

#include <libxml/HTMLparser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <exception>
#include <memory>

#include "message/text/charset.h"
#include "message/text/html_elements.h"
#include "message/text/html_guard.h"
#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// libxml2 looks through all open elements at every stray end tag. A document nested deeper than any
// honest one gets a fresh parser then, and loses its outer elements instead of our time.
constexpr int kDeepest = 256;
// Small, so that a chunk cannot nest much deeper before anyone looks.
constexpr std::size_t kChunk = 1024;

// The parser takes the beginning of a character that a chunk cuts for text when it follows a "<".
std::size_t chunkLength(std::string_view html) {
  std::size_t length = std::min(html.size(), kChunk);
  while (length < html.size() && isContinuation(html[length])) {
    ++length;
  }
  return length;
}

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

  // True where the parser takes no more, whatever made it think that the document is over.
  bool isSpent() const { return parser_->instate == XML_PARSER_EOF; }

  bool isTooDeep() const {
    return parser_->nameNr > kDeepest && parser_->instate == XML_PARSER_CONTENT &&
           !elements_.inRawText();
  }

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

  // No exception may pass through the parser's frames.
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

// The value behind "charset =" in a tag's text, quoted or not; empty where there is none.
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
  const std::string html = tamedHtml(utf8Html);
  std::string text = HtmlReader(html).run();
  // The parser's word is not enough for a promise on which others build.
  return isValidUtf8(text) ? text : scrubUtf8(text);
}

std::string sniffHtmlCharset(std::string_view bytes) {
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
      // Who can be read byte by byte up to here is no UTF-16.
      if (!label.empty()) {
        return label.starts_with("utf-16") ? "utf-8" : std::string(label);
      }
    }
  }
  return {};
}

}  // namespace relaybird
