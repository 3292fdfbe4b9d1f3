// SPDX-License-Identifier: MIT
// The test of an account as the user reads it, against servers that a test plays.
#include "app/account_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "prefs/fake_files.h"
#include "support/fake_secrets.h"
#include "support/scripted_network.h"
#include "support/signs_in.h"

namespace relaybird {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using Answer = std::function<std::string(const std::string& command)>;

// An IMAP server in lines: answers each command by its words without the tag.
std::unique_ptr<ServerScript> imapServer(const Answer& instead) {
  return answerLines([instead](ServerEnd& end, std::string_view line) {
    const std::size_t blank = line.find(' ');
    const std::string tag(line.substr(0, blank));
    const std::string command(line.substr(blank + 1));
    if (const std::string own = instead(command); !own.empty()) {
      end.say(own.starts_with("*") ? own : tag + " " + own);
      return;
    }
    if (command == "CAPABILITY") {
      end.say("* CAPABILITY IMAP4rev1 ID\r\n");
    } else if (command.starts_with("ID")) {
      end.say("* ID NIL\r\n");
    } else if (command.starts_with("SELECT")) {
      end.say("* 5 EXISTS\r\n* OK [UIDVALIDITY 7] here\r\n");
      end.say(tag + " OK [READ-WRITE] done\r\n");
      return;
    } else if (command.starts_with("UID SEARCH")) {
      end.say("* SEARCH 3 4\r\n");
    }
    end.say(tag + " OK done\r\n");
  });
}

std::unique_ptr<ServerScript> smtpServer(const std::string& toMail) {
  return answerLines([toMail](ServerEnd& end, std::string_view line) {
    end.say(line.starts_with("MAIL") ? toMail : "250 ok\r\n");
  });
}

class AccountTestRun : public testing::Test {
 protected:
  AccountTestRun() {
    settings.mailbox = MailboxKind::kAccount;
    settings.address = "ann@example.org";
    settings.imap.server = {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, {}};
    settings.imap.user = "ann";
    settings.delivery = DeliveryKind::kSmtp;
    settings.smtp.server = {MailProtocol::kSmtp, "smtp.example.org", 465, Security::kTls, {}};
    settings.smtp.user = "ann";
    settings.smtp.secret = SecretSource::kSameAsImap;
    secrets.imap = Secret("pass word");
  }

  // Runs the test; `lines` then has what the user reads.
  bool run() {
    auto network = std::make_unique<ScriptedNetwork>();
    net = network.get();
    connected = 0;
    signInsToSend = 0;
    const auto begin = network->steadyTime();
    network->serve([this](ServerEnd& end) -> std::unique_ptr<ServerScript> {
      if (end.server().protocol == MailProtocol::kImap) {
        return imap ? imap() : std::make_unique<SignsIn>(imapServer(imapSays));
      }
      signInsToSend += end.signIn() ? 1 : 0;
      return smtp ? smtp() : std::make_unique<SignsIn>(smtpServer(toMail));
    });
    if (prepare) {
      prepare(*network);
    }
    world.network = [&] { return std::move(network); };
    return testAccount(world, settings, secrets, stop.get_token(),
                       [this, begin](const TestLine& line) {
                         static constexpr const char* kMarks[] = {"", "OK: ", "Problem: ", "Do: "};
                         lines.push_back(kMarks[static_cast<int>(line.kind)] + line.text);
                         connected = net->connections();
                         lasted = net->steadyTime() - begin;
                         EXPECT_EQ(line.text.find("pass word"), std::string::npos);
                       });
  }
  // Opening a connection fails like this.
  std::function<std::unique_ptr<ServerScript>()> failing(ConnectFailure::Cause cause,
                                                         ConnectStep step, std::string answer) {
    class Failing : public ServerScript {
     public:
      explicit Failing(ConnectFailure failure) : failure_(std::move(failure)) {}
      void connecting(ServerEnd& end) override {
        end.reach(failure_.step);
        end.fail(failure_);
      }
      void heard(ServerEnd&, std::string_view) override {}

     private:
      ConnectFailure failure_;
    };
    return [failure = ConnectFailure{cause, step, "the words of the library", std::move(answer)}] {
      return std::make_unique<Failing>(failure);
    };
  }

