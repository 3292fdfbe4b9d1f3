// SPDX-License-Identifier: MIT
// The user's address book: a vCard file (RFC 6350, also versions 3.0 and 2.1 as telephones export
// them). Its only use is to turn a name that the user typed into a mail address.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "message/address/mail_address.h"
#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// Files longer than this many bytes are refused.
inline constexpr std::size_t kMaxAddressBookSize = 64'000'000;

/// Immutable once made, so any thread may use it.
class AddressBook {
 public:
  AddressBook() = default;

  /// Reads the cards of a file. A missing file is an error (ENOENT), and so is any other failure to
  /// read it; a file that is not a vCard file is a book without entries. Cards without a usable
  /// address, and cards that never end, are skipped.
  static Result<AddressBook> read(FileSystem& files, const std::string& path);

  /// The cards of a file's contents. Linear time.
  static AddressBook parse(std::string_view contents);

  /// The mailbox of the person known by `name`: a formatted name, "First Last", "Last, First" or a
  /// nickname, without regard to case and blanks. Empty where no card has that name, or where two
  /// cards with different addresses have it. The address is the card's preferred one, else its
  /// first. One hash look-up.
  std::optional<Mailbox> find(std::string_view name) const;

  /// How many names are known, ambiguous ones included.
  std::size_t size() const { return names_.size(); }

 private:
  struct Entry {
    Mailbox mailbox;
    bool ambiguous = false;
  };
  void add(std::string_view name, const Mailbox& mailbox);

  std::unordered_map<std::string, Entry> names_;  ///< by folded name
};

/// Keeps the book of one file and reads it again when the file has changed.
class AddressBookFile {
 public:
  /// `files` must outlive this object. An empty path is an empty book.
  AddressBookFile(FileSystem& files, std::string path);

  /// The current book. Inspects the file once, and reads it only if its size, modification time or
  /// identity has changed. Returns the error on failure; a book read before is kept for the next
  /// call that succeeds. The pointer is valid until the next call. One thread at a time.
  Result<const AddressBook*> current();

 private:
  FileSystem& files_;
  std::string path_;
  std::optional<FileInfo> seen_;
  AddressBook book_;
};

}  // namespace relaybird
