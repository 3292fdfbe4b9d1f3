// SPDX-License-Identifier: MIT
// Marks and Message-IDs are a random number, a dot and a seal: the HMAC of a purpose, the number
// and the mailbox. Nothing but the key is stored to recognise them, so they never expire.
#include "outbox/trace_mark.h"

#include <glib.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "message/address/address_check.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

constexpr std::size_t kKeyBytes = 32;
constexpr std::size_t kNonceDigits = 16;
constexpr std::size_t kMarkSealDigits = 64;
// Half of the seal (RFC 2104, 5): with the number it stays within the 64 characters that software
// may expect of a left side (RFC 5321, 4.5.3.1.1).
constexpr std::size_t kIdSealDigits = 32;
// Prefixes of the sealed text, so that one key serves both purposes without mixing them up.
constexpr std::string_view kMarkPurpose = "relaybird forward ";
constexpr std::string_view kIdPurpose = "relaybird message-id ";
constexpr std::string_view kFallbackDomain = "localhost.invalid";

// In constant time, so that timing does not reveal where the texts differ.
bool sameSecret(std::string_view one, std::string_view other) {
  if (one.size() != other.size()) {
    return false;
  }
  unsigned difference = 0;
  for (std::size_t at = 0; at < one.size(); ++at) {
    difference |= static_cast<unsigned char>(one[at]) ^ static_cast<unsigned char>(other[at]);
  }
  return difference == 0;
}

}  // namespace

Result<TraceMark> TraceMark::open(FileSystem& files, RandomBytes random, const std::string& keyFile,
                                  std::string mailbox) {
  // One byte more, so that a longer file is not taken for a key.
  auto key = readFile(files, keyFile, kKeyBytes + 1);
  if (!key && key.error().code != ENOENT) {
    return key.error();
  }
  // A key of another length is damaged. Marks made with a lost key are not recognised any more; the
  // hop limit still ends such circles.
  if (!key || key->size() != kKeyBytes) {
    key = random(kKeyBytes);
    if (!key) {
      return key.error();
    }
    if (auto kept = replaceFile(files, keyFile, *key); !kept) {
      return kept.error();
    }
  }
  return TraceMark(std::move(random), std::move(*key), std::move(mailbox));
}

std::string TraceMark::seal(std::string_view purpose, std::string_view nonce) const {
  const auto bytesOf = [](std::string_view text) {
    return reinterpret_cast<const guchar*>(text.data());
  };
  const std::unique_ptr<GHmac, decltype(&g_hmac_unref)> hmac(
      g_hmac_new(G_CHECKSUM_SHA256, bytesOf(key_), key_.size()), &g_hmac_unref);
  // The parts need no separators: the purpose is one of two, and the nonce has a fixed length.
  g_hmac_update(hmac.get(), bytesOf(purpose), static_cast<gssize>(purpose.size()));
  g_hmac_update(hmac.get(), bytesOf(nonce), static_cast<gssize>(nonce.size()));
  g_hmac_update(hmac.get(), bytesOf(mailbox_), static_cast<gssize>(mailbox_.size()));
  return g_hmac_get_string(hmac.get());
}

Result<std::string> TraceMark::sealedNumber(std::string_view purpose,
                                            std::size_t sealDigits) const {
  const auto random = random_(kNonceDigits / 2);
  if (!random) {
    return random.error();
  }
  const std::string nonce = toHex(*random);
  return nonce + '.' + seal(purpose, nonce).substr(0, sealDigits);
}

bool TraceMark::isSealedNumber(std::string_view text, std::string_view purpose,
                               std::size_t sealDigits) const {
  if (text.size() != kNonceDigits + 1 + sealDigits || text[kNonceDigits] != '.') {
    return false;
  }
  const std::string right = seal(purpose, text.substr(0, kNonceDigits));
  return sameSecret(text.substr(kNonceDigits + 1), std::string_view(right).substr(0, sealDigits));
}

Result<std::string> TraceMark::make() const {
  return sealedNumber(kMarkPurpose, kMarkSealDigits);
}

bool TraceMark::isOurs(std::string_view mark) const {
  return isSealedNumber(trimmed(mark), kMarkPurpose, kMarkSealDigits);
}

Result<std::string> TraceMark::makeMessageId(std::string_view senderAddress) const {
  // Without angle brackets; the writer of the forward adds them.
  const auto number = sealedNumber(kIdPurpose, kIdSealDigits);
  if (!number) {
    return number;
  }
  const std::size_t at = senderAddress.rfind('@');
  std::string_view domain;
  if (at != senderAddress.npos) {
    domain = senderAddress.substr(at + 1);
  }
  // Only a host name: an identifier has to be ASCII.
  if (!isHostName(domain)) {
    domain = kFallbackDomain;
  }
  return *number + '@' + std::string(domain);
}

bool TraceMark::isOurMessageId(std::string_view messageId) const {
  if (messageId.starts_with('<')) {
    messageId.remove_prefix(1);
  }
  const std::size_t at = messageId.find('@');
  return at != messageId.npos && isSealedNumber(messageId.substr(0, at), kIdPurpose, kIdSealDigits);
}

}  // namespace relaybird
