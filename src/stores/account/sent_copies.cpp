// SPDX-License-Identifier: MIT
// A connection of its own, because the delivery has its own thread. It is kept over a series.
#include "stores/account/sent_copies.h"

#include <map>
#include <utility>
#include <vector>

#include "mail/providers.h"
#include "stores/account/imap_session.h"

namespace relaybird {
namespace {

std::string withCrLf(std::string_view message) {
  std::string result;
  result.reserve(message.size() + message.size() / 40);
  for (const char c : message) {
    if (c == '\n' && !result.ends_with('\r')) {
      result += '\r';
    }
    result += c;
  }
  return result;
}

// Keeps a copy of each message from the real feed until its verdict.
class CopyingFeed : public MessageFeed {
 public:
  CopyingFeed(MessageFeed& real, std::function<void(const OutgoingMessage&)> delivered)
      : real_(real), delivered_(std::move(delivered)) {}

  std::optional<FedMessage> next() override {
    auto fed = real_.next();
    if (fed) {
      underWay_[fed->number] = fed->message;
    }
    return fed;
  }
  void report(std::vector<Verdict> verdicts) override {
    const std::vector<Verdict> known = verdicts;
    real_.report(std::move(verdicts));
    for (const Verdict& verdict : known) {
      const auto message = underWay_.extract(verdict.number);
      if (verdict.outcome.kind == Outcome::Kind::kDelivered && !message.empty()) {
        delivered_(message.mapped());
      }
    }
  }
  void putBack(std::uint64_t number) override {
    underWay_.erase(number);
    real_.putBack(number);
  }
  std::size_t waiting() const override { return real_.waiting(); }

 private:
  MessageFeed& real_;
  std::function<void(const OutgoingMessage&)> delivered_;
  std::map<std::uint64_t, OutgoingMessage> underWay_;
};

class CopyingTransport : public Transport {
 public:
  CopyingTransport(std::shared_ptr<Transport> real, std::shared_ptr<SentCopies> copies,
                   std::function<void(std::string)> notice)
      : real_(std::move(real)), copies_(std::move(copies)), notice_(std::move(notice)) {}

  void deliverAll(MessageFeed& feed, std::stop_token stop) override {
    CopyingFeed copying(feed, [&](const OutgoingMessage& message) {
      if (const auto kept = copies_->append(message.bytes, stop); !kept) {
        notice_("No copy of \"" + message.subject + "\" was kept: " + kept.error().text);
      }
    });
    real_->deliverAll(copying, stop);
    copies_->close();
  }
  void tryAgain() override { real_->tryAgain(); }
  bool hasArrived(const OutgoingMessage& message, std::stop_token stop) override {
    return real_->hasArrived(message, std::move(stop));
  }

