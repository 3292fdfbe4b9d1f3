// SPDX-License-Identifier: MIT
// The text of a message on its way out of the outbox. The head is in memory, because the envelope
// is read from it and parts of it are left out. The rest of a large message stays in its file and
// is read in pieces when it is sent: a message of 35 MB takes as little memory as a small one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/file_system.h"
#include "platform/result.h"

namespace relaybird {

/// In bytes. No more is read where the head has not ended by then.
inline constexpr std::size_t kLongestHead = std::size_t{1} << 20;

/// Lines end with LF: CR LF becomes LF, a lone CR stays. Copies share the file. One thread at a
/// time for an object and its copies.
class OutgoingText {
 public:
  OutgoingText() = default;
  /// All of it in memory.
  explicit OutgoingText(std::string whole);
  /// What the file has now; what is added to it later does not belong to the text. A small one is
  /// read as a whole and closed. Fails as the file does.
  static Result<OutgoingText> read(std::unique_ptr<InputFile> file);

  /// In bytes. Larger than the text by the CRs that are left out of what is still in the file.
  std::uint64_t size() const { return beginning_.size() + fileSize_ - fileBegin_; }
  /// Bytes in memory, those of a reader not counted.
  std::size_t held() const { return beginning_.size(); }
  /// The head, unless headIsTooLong(), and some of what follows.
  std::string_view beginning() const { return beginning_; }
  bool headIsTooLong() const { return headIsTooLong_; }
  /// Puts `head` in the place of the first `size` bytes, which are in the beginning.
  void replaceHead(std::size_t size, std::string_view head);

  /// Goes over the text, which must outlive it and stay as it is.
  class Reader {
   public:
    explicit Reader(const OutgoingText& text) : text_(&text), at_(text.fileBegin_) {}
    /// The next piece, valid until the next call; empty at the end. Fails as the file does, and
    /// with error number 0 if the file has become shorter.
    Result<std::string_view> next();
    /// The same for readers that gave the same bytes, and hardly ever for others.
    std::size_t digest() const { return digest_; }

   private:
    const OutgoingText* text_;
    std::size_t given_ = 0;  // bytes of the beginning
    std::size_t digest_ = 0;
    std::uint64_t at_;  // in the file
    std::string piece_;
  };
  /// Gives `take` all pieces in their order. Fails as Reader::next() and `take` do.
  Result<void> forEachPiece(const std::function<Result<void>(std::string_view)>& take) const;

 private:
  Result<void> appendPiece(std::uint64_t& at, std::string& to) const;

  std::string beginning_;
  bool headIsTooLong_ = false;
  std::shared_ptr<InputFile> file_;  // null: the beginning is all
  std::uint64_t fileBegin_ = 0;      // of what follows the beginning
  std::uint64_t fileSize_ = 0;
};

}  // namespace relaybird
