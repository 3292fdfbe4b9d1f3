// SPDX-License-Identifier: MIT
// Where secrets come from, what is said when there is none, and that a refused one is not repeated.
#include "mail/sign_in_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "prefs/fake_files.h"
#include "support/fake_secrets.h"
#include "support/whole_path.h"

namespace relaybird {
namespace {

using Cause = SignInFailure::Cause;
using std::chrono::milliseconds;
using std::chrono::minutes;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;
using testing::StartsWith;

class SignInSourceTest : public testing::Test {
 protected:
  SignInSourceTest() {
    account.server = {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, {}};
    account.user = "ann";
    files.addFolder("/run/credentials");
  }
  SignInSource source() { return SignInSource(world, files, account, account, appPasswordLength); }
  SignInSource commandSource(SecretSource kind = SecretSource::kCommand) {
    account.secret = kind;
    account.secretCommand = wholePath("/usr/bin/pass") + " show mail";
    if (kind == SecretSource::kTokenCommand) {
      account.signIn = SignInMethod::kOauthBearer;
    }
    return source();
  }
  SignInSource credentialSource(const std::string& name) {
    account.secret = SecretSource::kCredential;
    account.secretName = name;
    return source();
  }
  SignInSource accountSource() {
    account.secret = SecretSource::kOnlineAccount;
    account.secretName = "account_1";
    account.signIn = SignInMethod::kXoauth2;
    return source();
  }

  static std::string secretIn(const SignInMaterial& material) {
    return material.signIn ? std::string(material.signIn->secret.bytes())
                           : "nothing: " + material.failure.words;
  }
  static std::string wordsOf(const SignInMaterial& material) {
    return material.signIn ? "it has a secret" : material.failure.words;
  }

