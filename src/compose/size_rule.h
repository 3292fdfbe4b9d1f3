// SPDX-License-Identifier: MIT
// The size limit of forwards: megabytes of 1,000,000 bytes, 32-bit sizes. A number that does not
// fit 32 bits throws MailStoreError("Overflow"); nothing wraps.
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

/// Whether a size is at most the limit, rounded to the nearest byte, halves to even. While the
/// limit does not apply nothing is computed, so nothing can overflow.
bool keepsLimit(std::int32_t size, const SizeLimit& limit);

/// The same with the limit rounded to whole megabytes, halves to even: 1.5 allows 2,000,000 bytes,
/// 0.5 allows none.
bool keepsWholeMegabytes(std::int32_t size, const SizeLimit& limit);

}  // namespace relaybird
