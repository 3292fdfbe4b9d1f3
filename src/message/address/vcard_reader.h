// SPDX-License-Identifier: MIT
// Reads the properties of a vCard file of any version one by one. Internal to src/message.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// One content line: [group.]NAME *(;parameter):value
struct VcardProperty {
  std::string name;                     ///< upper case, without its group
  std::vector<std::string> parameters;  ///< upper case, without quotes: "TYPE=WORK,PREF", "PREF"
  std::string value;                    ///< as written, still escaped, but UTF-8 and without
                                        ///< quoted-printable

  /// The value of the parameter `key` (upper case); empty where it is missing.
  std::optional<std::string> parameter(std::string_view key) const;
  bool has(std::string_view bareParameter) const;
};

/// Reads the file once, forward. Lines may be folded (RFC 6350 section 3.2) or end in the "=" of
/// version 2.1; lines without a colon are skipped.
class VcardReader {
 public:
  /// `contents` must outlive this object.
  explicit VcardReader(std::string_view contents) : rest_(contents) {}

  /// The next property; empty at the end of the file. Only names, addresses and the marks around
  /// cards have their value; all others (photos, mostly) have an empty one.
  std::optional<VcardProperty> next();

 private:
  std::string_view physicalLine();
  bool foldFollows() const;

  std::string_view rest_;
};

/// The offset of the first `wanted` outside of double quotes, at `from` or later; npos where there
/// is none. vCard and iCalendar write their content lines by the same grammar (RFC 6350 section
/// 3.3, RFC 5545 section 3.1).
std::size_t findUnquoted(std::string_view text, char wanted, std::size_t from = 0);

/// The parts of a value between unescaped `separator`s, unescaped, with blanks for line breaks.
std::vector<std::string> vcardParts(std::string_view value, char separator);

/// The whole value, unescaped in the same way.
std::string vcardText(std::string_view value);

}  // namespace relaybird
