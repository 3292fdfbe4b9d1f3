// SPDX-License-Identifier: MIT
// The files of the Unicode Character Database, as Debian's package unicode-data installs them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace relaybird {

inline constexpr const char* kUnicodeFolder = "/usr/share/unicode/";

/// One line of a file of the database: the codes from `first` to `last`, and the following fields.
struct UnicodeLine {
  char32_t first = 0;
  char32_t last = 0;
  std::vector<std::string> fields;
};

/// Every line with codes, its fields trimmed; empty when the file is missing.
inline std::vector<UnicodeLine> unicodeLines(const std::string& file) {
  constexpr int kHex = 16;
  std::vector<UnicodeLine> lines;
  std::ifstream in(kUnicodeFolder + file);
  for (std::string text; std::getline(in, text);) {
    text.resize(std::min(text.find('#'), text.size()));
    std::vector<std::string> fields{""};
    for (const char c : text) {
      if (c == ';') {
        fields.emplace_back();
      } else if (c != ' ' || (!fields.back().empty() && fields.back().back() != ' ')) {
        fields.back() += c;
      }
    }
    for (std::string& field : fields) {
      field.resize(field.find_last_not_of(' ') + 1);
    }
    if (fields.size() < 2) {
      continue;
    }
    const std::size_t dots = fields[0].find("..");
    UnicodeLine line;
    line.first = static_cast<char32_t>(std::stoul(fields[0], nullptr, kHex));
    line.last = dots == std::string::npos
                    ? line.first
                    : static_cast<char32_t>(std::stoul(fields[0].substr(dots + 2), nullptr, kHex));
    line.fields.assign(fields.begin() + 1, fields.end());
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace relaybird
