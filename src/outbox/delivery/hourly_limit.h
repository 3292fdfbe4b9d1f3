// SPDX-License-Identifier: MIT
// Limits the number of messages to one address within an hour. Mail in a loop through machines that
// strip all our marks cannot be distinguished from new mail, except by its number.
//
// An address that has reached the limit is stopped until the user resumes it, and its messages
// wait. Addresses that differ only in the letter case of their domain are the same (RFC 5321, 2.4).
// Counts are kept by the minute to keep the data small, so a message may count for up to 61
// minutes.
//
// Counts and stopped addresses are kept in a file, so that a program that is restarted often stays
// within the limit. The file never prevents a delivery: a damaged line counts as never written, and
// a failure to write is not reported, since the next change rewrites the file.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace relaybird {

/// Far above what one person gets in a busy hour, and far below what a mail loop produces.
inline constexpr std::size_t kMostPerHour = 500;

class HourlyLimit {
 public:
  /// `most` messages an hour for each address. Reads the file; its folder must exist.
  HourlyLimit(FileSystem& files, const Clock& clock, std::string path, std::size_t most);
  ~HourlyLimit();
  HourlyLimit(const HourlyLimit&) = delete;
  HourlyLimit& operator=(const HourlyLimit&) = delete;

  struct Verdict {
    std::vector<std::string> stoppedNow;  ///< addresses that this call has stopped
    std::string waitsFor;  ///< a stopped address among the recipients; empty: it may leave
  };
  /// Whether one more message may leave for these.
  Verdict ask(const std::vector<std::string>& recipients);
  /// Whether ask() might stop one of these once `underWay` more messages have left.
  bool mayStopAfter(const std::vector<std::string>& recipients, std::size_t underWay);
  /// A message has left for these.
  void count(const std::vector<std::string>& recipients);
  /// Resumes all stopped addresses, at the request of the user; their counts start at zero.
  void lift();

  /// In alphabetical order, as they are compared.
  const std::set<std::string>& stopped() const { return stopped_; }
  std::size_t most() const { return most_; }

 private:
  /// Minutes since 1970, and how many left in each.
  using Minutes = std::map<std::int64_t, std::size_t>;

  std::int64_t thisMinute() const;
  void forgetOld();
  std::size_t lastHour(const std::string& address) const;
  void load();
  void apply(std::string_view line);
  void note(const std::vector<std::string_view>& fields, bool sync);
  void rewrite();

  FileSystem& files_;
  const Clock& clock_;
  std::string path_;
  std::size_t most_;
  std::map<std::string, Minutes> left_;
  std::set<std::string> stopped_;
  std::unique_ptr<OutputFile> file_;  ///< kept open between changes
  bool intact_ = true;                ///< the file has all counts
  std::size_t lines_ = 0;             ///< written since it was last rewritten
};

}  // namespace relaybird
