// SPDX-License-Identifier: MIT
// An inbox with four messages at a server that the test plays, and a walk over it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "message/mail_samples.h"
#include "stores/account/account_house.h"
#include "stores/account/account_inbox.h"

namespace relaybird {

class AccountInboxTest : public testing::Test {
 protected:
  AccountInboxTest() {
    for (std::uint32_t uid = 1; uid <= 4; ++uid) {
      house_.account.add(uid, simpleMail("m" + std::to_string(uid)));
    }
  }

  std::shared_ptr<InboxListing> list() {
    auto listing = inbox_->list();
    EXPECT_TRUE(listing) << listing.error().text;
    return listing ? *listing : nullptr;
  }
  static std::vector<std::string> ids(const InboxListing& listing) {
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < listing.size(); ++i) {
      ids.emplace_back(listing.entryId(i));
    }
    return ids;
  }
  // Walks over the listing as a pass does; opens every `each`th message.
  int walk(InboxListing& listing, std::size_t each) {
    int wrong = 0;
    for (std::size_t i = listing.size(); i-- > 0;) {
      const InboxHead head = listing.head(i, sampleMarks());
      wrong += head.failure || !head.headers.subject().starts_with("m") ? 1 : 0;
      if (each != 0 && i % each == 0) {
        wrong += listing.open(i) ? 0 : 1;
        wrong += listing.setSeen(i, true) ? 0 : 1;
      }
    }
    return wrong;
  }
  void serve(int steps) {
    for (int i = 0; i < steps; ++i) {
      inbox_->step();
    }
  }

  AccountHouse house_;
  std::unique_ptr<AccountInbox> inbox_ = house_.makeInbox();
};

}  // namespace relaybird