  FakeFiles files;
  AccountTestWorld world{files, {}, {}, "1.2.3"};
  MailSettings settings;
  TypedSecrets secrets;
  std::stop_source stop;
  Answer imapSays = [](const std::string&) { return std::string(); };
  std::string toMail = "250 ok\r\n";
  std::function<std::unique_ptr<ServerScript>()> imap;
  std::function<std::unique_ptr<ServerScript>()> smtp;
  std::function<void(ScriptedNetwork&)> prepare;
  ScriptedNetwork* net = nullptr;  // while the test runs
  std::size_t connected = 0;       // until the last line
  int signInsToSend = 0;
  std::chrono::milliseconds lasted{0};
  std::vector<std::string> lines;
};

TEST_F(AccountTestRun, EveryStepThatSucceedsHasALine) {
  EXPECT_TRUE(run());
  EXPECT_THAT(
      lines,
      testing::ElementsAre(
          "Reading mail:", "OK: The server imap.example.org was found.",
          "OK: It answers at port 993.",
          "OK: The connection is encrypted, and the certificate is valid.", "OK: Signed in as ann.",
          "OK: The folder INBOX was opened; it has 5 messages, 2 of them unread.", "Sending mail:",
          "OK: The server smtp.example.org was found.", "OK: It answers at port 465.",
          "OK: The connection is encrypted, and the certificate is valid.", "OK: Signed in as ann.",
          "OK: The server for sending takes mail from ann@example.org."));
}

TEST_F(AccountTestRun, AServerForSendingWithoutSignInIsNotSaidToHaveSignedAnybodyIn) {
  smtp = [] { return smtpServer("250 ok\r\n"); };
  EXPECT_TRUE(run());
  EXPECT_THAT(lines, Contains("OK: Signed in as ann.").Times(1)) << "for reading";
  EXPECT_THAT(lines, Contains("The server offers no sign-in, so nobody has signed in. Forwards are "
                              "handed to it without one. Whether it takes them, a test message "
                              "shows."));
  EXPECT_THAT(lines, Contains("OK: The server for sending takes mail from ann@example.org."));
}

TEST_F(AccountTestRun, AServerForSendingWithoutSignInThatWantsOneSaysSo) {
  smtp = [] { return smtpServer("530 5.7.0 Authentication required\r\n"); };
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("The server offers no sign-in")));
  EXPECT_THAT(lines, Contains(HasSubstr("530 5.7.0 Authentication required")));
  EXPECT_THAT(lines, Contains("Do: The server wants you to sign in before it takes mail. Check "
                              "under Set up mail the sign-in for sending, and the port: servers "
                              "offer it at 465 with TLS, or at 587 with STARTTLS."));
}

TEST_F(AccountTestRun, AnInboxThatIsOpenToAllIsNotSaidToHaveSignedAnybodyIn) {
  imap = [this] { return imapServer(imapSays); };
  EXPECT_TRUE(run());
  EXPECT_THAT(lines, Contains("The server has let the program in without a sign-in."));
  EXPECT_THAT(lines, Contains("OK: Signed in as ann.").Times(1)) << "for sending";
}

TEST_F(AccountTestRun, TheProgramSaysWhoItIsBeforeItOpensTheInbox) {
  std::vector<std::string> heard;
  imapSays = [&](const std::string& command) {
    heard.push_back(command.substr(0, command.find(' ')));
    return std::string();
  };
  EXPECT_TRUE(run());
  EXPECT_THAT(heard, testing::ElementsAre("CAPABILITY", "ID", "SELECT", "UID"));
}

TEST_F(AccountTestRun, NoMailIsSent) {
  std::string heard;
  smtp = [&heard] {
    return answerLines([&heard](ServerEnd& end, std::string_view line) {
      heard += std::string(line) + "\n";
      end.say("250 ok\r\n");
    });
  };
  EXPECT_TRUE(run());
  EXPECT_EQ(heard, "MAIL FROM:<ann@example.org>\nRSET\n");
}