  milliseconds now{0};
  FakeFiles files;
  FakeSecretStore keyring;
  FakeOnlineAccounts accounts;
  FakeSecretCommands commands;
  SecretWorld world{&keyring, &accounts, &commands, "/run/credentials", [this] { return now; }};
  AccountSettings account;
  std::size_t appPasswordLength = 0;
};

// The places.

TEST_F(SignInSourceTest, TheKeyringIsAskedOnceUnderTheNameOfTheServer) {
  keyring.store({MailProtocol::kImap, "ann", "imap.example.org", 993}, Secret("sesame"), {});
  SignInSource source = this->source();
  const SignInMaterial material = source.get({});
  EXPECT_EQ(secretIn(material), "sesame");
  EXPECT_EQ(material.signIn->user, "ann");
  EXPECT_EQ(material.signIn->method, SignInMethod::kPassword);
  EXPECT_EQ(secretIn(source.get({})), "sesame");
  EXPECT_EQ(keyring.lookUps, 1);
}

TEST_F(SignInSourceTest, ASharedSecretIsThatOfTheOtherServerForThisUser) {
  keyring.store({MailProtocol::kImap, "ann", "imap.example.org", 993}, Secret("sesame"), {});
  AccountSettings smtp;
  smtp.server = {MailProtocol::kSmtp, "smtp.example.org", 587, Security::kStartTls, {}};
  smtp.user = "ann@example.org";
  smtp.secret = SecretSource::kSameAsImap;
  smtp.signIn = SignInMethod::kLogin;
  SignInSource source(world, files, smtp, account);
  const SignInMaterial material = source.get({});
  EXPECT_EQ(secretIn(material), "sesame");
  EXPECT_EQ(material.signIn->user, "ann@example.org");
  EXPECT_EQ(material.signIn->method, SignInMethod::kLogin);
}

TEST_F(SignInSourceTest, EachFailureOfTheKeyringHasWordsThatSayWhatToDo) {
  using End = SecretAnswer::End;
  EXPECT_THAT(wordsOf(source().get({})), HasSubstr("Set up mail again"));
  keyring.end = End::kDeclined;
  EXPECT_THAT(wordsOf(source().get({})), HasSubstr("is locked. Unlock it"));
  keyring.end = End::kFailed;
  EXPECT_THAT(wordsOf(source().get({})), HasSubstr("the words of the keyring"));
  keyring.end = End::kCancelled;
  EXPECT_EQ(source().get({}).failure.cause, Cause::kCancelled);
}

TEST_F(SignInSourceTest, AKeyringThatStaysLockedIsNotAskedAgainByTimer) {
  keyring.end = SecretAnswer::End::kDeclined;
  SignInSource source = this->source();
  for (now = minutes{0}; now < minutes{60}; now += minutes{1}) {
    EXPECT_EQ(source.get({}).failure.cause, Cause::kDeclined);
  }
  EXPECT_EQ(keyring.lookUps, 1);
  (void)source.get({});
  EXPECT_EQ(keyring.lookUps, 2);
  source.tryAgain();
  (void)source.get({});
  EXPECT_EQ(keyring.lookUps, 3);
}

TEST_F(SignInSourceTest, WithoutAKeyringTheAlternativesAreNamed) {
  const auto both = AllOf(HasSubstr("Let a command print it"), HasSubstr("systemd credential"));
  keyring.end = SecretAnswer::End::kNoService;
  EXPECT_THAT(wordsOf(source().get({})), both);
  world.keyring = nullptr;
  EXPECT_THAT(wordsOf(source().get({})), both);
}

TEST_F(SignInSourceTest, TheFirstLineOfACommandIsThePassword) {
  for (const std::string output : {"sesame", "sesame\n", "sesame\r\n", "sesame\nurl: x\nuser: y"}) {
    commands.prints(output);
    EXPECT_EQ(secretIn(commandSource().get({})), "sesame") << output;
  }
  EXPECT_THAT(commands.ran[0], ElementsAre(wholePath("/usr/bin/pass"), "show", "mail"));
}

TEST_F(SignInSourceTest, ACommandThatFailsIsQuotedByItsErrorsAndNeverByItsOutput) {
  commands.result = {{CommandResult::End::kExited, 2, "gpg: no\x1b[2J key\nnor sesame\n"},
                     Secret("sesame\n")};
  const std::string words = wordsOf(commandSource().get({}));
  EXPECT_THAT(words, HasSubstr("ended with status 2. It said: gpg: no [2J key nor ..."));
  EXPECT_THAT(words, Not(HasSubstr("sesame")));
}

TEST_F(SignInSourceTest, ACommandThatPrintsNothingOrTooMuchOrHangsIsAFailure) {
  commands.prints("\nsesame");
  EXPECT_THAT(wordsOf(commandSource().get({})), HasSubstr("it printed nothing"));
  commands.prints(std::string(kSecretOutputLimit, 'x'));
  EXPECT_THAT(wordsOf(commandSource().get({})), HasSubstr("more than any service gives"));
  commands.result = {{CommandResult::End::kTimedOut, 9, {}}, Secret("sesame")};
  EXPECT_THAT(wordsOf(commandSource().get({})), HasSubstr("did not end within two minutes"));
  commands.result = {{CommandResult::End::kNotStarted, 2, {}}, {}};
  EXPECT_THAT(wordsOf(commandSource().get({})), HasSubstr("No such file"));
}

TEST_F(SignInSourceTest, ACommandWithoutItsWholePathIsNotRun) {
  account.secret = SecretSource::kCommand;
  account.secretCommand = "pass show mail";
  EXPECT_THAT(wordsOf(source().get({})), HasSubstr("whole path"));
  EXPECT_TRUE(commands.ran.empty());
}

TEST_F(SignInSourceTest, ACredentialIsAFileOfTheServicesFolder) {
  files.addFile("/run/credentials/imap", "sesame\n");
  EXPECT_EQ(secretIn(credentialSource("imap").get({})), "sesame");
}

TEST_F(SignInSourceTest, ACredentialIsReadFromNoOtherFolder) {
  files.addFile("/run/secret", "sesame");
  EXPECT_THAT(wordsOf(credentialSource("../secret").get({})), HasSubstr("not the name"));
  EXPECT_THAT(wordsOf(credentialSource("..").get({})), HasSubstr("not the name"));
}

TEST_F(SignInSourceTest, ACredentialThatIsMissingOrEmptyIsNamed) {
  EXPECT_THAT(wordsOf(credentialSource("imap").get({})),
              StartsWith("The service has no credential imap: "));
  files.addFile("/run/credentials/imap", "\n");
  EXPECT_THAT(wordsOf(credentialSource("imap").get({})), HasSubstr("is empty"));
  world.credentialFolder.clear();
  EXPECT_THAT(wordsOf(credentialSource("imap").get({})), HasSubstr("not started as a service"));
}

TEST_F(SignInSourceTest, AnOnlineAccountGivesATokenForTheServersProtocol) {
  accounts.answer.secret = Secret("token");
  accounts.answer.token = true;
  const SignInMaterial material = accountSource().get({});
  EXPECT_EQ(secretIn(material), "token");
  EXPECT_EQ(material.signIn->method, SignInMethod::kXoauth2);
  EXPECT_THAT(accounts.asked, ElementsAre(Pair("account_1", MailProtocol::kImap)));
}

TEST_F(SignInSourceTest, AnOnlineAccountWithAPasswordSignsInWithThePassword) {
  accounts.answer.secret = Secret("sesame");
  const SignInMaterial material = accountSource().get({});
  EXPECT_EQ(secretIn(material), "sesame");
  EXPECT_EQ(material.signIn->method, SignInMethod::kPassword);
}

TEST_F(SignInSourceTest, AnOnlineAccountThatNeedsAttentionSaysSo) {
  accounts.failure = {OnlineAccountsFailure::Cause::kNeedsAttention, "Sign in again."};
  const SignInMaterial material = accountSource().get({});
  EXPECT_EQ(material.failure.cause, Cause::kDeclined);
  EXPECT_EQ(wordsOf(material), "Sign in again.");
}

// How long a secret is kept.

TEST_F(SignInSourceTest, ATokenIsReplacedShortlyBeforeItExpires) {
  accounts.answer = {Secret("first"), true, std::chrono::hours{1}, std::nullopt};
  SignInSource source = accountSource();
  EXPECT_EQ(secretIn(source.get({})), "first");
  accounts.answer.secret = Secret("second");
  now = minutes{57};
  EXPECT_EQ(secretIn(source.get({})), "first");
  now = minutes{58};
  EXPECT_EQ(secretIn(source.get({})), "second");
}

TEST_F(SignInSourceTest, ATokenOfACommandIsKeptForMinutesAlone) {
  commands.prints("first");
  SignInSource source = commandSource(SecretSource::kTokenCommand);
  const SignInMaterial material = source.get({});
  EXPECT_EQ(material.signIn->method, SignInMethod::kOauthBearer);
  commands.prints("second");
  now = minutes{4};
  EXPECT_EQ(secretIn(source.get({})), "first");
  now = minutes{5};
  EXPECT_EQ(secretIn(source.get({})), "second");
}

// What a refusal does.

TEST_F(SignInSourceTest, ARefusedPasswordIsNotTriedAgainByTimer) {
  commands.prints("wrong");
  SignInSource source = commandSource();
  ASSERT_EQ(secretIn(source.get({})), "wrong");
  source.refused();
  for (now = minutes{0}; now < minutes{24 * 60}; now += minutes{5}) {
    ASSERT_EQ(source.get({}).failure.cause, Cause::kRefused);
  }
  // Nor is the user asked for the passphrase of a key at every check.
  EXPECT_LE(commands.ran.size(), 26U);
}

TEST_F(SignInSourceTest, ASpaceAtAnEndOfARefusedPasswordIsMentioned) {
  for (const auto& [password, mentioned] :
       {std::pair("sesame ", true), {" sesame", true}, {"open sesame", false}}) {
    commands.prints(password);
    SignInSource source = commandSource();
    ASSERT_EQ(secretIn(source.get({})), password) << "it is sent as it is";
    source.refused();
    EXPECT_EQ(wordsOf(source.get({})).find("ends with a space") != std::string::npos, mentioned);
  }
}

TEST_F(SignInSourceTest, ACorrectedPasswordIsFoundAfterARefusal) {
  commands.prints("wrong");
  SignInSource source = commandSource();
  (void)source.get({});
  source.refused();
  commands.prints("right");
  EXPECT_EQ(secretIn(source.get({})), "right");
}

TEST_F(SignInSourceTest, AnHourAfterARefusalACorrectedPasswordIsFound) {
  commands.prints("wrong");
  SignInSource source = commandSource();
  (void)source.get({});
  source.refused();
  ASSERT_EQ(source.get({}).failure.cause, Cause::kRefused);
  commands.prints("right");
  now = minutes{59};
  EXPECT_EQ(source.get({}).failure.cause, Cause::kRefused);
  now = minutes{60};
  EXPECT_EQ(secretIn(source.get({})), "right");
}

TEST_F(SignInSourceTest, ARefusedTokenIsFetchedAnewOnceAndThenOnceAnHour) {
  int number = 0;
  int handedOut = 0;
  SignInSource source = commandSource(SecretSource::kTokenCommand);
  for (now = minutes{0}; now < minutes{300}; now += minutes{1}) {
    commands.prints("token" + std::to_string(++number));
    if (source.get({}).signIn) {
      ++handedOut;
      source.refused();
    }
  }
  EXPECT_EQ(handedOut, 2 + 4);
}

TEST_F(SignInSourceTest, AnExpiredTokenThatWasRefusedIsReplacedAtOnceAfterASuccess) {
  accounts.answer = {Secret("first"), true, std::chrono::hours{1}, std::nullopt};
  SignInSource source = accountSource();
  for (const char* token : {"second", "third", "fourth"}) {
    (void)source.get({});
    source.refused();
    accounts.answer.secret = Secret(token);
    ASSERT_EQ(secretIn(source.get({})), token);
    source.accepted();
  }
}

TEST_F(SignInSourceTest, TheUserMayTryTheSamePasswordAgain) {
  commands.prints("right after all");
  SignInSource source = commandSource();
  (void)source.get({});
  source.refused();
  ASSERT_EQ(source.get({}).failure.cause, Cause::kRefused);
  now += std::chrono::seconds{30};
  source.tryAgain();
  EXPECT_EQ(secretIn(source.get({})), "right after all");
}

// Ten clicks a second would lock the account.
TEST_F(SignInSourceTest, AnImpatientUserTriesTheSamePasswordTwiceAMinute) {
  commands.prints("wrong");
  SignInSource source = commandSource();
  int tries = 0;
  for (; now < minutes{1}; now += std::chrono::milliseconds{100}) {
    source.tryAgain();
    if (source.get({}).signIn) {
      ++tries;
      source.refused();
    }
  }
  EXPECT_EQ(tries, 2);
  commands.prints("right");
  source.tryAgain();
  EXPECT_EQ(secretIn(source.get({})), "right");
}

// Spaces in passwords.

TEST(AppPasswords, LoseTheirSpacesOnlyWhereTheRestHasTheRightLength) {
  const auto without = [](std::string_view password, std::size_t length) {
    return std::string(withoutGroups(Secret(password), length).bytes());
  };
  EXPECT_EQ(without("abcd efgh ijkl mnop", 16), "abcdefghijklmnop");
  EXPECT_EQ(without(" abcd efgh ijkl mnop ", 16), "abcdefghijklmnop");
  EXPECT_EQ(without("abcd\xc2\xa0"
                    "efgh\xc2\xa0ijkl\xc2\xa0mnop",
                    16),
            "abcdefghijklmnop");
  EXPECT_EQ(without("abcdefghijklmnop", 16), "abcdefghijklmnop");
  EXPECT_EQ(without("correct horse battery", 16), "correct horse battery");
  EXPECT_EQ(without("abcd efgh ijkl mnop", 0), "abcd efgh ijkl mnop");
  EXPECT_EQ(without("   ", 0), "   ");
}

TEST_F(SignInSourceTest, AnAppPasswordIsSentWithoutItsSpacesToAProviderThatShowsThem) {
  appPasswordLength = 16;
  commands.prints("abcd efgh ijkl mnop");
  EXPECT_EQ(secretIn(commandSource().get({})), "abcdefghijklmnop");
}

TEST(AppPasswords, ASpaceAtAnEndIsNoticed) {
  EXPECT_TRUE(hasSpaceAtAnEnd(Secret("sesame ")));
  EXPECT_TRUE(hasSpaceAtAnEnd(Secret(" sesame")));
  EXPECT_FALSE(hasSpaceAtAnEnd(Secret("open sesame")));
  EXPECT_FALSE(hasSpaceAtAnEnd(Secret()));
}

TEST(BeginsSignIn, IsTrueOfTheProgramsOwnCommandsAlone) {
  const auto sent = [](const char* text, MailProtocol protocol) {
    return beginsSignIn({true, text}, protocol);
  };
  for (const char* text : {"A2 AUTHENTICATE PLAIN ***", "A2 LOGIN ***", "A2 AUTHENTICATE"}) {
    EXPECT_TRUE(sent(text, MailProtocol::kImap)) << text;
    EXPECT_FALSE(beginsSignIn({false, text}, MailProtocol::kImap)) << "said by the server";
  }
  for (const char* text : {"A1 CAPABILITY", "A2 LOGOUT", "***", ""}) {
    EXPECT_FALSE(sent(text, MailProtocol::kImap)) << text;
    EXPECT_FALSE(sent(text, MailProtocol::kSmtp)) << text;
  }
  EXPECT_TRUE(sent("AUTH PLAIN ***", MailProtocol::kSmtp));
  EXPECT_FALSE(beginsSignIn({false, "AUTH PLAIN"}, MailProtocol::kSmtp)) << "said by the server";
  EXPECT_FALSE(sent("EHLO AUTH", MailProtocol::kSmtp));
  EXPECT_FALSE(sent("AUTHENTICATE PLAIN", MailProtocol::kSmtp));
}

}  // namespace
}  // namespace relaybird
