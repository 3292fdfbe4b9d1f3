// SPDX-License-Identifier: MIT
// clsPref in three parts: the preference file and the lists, the forwarding rules, and the transfer
// to and from the settings dialog. Which settings there are, and their orders, is the table in
// preference_fields.h; the rules' matching is in forwarding_rules.h.
//
// Private members of the rules may raise any fault of the mail store; the public operations turn it
// into a status, because a pass goes on to the next item after an item that cannot be read.
#include "prefs/cls_pref.h"

#include <exception>
#include <stdexcept>
#include <utility>
#include <variant>

#include "platform/file_system.h"
#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"
#include "platform/text/utf8_text.h"
#include "prefs/pref_forms.h"
#include "prefs/preference_file.h"
#include "prefs/preference_location.h"

namespace relaybird {

// The file and the lists.

namespace {

constexpr std::string_view kHelpEnding = "CHM";

// Only the ending is checked, in any case: people have moved and renamed the file.
bool namesHelpFile(std::string_view path) {
  return path.size() >= kHelpEnding.size() &&
         asciiUpper(path.substr(path.size() - kHelpEnding.size())) == kHelpEnding;
}

}  // namespace

clsPref::clsPref(PrefWorld world) : world_(std::move(world)) {}

// Told once: the place is looked up at every reading and writing.
std::string clsPref::GetPrefIniFname() {
  std::string file =
      locatePreferenceFile(world_.files, world_.profiles, world_.folders, world_.osVersion);
  const bool former = !file.empty() && file == GetOldPrefIniFname();
  if (former && !std::exchange(toldOfFormerPlace_, true)) {
    world_.log("The preferences are kept in " + file + ", because " +
               currentPreferenceFile(world_.folders) + " cannot take their place");
  }
  return file;
}

std::string clsPref::GetOldPrefIniFname() const {
  return formerPreferenceFile(world_.folders, world_.osVersion);
}

int clsPref::ReadIniPref(const std::string& section) {
  const std::unique_ptr<ProfileReader> file = world_.profiles.read(GetPrefIniFname());
  takeHelpFile(*file);
  fields_ = readPreferences(*file, section, world_.logVerbose);
  return 1;
}

int clsPref::WriteTofile(const std::string& section) {
  const std::unique_ptr<ProfileWriter> file = world_.profiles.write(GetPrefIniFname());
  const bool taken = writePreferences(*file, section, fields_);
  if (!taken) {
    world_.log("The preferences could not be saved: " + file->error());
  }
  // What was taken before a refused value is saved all the same.
  const bool kept = file->commit();
  if (!kept) {
    world_.log("The preferences could not be saved: " + file->error());
  }
  if (taken && kept) {
    return 1;
  }
  mstrErrDesc = "Error writing preferences to disk";
  return -1;
}

// The help file's key is in this section whatever section the settings are in.
void clsPref::takeHelpFile(const ProfileReader& file) {
  const std::string path = cleanStringEnds(file.get(kHelpSection, kHelpKey, ""));
  if (namesHelpFile(path) && FileExists(world_.files, path)) {
    world_.setHelpFile(path);
  }
}

std::string clsPref::cleanStringEnds(std::string_view text) {
  return relaybird::cleanStringEnds(text);
}

int clsPref::FormTextToArray(std::string_view text, StringList& list) {
  return relaybird::FormTextToArray(text, list);
}

std::string clsPref::MakeStringFromArray(const StringList& list) {
  return relaybird::MakeStringFromArray(list);
}

int clsPref::GetFwdAddresses(StringList& list) const {
  list = fields_.mstrFwdToAddress;
  return static_cast<int>(list.size());
}

std::string clsPref::GetForwardAddress() const {
  return MakeStringFromArray(fields_.mstrFwdToAddress);
}

int clsPref::GetFwdConfirmMessage(std::string& message, bool once) const {
  message = confirmMessage(fields_.mstrFwdToAddress, once);
  return message.empty() ? 0 : static_cast<int>(fields_.mstrFwdToAddress.size());
}

// The forwarding rules.

namespace {

constexpr const char* kNoTextFilter = "Could not apply the text filter";

// A rule is about an item; a null pointer is a fault of the store and ends in a status as any
// other.
MailItem& present(const std::shared_ptr<MailItem>& item) {
  if (!item) {
    throw MailStoreError("There is no item");
  }
  return *item;
}

std::string kindOf(const MailItem& item) {
  return asciiUpper(item.ClassName());
}

// The text that the rule looks at; only what is asked for is read.
std::string textOf(ItemReader& reader, std::int16_t place) {
  switch (place) {
    case kCheckSubject:
      return reader.inboxSubject();
    case kCheckBody:
      return reader.inboxBody();
    case kCheckSubjectAndBody: {
      std::string text = reader.inboxSubject();
      return text += reader.inboxBody();
    }
    default:
      throw MailStoreError("");
  }
}

// Characters, not bytes, for the texts: the size of an attachment is all that is known in bytes.
double sizeOf(MailItem& item) {
  double size = static_cast<double>(characterCount(item.Body()));
  size += static_cast<double>(characterCount(item.Subject()));
  const auto attachments = required(item.Attachments(), "attachments");
  const std::int32_t count = attachments->Count();
  for (std::int32_t i = 1; i <= count; ++i) {
    size += required(attachments->Item(i), "attachment")->Size();
  }
  return size;
}

}  // namespace

// The text rule first. A fault in it is reported, because the item might be what the user waits
// for; a sender that cannot be read is decided by the sender rule itself.
int clsPref::intShouldForward(const std::shared_ptr<MailItem>& item, bool& forward,
                              std::string& reason) {
  std::string_view rejection;
  senderUnknown_ = false;
  try {
    if (fields_.mbolFilterText && !textRuleAllows(item)) {
      rejection = kTextNotFound;
    }
  } catch (const std::exception& fault) {
    return textRuleFailed(fault.what());
  }
  if (rejection.empty()) {
    rejection = senderRuleRejection(item);
  }
  forward = rejection.empty();
  if (!forward) {
    reason = rejection;
  }
  return 1;
}

int clsPref::textRuleFailed(std::string_view problem) {
  lastReason_ = problem.empty() ? kNoTextFilter : problem;
  return -1;
}

// A list of excluded senders does not: a sender that cannot be read is not on it.
bool clsPref::bolRulesNeedForward() const {
  return fields_.mbolFilterText || fields_.mintSenderFilter == kForwardOnlyListed;
}

// What the rules would have said if they had failed to read the item, as the forward did.
int clsPref::intWithoutForward(const std::string& problem, bool& forward, std::string& reason) {
  if (fields_.mbolFilterText) {
    return textRuleFailed(problem);
  }
  forward = fields_.mintSenderFilter != kForwardOnlyListed;
  if (!forward) {
    reason = kSenderUnknown;
  }
  return 1;
}

bool clsPref::textRuleAllows(const std::shared_ptr<MailItem>& item) {
  const std::unique_ptr<ItemReader> reader = readerOf(item);
  const std::string text = textOf(*reader, fields_.mintTextToCheck);
  try {
    return wordsMatch(text, words_.of(fields_.mstrTextToMatch), fields_.mintMatchType);
  } catch (const std::exception&) {
    return true;  // Words that could not be looked for hold nothing back.
  }
}

// The two rules fail towards opposite sides: only listed senders means that in doubt nothing goes
// out, and all but listed ones that in doubt everything does.
std::string_view clsPref::senderRuleRejection(const std::shared_ptr<MailItem>& item) {
  const bool onlyListed = fields_.mintSenderFilter == kForwardOnlyListed;
  const bool allButListed = fields_.mintSenderFilter == kForwardAllButListed;
  if (!onlyListed && !allButListed) {
    return {};
  }
  try {
    const bool listed = senderInList(item);
    if (allButListed && listed) {
      return kSenderExcluded;
    }
    if (onlyListed && !listed) {
      return kSenderNotListed;
    }
    return {};
  } catch (const std::exception&) {
    senderUnknown_ = true;
    // An unknown sender cannot be matched with the excluded ones, so that rule lets the item pass.
    return onlyListed ? kSenderUnknown : std::string_view();
  }
}

// Each kind of item has its sender in another place. A report comes from the mail system itself,
// which users know as the administrator.
bool clsPref::senderInList(const std::shared_ptr<MailItem>& item) {
  const std::unique_ptr<ItemReader> reader = readerOf(item);
  const std::string kind = kindOf(present(item));
  std::string address;
  std::string name;
  if (kind == "MAILITEM" || kind == "MEETINGITEM") {
    address = reader->senderAddress();
    name = reader->senderName();
  } else if (kind == "REPORTITEM") {
    address = name = "Administrator";
  } else if (kind.starts_with("TASK")) {
    address = GetTaskRequestEmail(item);
    name = GetTaskRequestSendername(item);
  }
  return senderIsListed(address, name, senders_.of(fields_.mcolSenderList));
}

// A new reader for each look: one that failed for an item would keep its fault for the next.
std::unique_ptr<ItemReader> clsPref::readerOf(const std::shared_ptr<MailItem>& item) const {
  std::unique_ptr<ItemReader> reader = world_.makeReader();
  if (!reader->SetPref(*this) || !reader->MakeSafeInboxItem(item)) {
    throw MailStoreError(reader->errorText());
  }
  return reader;
}

std::string clsPref::GetTaskRequestEmail(const std::shared_ptr<MailItem>& item) const {
  return taskProperty(item, kPrSenderEmailAddress);
}

std::string clsPref::GetTaskRequestSendername(const std::shared_ptr<MailItem>& item) const {
  return taskProperty(item, kPrSenderName);
}

std::string clsPref::taskProperty(const std::shared_ptr<MailItem>& item, std::uint32_t tag) const {
  const auto task = createAs<SafeItem>(world_.objects, prog_id::kSafeTaskItem);
  task->Item(required(present(item).GetAssociatedTask(), "task"));
  return task->Fields(tag);
}

// Not asked without a limit: the size means opening every attachment.
int clsPref::intCheckSize(const std::shared_ptr<MailItem>& item, bool& withinLimit) const {
  try {
    withinLimit = !fields_.mbolMaxFwdSize ||
                  fields_.mdblMaxFwdSize * kBytesPerMegabyte >= sizeOf(present(item));
    return 1;
  } catch (const std::exception&) {
    return -1;
  }
}

// The settings dialog.

namespace {

constexpr int kStored = 1;
constexpr int kDeclined = 0;
constexpr int kRefused = -1;
constexpr int kNotFilled = -1;

bool isSet(const PrefForms& forms, std::string_view control) {
  return forms.value(control) == 1;
}

bool hasOption(std::int16_t senderFilter) {
  return senderFilter == kForwardFromAnyone || senderFilter == kForwardOnlyListed ||
         senderFilter == kForwardAllButListed;
}

// A stored code that no option shows leaves them all unselected, and stays until the user selects
// one.
std::int16_t senderFilter(const PrefForms& forms, std::int16_t stored) {
  if (isSet(forms, "opbFwdAll")) {
    return kForwardFromAnyone;
  }
  if (isSet(forms, "opbFwdOnly")) {
    return kForwardOnlyListed;
  }
  return isSet(forms, "opbFwdAllBut") || hasOption(stored) ? kForwardAllButListed : stored;
}

// No position at all counts as the widest choice.
std::int16_t textToCheck(int position) {
  switch (position) {
    case 0:
      return kCheckSubject;
    case 1:
      return kCheckBody;
    default:
      return kCheckSubjectAndBody;
  }
}

// Fills a control with its setting. Setting a control raises its reactions.
class ShownField {
 public:
  ShownField(PrefForms& form, const PreferenceFields& fields, const PreferenceField& field)
      : form_(form), fields_(fields), field_(field) {}

