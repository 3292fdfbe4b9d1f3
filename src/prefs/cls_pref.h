// SPDX-License-Identifier: MIT
// clsPref: every setting of the user, the preference file, the rules that decide what is forwarded,
// and the address lists. The main window owns one for the life of the program.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"
#include "platform/system/os_version.h"
#include "platform/system/special_folders.h"
#include "prefs/address_lists.h"
#include "prefs/forwarding_rules.h"
#include "prefs/preference_fields.h"

namespace relaybird {

class clsPref;

/// How the forwarding rules read an inbox item's protected properties. The forward builder
/// implements it; the rules do not depend on it.
class ItemReader {
 public:
  virtual ~ItemReader() = default;
  /// Sets the preferences to use; true when they were accepted.
  virtual bool SetPref(const clsPref& prefs) = 0;
  /// Wraps the item. False when that fails; errorText() may say why.
  virtual bool MakeSafeInboxItem(const std::shared_ptr<MailItem>& item) = 0;
  virtual std::string errorText() const = 0;

  /// The texts of the inbox item, not of its forward. Read on first use; throw MailStoreError.
  virtual std::string inboxSubject() = 0;
  virtual std::string inboxBody() = 0;
  virtual std::string senderName() = 0;
  virtual std::string senderAddress() = 0;
};

/// Makes a new reader for one item. A reader only reads: it does not measure, address or save.
using ItemReaderMaker = std::function<std::unique_ptr<ItemReader>()>;

/// Everything that clsPref is given from outside. The referenced objects must outlive it.
struct PrefWorld {
  FileSystem& files;
  ProfileStrings& profiles;
  const SpecialFolders& folders;
  const OsVersion& osVersion;
  ObjectFactory& objects;
  ItemReaderMaker makeReader = nullptr;
  /// Makes a file the application's help file.
  std::function<void(const std::string& file)> setHelpFile = [](const std::string&) {};
  /// Takes a line for the verbose log, e.g. about a key with an unusable value.
  std::function<void(const std::string& line)> logVerbose = [](const std::string&) {};
  /// Takes a message for the log, e.g. why a save failed.
  std::function<void(const std::string& words)> log = [](const std::string&) {};
  /// The user's decimal separator, accepted besides the point. The file always has the point.
  std::string decimalSeparator = ".";
};

class PrefForms;

/// What FormToClass returns after an unexpected failure.
inline constexpr int kUnexpectedTransferFailure = -1000;

/// Operations return a status and set a text. Only the two readers of a task request throw.
class clsPref {
 public:
  explicit clsPref(PrefWorld world);

  double GetMinLeft() const { return fields_.mdblFwdToFrequency; }  ///< minutes
  bool bolFwdOnActivateForwarding() const { return fields_.mbolFwdUponStart; }
  bool bolBccForward() const { return fields_.mbolBcc; }
  bool bolIgnoreExistingMsg() const { return fields_.mbolIgnoreExistingUnread; }
  bool IncludeAttachments() const { return fields_.mbolIncludeAttachments; }
  bool LimitFwdSize() const { return fields_.mbolMaxFwdSize; }
  double GetFwdSizeLimit() const { return fields_.mdblMaxFwdSize; }  ///< megabytes
  std::int32_t GetMaxNumToForward() const { return fields_.mlngMaxToForward; }
  bool bolTurnOnFwdOnStartup() const { return fields_.mbolTurnOnFwdOnStartup; }
  bool bolFormatForCellPhone() const { return fields_.mbolFormatForCellPhone; }

  /// The fields themselves, for the settings form and its transfer.
  const PreferenceFields& fields() const { return fields_; }
  PreferenceFields& fields() { return fields_; }

  /// The path of the preference file. Moves a former file into place first. Returns the former path
  /// when the folder cannot be created or the file cannot be moved, which is logged once.
  std::string GetPrefIniFname();
  std::string GetOldPrefIniFname() const;
  /// Fills every field from the file; a missing file gives the defaults. Returns 1.
  int ReadIniPref(const std::string& section = "default");
  /// 1 when every key is on disk; -1 when a write failed: mstrErrDesc says so, and the log says
  /// why. The keys written before the failed one stay in the file.
  int WriteTofile(const std::string& section = "default");

