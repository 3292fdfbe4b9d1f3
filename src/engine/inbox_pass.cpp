// SPDX-License-Identifier: MIT
// The pass. One item is decided in rising order of cost: the ignore list (one look-up), its kind,
// its date, the rules, which read its texts. Only an item that passes them all is built into a
// forward. Everything runs under one error handler: a fault of the store ends the pass with a line
// in the log, and the next check starts afresh.
//
// Status texts let events run, so the user may switch off, or the program may end, in the middle of
// a pass: the flags are looked at before every item. The trace texts and misspellings are known to
// users and to their scripts.
#include "engine/inbox_pass.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <utility>

#include "mail/shared_components.h"
#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"

namespace relaybird {
namespace {

// Time for the mail application to take over what was sent before anything else is asked of it.
constexpr std::chrono::milliseconds kPauseAfterPass{3000};
// A shorter reason says nothing and is not logged.
constexpr std::size_t kShortestReason = 2;

// Counts are 16 bits wide; a larger one is an error and never wraps. `advice` tells the user what
// exceeds the limit, and what to do.
std::int16_t toCount(double value, const std::string& advice) {
  const auto count = toInt16(value);
  if (!count) {
    throw std::overflow_error("Overflow: " + advice);
  }
  return *count;
}

std::int16_t toUnreadCount(std::int32_t count) {
  return toCount(count, "the inbox holds " + std::to_string(count) +
                            " unread items, and a check takes 32767 at most. Mark some of them as "
                            "read, or move them to another folder.");
}

std::int16_t toForwardedCount(double count) {
  return toCount(count,
                 "no more than 32767 forwards can be counted. Stop forwarding and start it again "
                 "to count from 0.");
}

// A kind of item and the date that decides whether it is new. Reports and task requests do not have
// the time of their reception.
struct Kind {
  std::string_view upperName;
  DateTime (MailItem::*date)();
};

// Compared without letter case, in which the stores differ.
constexpr std::array<Kind, 7> kAcceptedKinds{{
    {"TASKREQUESTACCEPTITEM", &MailItem::LastModificationDate},
    {"TASKREQUESTDECLINEITEM", &MailItem::LastModificationDate},
    {"TASKREQUESTITEM", &MailItem::LastModificationDate},
    {"TASKREQUESTUPDATEITEM", &MailItem::LastModificationDate},
    {"MAILITEM", &MailItem::ReceivedTime},
    {"MEETINGITEM", &MailItem::ReceivedTime},
    {"REPORTITEM", &MailItem::LastModificationDate},
}};

const Kind* acceptedKind(MailItem& item) {
  const std::string name = asciiUpper(item.ClassName());
  const auto* found = std::find_if(kAcceptedKinds.begin(), kAcceptedKinds.end(),
                                   [&](const Kind& kind) { return kind.upperName == name; });
  return found == kAcceptedKinds.end() ? nullptr : found;
}

// An item may be decided about without having been read. Throws where the store has lost its
// server: then the item is not to blame, and the next pass has to look at it again.
void requireStore(MailItem& item) {
  (void)item.UnRead();
}

}  // namespace

bool ValidateInboxType(MailItem& item) {
  try {
    return acceptedKind(item) != nullptr;
  } catch (const MailStoreError&) {
    return false;
  }
}

DateTime GetRelevantDate(MailItem& item) {
  try {
    const Kind* kind = acceptedKind(item);
    return kind == nullptr ? kNoDate : (item.*kind->date)();
  } catch (const MailStoreError&) {
    return kNoDate;
  }
}

// What one pass keeps from item to item. There is one reason for the whole pass on purpose: it is
// never cleared in between, so an item that is skipped without a reason of its own reports the last
// one.
struct InboxPass::Walk {
  std::shared_ptr<ItemCollection> items;
  std::int16_t count = 0;
  clsSecurity builder;
  std::string reason;
  // The builder holds the forward of the current item.
  bool built = false;
};

// Marks the pass as running while it is on the stack. The busy flag alone is not enough: switching
// off clears it, and that can happen while the status line lets events run. A pass inside another
// one leaves the marks alone.
class InboxPass::Running {
 public:
  explicit Running(EngineState& state) : state_(state), withinAnother_(state.passRunning) {
    mark(true);
  }
  ~Running() { mark(false); }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  bool withinAnother() const { return withinAnother_; }

