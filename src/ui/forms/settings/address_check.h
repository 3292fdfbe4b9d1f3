// SPDX-License-Identifier: MIT
// The checks of forward-to addresses: a first look at their form, and AddressCheck, which asks the
// mail application whether it can send to them.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "engine/engine_world.h"
#include "engine/mail_session.h"
#include "mail/mail_store.h"
#include "prefs/cls_pref.h"
#include "ui/forms/model/control.h"
#include "ui/forms/program_world.h"

namespace relaybird {

/// Whether the text looks like an e-mail address: at least one character before the first "@", and
/// a point after it that is not the last character. Only a first guard against typing errors; the
/// store decides where it can send to. Every call is written to the verbose log.
bool bolCheckEmailAddress(ActivityLog& log, std::string_view address);

class AddressCheck {
 public:
  /// The button's caption shows that a check is running; after a failed check it stays so.
  /// All must outlive it.
  AddressCheck(const ProgramWorld& world, clsPref& prf, MailSession& session, ActivityLog& log,
               Control& button);

  /// Reports the result in a box and stores it in the preference object. Returns when the mail
  /// application has answered for every entry. Does not throw.
  void run(const std::string& addresses);

 private:
  struct Outcome;

  Outcome ask(const StringList& entries);
  StringList unresolvedOf(const StringList& entries);
  bool resolves(const std::shared_ptr<MailItem>& item, const std::string& entry);
  void logNoSession();
  void reportEmpty();
  void report(const Outcome& outcome);
  void reportUnresolved(const StringList& unresolved);
  void keepOutcome(bool good);

  const ProgramWorld& world_;
  clsPref& prf_;
  MailSession& session_;
  ActivityLog& log_;
  Control& button_;
};

}  // namespace relaybird
