// SPDX-License-Identifier: MIT
// The user-interface thread looks into the session under its lock and never waits for the server in
// there. Where a call has to wait, it sleeps until the session has news, and lets the windows'
// events run.
//
// A walk goes from the last message to the first, and asks for the head of each that it has not
// decided yet. So heads are asked for ahead of it in groups, from the one asked for downwards;
// messages whose heads were taken before in this run are left out, because those are mostly decided
// and will not be asked for. Bodies are asked for ahead only while enough of the last heads were
// followed by one: a rule on senders may reject nearly all messages.
#include "stores/account/account_inbox.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <utility>

#include "mail/providers.h"
#include "message/text/charset.h"
#include "message/text/header_text.h"
#include "platform/text/ascii_text.h"
#include "stores/account/structure_kind.h"

namespace relaybird {
namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

// Events are run at least so often while a call waits.
constexpr std::chrono::milliseconds kEventPause{40};

// Heads are asked for ahead in groups of this size, at first and while the walk goes on.
constexpr std::size_t kFirstHeadsAhead = 100;
constexpr std::size_t kMostHeadsAhead = 400;

// Bodies are asked for ahead in groups of this size, once fewer than half of it are left.
constexpr std::size_t kBodiesAhead = 100;

// The share of heads followed by a body from which bodies are fetched ahead, and the weight of one
// message in it.
constexpr double kWorthFetching = 0.25;
constexpr double kWeight = 0.1;

Error vanished() {
  return {ENOENT, "The message is no longer there"};
}

// The message may still be there, under another number.
Error interrupted() {
  return {kInboxLost, "The connection to the mail server was opened anew during the check"};
}

HeaderBlock headersOf(const ImapHead& head) {
  HeaderBlock headers(head.header);
  if (isAscii(headers.bytes()) || isValidUtf8(headers.bytes())) {
    return headers;
  }
  std::string charset;
  if (const auto type = headers.raw("Content-Type")) {
    charset = parseContentType(*type).parameter("charset");
  }
  if (charset.empty() && head.structure) {
    charset = firstTextCharset(*head.structure);
  }
  headers.setRawCharset(std::move(charset));
  return headers;
}

}  // namespace

// The unread messages of one refresh.
class AccountListing : public InboxListing {
 public:
  AccountListing(AccountInbox& inbox, std::uint64_t generation, std::uint32_t uidValidity,
                 std::shared_ptr<const std::vector<std::uint32_t>> uids,
                 std::shared_ptr<const MessageIdentities::Aliases> aliases)
      : inbox_(inbox),
        generation_(generation),
        uidValidity_(uidValidity),
        uids_(std::move(uids)),
        aliases_(std::move(aliases)),
        seen_(uids_->size()),
        headsFrom_(uids_->size()),
        bodiesFrom_(uids_->size()) {}

  std::size_t size() const override { return uids_->size(); }
  std::string entryId(std::size_t index) const override {
    return MessageIdentities::entryId(uidValidity_, (*uids_)[index], *aliases_);
  }
  bool seen(std::size_t index) const override {
    return seen_[index] && mark(index) != ImapWork::Mark::kRefused;
  }
  Result<void> setSeen(std::size_t index, bool seen) override;
  InboxHead head(std::size_t index, const OwnMarks& own) override;
  Result<std::unique_ptr<InputFile>> open(std::size_t index) override;

 private:
  ImapSession& session() const { return *inbox_.session_; }
  ImapWork::Mark mark(std::size_t index) const {
    return session().look([&](const ImapWork& work) {
      return isOf(work) ? work.mark((*uids_)[index]) : ImapWork::Mark::kNone;
    });
  }
  bool isOf(const ImapWork& work) const { return work.generation() == generation_; }
  void wantHeads(ImapWork& work, std::size_t index);
  void wantBodies(ImapWork& work, std::size_t index);
  Result<ImapHead> fetchHead(std::size_t index);
  Result<std::unique_ptr<InputFile>> fetch(std::size_t index);
  void readKind(std::size_t index, const ImapHead& fetched, const OwnMarks& own, InboxHead& head);

  AccountInbox& inbox_;
  std::uint64_t generation_;
  std::uint32_t uidValidity_;
  std::shared_ptr<const std::vector<std::uint32_t>> uids_;
  std::shared_ptr<const MessageIdentities::Aliases> aliases_;
  std::vector<bool> seen_;
  std::size_t headsFrom_;  // heads were asked for from here upwards
  std::size_t headsAhead_ = kFirstHeadsAhead;
  bool walkedToo_ = false;  // ask ahead for messages that were walked over before
  std::size_t bodiesFrom_;  // bodies were asked for from here upwards
  std::size_t opened_ = static_cast<std::size_t>(-1);  // the last message that was opened
  // A message that was read to find its kind, as it may be forwarded next.
  std::size_t keptIndex_ = 0;
  std::unique_ptr<InputFile> kept_;
};

