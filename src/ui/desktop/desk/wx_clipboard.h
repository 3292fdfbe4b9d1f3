// SPDX-License-Identifier: MIT
#pragma once

#include "ui/forms/form_world.h"

namespace relaybird::desktop {

/// The desktop's clipboard. What was put there stays when the program ends, where the desktop can
/// keep it.
class WxClipboard : public Clipboard {
 public:
  Result<void> setText(const std::string& text) override;
};

}  // namespace relaybird::desktop
