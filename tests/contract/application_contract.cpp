// SPDX-License-Identifier: MIT
// Application, namespace, session, synchronisation, and what stands beside them.
#include <cctype>
#include <string>

#include "contract/mail_store_contract.h"

namespace relaybird {
namespace {

TEST_P(MailStoreContract, MakesEveryComponentByItsIdentifierInAnyCase) {
  for (const auto progId : kEveryComponent) {
    SCOPED_TRACE(progId);
    std::string upper(progId);
    std::string lower(progId);
    for (char& letter : upper) {
      letter = static_cast<char>(std::toupper(letter));
    }
    for (char& letter : lower) {
      letter = static_cast<char>(std::tolower(letter));
    }
    EXPECT_NE(factory().CreateObject(progId), nullptr);
    EXPECT_NE(factory().CreateObject(upper), nullptr);
    EXPECT_NE(factory().CreateObject(lower), nullptr);
  }
}

TEST_P(MailStoreContract, MakesEveryComponentOfItsOwnClass) {
  EXPECT_NO_THROW(createAs<Application>(factory(), prog_id::kApplication));
  EXPECT_NO_THROW(createAs<MailItem>(factory(), prog_id::kMailItem));
  for (const auto progId : kSafeItems) {
    EXPECT_NO_THROW(createAs<SafeItem>(factory(), progId));
  }
  EXPECT_NO_THROW(createAs<UtilityObject>(factory(), prog_id::kUtility));
  EXPECT_NO_THROW(createAs<LibrarySession>(factory(), prog_id::kLibrarySession));
  EXPECT_NO_THROW(createAs<Dictionary>(factory(), prog_id::kDictionary));
  EXPECT_THROW(createAs<Dictionary>(factory(), prog_id::kMailItem), MailStoreError);
}

TEST_P(MailStoreContract, TellsTheSamePlaceAtEveryCall) {
  const std::string place = outside->store().place();
  EXPECT_NE(place, "");
  (void)application();
  EXPECT_EQ(outside->store().place(), place);
}

TEST_P(MailStoreContract, TriesOutgoingMailAgainAndReportsTheEndLater) {
  int ends = 0;
  outside->store().outgoing().tryAgain([&ends] { ++ends; });
  EXPECT_EQ(ends, 0);
  outside->runPendingEvents();
  EXPECT_EQ(ends, 1);
}

TEST_P(MailStoreContract, RefusesUnknownIdentifiers) {
  for (const auto* progId : {"", "outlook", "outlook.application.99", "scripting.dictionary "}) {
    EXPECT_THROW(factory().CreateObject(progId), MailStoreError) << progId;
  }
}

TEST_P(MailStoreContract, AComponentThatIsNotInstalledCannotBeMadeAndTheOthersCan) {
  for (const auto missing : kEveryComponent) {
    SCOPED_TRACE(missing);
    outside = GetParam().make();
    outside->removeComponent(missing);
    for (const auto progId : kEveryComponent) {
      if (progId == missing && !outside->makesWithout(progId)) {
        EXPECT_THROW(factory().CreateObject(progId), MailStoreError);
      } else {
        EXPECT_NE(factory().CreateObject(progId), nullptr) << progId;
      }
    }
  }
}

TEST_P(MailStoreContract, AnErrorHasAText) {
  try {
    factory().CreateObject("no.such.thing");
    FAIL() << "nothing was thrown";
  } catch (const MailStoreError& error) {
    EXPECT_FALSE(std::string(error.what()).empty());
  }
}

TEST_P(MailStoreContract, TheVersionBeginsWithTwoDigitsAboveNine) {
  const std::string version = application()->Version();
  ASSERT_GT(version.size(), 2u);
  ASSERT_TRUE(std::isdigit(version[0]) && std::isdigit(version[1])) << version;
  EXPECT_GT(std::stoi(version.substr(0, 2)), 9);
}

TEST_P(MailStoreContract, AnApplicationThatHasGoneAwayDoesNotTellItsVersion) {
  const auto held = application();
  EXPECT_NO_THROW(held->Version());
  if (!outside->begin(Trouble::kApplicationGone)) {
    GTEST_SKIP() << "cannot be provoked";
  }
  EXPECT_THROW(held->Version(), MailStoreError);
}

TEST_P(MailStoreContract, KnowsTheMapiNamespaceAlone) {
  EXPECT_NE(application()->GetNamespace("MAPI"), nullptr);
  EXPECT_THROW(application()->GetNamespace("IMAP"), MailStoreError);
  EXPECT_THROW(application()->GetNamespace(""), MailStoreError);
}

TEST_P(MailStoreContract, ASessionHasAMapiObjectThatALibrarySessionTakes) {
  const auto mapiObject = application()->Session()->MAPIOBJECT();
  EXPECT_NE(mapiObject, nullptr);
  const auto session = createAs<LibrarySession>(factory(), prog_id::kLibrarySession);
  EXPECT_NO_THROW(session->MAPIOBJECT(mapiObject));
}

TEST_P(MailStoreContract, DeliverNowReturnsAlsoWithAnEmptyOutbox) {
  EXPECT_NO_THROW(createAs<UtilityObject>(factory(), prog_id::kUtility)->DeliverNow());
  EXPECT_TRUE(outside->outbox().empty());
}

TEST_P(MailStoreContract, CreatesMailItemsAlone) {
  EXPECT_TRUE(sameName(application()->CreateItem(kMailItemKind)->ClassName(), "MailItem"));
  for (const int kind : {-1, 1, 2, 3, 99}) {
    EXPECT_THROW(application()->CreateItem(kind), MailStoreError) << kind;
  }
}

TEST_P(MailStoreContract, ThereIsOneSynchronisationObjectTheSameEveryTime) {
  const auto mapi = application()->GetNamespace("MAPI");
  const auto objects = mapi->SyncObjects();
  EXPECT_EQ(objects->Count(), 1);
  EXPECT_EQ(objects->Item(1), mapi->SyncObjects()->Item(1));
  EXPECT_THROW(objects->Item(0), MailStoreError);
  EXPECT_THROW(objects->Item(2), MailStoreError);
  EXPECT_THROW(objects->Item(-1), MailStoreError);
}

TEST_P(MailStoreContract, ASynchronisationReportsItsEndOnTheQueueNeverInsideStart) {
  int ends = 0;
  const auto object = sync();
  object->onSyncEnd([&] { ++ends; });
  object->Start();
  EXPECT_EQ(ends, 0);
  outside->runPendingEvents();
  EXPECT_EQ(ends, 1);
  outside->runPendingEvents();
  EXPECT_EQ(ends, 1);
}

TEST_P(MailStoreContract, AStartWhileASynchronisationRunsJoinsIt) {
  int ends = 0;
  const auto object = sync();
  object->onSyncEnd([&] { ++ends; });
  object->Start();
  object->Start();
  object->Start();
  outside->runPendingEvents();
  EXPECT_EQ(ends, 1);
}

TEST_P(MailStoreContract, ASynchronisationCanFollowAnotherAlsoFromItsEnd) {
  int ends = 0;
  const auto object = sync();
  object->onSyncEnd([&] {
    if (++ends < 3) {
      object->Start();
    }
  });
  object->Start();
  outside->runPendingEvents();
  EXPECT_EQ(ends, 3);
  object->Start();
  outside->runPendingEvents();
  EXPECT_EQ(ends, 4);
}

TEST_P(MailStoreContract, TheLatestSyncEndHandlerTakesTheOthersPlace) {
  int early = 0;
  int late = 0;
  const auto object = sync();
  object->onSyncEnd([&] { ++early; });
  object->Start();
  object->onSyncEnd([&] { ++late; });
  outside->runPendingEvents();
  EXPECT_EQ(early, 0);
  EXPECT_EQ(late, 1);
}

TEST_P(MailStoreContract, ASynchronisationWithoutAHandlerJustEnds) {
  const auto object = sync();
  object->Start();
  outside->runPendingEvents();
  int ends = 0;
  object->onSyncEnd([&] { ++ends; });
  outside->runPendingEvents();
  EXPECT_EQ(ends, 0);
}

TEST_P(MailStoreContract, ADictionaryKnowsWhatWasAdded) {
  const auto dictionary = createAs<Dictionary>(factory(), prog_id::kDictionary);
  EXPECT_EQ(dictionary->Count(), 0);
  EXPECT_FALSE(dictionary->Exists("a"));
  dictionary->Add("a", "a");
  dictionary->Add("", "the empty text is a key too");
  EXPECT_TRUE(dictionary->Exists("a"));
  EXPECT_TRUE(dictionary->Exists(""));
  EXPECT_EQ(dictionary->Count(), 2);
}

TEST_P(MailStoreContract, ADictionaryRefusesAKeyThatIsThere) {
  const auto dictionary = createAs<Dictionary>(factory(), prog_id::kDictionary);
  dictionary->Add("a", "a");
  EXPECT_THROW(dictionary->Add("a", "b"), MailStoreError);
  EXPECT_TRUE(dictionary->Exists("a"));
  EXPECT_EQ(dictionary->Count(), 1);
}

TEST_P(MailStoreContract, ADictionaryComparesByteForByte) {
  const auto dictionary = createAs<Dictionary>(factory(), prog_id::kDictionary);
  dictionary->Add("Key", "");
  for (const std::string other : {"key", "Key ", "Ke"}) {
    EXPECT_FALSE(dictionary->Exists(other));
  }
  dictionary->Add("key", "");
  EXPECT_EQ(dictionary->Count(), 2);
}

TEST_P(MailStoreContract, EachDictionaryIsASetOfItsOwn) {
  createAs<Dictionary>(factory(), prog_id::kDictionary)->Add("a", "a");
  EXPECT_FALSE(createAs<Dictionary>(factory(), prog_id::kDictionary)->Exists("a"));
}

}  // namespace
}  // namespace relaybird
