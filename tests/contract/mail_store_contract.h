// SPDX-License-Identifier: MIT
// The fixture of the contract suite: one suite in several files, run over every store.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contract/store_under_test.h"

namespace relaybird {

class MailStoreContract : public testing::TestWithParam<StoreMaker> {
 protected:
  ObjectFactory& factory() { return outside->store().factory(); }
  std::shared_ptr<Application> application();
  std::shared_ptr<Folder> inbox();
  std::shared_ptr<ItemCollection> items() { return inbox()->Items(); }
  std::shared_ptr<ItemCollection> unread() { return items()->Restrict("[Unread]=true"); }
  std::shared_ptr<SyncObject> sync();

  /// Delivers the mail and returns it as the inbox's last item.
  std::shared_ptr<MailItem> received(const SampleMail& mail);
  /// A forward of the mail to one good address.
  std::shared_ptr<MailItem> addressedForward(const SampleMail& mail);
  /// One mail per subject, a minute apart.
  void deliverSubjects(const std::vector<std::string>& subjects);

  std::unique_ptr<StoreUnderTest> outside = GetParam().make();
};

/// Subjects in the order of the indices.
std::vector<std::string> subjectsOf(ItemCollection& collection);

/// Stores may end lines with CR LF or LF, and the last line or not.
std::string plainLines(std::string text);

bool sameName(std::string_view left, std::string_view right);

inline std::string storeMakerName(const testing::TestParamInfo<StoreMaker>& info) {
  return info.param.name;
}

inline constexpr std::string_view kEveryComponent[] = {
    prog_id::kApplication,  prog_id::kMailItem, prog_id::kSafeMailItem,   prog_id::kSafeMeetingItem,
    prog_id::kSafeTaskItem, prog_id::kUtility,  prog_id::kLibrarySession, prog_id::kDictionary,
};

inline constexpr std::string_view kSafeItems[] = {prog_id::kSafeMailItem, prog_id::kSafeMeetingItem,
                                                  prog_id::kSafeTaskItem};

}  // namespace relaybird
