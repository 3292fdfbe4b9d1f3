// SPDX-License-Identifier: MIT
// A text part is decoded in three steps: transfer encoding, character set, line ends and controls.
// The searches in HTML look for the few things that they need without a parser: a wrong guess only
// makes an attachment inline or not.
#include "message/parts/message_text.h"

#include <algorithm>

#include "message/parts/part_content.h"
#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "message/text/header_text.h"
#include "message/text/html_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// A longer reference cannot be the address of a part.
constexpr std::size_t kLongestReference = 2000;

// Calls `append` with each part and its text, until the limit is used up. It counts stored bytes,
// as storedSize() does.
template <class Append>
void forEachText(InputFile& file, const std::vector<const Part*>& parts, std::size_t limit,
                 const Append& append) {
  for (const Part* part : parts) {
    append(*part, textOf(file, *part, limit));
    limit -= std::min<std::uint64_t>(limit, part->end - part->body);
  }
}

std::string percentDecoded(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool coded = text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 &&
                       hexValue(text[i + 2]) >= 0;
    if (coded) {
      result += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace

std::string textOf(InputFile& file, const Part& part, std::size_t limit) {
  const auto content = decodedContent(file, part, limit);
  if (!content) {
    return {};
  }
  // HTML may name its charset itself (a meta element); the label of the part comes first, as in
  // browsers.
  std::string charset(part.type.parameter("charset"));
  if (charset.empty() && part.isHtml()) {
    charset = sniffHtmlCharset(*content);
  }
  const std::string text = withoutControls(withPlainLineEnds(toUtf8(*content, charset)));
  const bool flows =
      part.type.value == "text/plain" && equalsAsciiCase(part.type.parameter("format"), "flowed");
  return flows ? unflowed(text, equalsAsciiCase(part.type.parameter("delsp"), "yes")) : text;
}

std::string plainTextOf(InputFile& file, const std::vector<const Part*>& parts, std::size_t limit) {
  std::string all;
  forEachText(file, parts, limit, [&](const Part& part, std::string text) {
    if (!all.empty() && !all.ends_with('\n')) {
      all += '\n';
    }
    all += part.isHtml() ? htmlToText(text) : text;
  });
  return all;
}

std::string htmlTextOf(InputFile& file, const std::vector<const Part*>& parts, std::size_t limit) {
  std::string all;
  forEachText(file, parts, limit, [&](const Part& part, std::string text) {
    // Plain text among HTML keeps its lines and blanks, but wraps in a narrow window.
    all += part.isHtml() ? std::move(text)
                         : "<pre style=\"white-space: pre-wrap\">" + escapeHtml(text) + "</pre>\n";
  });
  return all;
}

// A look at the first line decides for nearly every plain text. HTML is always read whole: its
// visible text may begin after a long style sheet.
bool isBlankPart(InputFile& file, const Part& part, std::size_t limit) {
  constexpr std::size_t kFirstLine = 256;
  const auto isBlankUpTo = [&](std::size_t bytes) {
    const std::string text = textOf(file, part, bytes);
    return isBlankText(part.isHtml() ? htmlToText(text) : text);
  };
  return (part.isHtml() || isBlankUpTo(std::min(limit, kFirstLine))) && isBlankUpTo(limit);
}

// The single quote too, because the result may stand in an attribute with either quotes.
std::string escapeHtml(std::string_view text) {
  std::string result;
  result.reserve(text.size() + text.size() / 16);
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

// Both functions are linear for hostile pages: a reference ends where the next one may begin, and
// its length is bounded.
std::set<std::string, std::less<>> contentIdsUsed(std::string_view html) {
  std::set<std::string, std::less<>> used;
  for (std::size_t colon = html.find(':'); colon != std::string_view::npos;) {
    std::size_t next = colon + 1;
    // "cid" in any letter case, wherever it stands: an attribute, a style, even text. A wrong hit
    // only shows a part inline.
    if (colon >= 3 && equalsAsciiCase(html.substr(colon - 3, 3), "cid")) {
      const std::string_view rest = html.substr(next, kLongestReference);
      const std::size_t end = std::min(rest.find_first_of("\"'<> \t\r\n)"), rest.size());
      if (end < kLongestReference) {
        used.insert(percentDecoded(rest.substr(0, end)));
      }
      next += end;
    }
    colon = html.find(':', next);
  }
  return used;
}

std::set<std::string, std::less<>> referencesUsed(std::string_view html) {
  std::set<std::string, std::less<>> used;
  for (std::size_t at = html.find_first_of("=("); at != std::string_view::npos;) {
    const std::size_t begin = html.find_first_not_of(" \t\r\n", at + 1);
    if (begin == std::string_view::npos) {
      break;
    }
    const bool isQuoted = html[begin] == '"' || html[begin] == '\'';
    const std::size_t first = begin + (isQuoted ? 1 : 0);
    const std::string_view rest = html.substr(first, kLongestReference);
    const std::size_t end = std::min(
        isQuoted ? rest.find(html[begin]) : rest.find_first_of(" \t\r\n>()\"'"), rest.size());
    // A reference of the full length was cut, and cannot be compared.
    if (end > 0 && end < kLongestReference) {
      used.insert(percentDecoded(rest.substr(0, end)));
    }
    // A quoted style may contain references, so the search continues inside the quotes.
    at = html.find_first_of("=(", isQuoted ? first : first + end);
  }
  return used;
}

}  // namespace relaybird
