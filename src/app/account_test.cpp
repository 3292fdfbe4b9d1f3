// SPDX-License-Identifier: MIT
// Opens each connection as the store and the delivery do, then goes one step further: the inbox is
// opened and its unread messages are counted, and the server for sending is asked whether it would
// take mail from this address. That question (MAIL) is taken back at once (RSET), so nothing is
// sent.
//
// What the inbox's server has refused is not sent to the provider's other server: both count wrong
// passwords for one account, and some lock it after the second. The way to that server is tested
// without signing in then.
#include "app/account_test.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/account_advice.h"
#include "mail/mail_in_words.h"
#include "mail/providers.h"
#include "mail/sign_in_source.h"
#include "outbox/delivery/smtp_reply.h"
#include "outbox/delivery/smtp_words.h"
#include "platform/paths.h"
#include "platform/text/ascii_text.h"
#ifdef RELAYBIRD_STORE_ACCOUNT
#include "stores/account/imap_client.h"
#endif

namespace relaybird {

namespace {

using std::chrono::milliseconds;

// For opening a connection, and for the silence of a server that is asked something.
constexpr milliseconds kLimit{30'000};
// For one step in all, so that a server that says a little from time to time ends too. Searching a
// large inbox takes a while.
constexpr milliseconds kStepLimit{120'000};
// What a server may say in one step. A million unread messages are about half of it.
constexpr std::size_t kMostBytes = std::size_t{16} * 1024 * 1024;
// How soon a request to stop is noticed.
constexpr milliseconds kSlice{100};
constexpr std::size_t kReadAtOnce = 16384;

using Kind = TestLine::Kind;

// Whether both are servers of one provider: the same host, or hosts with the same last two labels,
// as imap.example.org and smtp.example.org.
bool sameProvider(const MailServer& a, const MailServer& b) {
  const auto domain = [](const MailServer& server) {
    const std::string host = asciiLower(server.host);
    const std::size_t last = host.rfind('.');
    const std::size_t before =
        last == std::string::npos || last == 0 ? last : host.rfind('.', last - 1);
    return before == std::string::npos ? host : host.substr(before + 1);
  };
  return domain(a) == domain(b);
}

class AccountTest {
 public:
  AccountTest(const AccountTestWorld& world, const MailSettings& settings,
              const TypedSecrets& secrets, std::stop_token stop,
              const std::function<void(const TestLine&)>& line)
      : world_(world),
        settings_(settings),
        secrets_(secrets),
        stop_(std::move(stop)),
        line_(line) {}

  // Reading and sending are independent, so the second is tested whatever the first gave.
  bool run() {
    network_ = world_.network();
    const bool reads = settings_.mailbox == MailboxKind::kMaildir ? maildir() : inbox();
    const bool sends = !stopped() && sending();
    if (stopped()) {
      say(Kind::kNote, "The test was stopped.");
    }
    return reads && sends && !stopped();
  }

 private:
  bool stopped() const { return stop_.stop_requested(); }
  void say(Kind kind, std::string text) const { line_({kind, std::move(text)}); }

  // Returns false, for the caller to return. After a stop nothing more is said: what fails then
  // fails because of it.
  bool problem(std::string text, std::string advice = {}) const {
    if (!stopped()) {
      say(Kind::kProblem, std::move(text));
      if (!advice.empty()) {
        say(Kind::kAdvice, std::move(advice));
      }
    }
    return false;
  }

  // Both folders have to be there; tmp/ does not, because mail is only read here.
  bool maildir() const {
    const std::string shown = shownPath(settings_.maildir, world_.home);
    std::size_t messages = 0;
    for (const char* part : {"new", "cur"}) {
      const std::string folder = joinPath(settings_.maildir, part);
      const auto there = world_.files.inspect(folder);
      const auto found =
          there ? world_.files.list(folder) : Result<std::vector<FolderEntry>>(there.error());
      if (!found) {
        return problem(shown + " is not a Maildir that can be read: " + found.error().text,
                       "Choose a folder that has the folders new and cur.");
      }
      messages += found->size();
    }
    say(Kind::kGood,
        "The Maildir " + shown + " was opened; it has " + counted(messages, "message") + ".");
    return true;
  }

  bool inbox() {
    say(Kind::kNote, "Reading mail:");
    const auto connection = connect(settings_.imap, settings_.imap, secrets_.imap);
    return connection && openInbox(*connection);
  }

  bool sending() {
    switch (settings_.delivery) {
      case DeliveryKind::kNone:
        say(Kind::kNote,
            "Forwards stay in the outbox on this computer, so there is nothing to test "
            "about sending.");
        return true;
      case DeliveryKind::kSendmail:
        return sendmail();
      case DeliveryKind::kSmtp:
        break;
    }
    say(Kind::kNote, "Sending mail:");
    // What the user has typed and not kept yet counts more than what the keyring has.
    const bool shared = settings_.smtp.secret == SecretSource::kSameAsImap;
    const auto connection = connect(settings_.smtp, settings_.smtpSecretOwner(),
                                    shared ? secrets_.imap : secrets_.smtp);
    return connection && askToSend(*connection);
  }

  bool sendmail() const {
    // The command is not run: it would take the test for a message.
    const std::string program = settings_.sendmail.substr(0, settings_.sendmail.find(' '));
    const auto resolved = world_.files.resolve(program);
    const auto found = world_.files.inspect(resolved ? *resolved : program);
    const std::string shown = shownPath(program, world_.home);
    if (!found || found->type != FileType::kRegular) {
      return problem("The command " + shown + " does not exist.",
                     "Choose another command, by its full path.");
    }
    if (!world_.mayRun || !world_.mayRun(program)) {
      return problem("You may not run the command " + shown + ".",
                     "Choose another command, or let its owner permit you to run it.");
    }
    say(Kind::kGood,
        "The command " + shown + " exists. Whether it delivers, a test message shows.");
    return true;
  }

  std::optional<SignIn> signInOf(const AccountSettings& account, const AccountSettings& owner,
                                 const Secret& typed) {
    if (!typed.empty()) {
      return SignIn{account.user, account.signIn.value_or(SignInMethod::kPassword), typed};
    }
    SignInSource source(world_.secrets, world_.files, account, owner,
                        appPasswordLengthAt(account.server, settings_.address));
    SignInMaterial material = source.get(stop_);
    if (!material.signIn) {
      problem("There is no password for " + account.server.host + ": " + material.failure.words);
    }
    return std::move(material.signIn);
  }

  std::unique_ptr<Connection> connect(const AccountSettings& account, const AccountSettings& owner,
                                      const Secret& typed) {
    std::optional<SignIn> signIn;
    if (account.signIn) {
      signIn = signInOf(account, owner, typed);
      if (!signIn) {
        return nullptr;
      }
    }
    const bool refusedAlready = signIn && wasRefused(*signIn, account.server);
    auto connection = open(account, refusedAlready ? std::nullopt : signIn);
    if (connection && refusedAlready) {
      // The advice after the refusal is the advice for this too.
      problem("Signing in was not tried: " + settings_.imap.server.host +
              " has just refused the same user name and password, and a second wrong try can lock "
              "the account.");
      return nullptr;
    }
    return connection;
  }

  bool wasRefused(const SignIn& signIn, const MailServer& server) const {
    return refused_ && refused_->user == signIn.user && refused_->secret == signIn.secret &&
           sameProvider(server, settings_.imap.server);
  }

  // Null after a failure, which has been told, and after a stop.
  std::unique_ptr<Connection> open(const AccountSettings& account,
                                   const std::optional<SignIn>& signIn) {
    // In slices, because a stop has to end it while the server is silent.
    // A server may let the client in without having asked who it is.
    const auto signedIn = std::make_shared<bool>(false);
    auto connection =
        network_->connect(account.server, signIn, kLimit,
                          [signedIn, protocol = account.server.protocol](const ProtocolLine& line) {
                            *signedIn = *signedIn || beginsSignIn(line, protocol);
                          });
    ConnectStep done = ConnectStep::kResolve;
    while (connection->state() == Connection::State::kOpening && !stopped()) {
      network_->wait(kSlice);
      sayStepsUpTo(connection->failure() ? connection->failure()->step : connection->step(), done,
                   account.server, signIn, *signedIn);
    }
    if (connection->state() == Connection::State::kOpen) {
      return connection;
    }
    if (const auto& failure = connection->failure()) {
      failed(account.server, *failure, signIn);
      // Without an answer the secret was not sent: the server does not know this way to sign in.
      if (failure->cause == ConnectFailure::Cause::kSignInRefused && !failure->answer.empty()) {
        refused_ = signIn;
      }
    }
    return nullptr;
  }

  // Each step that was reached means that those before it have succeeded.
  void sayStepsUpTo(ConnectStep reached, ConnectStep& done, const MailServer& server,
                    const std::optional<SignIn>& signIn, bool signedIn) const {
    while (done < reached) {
      switch (done) {
        case ConnectStep::kResolve:
          say(Kind::kGood, "The server " + server.host + " was found.");
          break;
        case ConnectStep::kConnect:
          say(Kind::kGood, "It answers at port " + std::to_string(server.port) + ".");
          break;
        case ConnectStep::kEncrypt:
          say(Kind::kGood, server.security == Security::kNone
                               ? "The connection is not encrypted, as the settings say."
                               : "The connection is encrypted, and the certificate is valid.");
          break;
        case ConnectStep::kSignIn:
          if (signIn) {
            saySignIn(*signIn, signedIn, server.protocol);
          }
          break;
        case ConnectStep::kReady:
          return;
      }
      done = static_cast<ConnectStep>(static_cast<int>(done) + 1);
    }
  }

  // The delivery goes on without a sign-in as well: such a server may know this computer by its
  // address, or take mail for its own users alone.
  void saySignIn(const SignIn& signIn, bool signedIn, MailProtocol protocol) const {
    if (signedIn) {
      say(Kind::kGood, "Signed in as " + signIn.user + ".");
    } else if (protocol == MailProtocol::kImap) {
      say(Kind::kNote, "The server has let the program in without a sign-in.");
    } else {
      say(Kind::kNote,
          "The server offers no sign-in, so nobody has signed in. Forwards are handed to it "
          "without one. Whether it takes them, a test message shows.");
    }
  }

  void failed(const MailServer& server, const ConnectFailure& failure,
              const std::optional<SignIn>& signIn = std::nullopt) const {
    const bool byToken = signIn && (signIn->method == SignInMethod::kXoauth2 ||
                                    signIn->method == SignInMethod::kOauthBearer);
    // The second line is advice for the log of a program that tries again by itself.
    const std::string words = connectWords(server, failure);
    problem(words.substr(0, words.find('\n')),
            connectAdvice(failure, proposalAt(server, settings_.address), byToken));
  }

  // Sends `output` and hands in what arrives, until `over`; false on the end of the connection, a
  // stop, silence, or a server that goes on without an answer. A stop is looked for in each round,
  // also while bytes arrive.
  bool converse(Connection& connection, std::string& output,
                const std::function<void(std::string_view)>& received,
                const std::function<bool()>& over, const MailServer& server) {
    const milliseconds end = network_->steadyTime() + kStepLimit;
    milliseconds until = network_->steadyTime() + kLimit;
    std::size_t total = 0;
    while (!over()) {
      if (stopped()) {
        return false;
      }
      if (total > kMostBytes || network_->steadyTime() >= end) {
        return problem(server.host + " sends on and on, but not the answer to the question.",
                       "Check server and port, or try again later.");
      }
      output.erase(0, connection.send(output));
      connection.wantToSend(!output.empty());
      std::string bytes;
      if (const std::size_t size = connection.receive(bytes, kReadAtOnce); size > 0) {
        received(bytes);
        total += size;
        until = network_->steadyTime() + kLimit;  // it was not silent
        continue;
      }
      if (connection.state() == Connection::State::kEnded) {
        failed(server, connection.failure().value_or(ConnectFailure{}));
        return false;
      }
      if (network_->steadyTime() >= until) {
        return problem(server.host + " does not answer any more.", "Try again later.");
      }
      network_->wait(kSlice);
    }
    return true;
  }

#ifdef RELAYBIRD_STORE_ACCOUNT
  bool openInbox(Connection& connection) {
    ImapClient client({[](ImapHead) {}, [](ImapBody) {}, [] {}}, {});
    std::optional<Result<ImapOpened>> opened;
    std::optional<Result<UidSet>> unread;
    // Some providers let nobody in who has not said which program it is (RFC 2971), so that comes
    // before the folder is opened.
    client.capability([&](const Result<void>&) {
      client.identify(world_.version);
      client.select(settings_.folder, [&](const Result<ImapOpened>& result) {
        opened = result;
        if (result) {
          client.searchUnseen([&](const Result<UidSet>& found) { unread = found; });
        }
      });
    });
    const auto over = [&] {
      return unread || (opened && !*opened) || !client.dialogue().fault().empty() ||
             client.dialogue().bye();
    };
    if (!converse(
            connection, client.dialogue().output(),
            [&](std::string_view bytes) { client.dialogue().received(bytes); }, over,
            settings_.imap.server)) {
      return false;
    }
    return sayInbox(client, opened, unread);
  }

  bool sayInbox(const ImapClient& client, const std::optional<Result<ImapOpened>>& opened,
                const std::optional<Result<UidSet>>& unread) const {
    if (const auto& bye = client.dialogue().bye()) {
      return problem("The server has ended the connection: " + *bye, "Try again later.");
    }
    if (!client.dialogue().fault().empty()) {
      return problem("The server says what no mail server says: " + client.dialogue().fault(),
                     "Check server and port.");
    }
    if (opened && !*opened) {
      return problem(
          "The folder " + settings_.folder + " could not be opened: " + opened->error().text,
          "Check that access by mail programs (IMAP) is switched on in the settings of "
          "the provider's web site, and the name of the folder.");
    }
    if (!*unread) {
      return problem("The unread messages could not be listed: " + unread->error().text);
    }
    say(Kind::kGood, "The folder " + settings_.folder + " was opened; it has " +
                         counted(client.messages(), "message") + ", " +
                         std::to_string((*unread)->count()) + " of them unread.");
    // Every check would forward the same messages again if none could be marked as read.
    if ((*opened)->readOnly) {
      return problem("The folder can only be read, so messages cannot be marked as read there.",
                     "Ask the owner of the folder for the right to change it.");
    }
    return true;
  }

#else
  bool openInbox(Connection&) const {
    return problem("This program was built without the account store, so it reads no account.");
  }
#endif

  bool askToSend(Connection& connection) {
    SmtpReplyReader reader;
    std::optional<SmtpReply> reply;
    // A reply is awaited before the next command, which every server takes.
    const auto ask = [&](std::string output) {
      reply.reset();
      return converse(
                 connection, output,
                 [&](std::string_view bytes) {
                   reader.add(bytes);
                   if (!reply) {
                     reply = reader.take();
                   }
                 },
                 [&] { return reply || reader.nonsense(); }, settings_.smtp.server) &&
             reply;
    };
    if (!ask("MAIL FROM:<" + settings_.address + ">\r\n")) {
      return reader.nonsense()
                 ? problem("The server says what no mail server says: " + *reader.nonsense())
                 : false;
    }
    if (!reply->positive()) {
      return problem("The server for sending does not take mail from " + settings_.address + ": " +
                         reply->words(),
                     smtpHint(*reply));
    }
    // Takes the question back. Whatever the answer, no message was begun.
    (void)ask("RSET\r\n");
    say(Kind::kGood, "The server for sending takes mail from " + settings_.address + ".");
    return true;
  }

  static std::string counted(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
  }

  const AccountTestWorld& world_;
  const MailSettings& settings_;
  const TypedSecrets& secrets_;
  std::stop_token stop_;
  const std::function<void(const TestLine&)>& line_;
  std::unique_ptr<Network> network_;
  std::optional<SignIn> refused_;  // by the inbox's server
};

}  // namespace

bool testAccount(const AccountTestWorld& world, const MailSettings& settings,
                 const TypedSecrets& secrets, std::stop_token stop,
                 const std::function<void(const TestLine&)>& line) {
  return AccountTest(world, settings, secrets, std::move(stop), line).run();
}

}  // namespace relaybird