Result<void> AccountListing::setSeen(std::size_t index, bool seen) {
  if (this->seen(index) == seen) {
    return {};
  }
  const std::uint32_t uid = (*uids_)[index];
  bool readOnly = false;
  const auto result = session().work([&](ImapWork& work) -> Result<void> {
    if (!isOf(work)) {
      return vanished();
    }
    readOnly = work.readOnly();
    if (!readOnly) {
      work.setSeen(uid, seen);
    }
    return {};
  });
  if (readOnly) {
    inbox_.markHere(entryId(index), seen);
  }
  if (result) {
    seen_[index] = seen;
  }
  return result;
}

// Asks for the head, and for those below that the walk will probably come to.
void AccountListing::wantHeads(ImapWork& work, std::size_t index) {
  const std::uint32_t uid = (*uids_)[index];
  walkedToo_ = walkedToo_ || inbox_.walked_.contains(uid);
  std::vector<std::uint32_t> uids;
  if (work.head(uid) == Wanted::kNot || work.head(uid) == Wanted::kLost) {
    uids.push_back(uid);
    if (index >= headsFrom_) {  // it was there and was taken: a new walk over the same messages
      headsAhead_ = kFirstHeadsAhead;
      bodiesFrom_ = index + 1;
    }
    headsFrom_ = index;
  }
  if (index < headsFrom_ + headsAhead_ / 2) {
    while (headsFrom_ > 0 && uids.size() < headsAhead_) {
      const std::uint32_t next = (*uids_)[--headsFrom_];
      if (walkedToo_ || !inbox_.walked_.contains(next)) {
        uids.push_back(next);
      }
    }
    headsAhead_ = std::min(kMostHeadsAhead, headsAhead_ * 2);
  }
  work.wantHeads(uids);
}

void AccountListing::wantBodies(ImapWork& work, std::size_t index) {
  work.dropBodiesBehind((*uids_)[index]);
  bodiesFrom_ = std::min(bodiesFrom_, index + 1);
  if (inbox_.opened_ < kWorthFetching || index - std::min(index, bodiesFrom_) >= kBodiesAhead / 2) {
    return;
  }
  std::vector<std::uint32_t> uids;
  for (std::size_t i = bodiesFrom_; i > 0 && uids.size() < kBodiesAhead; --i) {
    uids.push_back((*uids_)[i - 1]);
  }
  bodiesFrom_ -= work.wantBodiesAhead(uids);
}

Result<ImapHead> AccountListing::fetchHead(std::size_t index) {
  const std::uint32_t uid = (*uids_)[index];
  session().work([&](ImapWork& work) {
    if (isOf(work)) {
      wantHeads(work, index);
    }
  });
  const auto waited = inbox_.waitUntil([&] {
    return session().look(
        [&](const ImapWork& work) { return !isOf(work) || work.head(uid) != Wanted::kComing; });
  });
  if (!waited) {
    return waited.error();
  }
  inbox_.walked_.insert(uid);
  return session().work([&](ImapWork& work) -> Result<ImapHead> {
    // Looked at anew: the session may have gone on meanwhile.
    if (!isOf(work)) {
      return interrupted();
    }
    const Wanted state = work.head(uid);
    if (state == Wanted::kThere) {
      wantBodies(work, index);
      return work.takeHead(uid);
    }
    if (state == Wanted::kNot || state == Wanted::kComing) {
      return interrupted();
    }
    const Error error = work.takeHeadFailure(uid);
    return state == Wanted::kGone ? vanished() : error;
  });
}

InboxHead AccountListing::head(std::size_t index, const OwnMarks& own) {
  const auto isOpened = opened_ == index + 1 ? 1.0 : 0.0;
  inbox_.opened_ += kWeight * (isOpened - inbox_.opened_);
  InboxHead head;
  auto fetched = fetchHead(index);
  if (!fetched) {
    head.failure = fetched.error();
    return head;
  }
  head.headers = headersOf(*fetched);
  head.received = fetched->received;
  readKind(index, *fetched, own, head);
  return head;
}

