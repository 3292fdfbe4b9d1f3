// SPDX-License-Identifier: MIT
#include "prefs/preference_fields.h"

namespace relaybird {

namespace {

using F = PreferenceFields;

// An empty value is not the same as a missing key: mbolBcc, mbolMaxFwdSize and mintMatchType take
// another value then. Lists have neither text: their entries are bounded by a count of their own.
constexpr std::array<PreferenceField, kPreferenceFieldCount> kFields = {{
    {"mdblFwdToFrequency", &F::mdblFwdToFrequency, "15.0", "15.0", 1},
    {"mbolFwdUponStart", &F::mbolFwdUponStart, "False", "False", 2},
    {"mbolBcc", &F::mbolBcc, "False", "True", 3},
    {"mbolIgnoreExistingUnread", &F::mbolIgnoreExistingUnread, "False", "False", 4},
    {"mbolIncludeAttachments", &F::mbolIncludeAttachments, "True", "True", 5},
    {"mbolMaxFwdSize", &F::mbolMaxFwdSize, "False", "True", 6},
    {"mdblMaxFwdSize", &F::mdblMaxFwdSize, "1.0", "1.0", 7},
    {"mlngMaxToForward", &F::mlngMaxToForward, "1000", "1000", 18},
    {"mintSenderFilter", &F::mintSenderFilter, "500", "500", 8},
    {"mbolFilterText", &F::mbolFilterText, "false", "false", 9},
    {"mintTextToCheck", &F::mintTextToCheck, "100", "100", 10},
    {"mintMatchType", &F::mintMatchType, "200", "201", 11},
    {"mbolUseWinLogon", &F::mbolUseWinLogon, "true", "true", 12},
    {"mstrUsername", &F::mstrUsername, "Username", "", 16},
    {"mstrPassword", ShiftedText{&F::mstrPassword}, "", "", 17},
    {"mbolTurnOnFwdOnStartup", &F::mbolTurnOnFwdOnStartup, "False", "False", 19},
    {"mbolFormatForCellPhone", &F::mbolFormatForCellPhone, "False", "False", 20},
    {"mcolSenderList", &F::mcolSenderList, "", "", 13},
    {"mstrFwdToAddress", &F::mstrFwdToAddress, "", "", 14},
    {"mstrTextToMatch", &F::mstrTextToMatch, "", "", 15},
}};

constexpr PreferenceTable orderOfWriting() {
  PreferenceTable ordered{};
  for (const PreferenceField& field : kFields) {
    ordered[static_cast<std::size_t>(field.writtenAs - 1)] = &field;
  }
  return ordered;
}

constexpr PreferenceTable kWritten = orderOfWriting();

constexpr bool everyPlaceIsTaken() {
  for (const PreferenceField* field : kWritten) {
    if (field == nullptr) {
      return false;
    }
  }
  return true;
}
static_assert(everyPlaceIsTaken());

}  // namespace

const std::array<PreferenceField, kPreferenceFieldCount>& preferenceFields() {
  return kFields;
}

const PreferenceTable& preferenceFieldsAsWritten() {
  return kWritten;
}

}  // namespace relaybird
