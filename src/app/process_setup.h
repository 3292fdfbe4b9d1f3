// SPDX-License-Identifier: MIT
#pragma once

namespace relaybird {

/// First thing in main, before any thread: frees the process from what its parent may have handed
/// down. Standard streams that are closed become the null device, so that no file of the program
/// ever gets their numbers; a broken pipe is an error, not a death; and the exit status of a
/// delivery command, which tells whether a message was taken, is not lost. Then makes the libraries
/// ready that threads share.
void prepareProcess();

}  // namespace relaybird
