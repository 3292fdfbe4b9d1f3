// SPDX-License-Identifier: MIT
// Carries an attachment of the source into a forward: unchanged as far as RFC 5322 and RFC 2045
// allow that, otherwise with the same content in another transfer encoding.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "message/parts/part_tree.h"
#include "message/writing/forward_output.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// The properties of bytes that decide whether they can be part of a message unchanged.
class ByteFacts {
 public:
  void add(std::string_view block);

  bool isEightBit() const { return (bits_ & 0x80U) != 0; }
  /// No NUL, no CR but before an LF, no line of more than 998 bytes (RFC 2045 sections 2.7, 2.8).
  bool isLines() const;

 private:
  unsigned char bits_ = 0;
  bool hasNul_ = false;
  bool hasLoneCr_ = false;
  bool endsWithCr_ = false;
  std::size_t line_ = 0;
  std::size_t longest_ = 0;
};

Result<ByteFacts> readByteFacts(InputFile& file, std::uint64_t begin, std::uint64_t end);

enum class Carriage {
  kAsIs,
  kRewrapBase64,
  kRewrapQuotedPrintable,
  kEncodeBase64,
  kEncodeQuotedPrintable,
  kFile,  ///< an embedded message that breaks the rules: a file of its bytes, in base64
};

struct CarriedPart {
  const Part* part = nullptr;
  Carriage carriage = Carriage::kAsIs;
  bool eightBit = false;  ///< an embedded message with bytes beyond ASCII, which may not be encoded
};

/// Decides how the part is carried. Reads the content where its encoding does not decide that.
/// Fails only where reading fails.
Result<CarriedPart> planCarriage(InputFile& file, const Part& part);

/// Writes the fields of the part and the empty line below them. `isRoot`: the part is a whole
/// message, of which only the fields of the content are written.
void writePartHeader(ForwardOutput& out, const CarriedPart& carried, bool isRoot);

/// Writes the fields of an attached file with that name.
void writeFileHeader(ForwardOutput& out, std::string_view name);

/// The part's Content-Location field; empty where it has none that can be written.
std::string locationField(const Part& part);

/// The filter for the content of a part carried in that way.
std::unique_ptr<ContentFilter> filterFor(Carriage carriage, ForwardOutput& out);

}  // namespace relaybird
