// SPDX-License-Identifier: MIT
// Setting up mail by questions, as a person at a terminal answers them.
#include "ui/console/setup_questions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "ui/forms/main/program_fixture.h"

namespace relaybird {
namespace {

using testing::HasSubstr;

class SetupQuestions : public ProgramTest {
 protected:
  // Asks everything with these answers; "" is the Enter key alone.
  Result<void> ask(const std::vector<std::string>& answers) {
    click("frmRelaybird", "mnuSetUpMail");
    for (const std::string& answer : answers) {
      dialogs_.enter(answer);
    }
    return askForSetup(program().setup(), dialogs_);
  }
  // The beginnings of the questions, without the help before the first one.
  std::vector<std::string> asked() {
    std::vector<std::string> questions;
    for (const InputBox& box : dialogs_.inputs) {
      const std::size_t last = box.prompt.rfind("\r\n\r\n");
      const std::string text = box.prompt.substr(last == std::string::npos ? 0 : last + 4);
      questions.push_back(text.substr(0, text.find_first_of(":?")));
    }
    return questions;
  }
  MailSettings stored() {
    return readMailSettings(*profiles_.read(kPrefFile), setup_.user()).settings;
  }
};

TEST_F(SetupQuestions, AnAccountAtAKnownProviderNeedsAddressAndPasswordOnly) {
  EXPECT_TRUE(ask({"", "ann@gmail.com", "", "", "", "abcd efgh ijkl mnop", "1"}));
  EXPECT_THAT(asked(), testing::ElementsAre("Where is your mail", "Your e-mail address",
                                            "Your name", "Sign in with", "Are these the servers",
                                            "App password", "Store these settings"));
  EXPECT_THAT(dialogs_.inputs[0].prompt, HasSubstr("\"back\" returns"));
  EXPECT_THAT(dialogs_.inputs[2].prompt, HasSubstr("https://myaccount.google.com/apppasswords"));
  EXPECT_THAT(dialogs_.inputs[4].prompt, HasSubstr("imap.gmail.com, port 993 (TLS)"));
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "abcdefghijklmnop");
  setup_.onKept({});
  EXPECT_EQ(stored().imap.server.host, "imap.gmail.com");
}

TEST_F(SetupQuestions, BackReturnsToTheQuestionBefore) {
  EXPECT_TRUE(ask({"", "ann@gmial.com", "back", "ann@gmail.com", "", "", "", "abcdefghijklmnop",
                   "back", "abcdefghijklmnop", "1"}));
  setup_.onKept({});
  EXPECT_EQ(stored().address, "ann@gmail.com");
}

TEST_F(SetupQuestions, BackAtTheFirstQuestionAsksItAgain) {
  EXPECT_FALSE(ask({"back", "back", "."}));
  EXPECT_THAT(asked(), testing::Each("Where is your mail"));
  EXPECT_EQ(dialogs_.inputs.size(), 3u);
}

TEST_F(SetupQuestions, TheProposalStandsBehindTheQuestionNotBehindTheLastChoice) {
  EXPECT_FALSE(ask({"", "ann@gmail.com", "."}));
  EXPECT_THAT(dialogs_.inputs[0].prompt, HasSubstr("Where is your mail? [1]\r\n  1  "));
  EXPECT_THAT(dialogs_.inputs[0].prompt, testing::Not(testing::EndsWith("]")));
}

TEST_F(SetupQuestions, AnEmptyLineCancelsOnlyWhereNothingIsProposed) {
  EXPECT_TRUE(ask({"", "ann@gmail.com", "", "", "", "abcdefghijklmnop", "1"}));
  std::vector<std::size_t> cancels;
  for (std::size_t i = 0; i < dialogs_.inputs.size(); ++i) {
    if (dialogs_.inputs[i].emptyCancels) {
      cancels.push_back(i);
    }
  }
  EXPECT_THAT(cancels, testing::ElementsAre(dialogs_.inputs.size() - 1))
      << "only \"Store these settings?\"";
}

TEST_F(SetupQuestions, APointEndsThemAnywhereWithoutAChange) {
  EXPECT_FALSE(ask({"", "ann@gmail.com", "."}));
  EXPECT_FALSE(program().setup().visible());
  EXPECT_FALSE(files_.has(kPrefFile));
}

TEST_F(SetupQuestions, AnUnknownDomainIsAskedForItsServers) {
  EXPECT_TRUE(ask({"", "ann@firm.example", "", "", "", "mail.firm.example", "", "993", "", "", "",
                   "pw", "", "out.firm.example", "", "465", "", "", "1"}));
  setup_.onKept({});
  EXPECT_EQ(stored().imap.server.host, "mail.firm.example");
  EXPECT_EQ(stored().smtp.server.host, "out.firm.example");
  EXPECT_EQ(stored().imap.user, "ann@firm.example");
}

TEST_F(SetupQuestions, AnOwnDomainIsToldWhatTheChosenProviderWants) {
  const auto& hosts = program().setup().cmbHostedBy.list();
  const auto fastmail = std::find(hosts.begin(), hosts.end(), "Fastmail") - hosts.begin() + 1;
  EXPECT_FALSE(ask({"", "ann@firm.example", std::to_string(fastmail), "", "."}));
  ASSERT_EQ(dialogs_.inputs.size(), 5u);
  EXPECT_THAT(dialogs_.inputs[3].prompt, testing::Not(HasSubstr("app password")));
  EXPECT_THAT(dialogs_.inputs[4].prompt, HasSubstr("Fastmail needs an app password"));
  EXPECT_THAT(dialogs_.inputs[4].prompt, HasSubstr("Sign in with"));
}

TEST_F(SetupQuestions, AnOwnDomainIsToldWhatTheProviderOfItsServerWants) {
  EXPECT_FALSE(ask({"", "ann@firm.example", "", "", "", "imap.gmail.com", "", "993", "", "."}));
  EXPECT_THAT(dialogs_.inputs[8].prompt, HasSubstr("https://myaccount.google.com/apppasswords"));
  EXPECT_THAT(dialogs_.inputs[8].prompt, HasSubstr("User name"));
  EXPECT_THAT(dialogs_.inputs[4].prompt, testing::Not(HasSubstr("built-in list")))
      << "what is not known is said once";
}

TEST_F(SetupQuestions, AMaildirThatWasFoundIsOneNumber) {
  EXPECT_TRUE(ask({"2", "1", "ann@firm.example", "", "", "", "", "1"}));
  EXPECT_THAT(asked(), testing::ElementsAre("Where is your mail", "Found here",
                                            "Your e-mail address", "Your name", "Forwards leave by",
                                            "Found here", "Address book (a vCard file, optional)",
                                            "Store these settings"));
  EXPECT_EQ(stored().maildir, "/home/ann/Maildir");
  EXPECT_EQ(stored().sendmail, "/usr/sbin/sendmail");
}

TEST_F(SetupQuestions, AMaildirThatSendsThroughAProviderIsToldOfTheAppPassword) {
  EXPECT_TRUE(ask({"2", "1", "ann@firm.example", "", "2", "smtp.gmail.com", "", "465",
                   "ann@gmail.com", "", "abcd efgh ijkl mnop", "", "1"}));
  ASSERT_GE(dialogs_.inputs.size(), 11u);
  EXPECT_THAT(dialogs_.inputs[8].prompt, HasSubstr("https://myaccount.google.com/apppasswords"));
  EXPECT_THAT(dialogs_.inputs[10].prompt, HasSubstr("App password"));
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "abcdefghijklmnop");
}

