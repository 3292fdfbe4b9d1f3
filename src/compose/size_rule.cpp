// SPDX-License-Identifier: MIT
#include "compose/size_rule.h"

#include "mail/mail_store.h"
#include "platform/text/number_text.h"
#include "platform/text/utf8_text.h"
#include "prefs/preference_fields.h"

namespace relaybird {

namespace {

std::int32_t size32(double size) {
  const std::optional<std::int32_t> whole = toInt32(size);
  if (!whole) {
    throw MailStoreError("Overflow");
  }
  return *whole;
}

}  // namespace

// Doubles hold every sum of two of these sizes exactly.
std::int32_t textSizeOf(std::string_view subject, std::string_view body) {
  return size32(static_cast<double>(characterCount(subject)) +
                static_cast<double>(characterCount(body)));
}

std::int32_t addedSizes(std::int32_t left, std::int32_t right) {
  return size32(static_cast<double>(left) + right);
}

bool keepsLimit(std::int32_t size, const SizeLimit& limit) {
  return !limit.applies || size <= size32(limit.megabytes * kBytesPerMegabyte);
}

bool keepsWholeMegabytes(std::int32_t size, const SizeLimit& limit) {
  return !limit.applies || size <= size32(size32(limit.megabytes) * kBytesPerMegabyte);
}

}  // namespace relaybird
