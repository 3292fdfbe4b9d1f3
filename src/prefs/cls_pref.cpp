// SPDX-License-Identifier: MIT
// clsPref's file and its lists. Its rules are in cls_pref_rules.cpp.
#include "prefs/cls_pref.h"

#include <utility>

#include "platform/text/ascii_text.h"
#include "prefs/file/preference_file.h"
#include "prefs/file/preference_location.h"

namespace relaybird {

namespace {

constexpr std::string_view kHelpEnding = "CHM";

bool namesHelpFile(std::string_view path) {
  return path.size() >= kHelpEnding.size() &&
         asciiUpper(path.substr(path.size() - kHelpEnding.size())) == kHelpEnding;
}

bool fileExists(FileSystem& files, const std::string& path) {
  const Result<FileInfo> info = files.inspect(path);
  return info && (info->type == FileType::kRegular || info->type == FileType::kLink);
}

}  // namespace

clsPref::clsPref(PrefWorld world) : world_(std::move(world)) {}

std::string clsPref::GetPrefIniFname() {
  std::string file =
      locatePreferenceFile({world_.files, world_.profiles, world_.folders, world_.osVersion});
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
  if (namesHelpFile(path) && fileExists(world_.files, path)) {
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

}  // namespace relaybird
