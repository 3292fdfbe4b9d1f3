// SPDX-License-Identifier: MIT
// Everything that needs more than one of inbox, outbox, read marks and delivery is here. A send
// that fails because of the disk stops the pass (itemTaken) instead of marking one message after
// the other as read without a forward.
#include "stores/mailbox/mailbox_session.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "message/address/address_check.h"
#include "message/address/strict_mailbox.h"
#include "outbox/delivery/outgoing_message.h"
#include "platform/file_system.h"
#include "platform/text/ascii_text.h"
#include "stores/mailbox/outbox_place.h"

namespace relaybird {

namespace {

[[noreturn]] void raise(const Error& error) {
  if (isLogonFailure(error.code)) {
    throw MailLogonError(error.text, error.code);
  }
  throw MailStoreError(error.text, error.code);
}

template <class T>
T orThrow(Result<T> result) {
  if (!result) {
    raise(result.error());
  }
  return std::move(*result);
}

void orThrow(const Result<void>& result) {
  if (!result) {
    raise(result.error());
  }
}

// A line break in a recipient is an attempt at header injection, never a name.
bool hasControls(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
  });
}

}  // namespace

MailboxSession::MailboxSession(std::unique_ptr<Inbox> inbox, MailSettings settings,
                               StoreWorld world, std::shared_ptr<Transport> transport)
    : settings_(std::move(settings)),
      world_(std::move(world)),
      transport_(std::move(transport)),
      inbox_(std::move(inbox)),
      addressBook_(world_.files, settings_.addressBook) {}

MailboxSession::~MailboxSession() {
  close();
}

void MailboxSession::check() {
  use(&Inbox::check);
}

void MailboxSession::requireAlive() {
  use(&Inbox::alive);
}

void MailboxSession::signIn() {
  use(&Inbox::signIn);
}

void MailboxSession::userAsks() {
  if (!closed_) {
    inbox_->userAsks();
    if (delivery_) {
      delivery_->userAsks();
    }
  }
}

void MailboxSession::minutePassed() {
  if (!closed_) {
    inbox_->minutePassed();
  }
}

void MailboxSession::forwardingSwitched(bool on) {
  if (!closed_) {
    inbox_->forwardingSwitched(on);
  }
}

// The inbox comes first: where it cannot be used, no outbox is made and no lock is taken.
void MailboxSession::use(Result<void> (Inbox::*usable)()) {
  requireNotClosed();
  orThrow((*inbox_.*usable)());
  requireNotClosed();
  requireAlone();
  requireOpen();
}

void MailboxSession::requireAlone() {
  if (const std::string folder = inbox_->folder(); !folder.empty()) {
    orThrow(world_.lockFolder(folder));
  }
}

void MailboxSession::requireNotClosed() const {
  if (closed_) {
    throw MailStoreError("The mail store has been closed");
  }
}

void MailboxSession::requireOpen() {
  requireNotClosed();
  if (!outbox_) {
    openOutbox();
  }
}

// outbox_ is set last, so that a failure half-way leaves the mailbox closed and the next try starts
// from the beginning.
void MailboxSession::openOutbox() {
  if (!isRfc5322Address(settings_.address)) {
    throw MailStoreError("Your own address \"" + settings_.address +
                         "\" is not a mail address: set the key address in section [mail]");
  }
  // Otherwise the state would lie in the root of the file system, or nowhere.
  if (world_.stateFolder.empty()) {
    throw MailStoreError("There is no folder for what the program has to remember");
  }
  requireAlone();
  settings_.address = wireAddress(settings_.address);
  const std::string identity = orThrow(inbox_->identity());
  OutboxPlace place(world_.files, identity, stateFolder(), settings_.outbox);
  auto outbox = orThrow(place.open(world_.clock, world_.random));
  const std::string keyFile = joinPath(stateFolder(), "trace-key");
  if (!MakeFolderPath(world_.files, keyFile)) {
    throw MailStoreError("The folder " + stateFolder() + " cannot be made");
  }
  trace_ = orThrow(TraceMark::open(world_.files, world_.random, keyFile, identity));
  for (const std::string& finding : outbox->findings()) {
    world_.notice(finding);
  }
  for (const std::string& left : place.leftIn(outbox->folder())) {
    world_.notice(left);
  }
  marks_ = std::make_shared<ReadMarks>(*inbox_, *outbox, world_.notice);
  delivery_ = std::make_unique<DeliveryWorker>(
      DeliveryWorker::Setting{world_.files, world_.clock, *outbox, transport_.get(),
                              world_.executor, world_.events, world_.notice, mostPerHour()});
  outbox->queue().holdForDelivery(transport_ != nullptr);
  outbox_ = std::move(outbox);
  delivery_->flush({});  // messages left waiting by an earlier run
}