  /// Status 1: decided; `forward` is the decision, and `reason` names the rule that rejected the
  /// item. Status -1: the text rule could not be evaluated; both are unchanged, and lastReason()
  /// says why.
  int intShouldForward(const std::shared_ptr<MailItem>& item, bool& forward, std::string& reason);
  /// Whether the last item was decided without its sender, which could not be read. The item is
  /// not to blame if the store has lost its server, and then an excluded sender must not pass.
  bool bolSenderUnknown() const { return senderUnknown_; }
  /// Whether a rule rejects an item whose forward cannot be built. For speed the rules only read an
  /// item; the caller builds the forward and reports a failure with intWithoutForward.
  bool bolRulesNeedForward() const;
  /// Decides, with the results of intShouldForward, about an item that passed the rules but whose
  /// forward cannot be built; `problem` says why.
  int intWithoutForward(const std::string& problem, bool& forward, std::string& reason);
  /// Status 1 and whether the item itself keeps the size limit; -1 when it could not be read, and
  /// `withinLimit` is unchanged.
  int intCheckSize(const std::shared_ptr<MailItem>& item, bool& withinLimit) const;
  const std::string& lastReason() const { return lastReason_; }
  /// Address and display name of the sender of the task in a task request. Throw MailStoreError.
  std::string GetTaskRequestEmail(const std::shared_ptr<MailItem>& item) const;
  std::string GetTaskRequestSendername(const std::shared_ptr<MailItem>& item) const;

  /// See address_lists.h.
  static std::string cleanStringEnds(std::string_view text);
  static int FormTextToArray(std::string_view text, StringList& list);
  static std::string MakeStringFromArray(const StringList& list);
  /// Copies the forward-to addresses; returns how many there are. A list that holds one empty entry
  /// counts as it stands: 1.
  int GetFwdAddresses(StringList& list) const;
  std::string GetForwardAddress() const;
  /// The question that asks to confirm the addresses. Returns the number of addresses, 0 with an
  /// empty message when there is none.
  int GetFwdConfirmMessage(std::string& message, bool once = false) const;

  /// The windows that the next three work on; must outlive their use.
  void connectForms(PrefForms& forms) { forms_ = &forms; }
  /// Stores the content of the settings dialog if all of it is acceptable. Returns 1; -1
  /// when a value was refused, and mstrErrDesc says which; 0 when the user declined to go on after
  /// a failed address check, and mbolDontExit is set. Nothing has been stored then.
  /// kUnexpectedTransferFailure after any other failure, which the verbose log names; what was
  /// stored before it stays.
  int FormToClass();
  /// Fills the dialog, and shows the format in the main window. Returns 1, or -1 after a failure,
  /// which the verbose log names. A stored code outside its range goes into the dialog as it is.
  int ClassToForm();
  /// Whether the dialog shows what is stored, as ClassToForm would fill it. False also after a
  /// failure, which the verbose log names.
  bool formShowsStored() const;
  /// Shows the forward-to addresses in the main window.
  void UpdateEmailAddrOnMainForm();

  // Shared by the dialog, the address check and FormToClass.
  bool mbolChangedFwdAd =
      false;  ///< the forward-to addresses were edited since they were filled in
  bool mbolHaveCheckedAd = false;  ///< and have been checked since the last edit
  bool mbolAdAreOk = false;        ///< and that check found every one of them good
  bool mbolDontExit = false;       ///< the user declined to apply; the dialog stays open
  std::string mstrErrDesc;         ///< what the last operation that failed says to the user

 private:
  // These throw MailStoreError, but for senderRuleRejection, which is empty when the rule lets
  // pass.
  int textRuleFailed(std::string_view problem);
  bool textRuleAllows(const std::shared_ptr<MailItem>& item);
  std::string_view senderRuleRejection(const std::shared_ptr<MailItem>& item);
  bool senderInList(const std::shared_ptr<MailItem>& item);
  std::unique_ptr<ItemReader> readerOf(const std::shared_ptr<MailItem>& item) const;
  std::string taskProperty(const std::shared_ptr<MailItem>& item, std::uint32_t tag) const;
  void takeHelpFile(const ProfileReader& file);
  void store(const PreferenceFields& accepted);
  void fillForm(PrefForms& form) const;

  PrefWorld world_;
  PreferenceFields fields_;
  FoldedList words_;
  FoldedList senders_;
  bool toldOfFormerPlace_ = false;
  PrefForms* forms_ = nullptr;
  std::string lastReason_;
  bool senderUnknown_ = false;
};

}  // namespace relaybird
