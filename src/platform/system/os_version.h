// SPDX-License-Identifier: MIT
// modOSVersion: the Windows family and release that the program runs on. The answers come through
// an interface, so that a test can pretend to be any Windows, and other systems belong to no
// family.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace relaybird {

/// The platform identifier of Windows 95, 98 and ME; that of the NT line is 2.
inline constexpr std::uint32_t kPlatformWindows95Family = 1;

struct OsVersionInfo {
  std::uint32_t majorVersion = 0;
  std::uint32_t minorVersion = 0;
  std::uint32_t buildNumber = 0;
  std::uint32_t platformId = 0;
  std::string servicePack;  ///< such as "Service Pack 6"; often empty
  /// These three are 0 before major version 5.
  std::uint16_t servicePackMajor = 0;
  std::uint16_t servicePackMinor = 0;
  std::uint16_t suiteMask = 0;
};

class OsVersion {
 public:
  virtual ~OsVersion() = default;
  /// No value when the system does not know, or is not Windows.
  virtual std::optional<OsVersionInfo> GetOSVersionInfo() const = 0;
  /// The oldest form of the version: major in the low byte, minor in the next one. No value when
  /// the system is not Windows.
  virtual std::optional<std::uint32_t> GetVersion() const = 0;
};

/// The family tests. False when the version is unknown.
bool IsWin95(const OsVersion& system);
bool IsWin98(const OsVersion& system);
bool IsWinME(const OsVersion& system);
/// Windows 3.x and NT 3.x.
bool IsPreWin95(const OsVersion& system);

/// Every system but Windows: it has no version to report, so it belongs to no family.
class NotWindows : public OsVersion {
 public:
  std::optional<OsVersionInfo> GetOSVersionInfo() const override { return std::nullopt; }
  std::optional<std::uint32_t> GetVersion() const override { return std::nullopt; }
};

/// The sizes of the plain and the extended version record, in bytes. Releases up to 4 refuse to
/// fill the extended one.
inline constexpr std::uint32_t kPlainVersionRecordSize = 148;
inline constexpr std::uint32_t kExtendedVersionRecordSize = 156;

/// The record that the version call fills, in its order of fields.
struct RawVersionRecord {
  std::uint32_t majorVersion = 0;
  std::uint32_t minorVersion = 0;
  std::uint32_t buildNumber = 0;
  std::uint32_t platformId = 0;
  char servicePack[128] = {};  ///< NUL-terminated unless it fills the field
  std::uint16_t servicePackMajor = 0;
  std::uint16_t servicePackMinor = 0;
  std::uint16_t suiteMask = 0;
};

/// The bare calls. On Windows an implementation hands them to GetVersionExA and GetVersion.
class VersionCalls {
 public:
  virtual ~VersionCalls() = default;
  /// Queries a record of that size. False on failure; `record` is undefined then. A plain query
  /// does not set the fields from servicePackMajor on.
  virtual bool query(std::uint32_t recordSize, RawVersionRecord& record) = 0;
  virtual std::uint32_t version() = 0;
};

/// The answers from the bare calls: queries the plain record, and the extended one only on releases
/// that know it. `calls` must outlive this.
class QueriedOsVersion : public OsVersion {
 public:
  explicit QueriedOsVersion(VersionCalls& calls) : calls_(calls) {}
  std::optional<OsVersionInfo> GetOSVersionInfo() const override;
  std::optional<std::uint32_t> GetVersion() const override { return calls_.version(); }

 private:
  VersionCalls& calls_;
};

}  // namespace relaybird
