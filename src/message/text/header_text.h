// SPDX-License-Identifier: MIT
// Header fields as they are stored (RFC 5322 section 2.2), and small readings of their values. Any
// thread; linear time; nothing throws on bad input.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace relaybird {

/// One field of a header section. A line that is not a field has an empty name.
struct HeaderField {
  std::string_view name;   ///< without blanks before the colon
  std::string_view value;  ///< as stored, with its folds and its line end
  std::string_view whole;
};

/// Takes the first field, with the lines that continue it, off a header section. Returns nothing at
/// the empty line that ends the section, or at the end of the text.
std::optional<HeaderField> takeField(std::string_view& section);

/// The end of the line that begins at `begin`, its LF included.
std::size_t lineEnd(std::string_view text, std::size_t begin);

/// Whether the line is nothing but its line end (LF or CR LF).
bool isEmptyLine(std::string_view line);
/// Whether the line has only blanks, or no characters.
bool isBlankLine(std::string_view line);

/// A raw value on one line and trimmed: CR, LF and NUL are removed, the blanks of folds stay.
std::string unfolded(std::string_view raw);

/// A raw value as text for people: encoded words decoded, UTF-8, on one line. `rawCharset` as in
/// decodeHeaderText().
std::string headerText(std::string_view raw, std::string_view rawCharset = {});

/// The message identifiers in a value such as that of References, with their angle brackets. Only
/// those of visible ASCII, which can be written into a header again.
std::vector<std::string> messageIds(std::string_view value);

/// A Content-Type or Content-Disposition value (RFC 2045, 2183) with its parameters, continued and
/// encoded ones included (RFC 2231).
struct FieldWithParameters {
  /// "text/plain" or "attachment", lower case; empty where the value names none.
  std::string value;
  /// Names in lower case, values decoded to UTF-8 without control characters, in order.
  std::vector<std::pair<std::string, std::string>> parameters;

  /// Empty where there is no such parameter; `name` in lower case.
  std::string_view parameter(std::string_view name) const;
};

/// A longer value is cut to this many bytes before its parameters are read.
inline constexpr std::size_t kParameterBytes = 16384;

FieldWithParameters parseContentType(std::string_view raw);
FieldWithParameters parseContentDisposition(std::string_view raw);

/// The type alone ("text/plain"; lower case), without parsing parameters: cheap enough for a
/// listing.
std::string bareContentType(std::string_view raw);

}  // namespace relaybird