void AccountListing::readKind(std::size_t index, const ImapHead& fetched, const OwnMarks& own,
                              InboxHead& head) {
  const ImapPart* structure = fetched.structure ? &*fetched.structure : nullptr;
  if (const auto kind = kindFromStructure(head.headers, structure, own)) {
    head.kind = *kind;
    return;
  }
  auto file = fetch(index);
  if (!file) {
    head.failure = file.error();
    return;
  }
  auto headers = readHeaderBlock(**file);
  const auto kind =
      headers ? readMessageKind(*headers, **file, own) : Result<MessageKind>(headers.error());
  if (!kind) {
    head.failure = kind.error();
    return;
  }
  head.headers = std::move(*headers);
  head.kind = *kind;
  keptIndex_ = index;
  kept_ = std::move(*file);
}

Result<std::unique_ptr<InputFile>> AccountListing::open(std::size_t index) {
  opened_ = index;
  if (kept_ && keptIndex_ == index) {
    return std::move(kept_);
  }
  return fetch(index);
}

Result<std::unique_ptr<InputFile>> AccountListing::fetch(std::size_t index) {
  const std::uint32_t uid = (*uids_)[index];
  session().work([&](ImapWork& work) {
    if (isOf(work)) {
      work.wantBody(uid);
    }
  });
  const auto waited = inbox_.waitUntil([&] {
    return session().look(
        [&](const ImapWork& work) { return !isOf(work) || work.body(uid) != Wanted::kComing; });
  });
  return session().work([&](ImapWork& work) -> Result<std::unique_ptr<InputFile>> {
    if (!isOf(work)) {
      return interrupted();
    }
    if (!waited) {
      work.leaveBody(uid);
      return waited.error();
    }
    const Wanted state = work.body(uid);
    if (state == Wanted::kNot || state == Wanted::kComing) {
      return interrupted();
    }
    return work.takeBody(uid);
  });
}

AccountInbox::AccountInbox(MailSettings settings, StoreWorld world, Threading threading)
    : settings_(std::move(settings)),
      world_(std::move(world)),
      threading_(threading),
      network_(world_.network()),
      secret_(std::make_unique<SignInSource>(
          world_.secrets, world_.files, settings_.imap, settings_.imap,
          appPasswordLengthAt(settings_.imap.server, settings_.address))) {
  const std::weak_ptr<char> alive = alive_;
  const auto complain = [this, alive](const std::string& words) {
    world_.events.post([this, alive, words] {
      if (alive.lock()) {
        report(words);
      }
    });
  };
  session_ = std::make_unique<ImapSession>(
      ImapSessionWorld{*network_,
                       settings_.imap.server,
                       settings_.folder,
                       world_.version,
                       {[this](std::stop_token stop) { return secret_->get(std::move(stop)); },
                        [this] { secret_->accepted(); }, [this] { secret_->refused(); },
                        [this] { secret_->tryAgain(); }},
                       world_.random,
                       world_.files,
                       folderOnDisk(),
                       [this](const ProtocolLine& line) { trace(line); },
                       [this] { onNews(); },
                       complain,
                       [this] { return world_.clock.now(); }});
}

AccountInbox::~AccountInbox() {
  close();
}

Result<std::string> AccountInbox::identity() const {
  const MailServer& server = settings_.imap.server;
  // The name of the inbox alone is the same in any case (RFC 9051 section 5.1).
  const bool inbox = equalsAsciiCase(settings_.folder, "INBOX");
  // An account stays the same when its server is reached through another port. On this computer
  // several bridges may serve the same user, each through a port of its own.
  const std::string port = isLocalHost(server.host) ? ':' + std::to_string(server.port) : "";
  return "imap:" + asciiLower(settings_.imap.user) + '@' + asciiLower(server.host) + port + '/' +
         (inbox ? "INBOX" : settings_.folder);
}

// Of this account alone: another program may work on another account with the same state folder.
// The beginning of the name is for people, the hash tells accounts apart.
std::string AccountInbox::folderOnDisk() const {
  const std::string whole = *identity();
  constexpr std::size_t kReadableBytes = 100;
  std::string name = whole.substr(0, kReadableBytes);
  for (char& c : name) {
    c = isLetterOrDigit(c) || c == '.' || c == '-' || c == '@' ? c : '_';
  }
  return world_.stateFolder + "/rbx/" + name + '-' + lastingHash(whole);
}

Result<void> AccountInbox::alive() {
  const auto status = session_->status();
  if (status.up) {
    return {};
  }
  return status.failure.value_or(
      Error{0, "There is no connection to the mail server " + settings_.imap.server.host + " yet"});
}

