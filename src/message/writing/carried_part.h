// SPDX-License-Identifier: MIT
// An attachment of the source on its way into a forward: as it is stored as far as RFC 5322 and RFC
// 2045 allow that, else with another encoding round the same content.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "message/parts/part_tree.h"
#include "message/writing/forward_output.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// What must be known of bytes before they can stand in a message as they are.
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
  kFile,  ///< a message that breaks the rules itself: a file of its bytes, in base64
};

struct CarriedPart {
  const Part* part = nullptr;
  Carriage carriage = Carriage::kAsIs;
  bool eightBit = false;  ///< an embedded message with bytes beyond ASCII, which may not be encoded
};

/// Looks through the content where its encoding does not tell enough. Fails where reading fails.
Result<CarriedPart> planCarriage(InputFile& file, const Part& part);

/// The fields of the part and the empty line below them. `isRoot`: only the fields of the content,
/// out of a whole message's.
void writePartHeader(ForwardOutput& out, const CarriedPart& carried, bool isRoot);

/// The fields of an attached file with that name.
void writeFileHeader(ForwardOutput& out, std::string_view name);

/// The part's Content-Location; empty where there is none that can be written.
std::string locationField(const Part& part);

/// What the content must go through.
std::unique_ptr<ContentFilter> filterFor(Carriage carriage, ForwardOutput& out);

}  // namespace relaybird
