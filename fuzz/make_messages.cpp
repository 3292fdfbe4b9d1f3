// SPDX-License-Identifier: MIT
// Writes made messages into a folder, for the message fuzzer to begin with: usage: FOLDER COUNT
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "stores/mime/mail_maker.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: " << argv[0] << " FOLDER COUNT\n";
    return 2;
  }
  const std::filesystem::path folder(argv[1]);
  std::filesystem::create_directories(folder);
  const unsigned long count = std::strtoul(argv[2], nullptr, 10);
  for (unsigned long number = 0; number < count; ++number) {
    std::ofstream out(folder / ("made-" + std::to_string(number)), std::ios::binary);
    out << relaybird::MailMaker(static_cast<std::uint32_t>(number)).make();
    if (!out.flush()) {
      std::cerr << "cannot write to " << folder << '\n';
      return 1;
    }
  }
  return 0;
}