  void operator()(bool PreferenceFields::*member) const {
    if (member == &PreferenceFields::mbolFormatForCellPhone) {
      form_.SetCellPrefs(fields_.*member);
    } else {
      form_.setValue(field_.control, fields_.*member);
    }
  }
  void operator()(double PreferenceFields::*member) const {
    form_.setText(field_.control, shortestText(fields_.*member));
  }
  void operator()(std::int32_t PreferenceFields::*member) const {
    form_.setText(field_.control, std::to_string(fields_.*member));
  }
  void operator()(StringList PreferenceFields::*member) const {
    form_.setText(field_.control, MakeStringFromArray(fields_.*member));
  }
  // The codes of the options and of the drop-down lists.
  void operator()(std::int16_t PreferenceFields::*member) const {
    const std::int16_t code = fields_.*member;
    if (member == &PreferenceFields::mintSenderFilter) {
      form_.setValue("opbFwdAll", code == kForwardFromAnyone);
      form_.setValue("opbFwdOnly", code == kForwardOnlyListed);
      form_.setValue("opbFwdAllBut", code == kForwardAllButListed);
    } else {
      const bool isMatchType = member == &PreferenceFields::mintMatchType;
      form_.setValue(field_.control, code - (isMatchType ? kMatchAll : kCheckSubject));
    }
  }
  // Texts and passwords are not shown.
  template <class Other>
  void operator()(Other) const {}