Result<void> AccountInbox::signIn() {
  return session_->status().up ? Result<void>() : refresh();
}

std::chrono::milliseconds AccountInbox::now() const {
  return threading_ == Threading::kCaller ? network_->steadyTime()
                                          : std::chrono::duration_cast<std::chrono::milliseconds>(
                                                SteadyClock::now().time_since_epoch());
}

Error AccountInbox::silence() const {
  return {ETIMEDOUT,
          "Mail server " + settings_.imap.server.host + ": nothing has come from it for a minute"};
}

// Waits until `reached`, and lets events run meanwhile. What counts is how long nothing has come
// from the server: a large message may take long. The session ends a connection on which things
// come, but no answer.
template <class Reached>
Result<void> AccountInbox::waitUntil(const Reached& reached) {
  if (threading_ == Threading::kOwn && !thread_.joinable() && !closed_) {
    thread_ = std::thread([session = session_.get()] {
      while (session->step()) {
      }
    });
  }
  auto heard = now();
  std::uint64_t news = 0;
  while (true) {
    if (const std::uint64_t latest = session_->status().news; latest != news) {
      news = latest;
      heard = now();
    }
    if (reached()) {
      return {};
    }
    if (closed_) {
      return Error{ECANCELED, "The mailbox has been closed"};
    }
    const auto time = now();
    if (time - heard >= kLongestInboxWait) {
      return silence();
    }
    if (time - eventsRun_ >= kEventPause) {
      eventsRun_ = time;
      if (!world_.keepAlive()) {
        return Error{ECANCELED, "Stopped"};
      }
    } else if (threading_ == Threading::kCaller) {
      step();
    } else {
      session_->waitForNews(news, kEventPause / 2);
    }
  }
}

Result<void> AccountInbox::refresh() {
  if (closed_) {
    return Error{ECANCELED, "The mailbox has been closed"};
  }
  const auto number = session_->work([](ImapWork& work) { return work.wantRefresh(); });
  Wanted state = Wanted::kComing;
  const auto waited = waitUntil([&] {
    state = session_->look([&](const ImapWork& work) { return work.refreshed(number); });
    return state != Wanted::kComing;
  });
  if (!waited) {
    return waited;
  }
  if (state == Wanted::kFailed) {
    return session_->look([](const ImapWork& work) { return work.refreshFailure(); });
  }
  refreshed_ = SteadyClock::now();
  return {};
}

bool AccountInbox::isCurrent() const {
  const auto status = session_->status();
  const bool unchanged = session_->look(
      [](const ImapWork& work) { return work.unseen() != nullptr && !work.changed(); });
  const auto age = SteadyClock::now() - refreshed_;
  return status.up && unchanged &&
         (status.idles ? age < kListingLife : age < kUnwatchedListingLife);
}

Result<std::shared_ptr<InboxListing>> AccountInbox::list() {
  if (!isCurrent()) {
    if (const auto refreshed = refresh(); !refreshed) {
      return refreshed.error();
    }
  }
  if (auto listing = currentListing()) {
    return listing;
  }
  return Error{0, "Mail server " + settings_.imap.server.host +
                      ": the connection was lost, and the folder was numbered anew"};
}

std::shared_ptr<InboxListing> AccountInbox::currentListing() {
  std::shared_ptr<const std::vector<std::uint32_t>> uids;
  std::uint64_t generation = 0;
  std::uint32_t uidValidity = 0;
  std::shared_ptr<const MessageIdentities::Aliases> aliases;
  session_->look([&](const ImapWork& work) {
    aliases = work.identities().aliases();
    uids = work.unseen();
    generation = work.generation();
    uidValidity = work.uidValidity();
    return 0;
  });
  if (generation != walkedOf_) {
    walked_ = {};
    walkedOf_ = generation;
  }
  if (uids != nullptr && uids != lastUids_) {
    last_ = std::make_shared<AccountListing>(*this, generation, uidValidity, withoutMarked(uids),
                                             aliases);
    lastUids_ = uids;
  }
  return uids == nullptr ? nullptr : last_;
}

// A refusal would end each check at the first message that is not to be looked at again.
void AccountInbox::markHere(const std::string& entryId, bool seen) {
  if (!seen) {
    readHere_.erase(entryId);
    return;
  }
  readHere_.insert(entryId);
  if (!std::exchange(toldOfReadOnly_, true)) {
    report("The server lets this program read the folder " + settings_.folder +
           ", but not mark messages in it. Which ones are done is remembered until the program "
           "ends; which ones were forwarded, also after that.");
  }
}

