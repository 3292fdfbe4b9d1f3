// SPDX-License-Identifier: MIT
// Lists: one that can be long, and one that drops down. Private to this folder.
#pragma once

#include <memory>

#include "ui/desktop/bind/control_view.h"

namespace relaybird::desktop {

std::unique_ptr<ControlView> makeListView(wxWindow* parent, Control& control,
                                          const ViewStyle& style);
std::unique_ptr<ControlView> makeComboView(wxWindow* parent, Control& control,
                                           const ViewStyle& style);

}  // namespace relaybird::desktop
