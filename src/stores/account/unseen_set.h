// SPDX-License-Identifier: MIT
// The unread messages of a folder as its server has them, and how they are brought up to date: by a
// list of all, or, where the server numbers its changes (CONDSTORE and QRESYNC, RFC 7162), by what
// has changed since the last time. It outlives connections. Without input and output, threads and
// clocks.
//
// What is used where it is offered:
// - CONDSTORE: a refresh asks for the flags that have changed (FETCH with CHANGEDSINCE). A folder
//   that is opened again, and whose number and count are the old ones, is not asked at all.
// - QRESYNC: also the messages that have vanished are told by their UIDs, and SELECT itself tells
//   everything, so that opening a folder again costs no further command.
// Everywhere else it is one search for all unread messages, as in RFC 3501.
//
// What is not used, because it does not pay: the numbers are not kept on disk, as that would save
// one list for each start of the program; and marks are set without UNCHANGEDSINCE, since a message
// that was dealt with is read, whatever another program did to it in between.
//
// Servers make mistakes here, and a message that is wrongly called unread may be forwarded twice.
// So what the server tells is doubted (see unseen_set.cpp), and a list of all is asked for instead
// whenever something does not fit, and at times although everything does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "platform/result.h"
#include "stores/account/imap_changes.h"
#include "stores/account/imap_client.h"
#include "stores/account/uid_set.h"
#include "stores/account/wanted.h"

namespace relaybird {

/// After so many refreshes by changes, all are listed once.
inline constexpr int kRefreshesByChanges = 60;

class UnseenSet {
 public:
  /// Of more than `most` ranges the newest are kept; kMostRanges at most.
  explicit UnseenSet(std::size_t most = kMostRanges) : most_(most) {}

  /// The moment to open the folder with (ImapClient::selectSince); nothing where the folder is to
  /// be opened plainly.
  std::optional<ImapMoment> openingMoment();
  /// The folder is open; `opened` answers openingMoment(). True: uids() is the truth of this moment
  /// already, as far as `marked` goes: messages that were marked as read, confirmed by the server.
  bool attach(const ImapOpened& opened, const UidSet& marked);
  /// The connection is lost.
  void detach(Loss how);

  /// Called when a question is sent. Returns the messages that were marked as read, confirmed by
  /// the server.
  using Asking = std::function<UidSet()>;
  using Done = std::function<void(const Result<void>&)>;
  /// Brings uids() up to date. `justOpened`: nothing can have happened unseen. One at a time;
  /// `asking` may be called more than once, the last time for what `done` tells.
  void refresh(ImapClient& client, bool justOpened, Asking asking, Done done);
  /// The server's unread messages that are not being deleted; of very many the newest.
  const UidSet& uids() const { return uids_; }
  /// Whether none is missing for that reason.
  bool isWhole() const { return floor_ == 0; }

 private:
  void ask(ImapClient& client);
  void list(ImapClient& client);
  void askForChanges(ImapClient& client, const UidSet& marked);
  bool mustList() const;
  void cutToSize();
  bool apply(const ImapChanges& changes, const UidSet& marked);
  void end(const Result<void>& result);

  std::size_t most_;
  UidSet uids_;
  std::uint32_t floor_ = 0;  // messages below are not in uids_; 0: none is missing
  std::uint32_t uidValidity_ = 0;
  std::uint64_t modSeq_ = 0;               // uids_ has all changes up to this one; 0: unusable
  std::optional<std::uint32_t> messages_;  // in the folder when uids_ was true, if that is certain
  Asking asking_;
  Done done_;

  bool numbered_ = false;    // the server numbers changes on this connection
  int refreshes_ = 0;        // by changes since the last list
  bool expecting_ = false;   // an answer that only such a server gives
  int lostOverIt_ = 0;       // connections, since the last refresh by changes
  bool distrusted_ = false;  // for the rest of this run
};

}  // namespace relaybird
