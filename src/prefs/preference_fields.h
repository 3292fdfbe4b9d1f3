// SPDX-License-Identifier: MIT
// The settings of the user as data: one struct that holds them, and one table that declares each of
// them once. Reading, writing and the defaults of the preference file all follow from the table.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace relaybird {

/// A list as the user typed it between semicolons. A list that holds nothing is one empty entry; no
/// entry at all means that it was never filled.
using StringList = std::vector<std::string>;

/// mintSenderFilter: whose items are forwarded. Other values are legal and reject nobody.
inline constexpr std::int16_t kForwardFromAnyone = 500;
inline constexpr std::int16_t kForwardOnlyListed = 501;
inline constexpr std::int16_t kForwardAllButListed = 502;

/// mintTextToCheck: where the text rule looks. With any other value it lets nothing through.
inline constexpr std::int16_t kCheckSubject = 100;
inline constexpr std::int16_t kCheckBody = 101;
inline constexpr std::int16_t kCheckSubjectAndBody = 102;

/// mintMatchType: whether all strings must occur. With any other value one of them is enough.
inline constexpr std::int16_t kMatchAll = 200;
inline constexpr std::int16_t kMatchAny = 201;

/// The members carry the names of their keys in the preference file. Zero and empty until a file
/// has been read, a missing one included.
struct PreferenceFields {
  double mdblFwdToFrequency = 0;          ///< minutes between checks
  bool mbolFwdUponStart = false;          ///< check once as soon as forwarding is switched on
  bool mbolBcc = false;                   ///< recipients as blind copies
  bool mbolIgnoreExistingUnread = false;  ///< leave items that were unread before switching on
  bool mbolIncludeAttachments = false;
  bool mbolMaxFwdSize = false;  ///< whether the size limit applies
  double mdblMaxFwdSize = 0;    ///< the limit in megabytes of 1,000,000 bytes
  std::int32_t mlngMaxToForward = 0;
  std::int16_t mintSenderFilter = 0;
  StringList mcolSenderList;
  bool mbolFilterText = false;  ///< whether the text rule applies
  std::int16_t mintTextToCheck = 0;
  std::int16_t mintMatchType = 0;
  StringList mstrTextToMatch;
  /// The mail session always uses the current profile: these three are kept in the file for older
  /// releases, and reading sets them to true, empty and empty whatever the file holds.
  bool mbolUseWinLogon = false;
  std::string mstrUsername;
  std::string mstrPassword;
  bool mbolTurnOnFwdOnStartup = false;
  bool mbolFormatForCellPhone = false;
  StringList mstrFwdToAddress;
};

/// A text that the file holds with its characters shifted.
struct ShiftedText {
  std::string PreferenceFields::*member;
};

/// Where a setting is held. The type decides its text form in the file and, for a whole number, the
/// width that it must fit.
using PreferenceMember =
    std::variant<bool PreferenceFields::*, double PreferenceFields::*,
                 std::int16_t PreferenceFields::*, std::int32_t PreferenceFields::*,
                 std::string PreferenceFields::*, ShiftedText, StringList PreferenceFields::*>;

/// One setting of the preference file.
struct PreferenceField {
  std::string_view name;  ///< the member's name and the key; of a list, the stem of its keys
  PreferenceMember member;
  std::string_view absentText;  ///< what is read where the file has no such key
  std::string_view emptyText;   ///< what an empty value in the file stands for
  int writtenAs;                ///< place in the order of writing, from 1
};

inline constexpr std::size_t kPreferenceFieldCount = 20;
using PreferenceTable = std::array<const PreferenceField*, kPreferenceFieldCount>;

/// Every setting, in the order in which they are read.
const std::array<PreferenceField, kPreferenceFieldCount>& preferenceFields();
/// Every setting, in the order in which they are written.
const PreferenceTable& preferenceFieldsAsWritten();

}  // namespace relaybird
