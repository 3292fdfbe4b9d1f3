// SPDX-License-Identifier: MIT
// Writes inputs from which the fuzzers start, a folder for each target: whole messages, the values
// of their header fields, and their HTML. usage: FOLDER COUNT
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "message/mail_maker.h"
#include "message/memory_files.h"
#include "message/message.h"

namespace {

using namespace relaybird;

void write(const std::filesystem::path& file, std::string_view bytes) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out << bytes;
  if (!out.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

// Writes each field as that target reads it: a letter that names the reader, then the value.
void writeFields(const HeaderBlock& headers, const std::filesystem::path& folder,
                 const std::string& name) {
  static constexpr std::pair<const char*, char> kReaders[] = {
      {"Subject", 'w'}, {"From", 'a'}, {"From", 'c'}, {"To", 'a'}, {"Bcc", 'a'}, {"To", 'l'}};
  int number = 0;
  for (const auto& [field, reader] : kReaders) {
    for (const auto& value : headers.allRaw(field)) {
      write(folder / (name + "-" + std::to_string(number++)), reader + std::string(value));
    }
  }
}

void writeAll(std::uint32_t number, const std::filesystem::path& folder) {
  const std::string name = "made-" + std::to_string(number);
  const std::string mail = MailMaker(number).make();
  write(folder / "message" / name, mail);
  const auto message = Message::read(memoryFile(mail));
  if (!message) {
    throw std::runtime_error("cannot read what was made");
  }
  writeFields((*message)->headers(), folder / "words_and_addresses", name);
  if (const auto& html = (*message)->htmlBody()) {
    write(folder / "html_text" / name, "utf-8\n" + *html);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: " << argv[0] << " FOLDER COUNT\n";
    return 2;
  }
  try {
    const unsigned long count = std::strtoul(argv[2], nullptr, 10);
    for (unsigned long number = 0; number < count; ++number) {
      writeAll(static_cast<std::uint32_t>(number), argv[1]);
    }
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
  return 0;
}
