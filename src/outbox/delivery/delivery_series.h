// SPDX-License-Identifier: MIT
// One walk over the messages that wait, which the transport drives (MessageFeed). Messages that
// arrive on the way join it, so that one connection takes them all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <vector>

#include "outbox/delivery/delivery_settlement.h"
#include "outbox/delivery/transport.h"
#include "outbox/delivery_queue.h"

namespace relaybird {

class DeliverySeries : public MessageFeed {
 public:
  /// `waiting` is tried in its order. What the parts refer to and the transport must outlive this
  /// object.
  /// `rest` decides what rest() says while the series could go on.
  DeliverySeries(DeliveryParts parts, Transport& transport, std::stop_token stop,
                 std::vector<WaitingMessage> waiting, std::function<Rest()> rest);
  ~DeliverySeries() override;
  DeliverySeries(const DeliverySeries&) = delete;
  DeliverySeries& operator=(const DeliverySeries&) = delete;

  std::optional<FedMessage> next() override;
  void report(std::vector<Verdict> verdicts) override;
  void makeDurable() override;
  void putBack(std::uint64_t number) override;
  Rest rest() override;
  std::size_t waiting() const override { return due_ + again_.size(); }

  /// What stays in the outbox, once the transport has returned.
  std::vector<WaitingMessage> whatIsLeft();

 private:
  enum class Fate { kGone, kKept, kLeaves, kNotYet };

  bool moreArrived();
  void countDue(std::size_t from);
  Fate prepare(std::size_t place, FedMessage& fed);
  Fate prepare(MessageUnderWay one, OutgoingText text, FedMessage& fed);
  bool mayHaveArrived(const WaitingMessage& message);
  bool arrivalTellsOfAll(const MessageUnderWay& one) const;
  Arrived arrivedBefore(const MessageUnderWay& one, const OutgoingMessage& message);
  bool waitsInDoubt(const MessageUnderWay& one);
  void noteUnanswered(const MessageUnderWay& one, bool forAll);
  bool refusalsSettled(const MessageUnderWay& one, const Outcome& outcome) const;
  bool addressStopped(const WaitingMessage& message, const OutgoingMessage& outgoing);
  void begin(MessageUnderWay& one);
  void end(MessageUnderWay& one);

  DeliveryParts parts_;
  DeliverySettlement settlement_;
  Transport& transport_;
  std::stop_token stop_;
  std::vector<WaitingMessage> known_;
  std::function<Rest()> rest_;
  std::size_t next_ = 0;         ///< in known_
  std::size_t due_ = 0;          ///< from next_ on, not held back when they were counted
  std::set<std::size_t> again_;  ///< places in known_ that were put back
  std::set<std::size_t> gone_;   ///< places in known_
  bool searchFailed_ = false;    ///< whether a message has arrived could not be found out
  bool unsynced_ = false;        ///< something was recorded since makeDurable()
  std::size_t filesLeft_ = 0;    ///< of messages that have left
  std::uint64_t bytesLeft_ = 0;  ///< the same in bytes
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, MessageUnderWay> underWay_;
};

}  // namespace relaybird
