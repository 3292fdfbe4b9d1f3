// SPDX-License-Identifier: MIT
#include "platform/win32/win32_version.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

namespace relaybird {

static_assert(sizeof(OSVERSIONINFOA) == kPlainVersionRecordSize);
static_assert(sizeof(OSVERSIONINFOEXA) == kExtendedVersionRecordSize);

bool Win32VersionCalls::query(std::uint32_t recordSize, RawVersionRecord& record) {
  OSVERSIONINFOEXA answer{};
  answer.dwOSVersionInfoSize = recordSize;
  // The system would take another size for another layout.
  if (recordSize != kPlainVersionRecordSize && recordSize != kExtendedVersionRecordSize) {
    return false;
  }
  if (!::GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&answer))) {
    return false;
  }
  record.majorVersion = answer.dwMajorVersion;
  record.minorVersion = answer.dwMinorVersion;
  record.buildNumber = answer.dwBuildNumber;
  record.platformId = answer.dwPlatformId;
  std::copy(std::begin(answer.szCSDVersion), std::end(answer.szCSDVersion), record.servicePack);
  record.servicePackMajor = answer.wServicePackMajor;
  record.servicePackMinor = answer.wServicePackMinor;
  record.suiteMask = answer.wSuiteMask;
  return true;
}

std::uint32_t Win32VersionCalls::version() {
  return ::GetVersion();
}

}  // namespace relaybird