 private:
  void mark(bool running) {
    if (!withinAnother_) {
      state_.passRunning = running;
      state_.stopPass = false;
    }
  }

  EngineState& state_;
  const bool withinAnother_;
};

// How the attempt to forward one item ended. Neither sent nor a failure: the item is too large.
struct InboxPass::Attempt {
  bool sent = false;
  std::optional<std::string> failure;
};

InboxPass::InboxPass(const EngineWorld& world, EngineState& state, StatusDisplay& status,
                     MailSession& session, std::function<void()> startSendSync)
    : world_(world),
      state_(state),
      status_(status),
      session_(session),
      startSendSync_(std::move(startSendSync)) {
  ResetIgnoreList();
}

void InboxPass::ResetIgnoreList() {
  dicEmailsToIgnore_ = std::make_shared<TextDictionary>();
}

void InboxPass::endTestCycle() {
  if (state_.testCycle) {
    state_.testCycle = false;
    world_.display.cmdForwardNow(true);
  }
}

// Only while a check runs: a flag left set would stop the next one at its first item.
void InboxPass::stopAfterItem() {
  state_.stopPass = state_.passRunning || state_.syncStarting;
}

void InboxPass::ForwardMail() {
  const Running running(state_);
  try {
    pass(running.withinAnother());
  } catch (const std::exception& error) {
    fault(error.what());
  }
}

void InboxPass::beginCounts() {
  state_.forwardedThisPass = 0;
  state_.itemsInPass = 0;
  state_.itemsVisited = 0;
  state_.failedThisPass = 0;
  state_.lastPassCompleted = false;
}

void InboxPass::pass(bool withinAnother) {
  world_.trace.trace("Forward Entered");
  // A pass that finds another one running is refused below, and leaves the other's counts alone.
  if (!withinAnother) {
    beginCounts();
  }
  if (!sessionReady(withinAnother)) {
    endTestCycle();
    return;
  }
  state_.m_bBusyFwd = true;
  status_.SetStatusToPreset(kStatusChecking);
  state_.passStartTime = world_.clock.now();
  world_.log.AddToLog("Started Email Check at " + nowText());

  auto items = unreadItems();
  const std::int16_t count = toUnreadCount(items->Count());
  trace("New clsSecurity _pre");
  state_.itemsInPass = count;
  Walk walk{std::move(items), count, clsSecurity(world_.objects), {}, false};
  trace("New clsSecurity _post");
  walk.builder.setFormatForCellPhone(world_.prefs.bolFormatForCellPhone());
  if (count == 0) {
    status_.SetStatusToPreset(kStatusCompletedNothingNew);
  }
  const bool walkedToTheEnd = walkItems(walk);
  state_.lastPassCompleted = true;
  if (walkedToTheEnd) {
    finish();
  }
  endTestCycle();
}

bool InboxPass::sessionReady(bool withinAnother) {
  trace("ResetOlkObj_pre");
  const std::int16_t result = session_.ResetOlkObj(true, false, true);
  trace("ResetOlkObj_post");
  if (result < kSessionReady && state_.stopWanted()) {
    world_.log.AddToLog(nowText() +
                        "--> Email check stopped before its end: " + session_.lastWords());
    status_.SetStatusToPreset();
    return false;
  }
  if (result < kSessionReady) {
    world_.log.AddToLog(nowText() + "--> Email check aborted: " + session_.errorText());
    if (!session_.storeWords().empty()) {
      world_.log.AddToLog(nowText() + "--> " + session_.storeWords());
    }
    world_.alerts.checkFailed(session_.lastWords());
    // The name in this text was never filled in; users know the line as it is.
    status_.SetStatusLabel("Last email check aborted: & m_sErr");
    return false;
  }
  // Checked only now, because opening the session lets events run.
  if (state_.m_bBusyFwd || withinAnother) {
    world_.log.AddToLog(nowText() + "--> Email check aborted: Didn't finish prev. check yet");
    return false;
  }
  return true;
}

std::shared_ptr<ItemCollection> InboxPass::unreadItems() {
  trace("Set vItems to unread _pre");
  const auto all = required(session_.inbox()->Items(), "items of the inbox");
  // Listed once: mail that arrives during the pass waits for the next one.
  auto items = required(all->Restrict(std::string(kUnreadFilter)), "unread items");
  trace("Set vItems to unread _post");
  return items;
}

// Visits every item, the last one first. False when the pass ended early because of the maximum or
// the end of the program.
bool InboxPass::walkItems(Walk& walk) {
  world_.display.repaint();
  const std::string ofCount = " of " + std::to_string(walk.count);
  if (world_.log.verbose()) {
    world_.log.AddToLogV("ForwardMail->EnteringItemLoop (" + std::to_string(walk.count) +
                         " items)");
  }
  // From the last to the first: items that are marked as read may leave the list, and the numbers
  // of those before them stay valid. A 32-bit index, because the count may be the largest 16-bit
  // number.
  for (std::int32_t i = walk.count; i >= 1; --i) {
    if (maximumReached()) {
      status_.SetStatusToPreset(kStatusMaximumReached);
      world_.log.AddToLog("Stopped - already forwarded maximum number of emails allowed.");
      world_.alerts.checkCompleted();
      world_.alerts.maximumReached();
      // Not finish(): nothing more may be sent in this pass.
      state_.m_bBusyFwd = false;
      return false;
    }
    status_.SetStatusLabel("Checking unread item " + std::to_string(walk.count - i + 1) + ofCount);
    world_.display.repaint();
    if (stopWanted(i)) {
      state_.m_bBusyFwd = state_.m_bBusyFwd && !state_.ending;
      return !state_.ending;
    }
    ++state_.itemsVisited;
    visit(walk, required(walk.items->Item(i), "item"));
  }
  world_.alerts.checkCompleted();
  return true;
}

// Events have run: the user may have switched off, or the program may be ending.
bool InboxPass::stopWanted(std::int32_t itemsLeft) {
  if (!state_.stopWanted()) {
    return false;
  }
  world_.log.AddToLog(
      nowText() + "--> Email check stopped before its end: " + std::to_string(itemsLeft) +
      (itemsLeft == 1 ? " unread item is" : " unread items are") + " left for the next one");
  return true;
}

// The field of the window is the counter itself. It is read as a number from its beginning, since a
// user or a script may have written into it.
bool InboxPass::maximumReached() const {
  return numericPrefix(world_.display.txtNumberForwarded()) >= world_.prefs.GetMaxNumToForward();
}

void InboxPass::visit(Walk& walk, const std::shared_ptr<MailItem>& item) {
  const std::string entryId = item->EntryID();
  const bool forwardIt = decide(walk, item, entryId);
  item->UnRead(!forwardIt);
  if (forwardIt) {
    forward(walk, item, entryId);
  } else if (walk.reason.size() >= kShortestReason) {
    world_.log.AddToLog(item->Subject() + " at " + nowText() + " not forwarded because " +
                        walk.reason);
    ignore(entryId);
  }
}

// The ignore list comes first: an item on it costs one look-up and is not read.
bool InboxPass::decide(Walk& walk, const std::shared_ptr<MailItem>& item,
                       const std::string& entryId) {
  if (isIgnored(entryId) || !ValidateInboxType(*item)) {
    return false;
  }
  if (world_.prefs.bolIgnoreExistingMsg() && arrivedBeforeActivation(*item)) {
    requireStore(*item);
    ignore(entryId);
    walk.reason = "message received before Relaybird activated";
    return false;
  }
  return rulesAllow(walk, item, entryId);
}

bool InboxPass::arrivedBeforeActivation(MailItem& item) const {
  // An item of the very second of the activation counts as old.
  return GetRelevantDate(item) <= state_.activationTime;
}

bool InboxPass::rulesAllow(Walk& walk, const std::shared_ptr<MailItem>& item,
                           const std::string& entryId) {
  bool allowed = false;
  walk.built = false;
  int status = world_.prefs.intShouldForward(item, allowed, walk.reason);
  const bool senderUnknown = world_.prefs.bolSenderUnknown();
  // The rules have read the item alone. Some of them reject an item that cannot be forwarded, so
  // its forward is built before they are believed.
  if (status >= 1 && allowed && world_.prefs.bolRulesNeedForward() && !build(walk, item)) {
    status = world_.prefs.intWithoutForward(walk.builder.errorText(), allowed, walk.reason);
  }
  if (status < 1 || !allowed || senderUnknown) {
    requireStore(*item);
  }
  if (status < 1) {
    walk.reason = world_.prefs.lastReason();
    ignoreTraced(entryId);
    return false;
  }
  if (!allowed) {
    ignore(entryId);
  }
  return allowed;
}

void InboxPass::forward(Walk& walk, const std::shared_ptr<MailItem>& item,
                        const std::string& entryId) {
  const Attempt outcome = attempt(walk, item);
  // Once more: building and sending the forward may have touched the item.
  item->UnRead(false);
  if (outcome.failure) {
    ++state_.failedThisPass;
    world_.log.AddToLog("Tried but failed to forward " + item->Subject() + " at " + nowText() +
                        "; Problem was: " + *outcome.failure);
    world_.alerts.forwardRefused("\"" + item->Subject() + "\": " + *outcome.failure);
    // Ignored until forwarding is switched on anew: a message that fails once would fail, and be
    // logged, at every check.
    ignore(entryId);
  } else if (outcome.sent) {
    world_.log.AddToLog("forwarded " + item->Subject() + " at " + nowText());
    countForward();
  } else {
    world_.log.AddToLog(item->Subject() + " at " + nowText() + " not forwarded because size " +
                        "above specified limit.");
    ignore(entryId);
  }
}

bool InboxPass::build(Walk& walk, const std::shared_ptr<MailItem>& item) {
  walk.built = walk.builder.SetPref(world_.prefs) && walk.builder.MakeSafeInboxItem(item);
  return walk.built;
}

InboxPass::Attempt InboxPass::attempt(Walk& walk, const std::shared_ptr<MailItem>& item) {
  // The forward may have been built for the rules.
  clsSecurity& builder = walk.builder;
  if (!walk.built && !build(walk, item)) {
    return {false, builder.errorText()};
  }
  if (!builder.sizeWithinLimit()) {
    return {};
  }
  if (!builder.send()) {
    return {false, builder.errorText()};
  }
  state_.forwardedThisPass = toForwardedCount(state_.forwardedThisPass + 1.0);
  return {true, std::nullopt};
}

void InboxPass::countForward() {
  const double count = numericPrefix(world_.display.txtNumberForwarded()) + 1;
  world_.display.txtNumberForwarded(std::to_string(toForwardedCount(count)));
}

void InboxPass::finish() {
  world_.log.AddToLog("Completed Email Check at " + nowText());
  status_.SetStatusToPreset(kStatusCompleted);
  // The pause runs events; at the end of the program nobody waits for them.
  if (!state_.ending) {
    world_.sleeper.sleep(kPauseAfterPass);
  }
  state_.m_bBusyFwd = false;
  if (state_.forwardedThisPass > 0 && !state_.ending) {
    trace("SyncStart True _pre");
    startSendSync_();
    trace("SyncStart True _post");
  }
}

// A store that waits for its server gives up when the user stops the pass, which is no failure.
void InboxPass::fault(const std::string& description) {
  const bool stopped = state_.stopWanted();
  world_.log.AddToLog(stopped ? nowText() + "--> Email check stopped before its end: " + description
                              : "An Error occured at " + nowText() + " --> " + description);
  state_.m_bBusyFwd = false;
  session_.dropIfGone();
  if (stopped) {
    status_.SetStatusToPreset();
  } else {
    world_.alerts.checkFailed(description);
    status_.SetStatusToPreset(kStatusError);
  }
  // Last, because the status line lets events run and the end of a test cycle opens a box.
  endTestCycle();
}

bool InboxPass::isIgnored(const std::string& entryId) const {
  // Items without an identifier cannot be remembered. They are decided anew at each check.
  return !entryId.empty() && dicEmailsToIgnore_->Exists(entryId);
}

void InboxPass::ignore(const std::string& entryId) {
  if (!entryId.empty() && !dicEmailsToIgnore_->Exists(entryId)) {
    dicEmailsToIgnore_->Add(entryId, entryId);
  }
}

// The same with trace lines, which users know at this place.
void InboxPass::ignoreTraced(const std::string& entryId) {
  if (entryId.empty()) {
    return;
  }
  trace("dicEmailsToIgnore.Exists(sEmailId)_pre");
  if (!dicEmailsToIgnore_->Exists(entryId)) {
    trace("dicEmailsToIgnore.Add_pre");
    dicEmailsToIgnore_->Add(entryId, entryId);
    trace("dicEmailsToIgnore.Add_post");
  }
  trace("dicEmailsToIgnore.Exists(sEmailId)_post");
}

void InboxPass::trace(const char* step) {
  if (world_.log.verbose()) {
    world_.log.AddToLogV(std::string("ForwardMail->") + step);
  }
}

}  // namespace relaybird
