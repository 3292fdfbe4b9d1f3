// SPDX-License-Identifier: MIT
// Which folder is a mailbox's outbox.
//
// Unless the user names one, a mailbox has an outbox of its own in the state folder: "outbox" for
// the first mailbox there, "outbox-2", "outbox-3" for further ones. A note in each, the file
// "mailbox", says whose it is: the Maildir's path, and its device and inode, by which one that was
// moved is known again. An outbox without a note, from a release that wrote none, goes to the first
// mailbox that asks.
//
// No outbox is ever taken from another mailbox: one that is not there may be on a disk that is not
// mounted, and what its journal knows keeps mail from being forwarded twice. A note that cannot be
// read may be any mailbox's; until it can be, a mailbox that finds no other outbox of its own has
// none.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "outbox/outbox.h"

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
  std::string where() { return choose().folder; }

  /// Sentences for the log about what waits in other outboxes of the state folder and is not being
  /// delivered, as no program has them open.
  std::vector<std::string> leftIn(const std::string& ownFolder);

 private:
  struct Note {
    std::string mailbox;
    std::string identity;  ///< empty in one of an earlier release
  };
  struct Choice {
    std::string folder;
    std::optional<Error> whyNot;  ///< why this mailbox must not open it
  };

  /// Nothing where there is no note.
  Result<std::optional<Note>> noteOf(const std::string& folder);
  std::string ownerOf(const std::string& folder);
  /// The device and inode of this mailbox; empty where they cannot be had.
  std::string identity();
  Result<void> writeNote(const std::string& folder);
  bool isMine(const Note& note);
  bool mayOpen(const std::string& folder);
  bool isThere(const std::string& mailbox);
  bool isFree(const std::string& folder);
  std::vector<std::string> known();
  Choice choose();
  Choice chooseOwn();
  std::optional<Error> whyAnothers(const std::string& folder);
  Error whyNot(const std::string& folder, const Error& error);
  std::string sentence(const std::string& folder, const std::string& ownFolder,
                       std::size_t waiting);
  std::size_t waitingIn(const std::string& folder);

  FileSystem& files_;
  std::string mailbox_;
  std::string stateFolder_;
  std::string named_;
};

}  // namespace relaybird
