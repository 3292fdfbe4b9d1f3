// SPDX-License-Identifier: MIT
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

/// Whether the text has the form of an e-mail address: something before the first "@", and a point
/// behind it that is not the last character. A first guard against typing errors, no more: what the
/// store can send to, the store decides. The verbose log tells of every call.
bool bolCheckEmailAddress(ActivityLog& log, std::string_view address);

class AddressCheck {
 public:
  /// The button's caption tells that a check runs, and goes on to do so after one that failed.
  /// All must outlive it.
  AddressCheck(const ProgramWorld& world, clsPref& prf, MailSession& session, ActivityLog& log,
               Control& button);

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

  const ProgramWorld& world_;
  clsPref& prf_;
  MailSession& session_;
  ActivityLog& log_;
  Control& button_;
};

}  // namespace relaybird
