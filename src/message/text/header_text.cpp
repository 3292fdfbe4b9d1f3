// SPDX-License-Identifier: MIT
// Two depths of reading. A listing of ten thousand messages asks for subjects and types, so the
// usual plain value is recognised and returned without a parser. Parameters go through GMime,
// because their continued and encoded forms (RFC 2231) are intricate.
#include "message/text/header_text.h"

#include <gmime/gmime.h>

#include <algorithm>

#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "message/text/encoded_word.h"
#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// No line is longer (RFC 5322 section 2.1.1), so no identifier is either.
constexpr std::size_t kLongestId = 900;

// Whether decoding would return the text unchanged, as for most messages of a listing.
bool isPlain(std::string_view text) {
  char previous = ' ';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' || byte >= 0x7f || (c == '?' && previous == '=')) {
      return false;
    }
    previous = c;
  }
  return true;
}

// Senders put encoded words into parameters although RFC 2047 section 5 forbids it.
std::string parameterText(const char* value) {
  if (value == nullptr) {
    return {};
  }
  const std::string_view text(value);
  return onOneLine(text.find("=?") == std::string_view::npos ? scrubUtf8(text)
                                                             : decodeHeaderText(text));
}

std::vector<std::pair<std::string, std::string>> parametersOf(GMimeParamList* list) {
  std::vector<std::pair<std::string, std::string>> result;
  const int count = list == nullptr ? 0 : g_mime_param_list_length(list);
  for (int i = 0; i < count; ++i) {
    GMimeParam* param = g_mime_param_list_get_parameter_at(list, i);
    const char* name = g_mime_param_get_name(param);
    if (name == nullptr) {
      continue;
    }
    // A boundary is bytes to be found again, not a text.
    const char* value = g_mime_param_get_value(param);
    std::string lower = asciiLower(name);
    std::string text =
        lower == "boundary" ? std::string(value == nullptr ? "" : value) : parameterText(value);
    result.emplace_back(std::move(lower), std::move(text));
  }
  return result;
}

std::string cut(std::string_view raw) {
  return unfolded(raw.substr(0, kParameterBytes));
}

// The length of the field name before the colon at `colon`; 0 where that is not a field name (RFC
// 5322 section 2.2; blanks before the colon as in section 4.5).
// No colon, or a name with other characters: the caller sees a line that is not a field.
std::size_t fieldNameLength(std::string_view line, std::size_t colon) {
  const std::string_view name = trimmedEnd(line.substr(0, colon), " \t");
  return std::all_of(name.begin(), name.end(), isPrintable) ? name.size() : 0;
}

}  // namespace

std::size_t lineEnd(std::string_view text, std::size_t begin) {
  const std::size_t feed = text.find('\n', begin);
  return feed == std::string_view::npos ? text.size() : feed + 1;
}

bool isEmptyLine(std::string_view line) {
  return line == "\n" || line == "\r\n";
}

bool isBlankLine(std::string_view line) {
  return line.find_first_not_of(kWhiteSpace) == std::string_view::npos;
}

std::optional<HeaderField> takeField(std::string_view& section) {
  std::size_t end = lineEnd(section, 0);
  const std::string_view line = section.substr(0, end);
  // The empty line ends the section.
  if (line.empty() || isEmptyLine(line)) {
    return std::nullopt;
  }
  while (end < section.size() && isBlank(section[end])) {
    end = lineEnd(section, end);
  }
  HeaderField field;
  field.whole = section.substr(0, end);
  const std::size_t colon = line.find(':');
  if (colon != std::string_view::npos) {
    field.name = line.substr(0, fieldNameLength(line, colon));
    field.value = field.whole.substr(colon + 1);
  }
  section.remove_prefix(end);
  return field;
}

std::string unfolded(std::string_view raw) {
  std::string result(trimmed(raw));
  // A NUL would end the value for the C libraries that read it further.
  std::erase_if(result, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
  return result;
}

std::string headerText(std::string_view raw, std::string_view rawCharset) {
  const std::string_view text = trimmed(raw);
  return isPlain(text) ? std::string(text) : onOneLine(decodeHeaderText(raw, rawCharset));
}

// RFC 5322 section 3.6.4. A "<" before the ">" begins a new identifier, so an unclosed one does not
// hide those behind it. Comments and other text between identifiers are skipped.
std::vector<std::string> messageIds(std::string_view value) {
  std::vector<std::string> ids;
  for (std::size_t pos = value.find('<'); pos != std::string_view::npos;) {
    const std::size_t end = value.find_first_of("<>", pos + 1);
    if (end == std::string_view::npos) {
      break;
    }
    const std::string_view id = value.substr(pos, end - pos + 1);
    const bool closed = value[end] == '>';
    if (closed && id.size() > 2 && id.size() <= kLongestId &&
        std::all_of(id.begin(), id.end(), isPrintable)) {
      ids.emplace_back(id);
    }
    pos = closed ? value.find('<', end) : end;
  }
  return ids;
}

std::string_view FieldWithParameters::parameter(std::string_view name) const {
  const auto found = std::find_if(parameters.begin(), parameters.end(),
                                  [name](const auto& each) { return each.first == name; });
  return found == parameters.end() ? std::string_view() : std::string_view(found->second);
}

FieldWithParameters parseContentType(std::string_view raw) {
  prepareLibraries();
  const GObjectPtr<GMimeContentType> type(g_mime_content_type_parse(nullptr, cut(raw).c_str()));
  if (!type) {
    return {};
  }
  // The type is read by bareContentType(), so that a listing and a full reading never disagree.
  return {bareContentType(raw), parametersOf(g_mime_content_type_get_parameters(type.get()))};
}

FieldWithParameters parseContentDisposition(std::string_view raw) {
  prepareLibraries();
  const GObjectPtr<GMimeContentDisposition> disposition(
      g_mime_content_disposition_parse(nullptr, cut(raw).c_str()));
  if (!disposition) {
    return {};
  }
  const char* value = g_mime_content_disposition_get_disposition(disposition.get());
  return {asciiLower(value == nullptr ? "" : value),
          parametersOf(g_mime_content_disposition_get_parameters(disposition.get()))};
}

std::string bareContentType(std::string_view raw) {
  std::string type = asciiLower(unfolded(raw.substr(0, std::min(raw.find(';'), kParameterBytes))));
  std::erase_if(type, isBlank);
  return type;
}

}  // namespace relaybird
