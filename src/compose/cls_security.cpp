// SPDX-License-Identifier: MIT
// clsSecurity: builds the forward of one inbox item, measures it against the size limit, addresses
// and sends it, and reads the inbox item for the rules.
//
// What the mail application protects is read and written through safe items (mobjSafe_, reader_):
// otherwise the application would stop at a security prompt. Private members raise the mail
// store's faults; the public operations turn them into a false result with errorText(), so that one
// bad item does not end a pass.
#include "compose/cls_security.h"

#include <exception>

#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"
#include "platform/text/utf8_text.h"
#include "prefs/cls_pref.h"

namespace relaybird {

namespace {

// Sizes have 32 bits in the mail application. An overflow is its error, and ends the item.
std::int32_t size32(double size) {
  const std::optional<std::int32_t> whole = toInt32(size);
  if (!whole) {
    throw MailStoreError("Overflow");
  }
  return *whole;
}

// Nobody could reply to a shorter sender address.
constexpr std::size_t kShortestReplyAddress = 4;

enum class KindGroup { kMail, kMeeting, kReport, kTask, kOther };

// Class names are compared without letter case, in which the stores differ.
KindGroup groupOf(const MailItem& item) {
  const std::string kind = asciiUpper(item.ClassName());
  if (kind == "MAILITEM") {
    return KindGroup::kMail;
  }
  if (kind == "MEETINGITEM") {
    return KindGroup::kMeeting;
  }
  if (kind == "REPORTITEM") {
    return KindGroup::kReport;
  }
  for (const char* task : {"TASKREQUESTITEM", "TASKREQUESTACCEPTITEM", "TASKREQUESTDECLINEITEM",
                           "TASKREQUESTUPDATEITEM"}) {
    if (kind == task) {
      return KindGroup::kTask;
    }
  }
  return KindGroup::kOther;
}

bool isSafeItem(const SafeItem* item) {
  if (item == nullptr) {
    return false;
  }
  const std::string kind = asciiUpper(item->ClassName());
  return kind == "SAFEMAILITEM" || kind == "SAFEMEETINGITEM";
}

}  // namespace

// Doubles hold every sum of two of these sizes exactly.
std::int32_t textSizeOf(std::string_view subject, std::string_view body) {
  return size32(static_cast<double>(characterCount(subject)) +
                static_cast<double>(characterCount(body)));
}

std::int32_t addedSizes(std::int32_t left, std::int32_t right) {
  return size32(static_cast<double>(left) + right);
}

bool keepsLimit(std::int32_t size, const SizeLimit& limit) {
  return !limit.applies || size <= size32(limit.megabytes * kBytesPerMegabyte);
}

bool keepsWholeMegabytes(std::int32_t size, const SizeLimit& limit) {
  return !limit.applies || size <= size32(size32(limit.megabytes) * kBytesPerMegabyte);
}

clsSecurity::clsSecurity(ObjectFactory& objects, Purpose purpose)
    : objects_(objects), purpose_(purpose) {}

bool clsSecurity::SetPref(const clsPref& prefs) {
  prefs_ = &prefs;
  return true;
}

bool clsSecurity::MakeSafeInboxItem(const std::shared_ptr<MailItem>& item) {
  try {
    drop();
    errorText_.clear();
    if (build(item)) {
      return true;
    }
  } catch (const std::exception& fault) {
    errorText_ = fault.what();
  }
  // A half-built forward must never be sent.
  mobjSafe_.reset();
  sizeWithinLimit_ = false;
  return false;
}

void clsSecurity::drop() {
  inboxItem_.reset();
  reader_.reset();
  mobjSafe_.reset();
  sizeWithinLimit_ = false;
  textSize_ = 0;
  attachmentsSize_ = 0;
  senderName_.reset();
  senderAddress_.reset();
}

clsSecurity::Settings clsSecurity::readSettings() const {
  // Purpose::kRead neither measures nor addresses.
  Settings settings;
  if (prefs_ == nullptr || purpose_ == Purpose::kRead) {
    return settings;
  }
  settings.limit = {prefs_->LimitFwdSize(), prefs_->GetFwdSizeLimit()};
  settings.includeAttachments = prefs_->IncludeAttachments();
  prefs_->GetFwdAddresses(settings.addresses);
  settings.recipientType = prefs_->bolBccForward() ? RecipientType::kBlindCopy : RecipientType::kTo;
  return settings;
}

bool clsSecurity::build(const std::shared_ptr<MailItem>& item) {
  if (!item) {
    throw MailStoreError("There is no item to forward");
  }
  const Settings settings = readSettings();
  inboxItem_ = item;
  bool built = false;
  switch (groupOf(*item)) {
    case KindGroup::kMail:
      built = buildFromMail(settings);
      break;
    case KindGroup::kMeeting:
      built = buildFromMeeting(settings);
      break;
    case KindGroup::kReport:
      built = buildFromCopy(settings, "Administrator");
      break;
    case KindGroup::kTask:
      built = buildFromCopy(settings, "task");
      break;
    // Not a kind that is forwarded; errorText() stays empty.
    case KindGroup::kOther:
      break;
  }
  if (built && purpose_ == Purpose::kForward) {
    addRecipients(settings);
  }
  return built;
}

bool clsSecurity::buildFromMail(const Settings& settings) {
  const std::string body = wrapWithForward(prog_id::kSafeMailItem, cellPhone_);
  if (purpose_ == Purpose::kRead) {
    return true;
  }
  if (!measure(settings.attachmentsCount())) {
    return false;
  }
  const std::string sender = senderAddress();
  // Measured before: the size limit is about the message, not about the tag in front of it.
  if (cellPhone_) {
    // A telephone shows the beginning of a message, so the sender stands in front of the text.
    required(mobjSafe_->Item(), "forward")->Body("[From:" + sender + "] " + body);
  }
  applySizeRule(settings);
  setReplyTo(sender);
  mobjSafe_->Subject(mobjSafe_->Subject());
  mobjSafe_->Save();
  return true;
}

bool clsSecurity::buildFromMeeting(const Settings& settings) {
  wrapWithForward(prog_id::kSafeMeetingItem, false);
  if (purpose_ == Purpose::kRead) {
    return true;
  }
  if (!measure(settings.attachmentsCount())) {
    return false;
  }
  applySizeRule(settings);
  return true;
}

// Reports and task requests cannot be forwarded as they are: a fresh mail carries their texts.
bool clsSecurity::buildFromCopy(const Settings& settings, const char* sender) {
  senderName_ = senderAddress_ = sender;
  const auto fresh = createAs<MailItem>(objects_, prog_id::kMailItem);
  mobjSafe_ = createAs<SafeItem>(objects_, prog_id::kSafeMailItem);
  mobjSafe_->Item(fresh);
  if (purpose_ == Purpose::kRead) {
    return true;
  }
  const std::string subject = inboxItem_->Subject();
  mobjSafe_->Subject(subject);
  const std::string body = inboxItem_->Body();
  mobjSafe_->Body(body);
  textSize_ = textSizeOf(subject, body);
  // These kinds round the limit to whole megabytes.
  sizeWithinLimit_ = keepsWholeMegabytes(textSize_, settings.limit);
  return true;
}

// Wraps the inbox item for reading and its forward for writing. Returns the inbox item's body where
// the forward is to be made of it. An item whose body cannot be read fails all the same: measuring
// the forward needs the body too.
std::string clsSecurity::wrapWithForward(std::string_view safeItem, bool needsBody) {
  mobjSafe_ = createAs<SafeItem>(objects_, safeItem);
  reader_ = createAs<SafeItem>(objects_, safeItem);
  reader_->Item(inboxItem_);
  std::string body;
  if (needsBody && purpose_ == Purpose::kForward) {
    body = reader_->Body();
  }
  mobjSafe_->Item(required(inboxItem_->Forward(), "forward"));
  return body;
}

void clsSecurity::applySizeRule(const Settings& settings) {
  if (settings.includeAttachments) {
    sizeWithinLimit_ = !settings.limit.applies ||
                       keepsLimit(addedSizes(textSize_, attachmentsSize_), settings.limit);
    return;
  }
  // Attachments that are left out do not count.
  sizeWithinLimit_ = keepsLimit(textSize_, settings.limit);
  const auto attachments = required(mobjSafe_->Attachments(), "attachments");
  // The others move up when the first one is deleted. A store that deletes nothing would be asked
  // forever.
  for (std::int32_t left = attachments->Count(); left > 0;) {
    required(attachments->Item(1), "attachment")->Delete();
    const std::int32_t count = attachments->Count();
    if (count >= left) {
      throw MailStoreError("An attachment could not be removed");
    }
    left = count;
  }
}

// Replies to the forward go to the original sender. A failure here is ignored: the forward is still
// worth sending.
void clsSecurity::setReplyTo(const std::string& sender) {
  if (characterCount(sender) < kShortestReplyAddress) {
    return;
  }
  try {
    const auto session = createAs<LibrarySession>(objects_, prog_id::kLibrarySession);
    const auto application = createAs<Application>(objects_, prog_id::kApplication);
    session->MAPIOBJECT(required(application->Session(), "session")->MAPIOBJECT());
    const auto replyTo = required(mobjSafe_->ReplyRecipients(), "reply recipients");
    replyTo->Add(sender);
    // An address that cannot be resolved is no reason not to send.
    static_cast<void>(replyTo->ResolveAll());
  } catch (const std::exception&) {
  }
}

void clsSecurity::addRecipients(const Settings& settings) {
  if (settings.addresses.empty()) {
    errorText_ = "No Recipients chosen to forward to";
  }
  const auto recipients = required(mobjSafe_->Recipients(), "recipients");
  for (const std::string& address : settings.addresses) {
    required(recipients->Add(address), "recipient")->Type(settings.recipientType);
  }
}

bool clsSecurity::send() {
  errorText_.clear();
  try {
    SafeItem& forward = madeForward();
    // All or nothing: the forward goes to nobody if one address cannot be resolved.
    if (!required(forward.Recipients(), "recipients")->ResolveAll()) {
      errorText_ = "Outlook could not resolve all forwarding recipients";
      return false;
    }
    // Sends, and asks the application to deliver now and not at its next interval.
    forward.send();
    createAs<UtilityObject>(objects_, prog_id::kUtility)->DeliverNow();
    return true;
  } catch (const std::exception& fault) {
    errorText_ = fault.what();
    return false;
  }
}

bool clsSecurity::GetSafeItemSizes() {
  return measure(true);
}

// Each attachment costs two calls of the mail application, so they are measured only where their
// sizes decide something.
bool clsSecurity::measure(bool attachmentsToo) {
  try {
    if (!isSafeItem(mobjSafe_.get())) {
      errorText_ = "clsSecurity::GetSafeItemSizes Error - mobjSafe wrong type";
      return false;
    }
    const std::string subject = mobjSafe_->Subject();
    textSize_ = textSizeOf(subject, mobjSafe_->Body());
    // The sizes are those that the store reports; no attachment is read for them.
    attachmentsSize_ = 0;
    if (!attachmentsToo) {
      return true;
    }
    const auto attachments = required(mobjSafe_->Attachments(), "attachments");
    const std::int32_t count = attachments->Count();
    for (std::int32_t i = 1; i <= count; ++i) {
      const auto attachment = required(attachments->Item(i), "attachment");
      attachmentsSize_ = addedSizes(attachmentsSize_, attachment->Size());
    }
    return true;
  } catch (const std::exception& fault) {
    errorText_ = fault.what();
    return false;
  }
}

std::string clsSecurity::GetSafeItemSubject() {
  return ofForward([](SafeItem& forward) { return forward.Subject(); });
}

std::string clsSecurity::GetSafeItemBody() {
  return ofForward([](SafeItem& forward) { return forward.Body(); });
}

std::string clsSecurity::GetSafeItemEmailId() {
  return ofForward([](SafeItem& forward) { return forward.EntryID(); });
}

std::string clsSecurity::ofForward(std::string (*read)(SafeItem& forward)) {
  try {
    return mobjSafe_ ? read(*mobjSafe_) : std::string();
  } catch (const std::exception& fault) {
    errorText_ = fault.what();
    return {};
  }
}

SafeItem& clsSecurity::madeForward() const {
  if (!mobjSafe_) {
    throw MailStoreError("There is no forward to send");
  }
  return *mobjSafe_;
}

// Reports and task requests have no reading wrapper: their own properties raise no prompt.
MailItem& clsSecurity::readable() const {
  if (reader_) {
    return *reader_;
  }
  if (!inboxItem_) {
    throw MailStoreError("There is no item to read");
  }
  return *inboxItem_;
}

std::string clsSecurity::inboxSubject() {
  return readable().Subject();
}

std::string clsSecurity::inboxBody() {
  return readable().Body();
}

std::string clsSecurity::senderName() {
  if (!senderName_) {
    senderName_ = readable().SenderName();
  }
  return *senderName_;
}

std::string clsSecurity::senderAddress() {
  if (!senderAddress_) {
    senderAddress_ = readable().Fields(kPrSenderEmailAddress);
  }
  return *senderAddress_;
}

ItemReaderMaker itemReaders(ObjectFactory& objects) {
  return [&objects] { return std::make_unique<clsSecurity>(objects, clsSecurity::Purpose::kRead); };
}

}  // namespace relaybird
