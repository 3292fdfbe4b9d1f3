// SPDX-License-Identifier: MIT
// Buttons, pictures, check boxes and options. Private to this folder.
#pragma once

#include <memory>

#include "ui/desktop/bind/control_view.h"

namespace relaybird::desktop {

std::unique_ptr<ControlView> makeButtonView(wxWindow* parent, Control& control,
                                            const ViewStyle& style);
std::unique_ptr<ControlView> makeLinkView(wxWindow* parent, Control& control,
                                          const ViewStyle& style);
std::unique_ptr<ControlView> makePictureButtonView(wxWindow* parent, Control& control,
                                                   const ViewStyle& style);
std::unique_ptr<ControlView> makePictureView(wxWindow* parent, Control& control,
                                             const ViewStyle& style);
std::unique_ptr<ControlView> makeCheckBoxView(wxWindow* parent, Control& control,
                                              const ViewStyle& style);
std::unique_ptr<ControlView> makeOptionView(wxWindow* parent, Control& control,
                                            const ViewStyle& style);

}  // namespace relaybird::desktop
