// SPDX-License-Identifier: MIT
// The transfer encodings of MIME (RFC 2045 section 6), done by GMime. Decoders accept damaged input
// and return what can be decoded of it. Any thread.
#pragma once

#include <gmime/gmime.h>

#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

enum class TransferEncoding { kIdentity, kQuotedPrintable, kBase64, kUuencode };

/// Encodes or decodes content that comes in blocks. Each result is valid until the next call.
class Transcoder {
 public:
  Transcoder(TransferEncoding encoding, bool encode);
  std::string_view step(std::string_view block);
  /// Takes the last block and ends the content.
  std::string_view flush(std::string_view block);

 private:
  std::string_view run(std::string_view block, bool last);

  GMimeEncoding state_;
  std::vector<char> out_;
};

/// A whole text decoded.
std::string decodeTransfer(std::string_view text, TransferEncoding encoding);

/// `bytes` in base64, in lines that end with LF.
std::string encodeBase64(std::string_view bytes);

/// `bytes` in base64, without line ends.
std::string base64Word(std::string_view bytes);

/// The value of a base64 digit; -1 for any other character, the padding "=" included.
int base64Value(char c);

/// Appends a byte as quoted-printable writes it when it is not literal: "=E9".
void appendEscapedByte(std::string& out, char byte);

}  // namespace relaybird
