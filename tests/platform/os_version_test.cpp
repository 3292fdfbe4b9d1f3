// SPDX-License-Identifier: MIT
// The families of Windows by their version numbers, and the two queries by which they are learnt.
// Both the versions and the system's calls are fakes, as this runs on other systems.
#include "platform/system/os_version.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace relaybird {
namespace {

class FixedVersion : public OsVersion {
 public:
  FixedVersion(std::uint32_t platformId, std::uint32_t major, std::uint32_t minor) {
    info_.platformId = platformId;
    info_.majorVersion = major;
    info_.minorVersion = minor;
  }
  std::optional<OsVersionInfo> GetOSVersionInfo() const override { return info_; }
  std::optional<std::uint32_t> GetVersion() const override {
    return info_.majorVersion | info_.minorVersion << 8;
  }

 private:
  OsVersionInfo info_;
};

std::string family(const OsVersion& system) {
  std::string result;
  if (IsPreWin95(system)) {
    result += "pre95 ";
  }
  if (IsWin95(system)) {
    result += "95 ";
  }
  if (IsWin98(system)) {
    result += "98 ";
  }
  if (IsWinME(system)) {
    result += "ME ";
  }
  return result.empty() ? "none" : result.substr(0, result.size() - 1);
}

TEST(OsVersion, TheMinorVersionTellsTheMembersOfTheFamilyApart) {
  EXPECT_EQ(family(FixedVersion(1, 4, 0)), "95");
  EXPECT_EQ(family(FixedVersion(1, 4, 9)), "95");
  EXPECT_EQ(family(FixedVersion(1, 4, 10)), "98");
  EXPECT_EQ(family(FixedVersion(1, 4, 89)), "98");
  EXPECT_EQ(family(FixedVersion(1, 4, 90)), "ME");
  EXPECT_EQ(family(FixedVersion(1, 4, 250)), "ME");
}

TEST(OsVersion, NoReleaseOfTheNtLineFrom4OnBelongsToAFamily) {
  for (const auto& [major, minor] : std::vector<std::pair<unsigned, unsigned>>{
           {4, 0}, {5, 0}, {5, 1}, {5, 2}, {6, 0}, {6, 1}, {6, 3}, {10, 0}}) {
    EXPECT_EQ(family(FixedVersion(2, major, minor)), "none") << major << '.' << minor;
  }
}

TEST(OsVersion, ReleasesBelow395AreOlderThanTheFamily) {
  EXPECT_EQ(family(FixedVersion(0, 3, 10)), "pre95");
  EXPECT_EQ(family(FixedVersion(2, 3, 51)), "pre95");
  EXPECT_EQ(family(FixedVersion(2, 3, 94)), "pre95");
  // 3 + 95 * 0.01 in single precision is exactly the border's own value.
  EXPECT_EQ(family(FixedVersion(2, 3, 95)), "none");
  EXPECT_EQ(family(FixedVersion(2, 3, 96)), "none");
}

TEST(OsVersion, OnlyTheTwoLowestBytesOfTheOldVersionCount) {
  class HighBits : public NotWindows {
   public:
    std::optional<std::uint32_t> GetVersion() const override { return 0xC0DE3303u; }
  };
  EXPECT_TRUE(IsPreWin95(HighBits()));
}

TEST(OsVersion, ASystemThatIsNotWindowsBelongsToNoFamily) {
  const NotWindows system;
  EXPECT_EQ(family(system), "none");
  EXPECT_FALSE(system.GetOSVersionInfo());
}

// Answers like the calls: fills the fields of a record of that size.
class FakeCalls : public VersionCalls {
 public:
  bool query(std::uint32_t recordSize, RawVersionRecord& record) override {
    sizes.push_back(recordSize);
    if (std::find(refused.begin(), refused.end(), recordSize) != refused.end()) {
      record.majorVersion = 77;  // garbage, as a failed call may leave
      return false;
    }
    const RawVersionRecord before = record;
    record = answer;
    if (recordSize == kPlainVersionRecordSize) {
      record.servicePackMajor = before.servicePackMajor;
      record.servicePackMinor = before.servicePackMinor;
      record.suiteMask = before.suiteMask;
    }
    return true;
  }
  std::uint32_t version() override { return 0x0A; }

