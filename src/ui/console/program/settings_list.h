// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ui/console/console_program.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// The fields of a form with tabs that hold a setting: text boxes, check boxes, options, drop-down
/// lists. What a field means is its own caption, else the caption that stands before it.
std::vector<Setting> settingsOf(const Form& form, const Control& tabs);

/// Whether a field shows what `value` asks for, as `set` takes it: numbers and lists may be written
/// in another way, numbers also with `decimalSeparator` in place of the point.
bool holdsValue(const Control& control, const std::string& value,
                std::string_view decimalSeparator);

/// The value of one field, as in settingsOf().
std::string valueOf(const Control& control);

}  // namespace relaybird
