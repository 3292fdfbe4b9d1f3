// SPDX-License-Identifier: MIT
// A folder was numbered anew: before anything is listed under the new numbers, the heads of the
// newest unread messages are read once, to recognise the messages (message_identities.h). Without
// threads and clocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/result.h"
#include "stores/account/imap_client.h"
#include "stores/account/message_identities.h"

namespace relaybird {

class Renumbering {
 public:
  /// `identities` must outlive this object. `complain` gets a sentence about the messages that are
  /// left out.
  Renumbering(MessageIdentities& identities, std::function<void(std::string)> complain)
      : identities_(identities), complain_(std::move(complain)) {}

  /// The messages that were handed to begin(); a failure where the server does not let them be
  /// recognised for now.
  using Done = std::function<void(Result<std::vector<std::uint32_t>>)>;
  /// Asks for the heads of the unread messages `uids` of the numbering `uidValidity`, and gives the
  /// identities their new numbers when all have come. May call `done` at once. The connection must
  /// not be used with another one before abandon(). Of more than kMostRemembered messages, or where
  /// `uids` are not `all` of them, those below the newest are left out.
  void begin(ImapClient& client, std::uint32_t uidValidity, std::vector<std::uint32_t> uids,
             bool all, Done done);
  /// Whether heads that come are those that begin() has asked for.
  bool underWay() const { return attempt_.has_value(); }
  void arrived(const ImapHead& head);
  /// The connection is lost.
  void abandon() { attempt_.reset(); }

 private:
  struct Attempt {
    std::uint32_t uidValidity = 0;
    std::vector<std::uint32_t> uids;
    std::size_t below = 0;  // unread messages that are not asked for, as far as they are known
    bool whole = true;      // there are none that are not asked for
    Done done;
    UidTable<MessageIdentities::Found> found;
    MessageIdentities::Fingerprints known;
    std::map<std::uint32_t, std::string> subjects;  // of the first that will be left out
    std::size_t commands = 0;                       // unanswered
    bool singly = false;
    std::string refusal;  // the server's words
  };

  void onAnswered(const Result<void>& result);
  void end();
  void renumber(Attempt& all);
  static std::string namesOf(const Attempt& all, std::size_t leftOut);

  MessageIdentities& identities_;
  std::function<void(std::string)> complain_;
  std::optional<Attempt> attempt_;
  int refusals_ = 0;  // of attempts, one after another
};

}  // namespace relaybird
