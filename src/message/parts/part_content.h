// SPDX-License-Identifier: MIT
// Decodes the content of a part (RFC 2045 section 6) a block at a time. Of damaged content
// everything is returned that can be decoded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "message/parts/part_tree.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// Takes a block of bytes; false ends the reading.
using BlockSink = std::function<bool(std::string_view)>;

/// Passes the bytes of a file from `begin` to `end`, or to the end of the file, to `sink`.
Result<void> readBlocks(InputFile& file, std::uint64_t begin, std::uint64_t end,
                        const BlockSink& sink);

/// The encoding that the content really has: text labelled base64 that is not base64 is not
/// decoded.
Result<TransferEncoding> encodingInUse(InputFile& file, const Part& part);

Result<void> decodeContent(InputFile& file, const Part& part, const BlockSink& sink);

/// At most `limit` bytes of the content.
Result<std::string> decodedContent(InputFile& file, const Part& part, std::size_t limit);

Result<std::int64_t> decodedSize(InputFile& file, const Part& part);

}  // namespace relaybird
