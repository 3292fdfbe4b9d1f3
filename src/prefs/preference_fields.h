// SPDX-License-Identifier: MIT
// The settings of the user as data: one struct that holds them, and one table with a line for each.
// Reading and writing the preference file, the defaults, and filling the settings dialog and taking
// it over all follow from the table.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace relaybird {

/// A list that the user types with semicolons between the entries. An empty list is stored as one
/// empty entry; no entry at all means that the list was never filled.
using StringList = std::vector<std::string>;

/// mintSenderFilter: whose items are forwarded. Other values are legal and reject no sender.
inline constexpr std::int16_t kForwardFromAnyone = 500;
inline constexpr std::int16_t kForwardOnlyListed = 501;
inline constexpr std::int16_t kForwardAllButListed = 502;

/// mintTextToCheck: where the text rule looks. With any other value it rejects every item.
inline constexpr std::int16_t kCheckSubject = 100;
inline constexpr std::int16_t kCheckBody = 101;
inline constexpr std::int16_t kCheckSubjectAndBody = 102;

/// mintMatchType: whether all strings must occur. With any other value one of them is enough.
inline constexpr std::int16_t kMatchAll = 200;
inline constexpr std::int16_t kMatchAny = 201;

/// Mail is never checked more often than this, in minutes: the settings dialog refuses less, and a
/// smaller number in a hand-edited preference file is raised to it.
inline constexpr std::int32_t kFewestMinutes = 2;

/// The unit of mdblMaxFwdSize.
inline constexpr double kBytesPerMegabyte = 1'000'000;

/// The members are named like their keys in the preference file. They are zero and empty until a
/// file has been read; reading a missing file gives the defaults.
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

/// A text whose characters are shifted in the file.
struct ShiftedText {
  std::string PreferenceFields::*member;
};

/// The member that holds a setting. Its type decides the text form in the file and, for a whole
/// number, the range.
using PreferenceMember =
    std::variant<bool PreferenceFields::*, double PreferenceFields::*,
                 std::int16_t PreferenceFields::*, std::int32_t PreferenceFields::*,
                 std::string PreferenceFields::*, ShiftedText, StringList PreferenceFields::*>;

/// One setting: its key in the preference file, its control in the settings dialog, and its place
/// in each order that users and older releases know. Reading follows the table itself.
struct PreferenceField {
  std::string_view name;  ///< the member's name and the key; of a list, the stem of its keys
  PreferenceMember member;
  std::string_view absentText;  ///< what is read where the file has no such key
  std::string_view emptyText;   ///< what an empty value in the file stands for
  std::string_view control;     ///< in the settings dialog; empty where it is not shown there
  int writtenAs;                ///< place in the order of writing to the file, from 1
  int storedAs;                 ///< place in the order of taking over from the dialog, 0: never
  /// Place in the order of filling the dialog, 0: never. Each assignment raises the control's
  /// reactions, so users see the order.
  int shownAs;
};

/// Every setting, in the order in which they are read.
///
/// An empty value is not the same as a missing key: mbolBcc, mbolMaxFwdSize and mintMatchType take
/// another value then. Lists have neither text: a count of their own bounds their entries.
inline constexpr auto kPreferenceFields = [] {
  using F = PreferenceFields;
  return std::to_array<PreferenceField>({
      {"mdblFwdToFrequency", &F::mdblFwdToFrequency, "15.0", "15.0", "txtMinutes", 1, 1, 1},
      {"mbolFwdUponStart", &F::mbolFwdUponStart, "False", "False", "chkForwardStart", 2, 3, 2},
      {"mbolBcc", &F::mbolBcc, "False", "True", "chkBcc", 3, 4, 6},
      {"mbolIgnoreExistingUnread", &F::mbolIgnoreExistingUnread, "False", "False",
       "chkIgnoreExistingMsg", 4, 2, 3},
      {"mbolIncludeAttachments", &F::mbolIncludeAttachments, "True", "True",
       "chkIncludeAttachments", 5, 6, 4},
      {"mbolMaxFwdSize", &F::mbolMaxFwdSize, "False", "True", "chkLimitFileSize", 6, 7, 5},
      {"mdblMaxFwdSize", &F::mdblMaxFwdSize, "1.0", "1.0", "txtMaxFileSize", 7, 8, 7},
      {"mlngMaxToForward", &F::mlngMaxToForward, "1000", "1000", "txtMaxToForward", 18, 5, 8},
      {"mintSenderFilter", &F::mintSenderFilter, "500", "500", "opbFwdAll", 8, 9, 9},
      {"mbolFilterText", &F::mbolFilterText, "false", "false", "chkContentFilter", 9, 10, 11},
      {"mintTextToCheck", &F::mintTextToCheck, "100", "100", "cmbTextToCheck", 10, 11, 12},
      {"mintMatchType", &F::mintMatchType, "200", "201", "cmbTypeOfMatch", 11, 12, 13},
      {"mbolUseWinLogon", &F::mbolUseWinLogon, "true", "true", "", 12, 0, 0},
      {"mstrUsername", &F::mstrUsername, "Username", "", "", 16, 0, 0},
      {"mstrPassword", ShiftedText{&F::mstrPassword}, "", "", "", 17, 0, 0},
      {"mbolTurnOnFwdOnStartup", &F::mbolTurnOnFwdOnStartup, "False", "False",
       "chkForwardingOnAtStartup", 19, 16, 16},
      {"mbolFormatForCellPhone", &F::mbolFormatForCellPhone, "False", "False", "opbRegCellPhone",
       20, 17, 17},
      {"mcolSenderList", &F::mcolSenderList, "", "", "txtAddresses", 13, 13, 10},
      {"mstrFwdToAddress", &F::mstrFwdToAddress, "", "", "txtAddress", 14, 14, 15},
      {"mstrTextToMatch", &F::mstrTextToMatch, "", "", "txtWordMatch", 15, 15, 14},
  });
}();

/// The settings in one of their orders, e.g. &PreferenceField::writtenAs; those without a place in
/// it are left out.
inline std::vector<const PreferenceField*> preferenceFieldsBy(int PreferenceField::*place) {
  std::vector<const PreferenceField*> ordered;
  for (const PreferenceField& field : kPreferenceFields) {
    if (field.*place > 0) {
      ordered.push_back(&field);
    }
  }
  std::sort(ordered.begin(), ordered.end(),
            [&](const auto* left, const auto* right) { return left->*place < right->*place; });
  return ordered;
}

/// Whether each place from 1 up to the number of settings in this order is taken once.
constexpr bool placesAreComplete(int PreferenceField::*place) {
  std::array<bool, kPreferenceFields.size() + 1> taken{};
  std::size_t count = 0;
  for (const PreferenceField& field : kPreferenceFields) {
    const auto at = static_cast<std::size_t>(field.*place);
    if (at > kPreferenceFields.size() || (at > 0 && taken[at])) {
      return false;
    }
    taken[at] = true;
    count += at > 0 ? 1 : 0;
  }
  return std::all_of(taken.begin() + 1, taken.begin() + 1 + static_cast<std::ptrdiff_t>(count),
                     [](bool isTaken) { return isTaken; });
}
static_assert(placesAreComplete(&PreferenceField::writtenAs));
static_assert(placesAreComplete(&PreferenceField::storedAs));
static_assert(placesAreComplete(&PreferenceField::shownAs));
// A setting that had no place here would never be saved.
static_assert(std::all_of(kPreferenceFields.begin(), kPreferenceFields.end(),
                          [](const PreferenceField& field) { return field.writtenAs > 0; }));

}  // namespace relaybird