// A person types "yes" there; it was asked again without a reason.
TEST_F(SetupQuestions, AnEntryIsChosenByItsWordsToo) {
  EXPECT_TRUE(ask({"", "ann@gmail.com", "", "", "yes", "abcdefghijklmnop", "Y"}));
  EXPECT_EQ(asked().size(), 7u) << "nothing was asked twice";
}

TEST_F(SetupQuestions, ABeginningThatTwoEntriesHaveIsNone) {
  EXPECT_FALSE(ask({"2", "1", "ann@firm.example", "", "a", "ano", "."}));
  ASSERT_EQ(dialogs_.inputs.size(), 7u);
  EXPECT_THAT(dialogs_.inputs[4].prompt, HasSubstr("Another server (SMTP)"));
  EXPECT_THAT(dialogs_.inputs[5].prompt, HasSubstr("\"a\" is none of these."));
  EXPECT_THAT(dialogs_.inputs[6].prompt, HasSubstr("Server for sending mail"));
}

TEST_F(SetupQuestions, AnAnswerThatIsNoneIsToldAndAskedForAgain) {
  EXPECT_FALSE(ask({"the moon", "3", "."}));
  EXPECT_THAT(dialogs_.inputs[1].prompt,
              HasSubstr("\"the moon\" is none of these. Type the number, or how an entry begins."));
  EXPECT_THAT(dialogs_.inputs[2].prompt, HasSubstr("\"3\" is none of these."));
  EXPECT_THAT(asked(), testing::Each("Where is your mail"));
}

