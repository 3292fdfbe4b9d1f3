// SPDX-License-Identifier: MIT
// The mail application ends at every single call of a check, and is there again at the next one.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "stores/outlook/outlook_house.h"

namespace relaybird {
namespace {

std::vector<std::string> sentSubjects() {
  std::vector<std::string> subjects;
  for (const auto& message : outlook_double::DoubleWorld::only().store().outbox()) {
    subjects.push_back(message.subject);
  }
  return subjects;
}

// Calls of members in a check of three items that goes well.
std::size_t callsOfCheck() {
  OutlookHouse house;
  for (int i = 1; i <= 3; ++i) {
    house.deliver(i);
  }
  house.tell("counts\tclear=1");
  house.check();
  std::size_t calls = 0;
  for (const auto& [name, count] : outlook_double::DoubleWorld::only().calls().counts()) {
    const bool member = name.find('.') != name.npos && name.find(' ') == name.npos;
    calls += member ? count : 0;
  }
  return calls;
}

// Sends everything that is still to be sent, with an application that goes on.
void checkAgain(OutlookHouse& house) {
  for (int check = 0; check < 3; ++check) {
    // As before every check of the schedule.
    house.engine.engine.session().dropIfGone();
    house.check();
  }
}

// What was sent in the end, sorted, where the application ends at that call of the first check.
std::vector<std::string> sentWithEndAt(std::size_t call, const char* when) {
  OutlookHouse house;
  for (int i = 1; i <= 3; ++i) {
    house.deliver(i);
  }
  house.tell("die\tskip=" + std::to_string(call) + when);
  house.check();
  checkAgain(house);
  EXPECT_EQ(outlook_double::DoubleWorld::only().store().unreadCount(), 0u);
  auto sent = sentSubjects();
  std::sort(sent.begin(), sent.end());
  return sent;
}

const std::vector<std::string> kOnceEach = {"FW: Message number 1", "FW: Message number 2",
                                            "FW: Message number 3"};

TEST(EndedApplication, NoItemIsLostOrSentTwiceWhicheverCallItEndsBefore) {
  const std::size_t calls = callsOfCheck();
  ASSERT_GT(calls, 60u);
  for (std::size_t call = 0; call < calls; ++call) {
    EXPECT_EQ(sentWithEndAt(call, ""), kOnceEach) << "it ends before call " << call + 1;
  }
}

// Whether a send that is cut off has done its work cannot be told, so that item is sent again.
TEST(EndedApplication, NoItemIsLostWhicheverCallItEndsAfterAndOnlyACutOffSendIsRepeated) {
  const std::size_t calls = callsOfCheck();
  std::size_t repeated = 0;
  for (std::size_t call = 0; call < calls; ++call) {
    auto sent = sentWithEndAt(call, "\tafter=1");
    repeated += sent.size() - kOnceEach.size();
    sent.erase(std::unique(sent.begin(), sent.end()), sent.end());
    EXPECT_EQ(sent, kOnceEach) << "it ends after call " << call + 1;
  }
  EXPECT_EQ(repeated, kOnceEach.size()) << "each send once";
}

}  // namespace
}  // namespace relaybird