 private:
  PrefForms& form_;
  const PreferenceFields& fields_;
  const PreferenceField& field_;
};

// Takes a setting over from its control. Numbers and lists have been checked: they come from
// `accepted`.
class StoredField {
 public:
  StoredField(const PrefForms& form, const PreferenceFields& accepted, const PreferenceField& field,
              PreferenceFields& fields)
      : form_(form), accepted_(accepted), field_(field), fields_(fields) {}

  void operator()(bool PreferenceFields::*member) const {
    fields_.*member = isSet(form_, field_.control);
  }
  // A size limit that is switched off keeps the size that was stored before.
  void operator()(double PreferenceFields::*member) const {
    if (member != &PreferenceFields::mdblMaxFwdSize || fields_.mbolMaxFwdSize) {
      fields_.*member = accepted_.*member;
    }
  }
  void operator()(std::int32_t PreferenceFields::*member) const {
    fields_.*member = accepted_.*member;
  }
  void operator()(std::int16_t PreferenceFields::*member) const {
    if (member == &PreferenceFields::mintSenderFilter) {
      fields_.*member = senderFilter(form_, fields_.*member);
    } else if (member == &PreferenceFields::mintTextToCheck) {
      fields_.*member = textToCheck(form_.value(field_.control));
    } else {
      fields_.*member = form_.value(field_.control) == 0 ? kMatchAll : kMatchAny;
    }
  }
  // The sender list is not checked: too long a list leaves the stored one as it is.
  void operator()(StringList PreferenceFields::*member) const {
    if (member == &PreferenceFields::mcolSenderList) {
      FormTextToArray(form_.text(field_.control), fields_.*member);
    } else {
      fields_.*member = accepted_.*member;
    }
  }
  template <class Other>
  void operator()(Other) const {}

