// SPDX-License-Identifier: MIT
#pragma once

namespace relaybird {

/// The program's identifier on a desktop: the name of its desktop entries and icons, the class of
/// its windows, its name on the session bus. The installation reads it from this line.
inline constexpr const char* kApplicationId = "org.relaybird.Relaybird";

}  // namespace relaybird
