// SPDX-License-Identifier: MIT
// The structure of a message: its parts, and where their bytes are in its file. One pass over the
// lines (RFC 2046 section 5.1) keeps only the parts' header sections, so that attached bytes stay
// on disk and can be copied unchanged.
//
// A hostile message cannot make this expensive: depth and number of parts are limited, every line
// is read once, and one look-up tells whether it is one of the open boundaries.
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

/// Multiparts nested deeper are not opened, and further parts are not read.
inline constexpr int kPartDepth = 50;
inline constexpr std::size_t kPartCount = 2000;

/// How much of a part's header section is kept.
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
  bool isHtml() const { return type.value == "text/html"; }
  bool isText() const { return type.value == "text/plain" || isHtml(); }
};

struct PartTree {
  std::unique_ptr<Part> root;  ///< the message itself; never null
  /// True where the message was not wholly taken apart: too many parts, or nested too deep.
  bool truncated = false;
};

/// Reads the first `limit` bytes of the message whose header section is `top`; later bytes are
/// ignored. Fails only where reading fails.
Result<PartTree> readPartTree(InputFile& file, HeaderBlock top, std::uint64_t limit);

}  // namespace relaybird
