// SPDX-License-Identifier: MIT
// The keyring over a session bus: a double that locks, prompts and hangs as told, and the real
// keyring of GNOME.
#include "platform/freedesktop/desktop_keyring.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <thread>

#include "platform/freedesktop/test_session_bus.h"

namespace relaybird {
namespace {

using End = SecretAnswer::End;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

const SecretKey kPlanted{MailProtocol::kImap, "ann", "imap.example.org", 993};
const SecretKey kOther{MailProtocol::kSmtp, "ann", "smtp.example.org", 465};

class DesktopKeyringTest : public testing::Test {
 protected:
  void start(const std::string& manner) {
    double_.emplace(std::vector<std::string>{"/usr/bin/python3", RELAYBIRD_DESKTOP_SERVICES,
                                             "keyring", manner, folder_.path("items")},
                    "", "ready");
  }
  std::string items() const { return readBytes(folder_.path("items")); }

  DesktopKeyring keyring;

 private:
  TempFolder folder_;
  TestSessionBus bus_;
  std::optional<TestProgram> double_;
};

TEST_F(DesktopKeyringTest, StoresFindsReplacesAndRemoves) {
  start("open");
  EXPECT_EQ(keyring.lookUp(kOther, {}).end, End::kNotThere);
  const std::string first = "p\xc3\xa4ss \"word\"";
  EXPECT_EQ(keyring.store(kOther, Secret(first), {}).end, End::kDone);
  EXPECT_EQ(keyring.lookUp(kOther, {}).secret.bytes(), first);
  EXPECT_EQ(keyring.store(kOther, Secret("second"), {}).end, End::kDone);
  EXPECT_EQ(keyring.lookUp(kOther, {}).secret.bytes(), "second");
  EXPECT_EQ(keyring.remove(kOther, {}).end, End::kDone);
  EXPECT_EQ(keyring.lookUp(kOther, {}).end, End::kNotThere);
  EXPECT_EQ(keyring.remove(kOther, {}).end, End::kNotThere);
  EXPECT_EQ(keyring.lookUp(kPlanted, {}).secret.bytes(), "planted");
}

TEST_F(DesktopKeyringTest, AnotherUserHostPortOrProtocolIsAnotherSecret) {
  start("open");
  ASSERT_EQ(keyring.lookUp(kPlanted, {}).end, End::kDone);
  for (const SecretKey& key : {SecretKey{MailProtocol::kSmtp, "ann", "imap.example.org", 993},
                               SecretKey{MailProtocol::kImap, "bob", "imap.example.org", 993},
                               SecretKey{MailProtocol::kImap, "ann", "imap.example.com", 993},
                               SecretKey{MailProtocol::kImap, "ann", "imap.example.org", 143}}) {
    EXPECT_EQ(keyring.lookUp(key, {}).end, End::kNotThere);
  }
}

TEST_F(DesktopKeyringTest, LabelAndAttributesNameTheServerAndHoldNoSecret) {
  start("open");
  ASSERT_EQ(keyring.store(kOther, Secret("sesame"), {}).end, End::kDone);
  EXPECT_THAT(items(),
              AllOf(HasSubstr("Relaybird: ann at smtp.example.org"), HasSubstr(R"("port": "465")"),
                    HasSubstr(R"("protocol": "smtp")"), Not(HasSubstr("sesame"))));
}

TEST_F(DesktopKeyringTest, ALockedKeyringIsUnlockedWhenTheUserAgrees) {
  start("accepts");
  EXPECT_EQ(keyring.lookUp(kPlanted, {}).secret.bytes(), "planted");
}

TEST_F(DesktopKeyringTest, ALockedKeyringIsUnlockedToStoreToo) {
  start("accepts");
  EXPECT_EQ(keyring.store(kOther, Secret("sesame"), {}).end, End::kDone);
  EXPECT_EQ(keyring.lookUp(kOther, {}).secret.bytes(), "sesame");
}

TEST_F(DesktopKeyringTest, TheUserMayDeclineToUnlock) {
  start("declines");
  const SecretAnswer answer = keyring.lookUp(kPlanted, {});
  EXPECT_EQ(answer.end, End::kDeclined) << answer.words;
  EXPECT_THAT(answer.words, HasSubstr("locked"));
  EXPECT_EQ(keyring.store(kOther, Secret("sesame"), {}).end, End::kDeclined);
  EXPECT_EQ(keyring.remove(kPlanted, {}).end, End::kDeclined);
}

TEST_F(DesktopKeyringTest, AStopEndsAPromptThatNobodyAnswers) {
  start("hangs");
  std::stop_source stop;
  SecretAnswer answer;
  std::thread asking([&] { answer = keyring.lookUp(kPlanted, stop.get_token()); });
  stop.request_stop();
  asking.join();
  EXPECT_EQ(answer.end, End::kCancelled) << answer.words;
}

TEST_F(DesktopKeyringTest, NothingIsAskedAfterAStop) {
  start("open");
  std::stop_source stop;
  stop.request_stop();
  EXPECT_EQ(keyring.lookUp(kPlanted, stop.get_token()).end, End::kCancelled);
  EXPECT_EQ(keyring.store(kPlanted, Secret("x"), stop.get_token()).end, End::kCancelled);
  EXPECT_EQ(keyring.lookUp(kPlanted, {}).secret.bytes(), "planted");
}

TEST_F(DesktopKeyringTest, SeveralThreadsMayAskAtATime) {
  start("open");
  std::vector<std::thread> threads;
  threads.reserve(4);
  std::atomic<int> found = 0;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] { found += keyring.lookUp(kPlanted, {}).end == End::kDone ? 1 : 0; });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(found, 4);
}

