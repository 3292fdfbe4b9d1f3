// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "platform/system/special_folders.h"

namespace relaybird {

/// A user without any folder.
class NoFolders : public SpecialFolders {
 public:
  std::string GetSpecialFolderPath(int) const override { return {}; }
  std::string templatesFolder() const override { return {}; }
  std::string windowsFolder() const override { return {}; }
  std::string stateFolder() const override { return {}; }
};

}  // namespace relaybird
