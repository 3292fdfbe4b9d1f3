// SPDX-License-Identifier: MIT
// The choice among the stores of a build, over tables of the test's own.
#include "app/store_openers.h"

#include <gtest/gtest.h>

#include <memory>
#include <span>
#include <string>

#include "app/memory_platform.h"
#include "platform/main_loop.h"
#include "support/fake_waiter.h"
#include "support/store_fakes.h"

namespace relaybird {
namespace {

// A store that cannot be opened, because of what its settings say.
Result<std::unique_ptr<MailStore>> refuseSettings(const StoreSettings& settings,
                                                  const StoreWorld& world) {
  return Error{0, settings.fileName + " of " + world.user.fullName + " has colour " +
                      settings.file.get(kMailSection, "colour", "none")};
}

Result<std::unique_ptr<MailStore>> openNothing(const StoreSettings&, const StoreWorld&) {
  return Error{0, "the wrong store was opened"};
}

class StoreOpenersTest : public testing::Test {
 protected:
  std::string nameIn(const std::string& text, std::span<const StoreEntry> stores) {
    system.writePreferences(text);
    return mailStoreName(*platform.profiles->read(kCurrentFile), stores);
  }
  std::string whyNot(const std::string& name, std::span<const StoreEntry> stores) {
    const auto reader = platform.profiles->read(kCurrentFile);
    const auto store = openStore(name, {*reader, kCurrentFile},
                                 {.files = *platform.files,
                                  .clock = *platform.clock,
                                  .events = loop,
                                  .executor = executor,
                                  .commands = *platform.commands,
                                  .random = {},
                                  .user = platform.user},
                                 stores);
    return store ? "" : store.error().text;
  }

  MemoryPlatform system;
  ProgramPlatform platform = system.make();
  MainLoop loop{std::make_shared<FakeWaiter>()};
  InlineExecutor executor;
};

TEST_F(StoreOpenersTest, TheStoresNameIsReadInAnyCase) {
  EXPECT_EQ(nameIn("[mail]\nstore=Pigeon\n", {}), "pigeon");
}

TEST_F(StoreOpenersTest, TheFirstStoreOfTheBuildIsTheUsualOne) {
  const StoreEntry stores[] = {{"pigeon", openNothing}, {"maildir", openNothing}};
  EXPECT_EQ(nameIn("", stores), "pigeon");
  EXPECT_EQ(nameIn("[mail]\nstore=\n", stores), "pigeon");
  EXPECT_EQ(nameIn("", {}), "");
}

TEST_F(StoreOpenersTest, TheProgramWhoseMailboxAStoreTakesIsTold) {
  const StoreEntry stores[] = {{"bird", openNothing, "Bird Mail"}, {"maildir", openNothing}};
  EXPECT_EQ(givenMailbox("bird", stores), "Bird Mail");
  EXPECT_EQ(givenMailbox("maildir", stores), "");
  EXPECT_EQ(givenMailbox("pigeon", stores), "Bird Mail") << "there is nothing to set up either";
  EXPECT_EQ(givenMailbox("maildir", {}), "");
}

TEST_F(StoreOpenersTest, TheStoreOfThatNameIsOpenedWithItsSettings) {
  const StoreEntry stores[] = {{"maildir", openNothing}, {"pigeon", refuseSettings}};
  system.writePreferences("[mail]\ncolour=grey\n");
  EXPECT_EQ(whyNot("pigeon", stores), std::string(kCurrentFile) + " of Ann has colour grey");
}

TEST_F(StoreOpenersTest, AnUnknownStoreIsAnErrorThatNamesTheFileAndTheKnownOnes) {
  const StoreEntry stores[] = {{"maildir", openNothing}, {"pigeon", openNothing}};
  EXPECT_EQ(whyNot("crow", stores), "The mail store \"crow\" that " + std::string(kCurrentFile) +
                                        " names is not known; there is maildir, pigeon");
}

TEST_F(StoreOpenersTest, AProgramWithoutAStoreSaysSo) {
  EXPECT_EQ(whyNot("maildir", {}), "This program was built without a mail store");
}

}  // namespace
}  // namespace relaybird
