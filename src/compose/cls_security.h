// SPDX-License-Identifier: MIT
// clsSecurity builds the forward of one inbox item and sends it. It reads and writes items only
// through safe items, so that no security prompt of the mail application stops it. The size limit
// of forwards is declared first: megabytes of 1,000,000 bytes, 32-bit sizes. A number that does not
// fit 32 bits throws MailStoreError("Overflow"); nothing wraps.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "prefs/cls_pref.h"
#include "prefs/preference_fields.h"

namespace relaybird {

/// The limit as the preferences hold it.
struct SizeLimit {
  bool applies = false;
  double megabytes = 0;
};

/// Characters of a subject and a body together.
std::int32_t textSizeOf(std::string_view subject, std::string_view body);

/// The sum of two sizes.
std::int32_t addedSizes(std::int32_t left, std::int32_t right);

/// Whether a size is at most the limit, rounded to the nearest byte, halves to even. While the
/// limit does not apply nothing is computed, so nothing can overflow.
bool keepsLimit(std::int32_t size, const SizeLimit& limit);

/// The same with the limit rounded to whole megabytes, halves to even: 1.5 allows 2,000,000 bytes,
/// 0.5 allows none.
bool keepsWholeMegabytes(std::int32_t size, const SizeLimit& limit);

/// One builder serves one pass; each new item replaces the last one. A failure is a false result
/// and errorText(). Only the four readers of the inbox item throw MailStoreError.
class clsSecurity : public ItemReader {
 public:
  /// Whether MakeSafeInboxItem builds the forward (measured, stripped, addressed, saved) or only
  /// wraps the item for reading, which is all that a rule needs.
  enum class Purpose { kForward, kRead };

  explicit clsSecurity(ObjectFactory& objects, Purpose purpose = Purpose::kForward);

  /// Always true. The preferences must outlive the builder's use. Without preferences there is no
  /// size limit and no recipient.
  bool SetPref(const clsPref& prefs) override;
  /// Selects the short cell-phone format for the next forwards.
  void setFormatForCellPhone(bool cellPhone) { cellPhone_ = cellPhone; }

  /// False for a kind of item that cannot be forwarded (errorText() is empty) and after a fault
  /// (errorText() describes it); there is no forward then. True, with an errorText(), when there is
  /// no recipient.
  bool MakeSafeInboxItem(const std::shared_ptr<MailItem>& item) override;
  /// Whether the last forward built keeps the size limit.
  bool sizeWithinLimit() const { return sizeWithinLimit_; }
  std::string errorText() const override { return errorText_; }

  /// Resolves the recipients, hands the forward to the outbox and asks for delivery. False when a
  /// recipient cannot be resolved (nothing is sent then) and after a fault; after a fault in the
  /// delivery the forward stays in the outbox.
  bool send();
  /// Measures the current forward. False, with an errorText(), when there is none or when it is of
  /// a wrong class.
  bool GetSafeItemSizes();
  std::int32_t textSize() const { return textSize_; }  ///< characters
  /// Bytes. MakeSafeInboxItem measures attachments only where they count for the size limit, and
  /// leaves 0 otherwise.
  std::int32_t attachmentsSize() const { return attachmentsSize_; }

  /// Of the forward; empty when there is none and after a fault, which errorText() describes.
  std::string GetSafeItemSubject();
  std::string GetSafeItemBody();
  std::string GetSafeItemEmailId();

  /// Of the last inbox item, unchanged. The sender of a report is "Administrator", that of a task
  /// request "task".
  std::string inboxSubject() override;
  std::string inboxBody() override;
  std::string senderName() override;
  std::string senderAddress() override;

 private:
  /// The preferences that apply to one forward.
  struct Settings {
    SizeLimit limit;
    bool includeAttachments = true;
    StringList addresses;
    RecipientType recipientType = RecipientType::kTo;

    /// Whether the sizes of attachments count for the limit.
    bool attachmentsCount() const { return limit.applies && includeAttachments; }
  };

  void drop();
  Settings readSettings() const;
  bool build(const std::shared_ptr<MailItem>& item);
  bool buildFromMail(const Settings& settings);
  bool buildFromMeeting(const Settings& settings);
  bool buildFromCopy(const Settings& settings, const char* sender);
  std::string wrapWithForward(std::string_view safeItem, bool needsBody);
  bool measure(bool attachmentsToo);
  void applySizeRule(const Settings& settings);
  void setReplyTo(const std::string& sender);
  void addRecipients(const Settings& settings);
  std::string ofForward(std::string (*read)(SafeItem& forward));
  SafeItem& madeForward() const;
  MailItem& readable() const;

  ObjectFactory& objects_;
  Purpose purpose_;
  const clsPref* prefs_ = nullptr;
  bool cellPhone_ = false;

  std::shared_ptr<MailItem> inboxItem_;
  std::shared_ptr<SafeItem> reader_;    ///< wraps the inbox item
  std::shared_ptr<SafeItem> mobjSafe_;  ///< wraps the forward
  bool sizeWithinLimit_ = false;
  std::string errorText_;
  std::int32_t textSize_ = 0;
  std::int32_t attachmentsSize_ = 0;
  std::optional<std::string> senderName_;  ///< read when first needed
  std::optional<std::string> senderAddress_;
};

/// Makes readers for the forwarding rules: builders that only read. The factory must outlive them.
ItemReaderMaker itemReaders(ObjectFactory& objects);

}  // namespace relaybird
