// SPDX-License-Identifier: MIT
// Runs a fuzz target once over every file of a corpus folder, for compilers without libFuzzer and
// for the ordinary test run. Fails when there is no corpus, so that a lost folder is noticed.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " CORPUS-FOLDER\n";
    return 2;
  }
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(in), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++files;
  }
  std::cout << files << " inputs replayed\n";
  return files == 0 ? 1 : 0;
}
