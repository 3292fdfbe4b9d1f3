// SPDX-License-Identifier: MIT
// Forms and controls in words.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ui/forms/model/form.h"

namespace relaybird {

/// The kind as one word: "text-box".
std::string kindWord(ControlKind kind);

/// "NAME open|closed "CAPTION"".
std::string formFields(const Form& form);

/// "NAME KIND STATE VALUE "TEXT"": STATE is visible or hidden, enabled or disabled and, where it is
/// so, locked, with commas between; VALUE a whole number.
std::string controlFields(const Control& control);

/// Everything about a control, by name. Texts are quoted. The entries of a list come last, each as
/// "entry" with its position and text.
std::vector<std::pair<std::string, std::string>> controlProperties(const Control& control);

}  // namespace relaybird
