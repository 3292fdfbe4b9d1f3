// SPDX-License-Identifier: MIT
// A preference object with everything that it needs, in memory.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "mail/mail_store.h"
#include "platform/system/os_version.h"
#include "platform/system/special_folders.h"
#include "prefs/cls_pref.h"
#include "prefs/fake_files.h"
#include "prefs/fake_profiles.h"

namespace relaybird {

struct HomeFolders : SpecialFolders {
  std::string appData = "/home/ann/.config";
  std::string templates = "/home/ann/Templates";
  std::string windows = "/home/ann/.config";
  std::string GetSpecialFolderPath(int folderNumber) const override {
    return folderNumber == kAppDataFolder ? appData : std::string();
  }
  std::string templatesFolder() const override { return templates; }
  std::string windowsFolder() const override { return windows; }
  std::string stateFolder() const override { return "/home/ann/.local/state"; }
};

/// Any Windows, by its version numbers; not a Windows at first.
struct FakeOsVersion : OsVersion {
  std::optional<OsVersionInfo> info;
  std::optional<std::uint32_t> version;
  std::optional<OsVersionInfo> GetOSVersionInfo() const override { return info; }
  std::optional<std::uint32_t> GetVersion() const override { return version; }
};

/// A machine without any mail component.
struct NoObjects : ObjectFactory {
  std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override {
    throw MailStoreError("no " + std::string(progId));
  }
};

struct PrefBench {
  explicit PrefBench(ItemReaderMaker readers = nullptr, ObjectFactory* factory = nullptr)
      : prefs(
            PrefWorld{.files = files,
                      .profiles = profiles,
                      .folders = folders,
                      .osVersion = osVersion,
                      .objects = factory != nullptr ? *factory : noObjects,
                      .makeReader = std::move(readers),
                      .setHelpFile = [this](const std::string& file) { helpFiles.push_back(file); },
                      .logVerbose = [this](const std::string& line) { verbose.push_back(line); },
                      .log = [this](const std::string& words) { log.push_back(words); }}) {
    for (const char* path : {"/home", "/home/ann", "/home/ann/.config", "/home/ann/Templates"}) {
      files.addFolder(path);
    }
  }
  PrefBench(const PrefBench&) = delete;
  PrefBench& operator=(const PrefBench&) = delete;

  FakeFiles files;
  FakeProfiles profiles;
  HomeFolders folders;
  FakeOsVersion osVersion;
  NoObjects noObjects;
  std::vector<std::string> helpFiles;
  std::vector<std::string> verbose;
  std::vector<std::string> log;
  clsPref prefs;
};

inline constexpr const char* kCurrentFile = "/home/ann/.config/rbx/rbx_prefs.ini";
inline constexpr const char* kFormerFile = "/home/ann/Templates/rbx.ini";

}  // namespace relaybird
