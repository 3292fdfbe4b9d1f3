// SPDX-License-Identifier: MIT
#include "platform/system/os_version.h"

#include <string_view>

namespace relaybird {
namespace {

constexpr std::uint32_t kLastReleaseWithPlainRecordOnly = 4;

// The minor version within the Windows 95 family; no value outside it.
std::optional<std::uint32_t> minorOfWindows95Family(const OsVersion& system) {
  const auto info = system.GetOSVersionInfo();
  if (!info || info->platformId != kPlatformWindows95Family) {
    return std::nullopt;
  }
  return info->minorVersion;
}

}  // namespace

// Windows 95, 98 and ME call themselves 4.0, 4.10 and 4.90.
bool IsWin95(const OsVersion& system) {
  const auto minor = minorOfWindows95Family(system);
  return minor && *minor < 10;
}

bool IsWin98(const OsVersion& system) {
  const auto minor = minorOfWindows95Family(system);
  return minor && *minor >= 10 && *minor < 90;
}

bool IsWinME(const OsVersion& system) {
  const auto minor = minorOfWindows95Family(system);
  return minor && *minor >= 90;
}

bool IsPreWin95(const OsVersion& system) {
  const auto version = system.GetVersion();
  if (!version) {
    return false;
  }
  const auto major = static_cast<float>(*version & 0xFFu);
  const auto minor = static_cast<float>((*version >> 8) & 0xFFu);
  // Windows 95 reports 3.95 to programs of the time before it.
  return major + minor * 0.01f < 3.95f;
}

std::optional<OsVersionInfo> QueriedOsVersion::GetOSVersionInfo() const {
  RawVersionRecord record;
  if (!calls_.query(kPlainVersionRecordSize, record)) {
    return std::nullopt;
  }
  const bool extended = record.majorVersion > kLastReleaseWithPlainRecordOnly;
  // The extended query would fail on old releases, so the plain answer decides first.
  if (extended && !calls_.query(kExtendedVersionRecordSize, record)) {
    return std::nullopt;
  }

  OsVersionInfo info;
  info.majorVersion = record.majorVersion;
  info.minorVersion = record.minorVersion;
  info.buildNumber = record.buildNumber;
  info.platformId = record.platformId;
  const std::string_view field(record.servicePack, sizeof record.servicePack);
  info.servicePack = field.substr(0, field.find('\0'));
  if (extended) {
    info.servicePackMajor = record.servicePackMajor;
    info.servicePackMinor = record.servicePackMinor;
    info.suiteMask = record.suiteMask;
  }
  return info;
}

}  // namespace relaybird
