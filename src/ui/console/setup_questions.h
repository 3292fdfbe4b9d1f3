// SPDX-License-Identifier: MIT
// Setting up mail at a terminal, question by question. The answers go into the controls of the
// set-up dialog, whose proposals are the answers in brackets.
#pragma once

#include "platform/result.h"
#include "ui/forms/model/dialogs.h"
#include "ui/forms/setup/frm_setup.h"

namespace relaybird {

/// Asks everything while the dialog is open, and presses OK or Cancel at the end. Fails if the user
/// ended the questions, or if the settings were not stored.
Result<void> askForSetup(frmSetup& setup, Dialogs& dialogs);

}  // namespace relaybird