TEST_F(AccountTestRun, AWrongPasswordHasTheServersWordsAndIsNotTriedAgain) {
  int connections = 0;
  imap = [&, fail = failing(ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn,
                            "NO [AUTHENTICATIONFAILED] Invalid credentials")] {
    ++connections;
    return fail();
  };
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains("OK: It answers at port 993."));
  EXPECT_THAT(lines, Contains(HasSubstr("Invalid credentials")));
  EXPECT_THAT(lines, Contains(testing::StartsWith("Do: ")));
  EXPECT_EQ(connections, 1);
}

TEST_F(AccountTestRun, ARefusedPasswordIsNotTriedAtTheProvidersOtherServerToo) {
  imap = failing(ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "NO wrong");
  EXPECT_FALSE(run());
  EXPECT_EQ(signInsToSend, 0) << "a second wrong try can lock the account";
  EXPECT_THAT(lines, Contains("OK: The server smtp.example.org was found."))
      << "the way there is tested all the same";
  EXPECT_THAT(lines,
              Contains("Problem: Signing in was not tried: imap.example.org has just refused "
                       "the same user name and password, and a second wrong try can lock the "
                       "account."));
}

TEST_F(AccountTestRun, AfterARefusalAnotherSignInIsTriedForSending) {
  const std::vector<std::function<void()>> differences = {
      [this] { settings.smtp.user = "ann@example.org"; },
      [this] { settings.smtp.server.host = "smtp.another.example"; },
      [this] {
        settings.smtp.secret = SecretSource::kKeyring;
        secrets.smtp = Secret("another word");
      }};
  for (const auto& differ : differences) {
    const MailSettings before = settings;
    differ();
    imap = failing(ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "NO wrong");
    lines.clear();
    EXPECT_FALSE(run());
    EXPECT_THAT(lines, Contains("OK: The server for sending takes mail from ann@example.org."));
    settings = before;
  }
}

TEST_F(AccountTestRun, AServerThatHasNotSeenThePasswordHasNotRefusedIt) {
  for (const auto& fail :
       {failing(ConnectFailure::Cause::kNotReached, ConnectStep::kConnect, ""),
        // It offers other ways to sign in.
        failing(ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "")}) {
    imap = fail;
    lines.clear();
    EXPECT_FALSE(run());
    EXPECT_THAT(lines, Contains("OK: The server for sending takes mail from ann@example.org."));
  }
}

TEST_F(AccountTestRun, EveryCauseHasItsOwnWordsAndAdvice) {
  using Cause = ConnectFailure::Cause;
  std::set<std::string> advice;
  const std::vector<std::pair<Cause, ConnectStep>> causes = {
      {Cause::kNoSuchHost, ConnectStep::kResolve},   {Cause::kNotReached, ConnectStep::kConnect},
      {Cause::kNoEncryption, ConnectStep::kEncrypt}, {Cause::kCertificate, ConnectStep::kEncrypt},
      {Cause::kBusy, ConnectStep::kEncrypt},         {Cause::kSignInRefused, ConnectStep::kSignIn}};
  for (const auto& [cause, step] : causes) {
    lines.clear();
    imap = failing(cause, step, "");
    EXPECT_FALSE(run());
    for (const std::string& line : lines) {
      if (line.starts_with("Do: ")) {
        advice.insert(line);
      }
    }
  }
  EXPECT_EQ(advice.size(), causes.size());
}

TEST_F(AccountTestRun, ARefusalIsToldWithTheServersWordsAndWhatItsProviderWants) {
  const std::string advice =
      "Do: Check user name and password. Gmail needs an app password, not the account's own. Make "
      "one here: https://myaccount.google.com/apppasswords";
  imap = failing(ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "NO wrong");
  settings.imap.server.host = "imap.gmail.com";
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("Do: ")).Times(1));
  EXPECT_THAT(lines, Contains(StartsWith(advice)));
  EXPECT_THAT(lines, Contains(HasSubstr("NO wrong"))) << "the server's own words";
  lines.clear();
  smtp = failing(ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "535 5.7.8 wrong");
  settings.mailbox = MailboxKind::kMaildir;
  settings.smtp.server.host = "smtp.gmail.com";
  settings.smtp.secret = SecretSource::kKeyring;
  secrets.smtp = Secret("another word");
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(StartsWith(advice))) << "the mailbox is a Maildir";
}

