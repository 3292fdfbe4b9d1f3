// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "engine/engine_world.h"
#include "engine/mail_session.h"
#include "mail/mail_store.h"
#include "platform/clock.h"
#include "prefs/cls_pref.h"
#include "ui/forms/form_world.h"
#include "ui/forms/model/dialogs.h"

namespace relaybird {

/// What the settings dialog and its address check work with. All must outlive them.
struct PrefsFormWorld {
  clsPref& prf;
  MailSession& session;
  ObjectFactory& objects;
  ActivityLog& log;
  const Clock& clock;
  Dialogs& dialogs;
  Screen& screen;
  /// What the user's numbers may have in place of the point.
  std::string decimalSeparator = ".";
};

}  // namespace relaybird