 private:
  std::shared_ptr<Transport> real_;
  std::shared_ptr<SentCopies> copies_;
  std::function<void(std::string)> notice_;
};

}  // namespace

struct SentCopies::Link {
  std::unique_ptr<Connection> connection;
  std::unique_ptr<ImapClient> client;
  std::string folder;  // empty: there is none
};

SentCopies::SentCopies(const MailSettings& settings, const StoreWorld& world)
    : server_(settings.imap.server), world_(world) {
  secret_ =
      std::make_unique<SignInSource>(world_.secrets, world_.files, settings.imap, settings.imap,
                                     appPasswordLengthAt(server_, settings.address));
}

SentCopies::~SentCopies() = default;

// Serves the connection until `finished`.
Result<void> SentCopies::run(const std::function<bool()>& finished, const std::stop_token& stop) {
  const std::stop_callback wake(stop, [this] { network_->wake(); });
  std::string input;
  while (!finished()) {
    const auto now = network_->steadyTime();
    if (stop.stop_requested()) {
      return Error{0, "stopped"};
    }
    if (now >= until_) {
      return Error{0, "the server has not answered in time"};
    }
    if (link_->client) {
      ImapDialogue& dialogue = link_->client->dialogue();
      input.clear();
      while (link_->connection->receive(input, std::size_t{64} << 10) > 0) {
        dialogue.received(std::exchange(input, {}));
      }
      std::string& output = dialogue.output();
      output.erase(0, link_->connection->send(output));
      link_->connection->wantToSend(!output.empty());
      if (!dialogue.fault().empty() || dialogue.bye()) {
        return Error{0, dialogue.bye().value_or(dialogue.fault())};
      }
    }
    if (finished()) {
      break;
    }
    if (link_->connection->state() == Connection::State::kEnded) {
      const auto failure = link_->connection->failure().value_or(ConnectFailure());
      if (failure.cause == ConnectFailure::Cause::kSignInRefused) {
        secret_->refused();
      }
      return Error{0, connectFailureText(server_, failure)};
    }
    network_->wait(until_ - now);
  }
  return {};
}

Result<void> SentCopies::signIn(const std::stop_token& stop) {
  SignInMaterial material = secret_->get(stop);
  if (!material.signIn) {
    return Error{0, material.failure.words};
  }
  link_ = std::make_unique<Link>();
  link_->connection = network_->connect(server_, material.signIn, kConnectLimit, {});
  const auto opened =
      run([this] { return link_->connection->state() == Connection::State::kOpen; }, stop);
  if (opened) {
    secret_->accepted();
  }
  return opened;
}

// Connects, and finds the folder, unless that was done and the connection still lives.
Result<void> SentCopies::open(const std::stop_token& stop) {
  if (!network_) {
    network_ = world_.network();
  }
  until_ = network_->steadyTime() + kSentCopyLimit;
  if (link_ && link_->connection->state() == Connection::State::kOpen) {
    return {};
  }
  if (const auto signedIn = signIn(stop); !signedIn) {
    return failed("signing in", signedIn.error());
  }
  link_->client =
      std::make_unique<ImapClient>(ImapClient::Events{[](ImapHead) {}, [](ImapBody) {}, [] {}},
                                   std::function<void(ProtocolLine)>());
  std::optional<Result<std::string>> found;
  link_->client->capability([&](const Result<void>& known) {
    if (!known) {
      found = known.error();
      return;
    }
    link_->client->identify(kImapProgramVersion);
    link_->client->findSent([&](const Result<std::string>& name) { found = name; });
  });
  if (const auto ran = run([&] { return found.has_value(); }, stop); !ran) {
    return failed("looking for the folder of sent messages", ran.error());
  }
  if (!*found) {
    return failed("looking for the folder of sent messages", found->error());
  }
  link_->folder = **found;
  return {};
}

Result<void> SentCopies::failed(std::string_view what, const Error& why) {
  link_.reset();
  return Error{0, "Mail server " + server_.host + ", " + std::string(what) + ": " + why.text};
}

Result<void> SentCopies::append(std::string_view message, std::stop_token stop) {
  if (const auto opened = open(stop); !opened) {
    return opened;
  }
  if (link_->folder.empty()) {
    return Error{0, "The account has no folder for sent messages"};
  }
  std::optional<Result<void>> kept;
  link_->client->append(link_->folder, withCrLf(message),
                        [&](const Result<void>& result) { kept = result; });
  const auto ran = run([&] { return kept.has_value(); }, stop);
  if (!ran || !*kept) {
    return failed("keeping a copy in " + link_->folder, !ran ? ran.error() : kept->error());
  }
  return {};
}

void SentCopies::close() {
  link_.reset();
}

std::shared_ptr<Transport> keepingSentCopies(std::shared_ptr<Transport> real,
                                             std::shared_ptr<SentCopies> copies,
                                             std::function<void(std::string)> notice) {
  return std::make_shared<CopyingTransport>(std::move(real), std::move(copies), std::move(notice));
}

}  // namespace relaybird
