// SPDX-License-Identifier: MIT
// The memory of libcurl, which copies every password it is given.
#pragma once

namespace relaybird {

/// Initialises libcurl (curl_global_init) with memory that is overwritten when libcurl frees it.
/// Blocks of up to a few kilobytes, which is where names, passwords and lines are, are not written
/// into core dumps either. Once in a process, before any other use of libcurl. Throws
/// std::bad_alloc on failure.
void initialiseCurlWithGuardedMemory();

}  // namespace relaybird
