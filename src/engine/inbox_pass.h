// SPDX-License-Identifier: MIT
// One pass over the unread items of the inbox: decides for each whether it is forwarded, has the
// forward built and sent, marks the item, and logs what was done, or why it was not.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "compose/cls_security.h"
#include "engine/engine_world.h"
#include "engine/mail_session.h"
#include "engine/status_display.h"
#include "mail/mail_store.h"
#include "platform/clock.h"
#include "prefs/cls_pref.h"

namespace relaybird {

class InboxPass {
 public:
  /// `startSendSync` starts the synchronisation that sends what a pass has forwarded. All
  /// references must outlive the pass.
  InboxPass(const EngineWorld& world, EngineState& state, StatusDisplay& status,
            MailSession& session, std::function<void()> startSendSync);

  /// One pass. Refused and logged while another one, or a start, runs. All outcomes, faults of the
  /// store included, go to the log, the status line and the counters; nothing is thrown.
  void ForwardMail();

  /// Makes the running pass end after the current item, as at its last item. Does nothing when no
  /// pass runs.
  void stopAfterItem();

  /// Forgets which items have been decided. Called whenever forwarding is switched on or tested.
  void ResetIgnoreList();

  /// Ends a running test cycle: its command can be used again.
  void endTestCycle();

 private:
  struct Walk;
  struct Attempt;
  class Running;

  void pass(bool withinAnother);
  void beginCounts();
  bool sessionReady(bool withinAnother);
  std::shared_ptr<ItemCollection> unreadItems();
  bool walkItems(Walk& walk);
  bool stopWanted(std::int32_t itemsLeft);
  void visit(Walk& walk, const std::shared_ptr<MailItem>& item);
  bool decide(Walk& walk, const std::shared_ptr<MailItem>& item, const std::string& entryId);
  bool arrivedBeforeActivation(MailItem& item) const;
  bool rulesAllow(Walk& walk, const std::shared_ptr<MailItem>& item, const std::string& entryId);
  void forward(Walk& walk, const std::shared_ptr<MailItem>& item, const std::string& entryId);
  bool build(Walk& walk, const std::shared_ptr<MailItem>& item);
  Attempt attempt(Walk& walk, const std::shared_ptr<MailItem>& item);
  bool maximumReached() const;
  void countForward();
  void finish();
  void fault(const std::string& description);

  bool isIgnored(const std::string& entryId) const;
  void ignore(const std::string& entryId);
  void ignoreTraced(const std::string& entryId);
  void trace(const char* step);
  std::string nowText() const { return world_.clock.toText(world_.clock.now()); }

  EngineWorld world_;
  EngineState& state_;
  StatusDisplay& status_;
  MailSession& session_;
  std::function<void()> startSendSync_;
  std::shared_ptr<Dictionary> dicEmailsToIgnore_;
};

/// Whether the item is of one of the seven kinds that are forwarded. False also when its kind
/// cannot be read.
bool ValidateInboxType(MailItem& item);

/// When the item arrived: the reception of mail and meeting items, the last modification of task
/// requests and reports. kNoDate for any other kind and when the date cannot be read, so that such
/// an item counts as received long ago.
DateTime GetRelevantDate(MailItem& item);

}  // namespace relaybird
