// SPDX-License-Identifier: MIT
// What keeps messages recognisable when a server numbers a folder anew, that is changes its
// UIDVALIDITY (RFC 9051 section 2.3.1.1), as after a move to another server.
//
// Of each unread message whose head was read, a fingerprint is kept: of its Message-ID, Date and
// Subject, which survive such a move. When the numbers change, a message with a known fingerprint
// keeps its old entry identifier, so that everything that was decided about it still counts. An
// unread message that is not recognised is taken for a new one only if it is younger than all that
// were seen before. The others are left out of every listing: among them may be messages that were
// forwarded, and whose read marks the move has lost.
//
// A fingerprint is half of a SHA-256, so that nobody can send a message that is taken for another
// one by its fingerprint, short of the same three fields. If two messages are the same in these,
// each takes the identifier of one of them. Where only one of them was known, the other one counts
// as not recognised. No message is deleted or marked as read for such a reason: at worst one stays
// unread and is not forwarded, and the log says so.
//
// The file is replaced as a whole, at times; a fingerprint that is missing after a crash means at
// worst that one more message is left out. Earlier versions wrote 64 bits of another hash; these
// are still recognised, and replaced when a head is read again.
//
// Of very many messages the newest kMostRemembered are remembered, so that memory and file are
// bounded whatever the mailbox.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/result.h"
#include "stores/account/imap_client.h"
#include "stores/account/uid_set.h"
#include "stores/account/uid_table.h"

namespace relaybird {

/// A hash of the text in hexadecimal digits, the same in every build. Not against attackers.
std::string lastingHash(std::string_view text);

struct MessageFingerprint {
  std::uint64_t high = 0;  ///< 0 in fingerprints of earlier versions
  std::uint64_t low = 0;

  /// Whether there is one: the head could be read.
  explicit operator bool() const { return high != 0 || low != 0; }
  bool operator==(const MessageFingerprint&) const = default;
};

/// The number of a message in a numbering.
struct NumberedMessage {
  std::uint32_t uidValidity = 0;
  std::uint32_t uid = 0;

  bool operator==(const NumberedMessage&) const = default;
  bool operator<(const NumberedMessage& other) const {
    return std::pair(uidValidity, uid) < std::pair(other.uidValidity, other.uid);
  }
};

class MessageIdentities {
 public:
  struct HashOf {
    std::size_t operator()(const MessageFingerprint& each) const { return each.high ^ each.low; }
  };

  /// Nothing is read before restore(). `files` must outlive the object.
  MessageIdentities(FileSystem& files, std::string path) : files_(files), path_(std::move(path)) {}

  // The disk. What touches it uses nothing else of this object, so that it needs no lock that
  // guards the rest, and a slow disk holds nobody up.
  /// The text of the file; empty if there is none.
  std::string readFromDisk() const;
  Result<void> writeToDisk(const std::string& text) const;
  /// Takes over what readFromDisk() has returned. A damaged text counts as empty.
  void restore(std::string_view text);
  /// The text to be written; empty if nothing has changed since the last call.
  std::string takeUnsaved();
  /// What takeUnsaved() has returned could not be written.
  void keepUnsaved() { changed_ = true; }
  bool changed() const { return changed_; }
  /// Whether it should be written at once: all numbers are new.
  bool isUrgent() const { return changed_ && urgent_; }

  /// The numbering that the identifiers belong to; 0 before the first.
  std::uint32_t uidValidity() const { return uidValidity_; }
  /// The first numbering of a folder that was not known.
  void begin(std::uint32_t uidValidity);
  /// Remembers a message of the present numbering.
  void note(const ImapHead& head);
  /// Forgets messages that are not unread any more.
  void keepOnly(const UidSet& unseen);
  /// Whether a message is left out of listings.
  bool isLeftOut(std::uint32_t uid) const { return leftOut_.contains(uid); }

  /// An unread message of a new numbering.
  struct Found {
    std::uint32_t uid = 0;
    MessageFingerprint fingerprint;  ///< none: its head cannot be read
    MessageFingerprint earlier;      ///< as earlier versions made it
    /// The earlier of the times when it came into the folder and when it was written.
    DateTime time = kNoDate;
  };
  using Fingerprints = std::unordered_set<MessageFingerprint, HashOf>;
  /// Of all messages that are known.
  Fingerprints fingerprints();
  /// Whether such a message will be left out, where `known` is what fingerprints() has returned. Of
  /// several with one fingerprint more may be.
  bool isStranger(const Found& found, const Fingerprints& known) const;
  /// Replaces the numbering. Returns how many messages are left out.
  std::size_t renumber(std::uint32_t uidValidity, const std::vector<Found>& found);
  /// Leaves out messages of the present numbering, whatever they are.
  void leaveOut(const UidSet& uids);

  using Aliases = UidTable<NumberedMessage>;
  /// What messages were called first, where that was in an earlier numbering. Never null.
  const std::shared_ptr<const Aliases>& aliases() const { return aliases_; }
  static std::string entryId(std::uint32_t uidValidity, std::uint32_t uid, const Aliases& aliases);
  /// The message of an identifier; 0 where it is not of this folder any more.
  std::uint32_t uidOf(std::string_view entryId) const;

  static MessageFingerprint fingerprintOf(const ImapHead& head);
  static MessageFingerprint earlierFingerprintOf(const ImapHead& head);

 private:
  bool read(std::string_view text);
  bool readMessage(std::string_view line, Aliases& aliases);
  void setAliases(Aliases aliases);

  FileSystem& files_;
  std::string path_;
  std::uint32_t uidValidity_ = 0;
  DateTime latest_ = kNoDate;  // when the youngest message came whose head was read
  UidTable<MessageFingerprint> known_;
  UidSet leftOut_;
  std::shared_ptr<const Aliases> aliases_ = std::make_shared<const Aliases>();
  std::vector<std::pair<NumberedMessage, std::uint32_t>> uidOfAlias_;  // rising
  bool changed_ = false;
  bool urgent_ = false;
};

}  // namespace relaybird
