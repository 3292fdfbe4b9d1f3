// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "ui/console/console_program.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// The fields of a form with tabs that hold a setting: text boxes, check boxes, options, drop-down
/// lists. What a field means is its own caption, else the caption that stands before it.
std::vector<Setting> settingsOf(const Form& form, const Control& tabs);

}  // namespace relaybird
