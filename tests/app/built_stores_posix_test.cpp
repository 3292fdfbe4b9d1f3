// SPDX-License-Identifier: MIT
// The stores of mail on disk and on servers. Each test writes a settings file into a temporary
// folder and opens the store that the file names. Opening must not touch a mailbox yet, and what
// cannot be used is refused in words that name the file.
#include "app/store_openers.h"

#include <gtest/gtest.h>

#include "platform/main_loop.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/profile/profile_file.h"
#include "support/fake_clock.h"
#include "support/fake_waiter.h"
#include "support/store_fakes.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

class BuiltStoresTest : public testing::Test {
 protected:
  std::string nameIn(const std::string& section) {
    const std::string file = temp.path("rbx_prefs.ini");
    writeBytes(file, section);
    return mailStoreName(*profiles.read(file));
  }

  auto open(const std::string& name, const std::string& section) {
    const std::string file = temp.path("rbx_prefs.ini");
    writeBytes(file, "[mail]\n" + section);
    const auto reader = profiles.read(file);
    return openStore(name, {*reader, file},
                     {.files = files,
                      .clock = clock,
                      .events = loop,
                      .executor = executor,
                      .commands = commands,
                      .random = systemRandomBytes,
                      .stateFolder = temp.path("state")});
  }

  TempFolder temp;
  FakeClock fakeClock;
  RecordingSleeper sleeper{fakeClock};
  PosixFileSystem files{sleeper};
  PosixClock clock;
  MainLoop loop{std::make_shared<FakeWaiter>()};
  InlineExecutor executor;
  NoCommands commands;
  ProfileFile profiles{files};
};

#ifndef RELAYBIRD_STORE_MAILDIR
#ifdef RELAYBIRD_STORE_ACCOUNT
TEST_F(BuiltStoresTest, AStoreThatWasNotBuiltIsNotKnown) {
  const auto store = open("maildir", "");
  ASSERT_FALSE(store);
  EXPECT_TRUE(store.error().text.ends_with(" names is not known; there is account"))
      << store.error().text;
}
#endif
#else
TEST_F(BuiltStoresTest, TheMaildirIsTheStoreWhereNoneIsNamed) {
  EXPECT_EQ(nameIn(""), "maildir");
}

TEST_F(BuiltStoresTest, OpensAMaildirWithoutTouchingIt) {
  auto store = open("maildir", "maildir=" + temp.path("Mail") + "\naddress=me@here.example\n");
  ASSERT_TRUE(store) << store.error().text;
  EXPECT_EQ((*store)->place(), temp.path("Mail"));
  EXPECT_FALSE(std::filesystem::exists(temp.path("Mail")));
  EXPECT_FALSE(std::filesystem::exists(temp.path("state")));
  EXPECT_THROW((void)(*store)->factory().CreateObject(prog_id::kApplication), MailStoreError);
}

TEST_F(BuiltStoresTest, APlaceIsTheSameByEveryName) {
  std::filesystem::create_directory(temp.path("Mail"));
  std::filesystem::create_directory_symlink(temp.path("Mail"), temp.path("Link"));
  auto store = open("maildir", "maildir=" + temp.path("Link") + "\naddress=me@here.example\n");
  ASSERT_TRUE(store);
  EXPECT_EQ((*store)->place(), std::filesystem::canonical(temp.path("Mail")).string());
}

#ifdef RELAYBIRD_STORE_ACCOUNT
TEST_F(BuiltStoresTest, AnAccountNeedsANetwork) {
  const auto store =
      open("account", "imap_host=imap.example.org\nimap_user=me\naddress=me@here.example\n");
  ASSERT_FALSE(store);
  EXPECT_NE(store.error().text.find("without a network"), std::string::npos) << store.error().text;
}
#endif

TEST_F(BuiltStoresTest, ASettingThatCannotBeUsedIsAnErrorThatNamesTheFile) {
  const auto store = open("maildir", "delivery=pigeon\naddress=me@here.example\n");
  ASSERT_FALSE(store);
  EXPECT_EQ(store.error().text, "Section [mail] of " + temp.path("rbx_prefs.ini") +
                                    " cannot be used: delivery=pigeon is not known; it has to be "
                                    "one of none, sendmail, smtp.");
}

TEST_F(BuiltStoresTest, TheWayOutIsTheOneThatTheSettingsName) {
  const auto delivers = [&](const std::string& lines) {
    auto store = open("maildir", lines + "address=me@here.example\n");
    EXPECT_TRUE(store) << lines;
    return store && (*store)->outgoing().state().delivers;
  };
  EXPECT_FALSE(delivers(""));
  EXPECT_TRUE(delivers("sendmail=/usr/sbin/sendmail\n"));
  EXPECT_FALSE(delivers("sendmail=/usr/sbin/sendmail\ndelivery=none\n"));
}

TEST_F(BuiltStoresTest, ADeliveryCommandWithoutItsWholePathIsAnError) {
  const auto store = open("maildir", "sendmail=sendmail -t\naddress=me@here.example\n");
  ASSERT_FALSE(store);
  EXPECT_FALSE(store.error().text.empty());
}

#endif

}  // namespace
}  // namespace relaybird
