// SPDX-License-Identifier: MIT
#pragma once

namespace relaybird {

/// Frees the process from what its parent may have handed down, first thing in main: standard
/// streams that are closed become the null device, so that no file of the program ever gets their
/// numbers; a broken pipe is an error, not a death; and the exit status of a delivery command,
/// which tells whether a message was taken, is not lost.
void prepareProcess();

}  // namespace relaybird
