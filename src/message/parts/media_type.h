// SPDX-License-Identifier: MIT
// The values of Content-Type and Content-Disposition fields (RFC 2045, 2183) with their parameters,
// continued and encoded ones included (RFC 2231).
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace relaybird {

struct FieldWithParameters {
  /// "text/plain" or "attachment", lower case; empty where the value names none.
  std::string value;
  /// Names in lower case, values decoded to UTF-8 without control characters, in order.
  std::vector<std::pair<std::string, std::string>> parameters;

  /// Empty where there is no such parameter; `name` in lower case.
  std::string_view parameter(std::string_view name) const;
};

/// A value longer than this many bytes is cut.
inline constexpr std::size_t kParameterBytes = 16384;

FieldWithParameters parseContentType(std::string_view raw);
FieldWithParameters parseContentDisposition(std::string_view raw);

/// The type alone ("text/plain"; lower case), without parsing parameters: cheap enough for a
/// listing.
std::string bareContentType(std::string_view raw);

}  // namespace relaybird
