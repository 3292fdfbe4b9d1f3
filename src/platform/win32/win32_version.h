// SPDX-License-Identifier: MIT
#pragma once

#include "platform/system/os_version.h"

namespace relaybird {

/// GetVersionExA with either size of its record, and GetVersion. A program whose manifest does not
/// name the release that runs it is told of Windows 8 (6.2) there; ours name all up to Windows 11.
class Win32VersionCalls : public VersionCalls {
 public:
  bool query(std::uint32_t recordSize, RawVersionRecord& record) override;
  std::uint32_t version() override;
};

/// The version of the Windows that runs the program.
class Win32OsVersion : public OsVersion {
 public:
  std::optional<OsVersionInfo> GetOSVersionInfo() const override {
    return queried_.GetOSVersionInfo();
  }
  std::optional<std::uint32_t> GetVersion() const override { return queried_.GetVersion(); }

 private:
  Win32VersionCalls calls_;
  QueriedOsVersion queried_{calls_};
};

}  // namespace relaybird
