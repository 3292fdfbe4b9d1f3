// SPDX-License-Identifier: MIT
#include "app/program_words.h"

#include <cstdlib>
#include <iostream>
#include <utility>

namespace relaybird {

ProgramIdentity programIdentity(std::string name) {
  return {std::move(name),
          RELAYBIRD_VERSION,
          {RELAYBIRD_VERSION_MAJOR, RELAYBIRD_VERSION_MINOR, RELAYBIRD_VERSION_PATCH}};
}

std::optional<int> answerWords(const ProgramIdentity& identity, std::string_view help,
                               const std::vector<std::string>& words) {
  if (words.empty()) {
    return std::nullopt;
  }
  if (words == std::vector<std::string>{"--help"}) {
    std::cout << help;
    return EXIT_SUCCESS;
  }
  if (words == std::vector<std::string>{"--version"}) {
    std::cout << "Relaybird " << identity.versionText << '\n';
    return EXIT_SUCCESS;
  }
  std::cerr << identity.name << " takes no options but --help and --version, not \""
            << words.front() << "\"\n";
  return kSettingsForbid;
}

}  // namespace relaybird
