// SPDX-License-Identifier: MIT
// Asks the mail application whether it can send to what the user typed as forward-to addresses.
#pragma once

#include <memory>
#include <string>

#include "mail/mail_store.h"
#include "prefs/preference_fields.h"
#include "ui/forms/model/control.h"
#include "ui/forms/settings/prefs_form_world.h"

namespace relaybird {

class AddressCheck {
 public:
  /// The button's caption tells that a check runs, and goes on to do so after one that failed.
  AddressCheck(PrefsFormWorld world, Control& button);

  /// Tells the outcome in a box and leaves it in the preference object. Returns when the mail
  /// application has answered for every entry; throws nothing.
  void run(const std::string& addresses);

 private:
  struct Outcome;

  Outcome ask(const StringList& entries);
  StringList unresolvedOf(const StringList& entries);
  bool resolves(const std::shared_ptr<MailItem>& item, const std::string& entry);
  void logNoSession();
  void tellEmpty();
  void tell(const Outcome& outcome);
  void tellUnresolved(const StringList& unresolved);
  void keepOutcome(bool good);

  PrefsFormWorld world_;
  Control& button_;
};

}  // namespace relaybird
