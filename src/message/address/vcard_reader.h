// SPDX-License-Identifier: MIT
// The properties of a vCard file one by one, whatever version wrote it. Internal to this folder.
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

  /// The value of the parameter NAME (upper case); none where it is missing.
  std::optional<std::string> parameter(std::string_view key) const;
  bool has(std::string_view bareParameter) const;
};

/// Reads forward, once over the file. Lines may be folded as RFC 6350 section 3.2 has it or end in
/// the
/// "=" of version 2.1; lines without a colon are skipped.
class VcardReader {
 public:
  /// `contents` must outlive this object.
  explicit VcardReader(std::string_view contents) : rest_(contents) {}

  /// The next property; none at the end of the file. Only names, addresses and the marks around
  /// cards come with their value: all others (photos, mostly) come empty.
  std::optional<VcardProperty> next();

 private:
  std::string_view physicalLine();
  bool foldFollows() const;

  std::string_view rest_;
};

/// The offset of the first `wanted` outside of double quotes, at `from` or later; npos where there
/// is none. vCard and iCalendar write their content lines by the same grammar (RFC 6350
/// section 3.3, RFC 5545 section 3.1).
std::size_t findUnquoted(std::string_view text, char wanted, std::size_t from = 0);

/// A value's parts between `separator`s that no backslash escapes, unescaped; line breaks as
/// blanks.
std::vector<std::string> vcardParts(std::string_view value, char separator);

/// The value as one part.
std::string vcardText(std::string_view value);

}  // namespace relaybird
