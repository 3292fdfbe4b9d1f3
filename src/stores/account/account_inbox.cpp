// SPDX-License-Identifier: MIT
// The user-interface thread looks into the session under its lock and never waits for the server in
// there. Where a call has to wait, it sleeps until the session has news, and lets the windows'
// events run.
#include "stores/account/account_inbox.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <utility>

#include "mail/providers.h"
#include "platform/text/ascii_text.h"
#include "stores/account/imap_trace.h"

namespace relaybird {
namespace {

using SteadyClock = std::chrono::steady_clock;

// Events are run at least so often while a call waits.
constexpr std::chrono::milliseconds kEventPause{40};

// The session's thread answers in less than a millisecond, unless it waits for a slow disk. After
// this time the listing is made from what is known; what is missing comes with the next one.
constexpr std::chrono::seconds kHearingLimit{2};

}  // namespace

AccountInbox::AccountInbox(MailSettings settings, StoreWorld world, Threading threading)
    : settings_(std::move(settings)),
      world_(std::move(world)),
      threading_(threading),
      network_(world_.network()),
      secret_(std::make_unique<SignInSource>(
          world_.secrets, world_.files, settings_.imap, settings_.imap,
          appPasswordLengthAt(settings_.imap.server, settings_.address))),
      synchronisation_(
          world_.events, [this] { refreshed_ = SteadyClock::now(); },
          [this](const std::string& line) { report(line); }) {
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
                       imapTrace(world_, "IMAP"),
                       [this] { synchronisation_.onNews(); },
                       complain,
                       [this] { return world_.clock.now(); }});
}

AccountInbox::~AccountInbox() {
  close();
}

Result<std::string> AccountInbox::identity() const {
  // The name of the inbox alone is the same in any case (RFC 9051 section 5.1).
  const bool inbox = equalsAsciiCase(settings_.folder, "INBOX");
  return account() + '/' + (inbox ? "INBOX" : settings_.folder);
}

std::string AccountInbox::account() const {
  return "imap:" + accountName(settings_.imap);
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
Result<void> AccountInbox::waitUntil(const std::function<bool()>& reached) {
  if (threading_ == Threading::kOwn && !thread_.joinable() && !closed_) {
    thread_ = std::thread([this] {
      while (step()) {
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

// Takes what the server has said since it was last read, so that a message that was announced
// before the listing is in it.
Result<void> AccountInbox::hear() {
  const std::uint64_t number = session_->wantHeard();
  const auto until = now() + kHearingLimit;
  return waitUntil([&] { return session_->heard(number) || now() >= until; });
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
  if (isCurrent()) {
    if (const auto heard = hear(); !heard) {
      return heard.error();
    }
  }
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

AccountListingWorld AccountInbox::listingWorld() {
  return {*session_, memory_,
          [this](const std::function<bool()>& reached) { return waitUntil(reached); },
          [this](const std::string& entryId, bool seen) { markHere(entryId, seen); }};
}

std::shared_ptr<InboxListing> AccountInbox::currentListing() {
  std::shared_ptr<const std::vector<std::uint32_t>> uids;
  std::uint64_t generation = 0;
  std::uint32_t uidValidity = 0;
  bool whole = true;
  std::shared_ptr<const MessageIdentities::Aliases> aliases;
  session_->look([&](const ImapWork& work) {
    aliases = work.identities().aliases();
    uids = work.unseen();
    whole = work.unseenIsWhole();
    generation = work.generation();
    uidValidity = work.uidValidity();
    return 0;
  });
  if (generation != walkedOf_) {
    memory_.walked.clear();
    walkedOf_ = generation;
  }
  if (uids != nullptr && uids != lastUids_) {
    last_ = std::make_shared<AccountListing>(listingWorld(), generation, uidValidity,
                                             withoutMarked(uids), whole, aliases);
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
  unmarked->reserve(uids->size());
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
  synchronisation_.begin(*session_, std::move(done));
  (void)waitUntil([] { return true; });  // starts the thread
}

void AccountInbox::report(const std::string& line) {
  world_.notice(StoreNotice(line));
}

// On the thread that serves the connection. After the goodbye nothing of this inbox is used there
// but the queue, so that the thread ends without a wait.
bool AccountInbox::step() {
  if (session_->step()) {
    return true;
  }
  world_.events.post([this, alive = std::weak_ptr<char>(alive_)] {
    if (alive.lock()) {
      // Whoever is told may destroy this object.
      if (const auto ready = std::exchange(readyToClose_, {})) {
        ready();
      }
    }
  });
  return false;
}

void AccountInbox::sayGoodbye() {
  closed_ = true;
  synchronisation_.close();
  session_->close();
}

bool AccountInbox::beginToClose(std::function<void()> ready) {
  sayGoodbye();
  if (threading_ == Threading::kOwn && !thread_.joinable()) {
    return true;  // nothing was asked of the server
  }
  readyToClose_ = std::move(ready);
  return false;
}

void AccountInbox::close() {
  if (std::exchange(gone_, true)) {
    return;
  }
  readyToClose_ = {};
  sayGoodbye();
  if (thread_.joinable()) {
    thread_.join();
  } else if (threading_ == Threading::kCaller) {
    while (session_->step()) {
    }
  }
}

}  // namespace relaybird
