// SPDX-License-Identifier: MIT
// Which folder is a mailbox's outbox.
//
// Unless the user names one, a mailbox has an outbox of its own in the state folder: "outbox" for
// the first mailbox there, "outbox-2", "outbox-3" for further ones. A note in each, the file
// "mailbox", says whose it is. One without a note, from a release that wrote none, goes to the
// first mailbox that asks, and one whose mailbox is gone to the next: what waits in it is then
// delivered. No outbox of a mailbox that is still there is taken away from it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "stores/outbox/outbox.h"

namespace relaybird {

/// One thread.
class OutboxPlace {
 public:
  /// `mailbox` is the Maildir's path with its links followed. `named` is the folder that the user
  /// wants for the outbox; empty: the mailbox's own.
  OutboxPlace(FileSystem& files, std::string mailbox, std::string stateFolder, std::string named)
      : files_(files),
        mailbox_(std::move(mailbox)),
        stateFolder_(std::move(stateFolder)),
        named_(std::move(named)) {}

  /// Finds the outbox, makes it where it is missing, opens it and notes whose it is. An error is a
  /// sentence for the user; with EWOULDBLOCK another program has the outbox.
  Result<std::unique_ptr<Outbox>> open(const Clock& clock, const RandomBytes& random);

  /// The folder that open() would choose now. Makes nothing.
  std::string where() { return named_.empty() ? choose() : named_; }

  /// Sentences for the log about what waits in other outboxes of the state folder and is not being
  /// delivered, as no program has them open.
  std::vector<std::string> leftIn(const std::string& ownFolder);

 private:
  /// Empty where the note cannot be read; nothing where there is none.
  std::optional<std::string> ownerOf(const std::string& folder);
  bool isGone(const std::string& mailbox);
  bool isFree(const std::string& folder);
  bool isAnothers(const std::string& folder);
  std::vector<std::string> known();
  std::string choose();
  Error whyNot(const std::string& folder, const Error& error);
  std::string sentence(const std::string& folder, std::size_t waiting);
  std::size_t waitingIn(const std::string& folder);

  FileSystem& files_;
  std::string mailbox_;
  std::string stateFolder_;
  std::string named_;
};

}  // namespace relaybird