TEST_F(AccountTestRun, WhoeverHasATokenIsNotToldToMakeAnAppPassword) {
  imap = failing(ConnectFailure::Cause::kSignInRefused, ConnectStep::kSignIn, "NO expired");
  settings.imap.server.host = "imap.gmail.com";
  settings.imap.signIn = SignInMethod::kXoauth2;
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(StartsWith("Do: Check the user name, and whether the token")));
}

TEST_F(AccountTestRun, AnInboxThatIsRefusedLeadsToTheProvidersSettings) {
  imapSays = [](const std::string& command) {
    return command.starts_with("SELECT") ? std::string("NO [ALERT] IMAP access is disabled\r\n")
                                         : std::string();
  };
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("IMAP access is disabled")));
  EXPECT_THAT(lines, Contains(HasSubstr("switched on in the settings")));
}

TEST_F(AccountTestRun, AServerThatFallsSilentIsToldAfterTheLimit) {
  imap = [] { return answerLines([](ServerEnd&, std::string_view) {}); };
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains("Problem: imap.example.org does not answer any more."));
}

TEST_F(AccountTestRun, AServerThatSaysNonsenseIsTold) {
  smtp = [] {
    return answerLines([](ServerEnd& end, std::string_view) {
      for (int i = 0; i < 20; ++i) {
        end.say("hello there\r\n");
      }
    });
  };
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("what no mail server says")));
}

TEST_F(AccountTestRun, ARefusedSenderHasTheServersWords) {
  toMail = "550 5.7.60 Client does not have permissions to send as this sender\r\n";
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("does not take mail from ann@example.org: 550")));
}

TEST_F(AccountTestRun, ItStopsAtOnce) {
  imap = [] { return answerLines([](ServerEnd&, std::string_view) {}); };
  prepare = [this](ScriptedNetwork& network) {
    network.after(std::chrono::seconds(2), [this] { stop.request_stop(); });
  };
  EXPECT_FALSE(run());
  EXPECT_EQ(lines.back(), "The test was stopped.");
  EXPECT_THAT(lines, Not(Contains("Sending mail:")));
}

// A server that answers everything with lines that answer nothing.
std::unique_ptr<ServerScript> talker(std::string line, std::size_t lines,
                                     std::chrono::milliseconds every) {
  return answerLines([=](ServerEnd& end, std::string_view) {
    if (every.count() > 0) {
      end.trickle(line.size(), every);
    }
    for (std::size_t i = 0; i < lines; ++i) {
      end.say(line);
    }
  });
}

TEST_F(AccountTestRun, AServerThatTricklesForEverIsNotWaitedForForEver) {
  imap = [] { return talker("* OK still here\r\n", 5000, std::chrono::seconds(10)); };
  smtp = [] { return talker("250-still here\r\n", 5000, std::chrono::seconds(10)); };
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("Problem: imap.example.org sends on and on")));
  EXPECT_LT(lasted, std::chrono::minutes(5));
}

TEST_F(AccountTestRun, AServerThatFloodsIsNotReadForEver) {
  const std::string line = "* OK " + std::string(8000, 'x') + "\r\n";
  imap = [line] { return talker(line, 3000, {}); };
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("Problem: imap.example.org sends on and on")));
}

// Always has more input, so that nobody ever waits. The user stops the test in between; the end of
// the connection only ends a test that fails.
class Flood : public Network {
 public:
  explicit Flood(std::stop_source& stop, int& reads) : stop_(stop), reads_(reads) {}
  std::unique_ptr<Connection> connect(const MailServer&, const std::optional<SignIn>&,
                                      std::chrono::milliseconds,
                                      std::function<void(ProtocolLine)>) override {
    return std::make_unique<End>(*this);
  }
  void wait(std::chrono::milliseconds) override {}
  void wake() override {}
  std::chrono::milliseconds steadyTime() const override { return {}; }

