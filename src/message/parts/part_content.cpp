// SPDX-License-Identifier: MIT
// Content is decoded a block at a time, because an attachment may be larger than memory. Labels are
// checked before they are believed: some senders label plain text as base64.
#include "message/parts/part_content.h"

#include <algorithm>
#include <vector>

#include "message/text/transfer_encoding.h"

namespace relaybird {
namespace {

constexpr std::size_t kBlock = 65536;

// Whether bytes are base64, perhaps damaged. Text has blanks between its words and punctuation, far
// more foreign characters than damaged base64; the limit is one in twenty. Empty content counts as
// base64.
bool looksLikeBase64(std::string_view bytes) {
  std::size_t foreign = 0;
  std::size_t all = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    const bool belongs = base64Value(bytes[i]) >= 0 || c == '=';
    const bool isBlankInLine = c == ' ' && i + 1 < bytes.size() && bytes[i + 1] > ' ';
    all += c > ' ' ? 1 : 0;
    foreign += (c > ' ' && !belongs) || isBlankInLine ? 1 : 0;
  }
  return foreign * 20 <= all;
}

}  // namespace

// Only text is checked: its nature can be told from its characters, that of other content cannot.
Result<TransferEncoding> encodingInUse(InputFile& file, const Part& part) {
  constexpr std::size_t kLooked = 4096;
  if (part.encoding != TransferEncoding::kBase64 || !part.type.value.starts_with("text/")) {
    return part.encoding;
  }
  std::string start;
  const auto read = readBlocks(file, part.body, std::min(part.end, part.body + kLooked),
                               [&start](std::string_view block) {
                                 start += block;
                                 return true;
                               });
  if (!read) {
    return read.error();
  }
  return looksLikeBase64(start) ? part.encoding : TransferEncoding::kIdentity;
}

Result<void> readBlocks(InputFile& file, std::uint64_t begin, std::uint64_t end,
                        const BlockSink& sink) {
  std::vector<char> buffer(
      static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, end - std::min(begin, end))));
  while (begin < end) {
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size(), end - begin));
    const auto read = file.readAt(begin, buffer.data(), wanted);
    if (!read) {
      return read.error();
    }
    // A file that became shorter ends early without an error; what was there has been delivered.
    if (*read == 0 || !sink(std::string_view(buffer.data(), *read))) {
      break;
    }
    begin += *read;
  }
  return {};
}

Result<void> decodeContent(InputFile& file, const Part& part, const BlockSink& sink) {
  const auto encoding = encodingInUse(file, part);
  if (!encoding) {
    return encoding.error();
  }
  if (*encoding == TransferEncoding::kIdentity) {
    return readBlocks(file, part.body, part.end, sink);
  }
  Transcoder decoder(*encoding, false);
  bool wanted = true;
  const auto read = readBlocks(file, part.body, part.end, [&](std::string_view block) {
    wanted = sink(decoder.step(block));
    return wanted;
  });
  if (read && wanted) {
    // Padding makes the decoder release a last group that has none.
    const bool padded = *encoding == TransferEncoding::kBase64;
    wanted = !padded || sink(decoder.step("==="));
  }
  if (read && wanted) {
    sink(decoder.flush({}));
  }
  return read;
}

Result<std::string> decodedContent(InputFile& file, const Part& part, std::size_t limit) {
  std::string content;
  const auto read = decodeContent(file, part, [&](std::string_view block) {
    // `limit - content.size()` cannot wrap: reading ends as soon as the limit is reached.
    content += block.substr(0, limit - content.size());
    return content.size() < limit;
  });
  if (!read) {
    return read.error();
  }
  return content;
}

// Decoded and counted, not estimated from the stored size: line ends and foreign characters differ
// between senders, and the size decides whether an attachment may be forwarded.
Result<std::int64_t> decodedSize(InputFile& file, const Part& part) {
  if (part.encoding == TransferEncoding::kIdentity) {
    return static_cast<std::int64_t>(part.end - part.body);
  }
  std::int64_t size = 0;
  const auto read = decodeContent(file, part, [&](std::string_view block) {
    size += static_cast<std::int64_t>(block.size());
    return true;
  });
  if (!read) {
    return read.error();
  }
  return size;
}

}  // namespace relaybird
