// SPDX-License-Identifier: MIT
#pragma once

namespace relaybird {

/// The program's identifier on a desktop: the name of its desktop entries and icons, the class of
/// its windows, its name on the session bus. The installation reads it from this line.
inline constexpr const char* kApplicationId = "org.relaybird.Relaybird";

/// On Windows, the name of the program's value in the user's Run key, by which it starts when the
/// user logs in. The installer reads it from this line.
inline constexpr const char* kRunValue = "Relaybird";

}  // namespace relaybird
