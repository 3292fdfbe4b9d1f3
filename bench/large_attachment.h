// SPDX-License-Identifier: MIT
// Peak memory of forwarding one message with a 100 MB attachment, in a process of its own so that
// nothing else counts.
#pragma once

namespace relaybird::bench {

struct LargeAttachment {
  bool forwarded = false;
  long peakMegabytes = 0;  ///< of 1,000,000 bytes
};

LargeAttachment forwardLargeAttachment();

/// Prints a row like those of the ratios; false when the limit is exceeded.
bool printLargeAttachment(const LargeAttachment& result);

}  // namespace relaybird::bench