// Everything that was typed was lost with the box.
TEST_F(SetupQuestions, AMissingAnswerIsAskedForAgainAndTheOthersAreKept) {
  EXPECT_TRUE(
      ask({"2", "1", "ann@localhost", "", "2", "out.firm.example", "", "465", "", "", "pw", "", "1",
           // Again; only the user name is new.
           "", "", "", "", "", "", "", "", "ann", "", "", "", "1"}));
  EXPECT_THAT(dialogs_.boxes, testing::Contains(testing::Field(&AnswerBox::text,
                                                               HasSubstr("Enter your user name"))));
  ASSERT_EQ(setup_.kept.size(), 1u);
  EXPECT_EQ(setup_.kept[0].second, "pw");
  setup_.onKept({});
  EXPECT_EQ(stored().smtp.user, "ann");
  EXPECT_EQ(stored().smtp.server.host, "out.firm.example");
}

TEST_F(SetupQuestions, AMissingAnswerCanBeGivenUpOn) {
  EXPECT_FALSE(ask({"2", "1", "ann@localhost", "", "2", "out.firm.example", "", "465", "", "", "pw",
                    "", "1", "."}));
  EXPECT_FALSE(program().setup().visible());
  EXPECT_FALSE(files_.has(kPrefFile));
}

TEST_F(SetupQuestions, AnotherFolderIsAskedFor) {
  EXPECT_TRUE(ask({"2", "2", "~/Mail", "ann@firm.example", "", "4", "", "1"}));
  EXPECT_EQ(stored().maildir, "/home/ann/Mail");
  EXPECT_EQ(stored().delivery, DeliveryKind::kNone);
}

// The desktop's accounts arrive when they arrive, and bring servers of their own.
TEST_F(SetupQuestions, ServersThatChangedWhileTheQuestionWasOpenAreAskedAboutAgain) {
  OnlineAccount account{"account_7", "Firm", "ann@firm.example", "ann@firm.example", "Ann", {}, {},
                        false,       false};
  account.imap = {{MailProtocol::kImap, "in.desk.example", 993, Security::kTls, {}}, "ann"};
  account.smtp = {{MailProtocol::kSmtp, "out.desk.example", 465, Security::kTls, {}}, "ann"};
  dialogs_.onInput = [&](const InputBox& box) {
    if (box.prompt.find("Store these settings?") != std::string::npos && setup_.onAccounts) {
      std::exchange(setup_.onAccounts, {})({{account}, {}});
    }
  };
  EXPECT_TRUE(ask({"", "ann@gmail.com", "", "4", "", "1", "1"}));
  ASSERT_GE(dialogs_.inputs.size(), 2u);
  EXPECT_THAT((dialogs_.inputs.end() - 2)->prompt, HasSubstr("from imap.gmail.com"));
  EXPECT_THAT(dialogs_.inputs.back().prompt, HasSubstr("from in.desk.example"));
  EXPECT_EQ(dialogs_.unexpected, 0u);
  EXPECT_EQ(stored().imap.server.host, "in.desk.example");
}

TEST_F(SetupQuestions, TheEndOfTheInputEndsThem) {
  EXPECT_FALSE(ask({"2"})) << "then nothing but empty answers, for ever";
  EXPECT_THAT(asked().back(), "Store these settings");
  EXPECT_FALSE(files_.has(kPrefFile));
}

}  // namespace
}  // namespace relaybird
