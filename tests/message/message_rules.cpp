// SPDX-License-Identifier: MIT
// A checker of messages that are to be sent. It parses by itself, with regular expressions, so that
// an error in the program's reader cannot hide the same error in its writer.
#include "message/message_rules.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <regex>

namespace relaybird {
namespace {

using Lines = std::vector<std::string_view>;

// The lines without their line ends. The last line end does not begin another line.
Lines linesOf(std::string_view text) {
  Lines lines;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

bool isHigh(char c) {
  return (static_cast<unsigned char>(c) & 0x80U) != 0;
}

bool hasHigh(const Lines& lines) {
  return std::any_of(lines.begin(), lines.end(), [](std::string_view line) {
    return std::any_of(line.begin(), line.end(), isHigh);
  });
}

std::string lowerOf(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(),
                 [](char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

class Checker {
 public:
  std::vector<std::string> run(std::string_view message) {
    if (!message.ends_with('\n')) {
      wrong("no line end at the end", "");
    }
    const Lines lines = linesOf(message);
    for (const std::string_view line : lines) {
      if (line.size() > 998) {
        wrong("a line of " + std::to_string(line.size()) + " bytes", line);
      }
      if (line.find('\r') != line.npos) {
        wrong("a CR without an LF, or a CR LF", line);
      }
      if (line.find('\0') != line.npos) {
        wrong("a NUL", line);
      }
    }
    entity(lines, true);
    return std::move(found_);
  }

 private:
  using Fields = std::multimap<std::string, std::string>;

  void wrong(const std::string& what, std::string_view where) {
    found_.push_back(what + ": " + std::string(where.substr(0, 200)));
  }

  std::size_t readFields(const Lines& lines, Fields& fields) {
    std::string name;
    std::size_t i = 0;
    for (; i < lines.size() && !lines[i].empty(); ++i) {
      const std::string_view line = lines[i];
      headerLine(line);
      if (line[0] == ' ' || line[0] == '\t') {
        if (name.empty()) {
          wrong("a header section begins with a blank", line);
        } else {
          std::prev(fields.upper_bound(name))->second += line;
        }
        continue;
      }
      const auto colon = line.find(':');
      name = lowerOf(line.substr(0, std::min(colon, line.size())));
      const bool good =
          colon != line.npos && colon > 0 &&
          std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 127; });
      if (!good) {
        wrong("no field", line);
        continue;
      }
      fields.emplace(name, line.substr(colon + 1));
    }
    if (i == lines.size()) {
      wrong("a header section without an end", "");
    }
    return std::min(i + 1, lines.size());
  }

  void headerLine(std::string_view line) {
    if (line.find_first_not_of(" \t") == line.npos) {
      wrong("a line of blanks in a header section", line);
    }
    for (const char c : line) {
      if (isHigh(c) || (c < ' ' && c != '\t') || c == 127) {
        wrong("a control character or 8-bit byte in a header section", line);
        break;
      }
    }
    static const std::regex word("=\\?[^? \t]*\\?[BbQq]\\?[^? \t]*\\?=");
    const std::string text(line);
    // Inside quotes or another word there are no encoded words (section 5).
    bool any = false;
    for (auto at = std::sregex_iterator(text.begin(), text.end(), word);
         at != std::sregex_iterator(); ++at) {
      const auto before = text.substr(0, static_cast<std::size_t>(at->position()));
      const bool begins =
          before.empty() || before.back() == ' ' || before.back() == '\t' || before.back() == '(';
      if (begins && std::count(before.begin(), before.end(), '"') % 2 == 0) {
        any = true;
        if (at->length() > 75) {
          wrong("an encoded word of " + std::to_string(at->length()), line);
        }
      }
    }
    if (any && line.size() > 76) {
      wrong("a line of " + std::to_string(line.size()) + " with an encoded word", line);
    }
  }

  static std::string valueOf(const Fields& fields, const std::string& name) {
    const auto at = fields.find(name);
    if (at == fields.end()) {
      return {};
    }
    const auto first = at->second.find_first_not_of(" \t");
    const auto last = at->second.find_last_not_of(" \t");
    return first == std::string::npos ? std::string() : at->second.substr(first, last - first + 1);
  }

  void once(const Fields& fields, bool top) {
    for (const char* name : {"content-type", "content-transfer-encoding", "content-disposition",
                             "content-id", "content-description", "mime-version", "from", "to",
                             "bcc", "reply-to", "subject", "date", "message-id", "references"}) {
      if (fields.count(name) > 1) {
        wrong("twice", name);
      }
    }
    for (const char* name : {"from", "date", "message-id", "mime-version"}) {
      if (top && fields.count(name) == 0) {
        wrong("missing", name);
      }
    }
  }

  void entity(const Lines& lines, bool top) {
    Fields fields;
    const std::size_t bodyAt = readFields(lines, fields);
    const Lines body(lines.begin() + static_cast<std::ptrdiff_t>(bodyAt), lines.end());
    once(fields, top);
    const std::string type = lowerOf(valueOf(fields, "content-type"));
    const std::string encoding = lowerOf(valueOf(fields, "content-transfer-encoding"));
    const bool multipart = type.starts_with("multipart/");
    const bool composite = multipart || type.starts_with("message/");
    if (encoding == "base64" || encoding == "quoted-printable") {
      if (composite) {
        wrong("an encoded container", type);
      }
      encoding == "base64" ? base64(body) : quotedPrintable(body);
    } else if (encoding == "8bit") {
      if (!composite) {
        wrong("a part of eight bits", type);
      }
    } else if (encoding != "" && encoding != "7bit" && !encoding.starts_with("x-")) {
      wrong("an encoding", encoding);
    } else if (hasHigh(body)) {
      wrong("eight bits in seven", type);
    }
    if (multipart) {
      children(valueOf(fields, "content-type"), body);
    } else if (top) {
      ownText(body);
    }
  }

  void ownText(const Lines& body) {
    for (const std::string_view line : body) {
      if (std::any_of(line.begin(), line.end(),
                      [](char c) { return (c >= 0 && c < ' ' && c != '\t') || c == 127; })) {
        wrong("a control character in text", line);
      }
    }
  }

  void base64(const Lines& body) {
    for (const std::string_view line : body) {
      const bool good = std::all_of(line.begin(), line.end(), [](char c) {
        return !isHigh(c) && (std::isalnum(c) != 0 || c == '+' || c == '/' || c == '=');
      });
      if (!good || line.size() > 76) {
        wrong("a line that is no base64", line);
      }
    }
  }

  void quotedPrintable(const Lines& body) {
    for (const std::string_view line : body) {
      bool good = line.size() <= 76 && !line.ends_with(' ') && !line.ends_with('\t');
      for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '=' && i + 1 < line.size()) {
          const std::string_view hex = "0123456789ABCDEF";
          good = good && i + 2 < line.size() && hex.find(line[i + 1]) != hex.npos &&
                 hex.find(line[i + 2]) != hex.npos;
        }
        good = good && (c == '\t' || (c >= ' ' && c < 127));
      }
      if (!good) {
        wrong("a line that is no quoted-printable", line);
      }
    }
  }

  void children(const std::string& type, const Lines& body) {
    static const std::regex pattern("boundary=\"?([^\";]+)\"?", std::regex::icase);
    std::smatch match;
    if (!std::regex_search(type, match, pattern) || match[1].length() > 70) {
      return wrong("a multipart without a boundary", type);
    }
    const std::string open = "--" + match[1].str();
    const std::string close = open + "--";
    std::vector<Lines> parts;
    bool closed = false;
    for (const std::string_view line : body) {
      if (line == close) {
        closed = true;
      } else if (!closed && line == open) {
        parts.emplace_back();
      } else if (!closed && !parts.empty()) {
        parts.back().push_back(line);
      }
    }
    if (!closed || parts.empty()) {
      return wrong("a multipart without parts or end", type);
    }
    for (const Lines& part : parts) {
      entity(part, false);
    }
  }

  std::vector<std::string> found_;
};

}  // namespace

std::vector<std::string> brokenRules(std::string_view message) {
  return Checker().run(message);
}

}  // namespace relaybird