// Messages may have been marked by an older listing after the server was asked.
std::shared_ptr<const std::vector<std::uint32_t>> AccountInbox::withoutMarked(
    const std::shared_ptr<const std::vector<std::uint32_t>>& uids) const {
  auto unmarked = std::make_shared<std::vector<std::uint32_t>>();
  session_->look([&](const ImapWork& work) {
    const auto aliases = work.identities().aliases();
    const auto isReadHere = [&](std::uint32_t uid) {
      return !readHere_.empty() &&
             readHere_.contains(MessageIdentities::entryId(work.uidValidity(), uid, *aliases));
    };
    std::copy_if(uids->begin(), uids->end(), std::back_inserter(*unmarked),
                 [&](std::uint32_t uid) { return !work.isMarkedSeen(uid) && !isReadHere(uid); });
    return 0;
  });
  return unmarked->size() == uids->size() ? uids : unmarked;
}

// A message that is unread, although its mark was accepted and is not on its way, has lost the mark
// to a renumbering or to another program.
void AccountInbox::sortMark(ImapWork& work, const std::string& entryId, MarkReport& report) const {
  if (readHere_.contains(entryId)) {
    return;  // never durable: the journal has to keep the message from being forwarded again
  }
  const std::uint32_t uid = work.identities().uidOf(entryId);
  const auto mark = uid == 0 ? ImapWork::Mark::kNone : work.mark(uid);
  const auto unseen = uid == 0 ? std::optional(false) : work.isUnseen(uid);
  if (mark == ImapWork::Mark::kOnItsWay || (mark == ImapWork::Mark::kNone && !unseen)) {
    return;
  }
  if (mark == ImapWork::Mark::kRefused || (mark == ImapWork::Mark::kNone && *unseen)) {
    work.dropMark(uid);
    report.refused.push_back(entryId);
  } else {
    report.durable.push_back(entryId);
  }
}

MarkReport AccountInbox::syncMarks(const std::unordered_set<std::string>& entryIds) {
  const auto sort = [&](ImapWork& work) {
    MarkReport report;
    for (const std::string& entryId : entryIds) {
      sortMark(work, entryId, report);
    }
    return report;
  };
  const MarkReport report = session_->work(sort);
  if (!report.refused.empty()) {
    lastUids_.reset();  // the last listing takes these messages for marked, and would mark no more
  }
  return report;
}

void AccountInbox::synchronise(std::function<void()> done) {
  if (closed_) {
    return;
  }
  waiting_.push_back(std::move(done));
  endWanted_ = true;
  synchronising_ = session_->work([](ImapWork& work) { return work.wantRefresh(); });
  (void)waitUntil([] { return true; });  // starts the thread
}

// On the session's thread.
void AccountInbox::trace(const ProtocolLine& line) const {
  if (world_.verbose && *world_.verbose) {
    world_.events.post([notice = world_.notice, text = (line.sent ? "IMAP > " : "IMAP < ") +
                                                       std::string(trimmed(line.text))] {
      notice({text, StoreNotice::Kind::kVerbose});
    });
  }
}

// On the session's thread. Nobody else is woken: a server that says every two minutes that it is
// still there would wake the user-interface thread too.
void AccountInbox::onNews() {
  if (endWanted_ && !posted_.exchange(true)) {
    world_.events.post([this, alive = std::weak_ptr<char>(alive_)] {
      if (alive.lock()) {
        posted_ = false;
        endSynchronisation();
      }
    });
  }
}

void AccountInbox::endSynchronisation() {
  if (waiting_.empty() || closed_) {
    return;
  }
  const auto state =
      session_->look([&](const ImapWork& work) { return work.refreshed(synchronising_); });
  if (state == Wanted::kComing) {
    return;
  }
  std::string failure;
  if (state == Wanted::kFailed) {
    failure = session_->look([](const ImapWork& work) { return work.refreshFailure().text; });
  } else {
    refreshed_ = SteadyClock::now();
  }
  if (std::exchange(reported_, failure) != failure && !failure.empty()) {
    report(failure);
  }
  endWanted_ = false;
  for (const auto& done : std::exchange(waiting_, {})) {
    done();
  }
}

void AccountInbox::report(const std::string& line) {
  world_.notice(StoreNotice(line));
}

void AccountInbox::close() {
  if (std::exchange(closed_, true)) {
    return;
  }
  session_->close();
  if (thread_.joinable()) {
    thread_.join();
  } else if (threading_ == Threading::kCaller) {
    while (session_->step()) {
    }
  }
}

}  // namespace relaybird