TEST_F(DesktopKeyringTest, ASessionWithoutAKeyringIsReportedAsSuch) {
  const SecretAnswer answer = keyring.lookUp(kPlanted, {});
  EXPECT_EQ(answer.end, End::kNoService) << answer.words;
  EXPECT_NE(answer.words, "");
}

TEST_F(DesktopKeyringTest, AKeyringThatWasRestartedIsFoundAgain) {
  start("open");
  ASSERT_EQ(keyring.lookUp(kPlanted, {}).end, End::kDone);
  start("accepts");
  EXPECT_EQ(keyring.lookUp(kPlanted, {}).end, End::kDone);
}

TEST(DesktopKeyringWithoutABus, SaysSoAtOnce) {
  const TestVariable address("DBUS_SESSION_BUS_ADDRESS", nullptr);
  const TestVariable display("DISPLAY", nullptr);
  TempFolder runtime;
  const TestVariable folder("XDG_RUNTIME_DIR", runtime.path().c_str());
  DesktopKeyring keyring;
  for (const SecretAnswer& answer :
       {keyring.lookUp(kPlanted, {}), keyring.store(kPlanted, Secret("x"), {}),
        keyring.remove(kPlanted, {})}) {
    EXPECT_EQ(answer.end, End::kNoService);
    EXPECT_NE(answer.words, "");
  }
}

TEST(DesktopKeyringOfGnome, KeepsASecretEncryptedOnDisk) {
  TempFolder home;
  const TestVariable variables[] = {{"HOME", home.path().c_str()},
                                    {"XDG_RUNTIME_DIR", home.path().c_str()},
                                    {"XDG_DATA_HOME", nullptr},
                                    {"DISPLAY", nullptr}};
  TestSessionBus bus;
  const TestProgram daemon(
      {"gnome-keyring-daemon", "--unlock", "--components=secrets", "--foreground"}, "passphrase\n",
      "");
  waitForService("org.freedesktop.secrets");
  DesktopKeyring keyring;
  const std::string secret = "sesame-of-the-real-keyring";
  SecretAnswer answer;
  answer = keyring.store(kOther, Secret(secret), {});
  ASSERT_EQ(answer.end, End::kDone) << answer.words;
  EXPECT_EQ(keyring.lookUp(kOther, {}).secret.bytes(), secret);
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path())) {
    if (entry.is_regular_file()) {
      ++files;
      EXPECT_THAT(readBytes(entry.path()), Not(HasSubstr(secret))) << entry.path();
    }
  }
  EXPECT_GE(files, 1U);
  EXPECT_EQ(keyring.remove(kOther, {}).end, End::kDone);
  EXPECT_EQ(keyring.lookUp(kOther, {}).end, End::kNotThere);
}

}  // namespace
}  // namespace relaybird
