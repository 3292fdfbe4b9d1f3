// SPDX-License-Identifier: MIT
// How much may leave for one address within an hour. Mail that goes in a circle through machines
// that keep nothing of ours in it cannot be told from new mail; what gives it away is its number.
//
// An address that has had as much as it may is stopped, and stays so until the user says otherwise:
// what is for it waits. Addresses are the same when they differ in the letter case of their domain
// alone (RFC 5321, 2.4). An hour is counted by the minute, so that as little as possible need be
// remembered: what left up to 61 minutes ago may still count.
//
// What has left and who is stopped is kept in a file, so that a program that is started again and
// again stays within the limit. The file never keeps anything from leaving: a line that is damaged
// counts as never written, and a failure to write is told by nobody, since the next change writes
// all of it anew.
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

/// Far above what one person gets in a busy hour, and far below what a circle makes of it.
inline constexpr std::size_t kMostPerHour = 500;

class HourlyLimit {
 public:
  /// `most` messages an hour for each address. Reads the file; its folder must be there.
  HourlyLimit(FileSystem& files, const Clock& clock, std::string path, std::size_t most);
  ~HourlyLimit();
  HourlyLimit(const HourlyLimit&) = delete;
  HourlyLimit& operator=(const HourlyLimit&) = delete;

  struct Verdict {
    std::vector<std::string> stoppedNow;  ///< addresses that this question has stopped
    std::string waitsFor;  ///< a stopped address among the recipients; empty: it may leave
  };
  /// Whether one more message may leave for these.
  Verdict ask(const std::vector<std::string>& recipients);
  /// A message has left for these.
  void count(const std::vector<std::string>& recipients);
  /// The user's word: nobody is stopped any more, and those that were start at nothing.
  void lift();

  bool isStopped(const std::string& address) const { return stopped_.contains(address); }
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
  bool intact_ = true;                ///< the file says all that is known
  std::size_t lines_ = 0;             ///< written since it was last rewritten
};

}  // namespace relaybird
