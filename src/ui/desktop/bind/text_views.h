// SPDX-License-Identifier: MIT
// Labels and text fields. Private to this folder.
#pragma once

#include <memory>

#include "ui/desktop/bind/control_view.h"

namespace relaybird::desktop {

std::unique_ptr<ControlView> makeLabelView(wxWindow* parent, Control& control,
                                           const ViewStyle& style);
std::unique_ptr<ControlView> makeTextView(wxWindow* parent, Control& control,
                                          const ViewStyle& style);

}  // namespace relaybird::desktop
