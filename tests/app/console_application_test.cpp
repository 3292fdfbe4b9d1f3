// SPDX-License-Identifier: MIT
// The console's program as a whole, over a platform and a console of the test's own: what goes to
// which standard stream, and with which status the program ends.
#include "app/console_application.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "app/memory_platform.h"
#include "support/fake_waiter.h"

namespace relaybird {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// A script on standard input, which ends after its last line.
class ScriptConsole : public ConsoleSystem, private ByteStream, private TextSink {
 public:
  MainLoop& loop() override { return loop_; }
  InputKind inputKind() const override { return InputKind::kScript; }
  TerminalManner terminalManner() const override { return {}; }
  ByteStream& input() override { return *this; }
  std::unique_ptr<TerminalLines> terminalLines(LineHelp) override { return nullptr; }
  TextSink& output() override { return *this; }
  void watchOutput(std::function<void()> onBroken) override { onBroken_ = std::move(onBroken); }
  void hurry() override {}
  void listen(SystemRequests requests) override { requests_ = std::move(requests); }

  std::string script;
  std::string printed;
  bool losesReader = false;  // with the next text

 private:
  void read(std::function<void(std::string_view)> onBytes) override {
    onBytes_ = std::move(onBytes);
    loop_.post([this] {
      if (onBytes_) {
        const auto take = onBytes_;
        take(std::exchange(script, {}));
      }
    });
  }
  void pause() override { onBytes_ = nullptr; }
  void write(std::string_view bytes) override {
    printed += bytes;
    if (std::exchange(losesReader, false)) {
      onBroken_();
    }
  }

  MainLoop loop_{std::make_shared<FakeWaiter>()};
  std::function<void(std::string_view)> onBytes_;
  std::function<void()> onBroken_;
  SystemRequests requests_;
};

class ConsoleApplicationTest : public testing::Test {
 protected:
  int run(const std::string& script) {
    console.script = script;
    return application.run();
  }

  MemoryPlatform system;
  ScriptConsole console;
  ConsoleApplication application{
      {"relaybird-console", "1.2.3", {1, 2, 3}}, system.make(), console, Manual{}};
};

TEST_F(ConsoleApplicationTest, AScriptIsServedOnStandardOutput) {
  EXPECT_EQ(run("status\nquit\n"), 0);
  EXPECT_THAT(console.printed, StartsWith("program: relaybird-console 1.2.3, protocol 1\n"));
  EXPECT_THAT(console.printed, HasSubstr("\nautomation: Stopped\n"));
  EXPECT_EQ(system.out + system.err, "");
}

TEST_F(ConsoleApplicationTest, SettingsThatCannotBeUsedAreToldOnStandardErrorAlone) {
  system.writePreferences("[mail]\nstore=pigeon\n");
  EXPECT_EQ(run("status\nquit\n"), kSettingsForbid);
  EXPECT_THAT(system.err, StartsWith("relaybird-console: The mail store \"pigeon\" that "));
  EXPECT_TRUE(system.err.ends_with("\n"));
  EXPECT_EQ(console.printed + system.out, "");
}

TEST_F(ConsoleApplicationTest, AMailboxThatAnotherProgramHasIsToldOnStandardErrorAlone) {
  system.files->failCallsWith("lockFolder", EWOULDBLOCK);
  EXPECT_EQ(run("status\nquit\n"), kCannotStart);
  EXPECT_THAT(system.err, StartsWith("relaybird-console: "));
  EXPECT_EQ(console.printed + system.out, "");
}

TEST_F(ConsoleApplicationTest, WithoutAReaderOfItsOutputItEndsAndSaysSoByItsStatus) {
  console.losesReader = true;
  EXPECT_EQ(run("status\n"), kCannotStart);
}

}  // namespace
}  // namespace relaybird