void MailboxSession::endUse() {
  if (std::exchange(closed_, true)) {
    return;
  }
  // The forward of a message that is being read is not in the outbox yet, so it stays unread.
  if (marks_ && reading_ == 0) {
    marks_->writeHeldBack();
  }
}

// Inbox and delivery wait for different servers, so they end side by side.
bool MailboxSession::beginToClose(std::function<void()> ready) {
  endUse();
  const auto waits = std::make_shared<int>(0);
  const auto oneIsOver = [waits, ready = std::move(ready)] {
    if (--*waits == 0) {
      ready();
    }
  };
  *waits += inbox_->beginToClose(oneIsOver) ? 0 : 1;
  *waits += !delivery_ || delivery_->stop(oneIsOver) ? 0 : 1;
  return *waits == 0;
}

// The marks are settled last, so that those count that the inbox could still send.
void MailboxSession::close() {
  if (std::exchange(gone_, true)) {
    return;
  }
  endUse();
  inbox_->close();
  if (marks_) {
    marks_->settle();
  }
  delivery_.reset();
  if (outbox_) {
    outbox_->queue().holdForDelivery(false);
  }
  marks_.reset();
  outbox_.reset();
}

// Another folder may have replaced the one that was locked.
std::shared_ptr<InboxView> MailboxSession::list() {
  check();
  if (outlet_ == Outlet::kRefused) {
    outlet_ = Outlet::kToBeTried;
  }
  deliverAgain();
  lost_.reset();
  const auto outbox = outbox_;
  const auto marks = marks_;
  auto view = marks->list();
  requireNotClosed();
  return orThrow(std::move(view));
}

// Needed because synchronisations, which deliver the outbox too, may never happen.
void MailboxSession::deliverAgain() {
  const auto due = delivery_->nextAttempt();
  if (due && *due <= world_.clock.now()) {
    delivery_->flush({});
  }
}

bool MailboxSession::unread(const InboxEntry& entry) {
  requireOpen();
  requireInbox();
  return marks_->unread(entry);
}

void MailboxSession::setUnread(const InboxEntry& entry, bool unread) {
  requireOpen();
  requireInbox();
  orThrow(marks_->setUnread(entry, unread));
}

std::optional<InboxEntry> MailboxSession::beingForwarded() const {
  return marks_ ? marks_->heldBack() : std::nullopt;
}

// Events run while a call waits, and one of them may close the session.
class MailboxSession::Reading {
 public:
  explicit Reading(MailboxSession& session) : session_(session) { ++session_.reading_; }
  ~Reading() { --session_.reading_; }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

 private:
  MailboxSession& session_;
};

std::unique_ptr<InputFile> MailboxSession::openMessage(const InboxEntry& entry) {
  requireOpen();
  const Reading reading(*this);
  auto file = entry.view->listing->open(entry.index);
  if (!file) {
    noteFailure(entry, file.error());
  }
  return orThrow(std::move(file));
}

InboxHead MailboxSession::headOf(const InboxEntry& entry) {
  requireOpen();
  const Reading reading(*this);
  InboxHead head = entry.view->listing->head(entry.index, ownMarks());
  if (head.failure) {
    noteFailure(entry, *head.failure);
  }
  return head;
}

