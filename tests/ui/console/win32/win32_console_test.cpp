// SPDX-License-Identifier: MIT
// The events of a console of the test's own, which no other program is on.
#include <gtest/gtest.h>
#include <windows.h>

#include <chrono>

#include "ui/console/console_system.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;

struct OwnConsole {
  OwnConsole() {
    ::FreeConsole();
    made = ::AllocConsole() != 0;
  }
  ~OwnConsole() { ::FreeConsole(); }
  OwnConsole(const OwnConsole&) = delete;
  OwnConsole& operator=(const OwnConsole&) = delete;
  bool made = false;
};

TEST(Win32Console, CtrlCAsksTheProgramToEnd) {
  const OwnConsole console;
  ASSERT_TRUE(console.made);
  const auto system = openSystemConsole();
  int asked = 0;
  bool tooLate = false;
  system->listen({.end = [&] { ++asked; }, .hangUp = {}});
  const auto limit = system->loop().makeTimer(20s, [&] { tooLate = true; });
  limit->setEnabled(true);
  ASSERT_TRUE(::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0));
  system->loop().runUntil([&] { return asked > 0 || tooLate; });
  EXPECT_EQ(asked, 1);
}

}  // namespace
}  // namespace relaybird
