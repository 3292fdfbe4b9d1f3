// SPDX-License-Identifier: MIT
// How the session obtains the mail application's objects step by step, what it reports when a step
// fails, and how it lets go of an application that has ended. The mailbox in memory refuses the
// steps by its hook.
#include "engine/mail_session.h"

#include "engine/engine_fixture.h"
#include "mail/logon_failure.h"

namespace relaybird {
namespace {

class MailSessionTest : public EngineTest {
 protected:
  MailSession& session() { return engine_.session(); }

  void failAt(std::string operation, std::string text = "the store says no") {
    store_.setHook([operation = std::move(operation), text = std::move(text)](std::string_view at) {
      if (at == operation) {
        throw MailStoreError(text);
      }
    });
  }
  std::vector<std::string> recordOperations() {
    operations_.clear();
    store_.setHook([this](std::string_view at) { operations_.emplace_back(at); });
    return operations_;
  }

  std::vector<std::string> operations_;
};

TEST_F(MailSessionTest, OpensApplicationNamespaceInboxAndSynchronisation) {
  EXPECT_EQ(session().ResetOlkObj(true, true, false), 1);
  EXPECT_NE(session().application(), nullptr);
  EXPECT_NE(session().inbox(), nullptr);
  EXPECT_NE(session().syncObject(), nullptr);
  EXPECT_EQ(session().errorText(), "");
}

TEST_F(MailSessionTest, OpensOnlyWhatIsAskedFor) {
  EXPECT_EQ(session().ResetOlkObj(false, false, false), 1);
  EXPECT_NE(session().application(), nullptr);
  EXPECT_EQ(session().inbox(), nullptr);
  EXPECT_EQ(session().syncObject(), nullptr);
}

TEST_F(MailSessionTest, WhatIsHeldIsNotFetchedAgain) {
  session().ResetOlkObj(true, false, false);
  recordOperations();
  EXPECT_EQ(session().ResetOlkObj(true, false, true), 1);
  EXPECT_EQ(operations_, std::vector<std::string>{});
  EXPECT_EQ(display_.statuses, std::vector<std::string>{});
}

TEST_F(MailSessionTest, ShowsEachStepOnDemand) {
  session().ResetOlkObj(true, false, true);
  EXPECT_EQ(display_.statuses,
            (std::vector<std::string>{"Activating Outlook...", "Performing Outlook Email Logon...",
                                      "Accessing Outlook Inbox..."}));
}

TEST_F(MailSessionTest, ShowsNothingUnlessAsked) {
  session().ResetOlkObj(true, true, false);
  EXPECT_TRUE(display_.statuses.empty());
}

TEST_F(MailSessionTest, AnApplicationThatCannotBeMadeIsReported) {
  store_.removeComponent("Outlook.Application");
  EXPECT_EQ(session().ResetOlkObj(true, true, false), -1);
  EXPECT_EQ(session().errorText(),
            "Could not start up Microsoft Outlook (please verify that MS-Outlook is installed and "
            "configured correctly on this PC).");
  EXPECT_NE(session().storeWords(), "");
}

TEST_F(MailSessionTest, ANamespaceThatCannotBeObtainedIsReported) {
  failAt("Application.GetNamespace", "no profile");
  EXPECT_EQ(session().ResetOlkObj(true, true, false), -2);
  EXPECT_EQ(session().errorText(), "Problem retrieving Outlook MAPI object");
  EXPECT_EQ(session().storeWords(), "no profile");
}

TEST_F(MailSessionTest, ALogonThatIsRefusedIsReported) {
  store_.setHook([](std::string_view at) {
    if (at == "Application.GetNamespace") {
      throw MailLogonError("wrong password");
    }
  });
  EXPECT_EQ(session().ResetOlkObj(true, true, false), -3);
  EXPECT_EQ(session().errorText(), "Problem logging into Outlook");
  EXPECT_EQ(session().storeWords(), "wrong password");
  EXPECT_TRUE(session().logonRefused());
  store_.setHook({});
  EXPECT_EQ(session().ResetOlkObj(true, true, false), 1);
  EXPECT_FALSE(session().logonRefused()) << "it is over";
}

TEST_F(MailSessionTest, WithoutASecretNobodyHasRefusedTheLogon) {
  store_.setHook([](std::string_view at) {
    if (at == "Application.GetNamespace") {
      throw MailLogonError("there is no keyring", kNoSecretYet);
    }
  });
  EXPECT_EQ(session().ResetOlkObj(true, true, false), -3);
  EXPECT_FALSE(session().logonRefused());
}

TEST_F(MailSessionTest, AServerThatIsNotReachedHasRefusedNoLogon) {
  failAt("Application.GetNamespace", "no route to host");
  EXPECT_EQ(session().ResetOlkObj(true, true, false), -2);
  EXPECT_FALSE(session().logonRefused());
}

TEST_F(MailSessionTest, AnInboxThatCannotBeObtainedIsReported) {
  failAt("Namespace.GetDefaultInbox");
  EXPECT_EQ(session().ResetOlkObj(true, true, false), -4);
  EXPECT_EQ(session().errorText(), "Could not retrieve Outlook inbox");
}

TEST_F(MailSessionTest, ASynchronisationThatCannotBeObtainedIsReported) {
  failAt("Namespace.SyncObjects");
  EXPECT_EQ(session().ResetOlkObj(true, true, false), -5);
  EXPECT_EQ(session().errorText(), "Error retrieving Outlook synchronization");
}

TEST_F(MailSessionTest, ASecondSynchronisationRequestYieldsZeroAndChangesNothing) {
  session().ResetOlkObj(true, true, false);
  const auto before = session().syncObject();
  engine_.state().syncBusy = true;
  EXPECT_EQ(session().ResetOlkObj(true, true, false), 0);
  EXPECT_EQ(session().errorText(), "");
  EXPECT_EQ(session().syncObject(), before);
}

TEST_F(MailSessionTest, TheNextCallResumesFromTheStepThatFailed) {
  failAt("Namespace.GetDefaultInbox");
  session().ResetOlkObj(true, false, false);
  recordOperations();
  EXPECT_EQ(session().ResetOlkObj(true, false, true), 1);
  EXPECT_EQ(operations_, std::vector<std::string>{"Namespace.GetDefaultInbox"});
  EXPECT_EQ(display_.statuses, std::vector<std::string>{"Accessing Outlook Inbox..."});
  EXPECT_EQ(session().errorText(), "");
}

TEST_F(MailSessionTest, AnErrorTextOfAnEarlierCallDoesNotStand) {
  failAt("Application.GetNamespace");
  session().ResetOlkObj(true, false, false);
  store_.setHook({});
  session().ResetOlkObj(true, false, false);
  EXPECT_EQ(session().errorText(), "");
  EXPECT_EQ(session().storeWords(), "");
}

TEST_F(MailSessionTest, NothingIsOpenBeforeTheFirstCall) {
  EXPECT_FALSE(session().IsOutlookOpen());
}

TEST_F(MailSessionTest, AnApplicationThatEndedIsNotOpen) {
  session().ResetOlkObj(true, false, false);
  EXPECT_TRUE(session().IsOutlookOpen());
  store_.quitApplication();
  EXPECT_FALSE(session().IsOutlookOpen());
}

TEST_F(MailSessionTest, ADeadApplicationIsStillHeldUntilItIsReleased) {
  session().ResetOlkObj(true, false, false);
  store_.quitApplication();
  EXPECT_EQ(session().ResetOlkObj(true, false, false), 1);
  session().release();
  EXPECT_EQ(session().ResetOlkObj(true, false, false), 1);
  EXPECT_TRUE(session().IsOutlookOpen());
}

TEST_F(MailSessionTest, AnApplicationThatAnswersIsNotDroppedAsGone) {
  session().ResetOlkObj(true, true, false);
  Application* const before = session().application();
  session().dropIfGone();
  EXPECT_EQ(session().application(), before);
  recordOperations();
  EXPECT_EQ(session().ResetOlkObj(true, false, true), 1);
  EXPECT_EQ(operations_, std::vector<std::string>{});
}

TEST_F(MailSessionTest, AnApplicationThatAnswersIsNotDroppedDuringItsSynchronisation) {
  store_.setSyncEndsByItself(false);
  deliver("one");
  engine_.schedule().ForwardTrigger();
  session().dropIfGone();
  EXPECT_NE(session().syncObject(), nullptr);
  store_.endSyncs();
  events_.runUntilIdle();
  EXPECT_EQ(sentSubjects(), std::vector<std::string>{"FW: one"});
}

TEST_F(MailSessionTest, AnApplicationThatEndedIsDroppedAsGone) {
  session().ResetOlkObj(true, true, false);
  store_.quitApplication();
  session().dropIfGone();
  EXPECT_EQ(session().application(), nullptr);
  EXPECT_EQ(session().inbox(), nullptr);
  EXPECT_EQ(session().syncObject(), nullptr);
}

TEST(MailApplicationVersion, TenAndLaterAreNewEnough) {
  for (const char* version : {"10.0.2627", "16.0.0.1", "99.", "100"}) {
    EXPECT_TRUE(CheckOlkVer(version)) << version;
  }
}

TEST(MailApplicationVersion, NineAndEarlierAndShortTextsAreNot) {
  for (const char* version : {"9.0.0.2711", "09.1", "11", "1", "", "x16", "8.5.1"}) {
    EXPECT_FALSE(CheckOlkVer(version)) << version;
  }
}

}  // namespace
}  // namespace relaybird