 private:
  class End : public Connection {
   public:
    explicit End(Flood& flood) : flood_(flood) {}
    State state() const override { return flood_.reads_ < 500 ? State::kOpen : State::kEnded; }
    ConnectStep step() const override { return ConnectStep::kReady; }
    const std::optional<ConnectFailure>& failure() const override { return failure_; }
    std::size_t send(std::string_view bytes) override { return bytes.size(); }
    std::size_t receive(std::string& to, std::size_t) override {
      if (state() == State::kEnded) {
        return 0;
      }
      if (++flood_.reads_ == 10) {
        flood_.stop_.request_stop();
      }
      to += "* OK still here\r\n";
      return 17;
    }
    void wantToSend(bool) override {}
    void wantToReceive(bool) override {}

   private:
    Flood& flood_;
    std::optional<ConnectFailure> failure_;
  };
  std::stop_source& stop_;
  int& reads_;
};

TEST_F(AccountTestRun, ItStopsAlsoWhileAServerFloods) {
  int reads = 0;
  world.network = [&] { return std::make_unique<Flood>(stop, reads); };
  std::string last;
  EXPECT_FALSE(testAccount(world, settings, secrets, stop.get_token(),
                           [&](const TestLine& line) { last = line.text; }));
  EXPECT_EQ(last, "The test was stopped.");
  EXPECT_EQ(reads, 10);
}

TEST_F(AccountTestRun, APasswordThatIsNowhereIsTold) {
  secrets.imap = Secret();
  FakeSecretStore keyring;
  world.secrets.keyring = &keyring;
  EXPECT_FALSE(run());
  EXPECT_EQ(connected, 0u) << "no server is asked without a password";
  EXPECT_THAT(lines, Contains(HasSubstr("There is no password for imap.example.org")));
}

// The test refused what the store and the delivery sign in with.
TEST_F(AccountTestRun, AKeptAppPasswordInGroupsIsTestedAsItIsUsed) {
  secrets.imap = Secret();
  settings.address = "ann@gmail.com";
  settings.imap.server.host = "imap.gmail.com";
  FakeSecretCommands commands;
  commands.prints("abcd efgh ijkl mnop\n");
  world.secrets.commands = &commands;
  settings.imap.secret = SecretSource::kCommand;
  settings.imap.secretCommand = "/usr/bin/pass";
  std::vector<std::string> used;
  prepare = [&](ScriptedNetwork& network) {
    network.serve([&](ServerEnd& end) {
      used.emplace_back(end.signIn()->secret.bytes());
      return end.server().protocol == MailProtocol::kImap ? imapServer(imapSays)
                                                          : smtpServer(toMail);
    });
  };
  EXPECT_TRUE(run());
  EXPECT_THAT(used, testing::ElementsAre("abcdefghijklmnop", "abcd efgh ijkl mnop"))
      << "the server for sending is another one";
}

TEST_F(AccountTestRun, AMaildirIsCountedAndACommandIsLookedFor) {
  settings.mailbox = MailboxKind::kMaildir;
  settings.maildir = "/mail";
  settings.delivery = DeliveryKind::kSendmail;
  settings.sendmail = "/usr/sbin/sendmail -v";
  for (const char* folder : {"/mail", "/mail/new", "/mail/cur", "/usr", "/usr/sbin"}) {
    files.addFolder(folder);
  }
  files.addFile("/mail/new/1", "mail");
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains("OK: The Maildir /mail was opened; it has 1 message."));
  EXPECT_THAT(lines, Contains("Problem: The command /usr/sbin/sendmail does not exist."));
  files.addFile("/usr/sbin/sendmail", "program");
  lines.clear();
  world.mayRun = [](const std::string&) { return false; };
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains("Problem: You may not run the command /usr/sbin/sendmail."));
  lines.clear();
  world.mayRun = [](const std::string& program) { return program == "/usr/sbin/sendmail"; };
  EXPECT_TRUE(run());
  settings.maildir = "/other";
  EXPECT_FALSE(run());
  EXPECT_THAT(lines, Contains(HasSubstr("/other is not a Maildir that can be read")));
}

}  // namespace
}  // namespace relaybird
