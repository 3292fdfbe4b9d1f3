// SPDX-License-Identifier: MIT
// The structure of a message: which parts it has and where their bytes lie in its file. Found in
// one pass over the lines (RFC 2046 section 5.1) that keeps nothing but the parts' header sections,
// so that attached bytes stay on disk and can be copied out exactly as they are.
//
// A hostile message cannot make this expensive: depth and number of parts are limited, every line
// is looked at once, and whether it is one of the open boundaries is one look-up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "message/header_block.h"
#include "message/text/header_text.h"
#include "message/text/transfer_encoding.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// Multiparts deeper than this are not opened, and no more than this many parts are looked at.
inline constexpr int kPartDepth = 50;
inline constexpr std::size_t kPartCount = 2000;

/// What is kept of the header section of one part within a message.
inline constexpr std::size_t kPartHeaderBytes = 16384;

struct Part {
  std::uint64_t begin = 0;  ///< of the part's header section
  std::uint64_t body = 0;   ///< of its content
  std::uint64_t end = 0;    ///< behind its content; the line end before a boundary is not content

  HeaderBlock headers;
  FieldWithParameters type;  ///< text/plain where the part names none (RFC 2045 section 5.2)
  FieldWithParameters disposition;
  TransferEncoding encoding = TransferEncoding::kIdentity;
  std::string fileName;
  std::string contentId;  ///< without angle brackets
  std::string location;   ///< Content-Location (RFC 2557), without blanks

  bool multipart = false;  ///< opened: its content is its children
  std::vector<std::unique_ptr<Part>> children;

  bool isAttached() const { return disposition.value == "attachment"; }
  bool isText() const { return type.value == "text/plain" || type.value == "text/html"; }
};

struct PartTree {
  std::unique_ptr<Part> root;  ///< the message itself; never null
  /// Not all of the message was taken apart: it has too many parts or they lie too deep.
  bool truncated = false;
};

/// Reads the first `limit` bytes of the message whose header section is `top`; bytes behind them do
/// not exist for the result. Fails only where reading fails.
Result<PartTree> readPartTree(InputFile& file, HeaderBlock top, std::uint64_t limit);

}  // namespace relaybird
