// SPDX-License-Identifier: MIT
// Every entry is added as a recipient to one unsent item, which the mail application then resolves.
// An entry's recipients are removed before the next entry, so that each gets its own answer.
#include "ui/forms/settings/address_check.h"

#include <exception>
#include <optional>
#include <utility>

#include "ui/forms/settings/prefs_controls.h"

namespace relaybird {

// A glance at the form only. What looks like an address is not given to the mail application, which
// could take long to look it up.
bool bolCheckEmailAddress(ActivityLog& log, std::string_view address) {
  log.AddToLogV("bolCheckEmailAddress - (Entered)");
  constexpr std::size_t kShortest = 3;
  if (address.size() < kShortest) {
    return false;
  }
  const std::size_t last = address.size() - 1;
  const std::size_t at = address.find('@');
  if (at == std::string_view::npos || at == 0 || at == last) {
    return false;
  }
  const std::size_t point = address.find('.', at);
  return point != std::string_view::npos && point != last;
}

namespace {

constexpr const char* kWaitCaption = "(Please wait -  Outlook is validatiting these addresses)";

// An entry may have become several recipients when it was resolved.
void removeAll(Recipients& recipients) {
  while (recipients.Count() > 0) {
    recipients.Remove(1);
  }
}

// Keeps the first error; clean-up is best effort. Recipients left on an unsent item are harmless.
void tidyUp(Recipients& recipients) {
  try {
    removeAll(recipients);
  } catch (const std::exception&) {
    return;
  }
}

}  // namespace

// The unresolved entries, or why the mail application could not be asked.
struct AddressCheck::Outcome {
  StringList unresolved;
  std::optional<std::string> failure;
};

AddressCheck::AddressCheck(const ProgramWorld& world, clsPref& prf, MailSession& session,
                           ActivityLog& log, Control& button)
    : world_(world), prf_(prf), session_(session), log_(log), button_(button) {}

// The button's caption is the only sign of progress; the status line is about checks of the inbox.
// A check that failed leaves the caption there until the dialog is filled again.
void AddressCheck::run(const std::string& addresses) {
  button_.setText(kWaitCaption);
  world_.screen.repaint();
  StringList entries;
  if (FormTextToArray(addresses, entries) <= 0) {
    button_.setText(kValidateCaption);
    world_.dialogs.messageBox({"Error occured parsing out address(es) string"});
  } else if (holdsNothing(entries)) {
    reportEmpty();
  } else {
    report(ask(entries));
  }
}

// The session may have gone since the last check; opening it here shows no status texts.
AddressCheck::Outcome AddressCheck::ask(const StringList& entries) {
  try {
    session_.dropIfGone();
    if (session_.ResetOlkObj(true, false, false) < kSessionReady) {
      logNoSession();
      return {{}, session_.errorText()};
    }
    return {unresolvedOf(entries), std::nullopt};
  } catch (const std::exception& error) {
    return {{}, error.what()};
  }
}

// One item, neither sent nor saved, is used for all entries.
StringList AddressCheck::unresolvedOf(const StringList& entries) {
  const auto item = required(session_.application()->CreateItem(kMailItemKind), "item");
  StringList unresolved;
  for (const std::string& entry : entries) {
    if (!bolCheckEmailAddress(log_, entry) && !resolves(item, entry)) {
      unresolved.push_back(entry);
    }
  }
  return unresolved;
}

bool AddressCheck::resolves(const std::shared_ptr<MailItem>& item, const std::string& entry) {
  const auto safeItem = createAs<SafeItem>(world_.objects, prog_id::kSafeMailItem);
  safeItem->Item(item);
  const auto recipients = required(safeItem->Recipients(), "recipients");
  try {
    recipients->Add(entry);
    const bool good = recipients->ResolveAll();
    // A recipient that stayed would be resolved again with the next entry and spoil its result.
    removeAll(*recipients);
    return good;
  } catch (const std::exception&) {
    tidyUp(*recipients);
    throw;
  }
}

void AddressCheck::logNoSession() {
  const std::string now = world_.clock.toText(world_.clock.now());
  log_.AddToLog(now + "--> Could not activate Outlook");
  if (!session_.storeWords().empty()) {
    log_.AddToLog(now + "--> " + session_.storeWords());
  }
}

void AddressCheck::reportEmpty() {
  keepOutcome(false);
  world_.dialogs.messageBox(
      {"You haven't yet entered any addresses to check.  Please enter at least one recipient to "
       "forward your email to.",
       "Problem with your address list:", BoxButtons::kOk, BoxIcon::kExclamation});
}

void AddressCheck::report(const Outcome& outcome) {
  if (outcome.failure) {
    world_.dialogs.messageBox({"Error: " + *outcome.failure});
    return;
  }
  button_.setText(kValidateCaption);
  if (outcome.unresolved.empty()) {
    keepOutcome(true);
    world_.dialogs.messageBox(
        {"Outlook successfully resolved each of the email addresses that you listed.",
         "Emails all OK"});
  } else {
    keepOutcome(false);
    reportUnresolved(outcome.unresolved);
  }
}

void AddressCheck::reportUnresolved(const StringList& unresolved) {
  std::string text =
      "Outlook could not resolve the following email addresses that you entered: \r\n\r\n";
  int number = 0;
  for (const std::string& entry : unresolved) {
    text += "(" + std::to_string(++number) + ") " + entry + "\r\n";
  }
  text +=
      "\r\nOutook will generate an error if you try to send messages to the address(es) listed "
      "above.";
  world_.dialogs.messageBox({text});
}

// The preference object asks for confirmation before it stores addresses that failed this check.
void AddressCheck::keepOutcome(bool good) {
  prf_.mbolHaveCheckedAd = true;
  prf_.mbolAdAreOk = good;
}

}  // namespace relaybird
