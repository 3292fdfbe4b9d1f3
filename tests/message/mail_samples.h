// SPDX-License-Identifier: MIT
// The sample messages of tests/data/mail, and helpers to read messages in tests.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "message/memory_files.h"
#include "message/message.h"
#include "message/message_kind.h"

namespace relaybird {

/// The user's own marks, as the samples contain them.
inline OwnMarks sampleMarks() {
  return {[](std::string_view mark) { return mark == "sample-trace"; },
          [](std::string_view id) { return id.starts_with("<own-forward-"); }};
}

/// The bytes of a sample; throws where no sample has that name.
inline std::string sample(const std::string& name) {
  std::ifstream in(std::string(RB_MAIL_SAMPLES) + "/" + name, std::ios::binary);
  if (!in) {
    throw std::runtime_error("no sample " + name);
  }
  return {std::istreambuf_iterator<char>(in), {}};
}

inline std::unique_ptr<Message> messageOf(std::string bytes) {
  auto message = Message::read(memoryFile(std::move(bytes)));
  if (!message) {
    throw std::runtime_error(message.error().text);
  }
  return std::move(*message);
}

inline std::unique_ptr<Message> sampleMessage(const std::string& name) {
  return messageOf(sample(name));
}

inline MessageKind kindOf(std::string bytes) {
  MemoryInput file(std::move(bytes));
  const auto headers = readHeaderBlock(file);
  return readMessageKind(*headers, file, sampleMarks()).value();
}

}  // namespace relaybird
