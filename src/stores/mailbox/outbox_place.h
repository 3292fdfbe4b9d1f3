// SPDX-License-Identifier: MIT
// Chooses the folder of a mailbox's outbox.
//
// Unless the user names one, a mailbox has its own outbox in the state folder: "outbox" for the
// first mailbox, "outbox-2", "outbox-3" for further ones. A note in each, the file "mailbox", names
// the owner: the mailbox's identity, and for a folder its device and inode, by which a folder that
// was moved is recognised. An outbox without a note, from a release that wrote none, belongs to the
// first mailbox that asks.
//
// An outbox is never taken from another mailbox, even if that mailbox does not exist: it may be on
// a disk that is not mounted, and its journal keeps mail from being forwarded twice. An outbox
// whose note cannot be read may belong to any mailbox, so a mailbox that finds no other outbox of
// its own gets none until the note can be read.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "outbox/outbox.h"

namespace relaybird {

/// Used by one thread only.
class OutboxPlace {
 public:
  /// `mailbox` is the identity of the mailbox: a folder's path with links resolved, or a text that
  /// does not begin with '/' for a mailbox on a server. `named` is the folder that the user chose
  /// for the outbox; empty: the mailbox's own.
  OutboxPlace(FileSystem& files, std::string mailbox, std::string stateFolder, std::string named)
      : files_(files),
        mailbox_(std::move(mailbox)),
        stateFolder_(std::move(stateFolder)),
        named_(std::move(named)) {}

  /// Finds the outbox, makes it where it is missing, opens it and writes the note. An error is a
  /// sentence for the user; with EWOULDBLOCK another program uses the outbox.
  Result<std::unique_ptr<Outbox>> open(const Clock& clock, const RandomBytes& random);

  static std::string journalOf(const std::string& outbox) { return joinPath(outbox, "journal"); }
  /// The folder that open() would choose now. Makes nothing.
  std::string where() { return choose().folder; }

  /// Sentences for the log about messages that wait in other outboxes of the state folder and are
  /// not delivered, because no program has these outboxes open.
  std::vector<std::string> leftIn(const std::string& ownFolder);

 private:
  struct Note {
    std::string mailbox;
    std::string identity;  ///< device and inode; empty in a note of an earlier release
  };
  struct Choice {
    std::string folder;
    std::optional<Error> whyNot;  ///< why this mailbox must not open it
  };

  /// Nothing if there is no note.
  Result<std::optional<Note>> noteOf(const std::string& folder);
  std::string ownerOf(const std::string& folder);
  /// The device and inode of this mailbox; empty where they cannot be read, or where there are
  /// none.
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