// When in doubt the server is to blame: a message that is tried once more does no harm.
bool MailboxSession::isLost(const Error& error) {
  switch (error.code) {
    case ENOENT:
    case kMessageFailed:
      return false;
    case kInboxLost:
    case kLogonRefused:
    case kNoSecretYet:
    case ECANCELED:
    case ETIMEDOUT:
      return true;
    default:
      return closed_ || !inbox_->alive();
  }
}

// A pass marks read what it failed to forward. Without this, a connection that is lost during a
// pass would have all the messages marked that are left in it.
void MailboxSession::noteFailure(const InboxEntry& entry, const Error& error) {
  if (isLost(error)) {
    lost_ = error;
    if (marks_) {
      marks_->release(entry);
    }
  }
}

void MailboxSession::requireInbox() const {
  if (lost_) {
    raise(*lost_);
  }
}

// Recognises nothing as ours before the outbox has been opened.
OwnMarks MailboxSession::ownMarks() const {
  return {[this](std::string_view mark) { return trace_ && trace_->isOurs(mark); },
          [this](std::string_view id) { return trace_ && trace_->isOurMessageId(id); }};
}

// Once for each message, as it is looked at in every check.
void MailboxSession::complain(const InboxEntry& entry, const std::string& text) {
  if (!closed_ && complained_.insert(entry.entryId()).second) {
    world_.notice(text);
  }
}

void MailboxSession::tellOfTooMany(std::size_t unread, std::size_t most, bool counted) {
  if (!std::exchange(toldOfTooMany_, true)) {
    world_.notice("The inbox holds " + std::string(counted ? "" : "more than ") +
                  std::to_string(unread) + " unread messages. A check looks at the newest " +
                  std::to_string(most) + "; mark others as read, or move them to another folder");
  }
}

std::optional<Mailbox> MailboxSession::resolve(const std::string& recipient) {
  requireOpen();
  const std::string text = trimBlanks(recipient);
  auto found = readRecipient(text);
  if (!found && !text.empty() && !hasControls(text)) {
    found = fromAddressBook(text);
  }
  tellAbout(text, found);
  return found;
}

std::optional<Mailbox> MailboxSession::fromAddressBook(const std::string& name) {
  const auto book = addressBook_.current();
  const std::string trouble = book ? "" : "The address book cannot be used: " + book.error().text;
  if (trouble != std::exchange(addressBookTrouble_, trouble) && !trouble.empty()) {
    world_.notice(trouble);
  }
  return book ? (*book)->find(name) : std::nullopt;
}

// Reports each text once, and again when its resolution changes.
void MailboxSession::tellAbout(const std::string& recipient, const std::optional<Mailbox>& found) {
  std::string line;
  if (!found) {
    line = "No mail goes to \"" + oneLine(recipient) +
           "\": it is neither one e-mail address as a whole nor the name of one person in the "
           "address book";
  } else if (!recipient.ends_with(found->address) && !recipient.ends_with(found->address + ">")) {
    line = "Mail to \"" + oneLine(recipient) + "\" goes to " + found->address;
  }
  if (line != std::exchange(toldOfRecipients_[recipient], line) && !line.empty()) {
    world_.notice(line);
  }
}

// A repeated try uses the Message-ID of the earlier one, which failed or was cut short by a crash:
// if that one is delivered after all, the receiving side can recognise the duplicate.
Result<std::string> MailboxSession::messageIdFor(const std::string& entryId) {
  if (auto earlier = entryId.empty() ? std::nullopt : outbox_->intendedMessageId(entryId)) {
    return *std::move(earlier);
  }
  return trace_->makeMessageId(settings_.address);
}

Result<void> MailboxSession::putIntoOutbox(const std::string& entryId, ForwardDraft draft) {
  auto messageId = messageIdFor(entryId);
  if (!messageId) {
    return messageId.error();
  }
  auto trace = trace_->make();
  if (!trace) {
    return trace.error();
  }
  draft.messageId = std::move(*messageId);
  draft.traces.insert(draft.traces.begin(), std::move(*trace));
  const auto sent = outbox_->send(entryId, draft.messageId,
                                  [&draft](OutputFile& out) { return writeForward(draft, out); });
  if (sent || !outbox_->refusedByDisk()) {
    outlet_ = Outlet::kOpen;
  }
  return sent;
}

