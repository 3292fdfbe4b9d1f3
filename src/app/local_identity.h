// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace relaybird {

/// Who runs the program, by the machine's own word; what is unknown is empty.
struct LocalIdentity {
  std::string homeFolder;  ///< $HOME, or that of the user database
  std::string userAtHost;  ///< "ann@host"
  std::string fullName;    ///< the user database's first GECOS field
};

LocalIdentity localIdentity();

}  // namespace relaybird