 private:
  const PrefForms& form_;
  const PreferenceFields& accepted_;
  const PreferenceField& field_;
  PreferenceFields& fields_;
};

PrefForms& connected(PrefForms* forms) {
  if (forms == nullptr) {
    throw std::logic_error("no form is connected");
  }
  return *forms;
}

}  // namespace

// A fault of the form becomes a status, because a button of the dialog called this.
int clsPref::FormToClass() {
  mbolDontExit = false;
  try {
    FormCheck check(connected(forms_), mbolHaveCheckedAd && !mbolAdAreOk, world_.decimalSeparator);
    switch (check.run()) {
      case FormCheck::Verdict::kRefused:
        mstrErrDesc = check.refusal();
        return kRefused;
      case FormCheck::Verdict::kDeclined:
        mbolDontExit = true;
        return kDeclined;
      case FormCheck::Verdict::kAccepted:
        break;
    }
    store(check.values());
    forms_->SetMainFrmCellPref(fields_.mbolFormatForCellPhone);
    return kStored;
  } catch (const std::exception& error) {
    world_.logVerbose(std::string("FormToClass-->") + error.what());
    return kUnexpectedTransferFailure;
  }
}

// In the table's order: the switch of the size limit is stored before the size that depends on it.
void clsPref::store(const PreferenceFields& accepted) {
  for (const PreferenceField* field : preferenceFieldsBy(&PreferenceField::storedAs)) {
    std::visit(StoredField(*forms_, accepted, *field, fields_), field->member);
  }
}

int clsPref::ClassToForm() {
  try {
    // The start-up options exclude each other: one left set from before would raise the message
    // about that when the other one is filled in.
    connected(forms_).setValue("chkForwardStart", 0);
    forms_->setValue("chkForwardingOnAtStartup", 0);
    fillForm(*forms_);
    forms_->SetMainFrmCellPref(fields_.mbolFormatForCellPhone);
    return kStored;
  } catch (const std::exception& error) {
    world_.logVerbose(std::string("ClassToForm-->") + error.what());
    return kNotFilled;
  }
}

void clsPref::fillForm(PrefForms& form) const {
  for (const PreferenceField* field : preferenceFieldsBy(&PreferenceField::shownAs)) {
    std::visit(ShownField(form, fields_, *field), field->member);
  }
}

// Filling goes into a comparison instead of the form, so the answer cannot differ from what filling
// would really show.
bool clsPref::formShowsStored() const {
  try {
    FormComparison comparison(connected(forms_));
    fillForm(comparison);
    return comparison.same();
  } catch (const std::exception& error) {
    world_.logVerbose(std::string("formShowsStored-->") + error.what());
    return false;
  }
}

void clsPref::UpdateEmailAddrOnMainForm() {
  if (forms_ == nullptr) {
    return;
  }
  const StringList& addresses = fields_.mstrFwdToAddress;
  std::string text;
  std::string_view separator;
  for (const std::string& address : addresses) {
    text.append(separator).append(address);
    separator = "; ";
  }
  // An empty list is stored as one empty entry, which is not an address.
  forms_->SetMainFormFwdToAddresses(
      text, holdsNothing(addresses) ? 0 : static_cast<int>(addresses.size()));
}

}  // namespace relaybird
