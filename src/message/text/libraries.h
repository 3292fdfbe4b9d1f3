// SPDX-License-Identifier: MIT
#pragma once

namespace relaybird {

/// Makes the libraries ready that more than one thread uses and that are not made to be entered for
/// the first time by two at once: GMime and libxml2. The first call does it, any later one nothing;
/// any thread.
///
/// This is the only place that does so. The programs call it before they start anything, and a
/// store of mail before its first thread. What enters such a library calls it as well, so that a
/// test, a fuzz target or a benchmark may use one function alone.
void prepareLibraries();

}  // namespace relaybird