void MailboxSession::send(const std::optional<InboxEntry>& answers, ForwardDraft draft) {
  requireOpen();
  const std::string entryId = answers ? answers->entryId() : std::string();
  if (answers) {
    marks_->forwardAnew(*answers);
  }
  outlet_ = Outlet::kRefused;  // unless the failure turns out to be the message's
  const auto sent = putIntoOutbox(entryId, std::move(draft));
  if (!sent && outlet_ == Outlet::kRefused) {
    refusal_ = sent.error().text;
    throw MailStoreError(
        refusal_ + "; the message counts as read all the same and is not tried again",
        sent.error().code);
  }
  orThrow(sent);
  if (answers) {
    marks_->forwardSent(*answers);
  }
}

// Every message would fail in the same way, and the pass marks failed messages read. So the pass
// must end, and the next one tests the disk before it sends a message.
void MailboxSession::requireOutlet() {
  if (outlet_ == Outlet::kToBeTried) {
    const auto tried = outbox_ ? outbox_->tryDisk() : Result<void>();
    if (tried) {
      outlet_ = Outlet::kOpen;
      return;
    }
    refusal_ = tried.error().text;
  }
  throw MailStoreError(
      "The outbox takes no messages, so the rest stays unread for the next check: " + refusal_);
}

// The mark first: the user sees a message as read when its forward is on its way.
void MailboxSession::deliver() {
  requireOpen();
  marks_->writeHeldBack();
  delivery_->flush({});
}

void MailboxSession::synchronise(std::function<void()> done) {
  requireOpen();
  marks_->writeHeldBack();
  const auto running = std::make_shared<int>(2);
  const auto oneIsOver = [running, done = std::move(done)] {
    if (--*running == 0) {
      done();
    }
  };
  inbox_->synchronise(oneIsOver);
  delivery_->flush(oneIsOver);
}

std::string MailboxSession::place() const {
  const auto identity = inbox_->identity();
  return identity ? *identity : inbox_->folder();
}

std::string MailboxSession::lockName() const {
  const std::string account = inbox_->account();
  return account.empty() ? place() : account;
}

std::string MailboxSession::outboxFolder() const {
  if (outbox_) {
    return outbox_->folder();
  }
  return OutboxPlace(world_.files, place(), stateFolder(), settings_.outbox).where();
}

OutgoingState MailboxSession::outgoing() {
  OutgoingState state;
  state.outbox = outboxFolder();
  state.waitingFolder = joinPath(state.outbox, "new");
  state.refusedFolder = joinPath(state.outbox, "failed");
  state.delivers = transport_ != nullptr;
  if (delivery_) {
    DeliveryWorker::Counts counts = delivery_->counts();
    state.left = counts.left;
    state.refused = counts.refused;
    state.kept = counts.kept;
    state.stopped = std::move(counts.stopped);
  } else if (state.delivers) {
    const HourlyLimit limit(world_.files, world_.clock, DeliveryWorker::limitFile(state.outbox),
                            mostPerHour());
    state.stopped.assign(limit.stopped().begin(), limit.stopped().end());
  }
  return state;
}

// Also answered for a mailbox that cannot be opened: its forwards wait all the same.
std::size_t MailboxSession::waiting() {
  if (outbox_) {
    return outbox_->queue().countWaiting();
  }
  const std::string folder = outboxFolder();
  return DeliveryQueue::countWaiting(world_.files, folder, OutboxPlace::journalOf(folder));
}

std::size_t MailboxSession::recentlyWaiting() {
  return outbox_ ? outbox_->queue().recentlyWaiting() : waiting();
}

// The user may ask for this while a pass forwards a message, so the mark that is held back stays.
void MailboxSession::tryAgain(std::function<void()> done) {
  requireNotClosed();
  inbox_->userAsks();
  requireOpen();
  delivery_->tryAgain(std::move(done));
}

}  // namespace relaybird
