// SPDX-License-Identifier: MIT
#include "message/parts/media_type.h"

#include <gmime/gmime.h>

#include <algorithm>

#include "message/header_text.h"
#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "message/text/encoded_word.h"
#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

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

}  // namespace

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
