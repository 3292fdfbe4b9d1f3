// SPDX-License-Identifier: MIT
#include "message/text/transfer_encoding.h"

#include <algorithm>
#include <cstdint>

#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::size_t kBlock = 65536;

GMimeContentEncoding gmimeEncoding(TransferEncoding encoding) {
  switch (encoding) {
    case TransferEncoding::kBase64:
      return GMIME_CONTENT_ENCODING_BASE64;
    case TransferEncoding::kQuotedPrintable:
      return GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE;
    case TransferEncoding::kUuencode:
      return GMIME_CONTENT_ENCODING_UUENCODE;
    case TransferEncoding::kIdentity:
      break;
  }
  return GMIME_CONTENT_ENCODING_BINARY;
}

}  // namespace

// The state keeps incomplete groups and escapes from one block to the next.
Transcoder::Transcoder(TransferEncoding encoding, bool encode) {
  prepareLibraries();
  const auto init = encode ? g_mime_encoding_init_encode : g_mime_encoding_init_decode;
  init(&state_, gmimeEncoding(encoding));
}

std::string_view Transcoder::step(std::string_view block) {
  return run(block, false);
}

std::string_view Transcoder::flush(std::string_view block) {
  return run(block, true);
}

std::string_view Transcoder::run(std::string_view block, bool last) {
  // GMime's own estimate leaves out what the state holds back from the block before.
  constexpr std::size_t kHeldBack = 64;
  out_.resize(std::max(out_.size(), g_mime_encoding_outlen(&state_, block.size()) + kHeldBack));
  const auto transcode = last ? g_mime_encoding_flush : g_mime_encoding_step;
  return {out_.data(), transcode(&state_, block.data(), block.size(), out_.data())};
}

std::string decodeTransfer(std::string_view text, TransferEncoding encoding) {
  return std::string(Transcoder(encoding, false).flush(text));
}

std::string encodeBase64(std::string_view bytes) {
  Transcoder encoder(TransferEncoding::kBase64, true);
  std::string result;
  // In blocks, so that the encoder's buffer stays small beside a large file.
  for (std::size_t pos = 0; pos < bytes.size(); pos += kBlock) {
    result += encoder.step(bytes.substr(pos, kBlock));
  }
  result += encoder.flush({});
  return result;
}

// GLib's encoder, because GMime's breaks lines.
std::string base64Word(std::string_view bytes) {
  const GText text(
      g_base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
  return text.get();
}

// The alphabet of RFC 2045 section 6.8.
int base64Value(char c) {
  if (c >= 'A' && c <= 'Z') {
    return c - 'A';
  }
  if (c >= 'a' && c <= 'z') {
    return c - 'a' + 26;
  }
  if (isDigit(c)) {
    return c - '0' + 52;
  }
  return c == '+' ? 62 : c == '/' ? 63 : -1;
}

// In capitals, as RFC 2045 section 6.7 demands.
void appendEscapedByte(std::string& out, char byte) {
  constexpr std::string_view kHex = "0123456789ABCDEF";
  const auto value = static_cast<std::uint8_t>(byte);
  out += {'=', kHex[value >> 4U], kHex[value & 0xFU]};
}

}  // namespace relaybird