  RawVersionRecord answer;
  std::vector<std::uint32_t> refused;
  std::vector<std::uint32_t> sizes;
};

FakeCalls windows(std::uint32_t major, std::uint32_t minor) {
  FakeCalls calls;
  calls.answer.majorVersion = major;
  calls.answer.minorVersion = minor;
  calls.answer.buildNumber = 2195;
  calls.answer.platformId = 2;
  std::strcpy(calls.answer.servicePack, "Service Pack 4");
  calls.answer.servicePackMajor = 4;
  calls.answer.servicePackMinor = 1;
  calls.answer.suiteMask = 0x110;
  return calls;
}

TEST(QueriedOsVersion, AsksAgainForTheExtendedRecordAboveMajor4) {
  FakeCalls calls = windows(5, 1);
  const auto info = QueriedOsVersion(calls).GetOSVersionInfo();
  ASSERT_TRUE(info);
  EXPECT_EQ(calls.sizes, (std::vector<std::uint32_t>{148, 156}));
  EXPECT_EQ(info->majorVersion, 5u);
  EXPECT_EQ(info->minorVersion, 1u);
  EXPECT_EQ(info->buildNumber, 2195u);
  EXPECT_EQ(info->platformId, 2u);
  EXPECT_EQ(info->servicePack, "Service Pack 4");
  EXPECT_EQ(info->servicePackMajor, 4);
  EXPECT_EQ(info->servicePackMinor, 1);
  EXPECT_EQ(info->suiteMask, 0x110);
}

TEST(QueriedOsVersion, IsContentWithThePlainRecordUpToMajor4) {
  FakeCalls calls = windows(4, 0);
  const auto info = QueriedOsVersion(calls).GetOSVersionInfo();
  ASSERT_TRUE(info);
  EXPECT_EQ(calls.sizes, (std::vector<std::uint32_t>{148}));
  EXPECT_EQ(info->servicePack, "Service Pack 4");
  EXPECT_EQ(info->servicePackMajor, 0);
  EXPECT_EQ(info->servicePackMinor, 0);
  EXPECT_EQ(info->suiteMask, 0);
}

TEST(QueriedOsVersion, CutsTheServicePackTextAtItsNul) {
  FakeCalls calls = windows(5, 0);
  std::strcpy(calls.answer.servicePack + 15, "left over");
  EXPECT_EQ(QueriedOsVersion(calls).GetOSVersionInfo()->servicePack, "Service Pack 4");
  std::memset(calls.answer.servicePack, 'x', sizeof calls.answer.servicePack);
  EXPECT_EQ(QueriedOsVersion(calls).GetOSVersionInfo()->servicePack, std::string(128, 'x'));
  calls.answer.servicePack[0] = '\0';
  EXPECT_EQ(QueriedOsVersion(calls).GetOSVersionInfo()->servicePack, "");
}

TEST(QueriedOsVersion, AFailureOfEitherCallGivesNothingAndNoFamily) {
  for (const std::uint32_t refused : {148u, 156u}) {
    FakeCalls calls = windows(5, 0);
    calls.refused = {refused};
    const QueriedOsVersion system(calls);
    EXPECT_FALSE(system.GetOSVersionInfo()) << refused;
    EXPECT_EQ(family(system), "none");
    const OsVersionInfo zeros = system.GetOSVersionInfo().value_or(OsVersionInfo{});
    EXPECT_EQ(zeros.majorVersion + zeros.minorVersion + zeros.buildNumber + zeros.platformId, 0u);
    EXPECT_EQ(zeros.servicePackMajor + zeros.servicePackMinor + zeros.suiteMask, 0);
  }
}

}  // namespace
}  // namespace relaybird
