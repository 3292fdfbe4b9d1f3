// SPDX-License-Identifier: MIT
#include "stores/outlook/server.h"

#include <gtest/gtest.h>

#include <string>

#include "mail/mail_store.h"

namespace relaybird::outlook {
namespace {

TEST(ServerTest, EveryResultOfAnApplicationThatWentAwayIsKnown) {
  for (const unsigned long code :
       {0x800706BEul, 0x800706BAul, 0x800706BFul, 0x80010108ul, 0x80010007ul, 0x80010012ul}) {
    EXPECT_TRUE(meansGone(static_cast<HRESULT>(code))) << std::hex << code;
    EXPECT_FALSE(meansBusy(static_cast<HRESULT>(code))) << std::hex << code;
  }
  EXPECT_FALSE(meansGone(S_OK));
  EXPECT_FALSE(meansGone(DISP_E_EXCEPTION));
}

TEST(ServerTest, ABusyApplicationIsNotTakenForOneThatWentAway) {
  EXPECT_TRUE(meansBusy(static_cast<HRESULT>(0x8001010A)));
  EXPECT_TRUE(meansBusy(static_cast<HRESULT>(0x80010001)));
  EXPECT_FALSE(meansGone(static_cast<HRESULT>(0x8001010A)));
}

TEST(ServerTest, AResultWithoutATextGetsASentenceWithMemberAndCode) {
  EXPECT_EQ(sentenceFor(REGDB_E_CLASSNOTREG, "outlook.application"),
            "It is not installed on this computer (outlook.application, error 80040154)");
  EXPECT_EQ(sentenceFor(E_FAIL, "Save"),
            "The mail application reported an error without a text (Save, error 80004005)");
}

TEST(ServerTest, AnErrorTextThatMeansGoneIsNoticedInARaisedErrorToo) {
  Server server([](std::chrono::milliseconds) {});
  EXCEPINFO info{};
  info.scode = HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE);
  EXPECT_THROW(server.fail(DISP_E_EXCEPTION, info, "Save"), MailStoreError);
  EXPECT_TRUE(server.gone());
  EXPECT_THROW(server.requireAlive(), MailStoreError);
}

TEST(ServerTest, ARaisedErrorTellsItsSourceAndItsCode) {
  Server server([](std::chrono::milliseconds) {});
  EXCEPINFO info{};
  info.scode = E_FAIL;
  info.bstrSource = SysAllocString(L"The library");
  info.bstrDescription = SysAllocString(L"It is damaged.");
  try {
    server.fail(DISP_E_EXCEPTION, info, "Save");
  } catch (const MailStoreError& error) {
    EXPECT_STREQ(error.what(), "It is damaged.");
    EXPECT_EQ(error.source(), "The library");
    EXPECT_EQ(error.code(), E_FAIL);
  }
}

// An object is made in this process, and told nothing of the application; but the calls after it
// waited for the box again.
TEST(ServerTest, AnObjectThatIsMadeDoesNotLetRefusedCallsWaitAgain) {
  int pauses = 0;
  Server server([&](std::chrono::milliseconds) { ++pauses; });
  const auto refused = [] { return RPC_E_SERVERCALL_RETRYLATER; };
  const auto taken = [] { return S_OK; };
  (void)server.call(refused);
  const int most = pauses;
  EXPECT_GT(most, 0);
  EXPECT_EQ(server.create(taken), S_OK);
  (void)server.call(refused);
  EXPECT_EQ(pauses, most);
  (void)server.create(refused);
  EXPECT_EQ(pauses, most);
  (void)server.call(taken);
  (void)server.create(refused);
  EXPECT_EQ(pauses, 2 * most);
}

}  // namespace
}  // namespace relaybird::outlook
