// SPDX-License-Identifier: MIT
#include "platform/system/command_runner.h"

#include <algorithm>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {

std::vector<std::string> commandWords(std::string_view command) {
  std::vector<std::string> words;
  for (std::size_t begin = command.find_first_not_of(kWhiteSpace); begin != command.npos;) {
    const std::size_t end = std::min(command.find_first_of(kWhiteSpace, begin), command.size());
    words.emplace_back(command.substr(begin, end - begin));
    begin = command.find_first_not_of(kWhiteSpace, end);
  }
  return words;
}

CommandInput wholeInput(std::string_view bytes) {
  return [bytes]() mutable -> Result<std::string_view> { return std::exchange(bytes, {}); };
}

}  // namespace relaybird
