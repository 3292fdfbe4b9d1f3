// SPDX-License-Identifier: MIT
// The size limit of forwards: megabytes of 1,000,000, 32-bit sizes. A number that does not fit 32
// bits throws MailStoreError("Overflow") and is never wrapped.
#pragma once

#include <cstdint>
#include <string_view>

namespace relaybird {

/// The limit as the preferences hold it.
struct SizeLimit {
  bool applies = false;
  double megabytes = 0;
};

/// Characters of a subject and a body together.
std::int32_t textSizeOf(std::string_view subject, std::string_view body);

/// The sum of two sizes.
std::int32_t addedSizes(std::int32_t left, std::int32_t right);

/// Whether a size is at most the limit, which is taken to the nearest byte, halves to even. Nothing
/// is computed, and so nothing overflows, while the limit does not apply.
bool keepsLimit(std::int32_t size, const SizeLimit& limit);

/// The same with the limit taken to the nearest whole megabyte: 1.5 allows 2,000,000, 0.5 nothing.
bool keepsWholeMegabytes(std::int32_t size, const SizeLimit& limit);

}  // namespace relaybird
