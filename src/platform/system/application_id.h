// SPDX-License-Identifier: MIT
#pragma once

namespace relaybird {

/// The program's name among all others of a desktop: of its desktop entries, its icons and its
/// windows' class, and on the session's bus. The installation reads it from this line.
inline constexpr const char* kApplicationId = "org.relaybird.Relaybird";

}  // namespace relaybird
