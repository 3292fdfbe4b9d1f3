// SPDX-License-Identifier: MIT
// The replies of an SMTP server (RFC 5321, 4.2), read from bytes that arrive in any portions.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

struct SmtpReply {
  int code = 0;                    ///< 200 to 599
  std::string enhanced;            ///< "5.7.1" (RFC 3463); empty where there is none
  std::vector<std::string> lines;  ///< their texts, without the codes

  bool positive() const { return code >= 200 && code < 300; }
  bool temporary() const { return code >= 400 && code < 500; }
  bool permanent() const { return code >= 500; }
  /// The code and the texts of all lines, one below the other, cut to a length that a person reads.
  std::string words() const;
};

/// Takes replies out of a stream of bytes. Ends for good at what is no reply, or too long for one.
/// The result does not depend on how the bytes are cut. Its memory is bounded by the bytes given in
/// one call and a line.
class SmtpReplyReader {
 public:
  /// Lines that are no reply are skipped, a few at most, until the first reply has been read.
  void add(std::string_view bytes);
  /// The next complete reply.
  std::optional<SmtpReply> take();
  /// What the server said that is no reply, once all replies before it have been taken; nothing
  /// while all is well.
  std::optional<std::string> nonsense() const;

  static constexpr std::size_t kLongestLine = 4096;                    ///< bytes; RFC 5321 has 512
  static constexpr std::size_t kLongestReply = std::size_t{64} << 10;  ///< bytes
  static constexpr int kMostSkipped = 8;                               ///< lines

 private:
  void readLine(std::string_view line);
  void fail(std::string_view what);

  std::string line_;      ///< the beginning of the next line
  SmtpReply reply_;       ///< its lines so far
  std::size_t size_ = 0;  ///< of the reply so far
  bool first_ = true;     ///< no reply was complete yet
  int skipped_ = 0;
  std::deque<SmtpReply> complete_;
  std::optional<std::string> nonsense_;
};

}  // namespace relaybird
