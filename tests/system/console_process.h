// SPDX-License-Identifier: MIT
// The real program as a process, over pipes or over a pseudo-terminal, with a mailbox of its own.
#pragma once

#include <sys/types.h>

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/descriptor.h"
#include "support/temp_folder.h"

namespace relaybird {

/// A user's home: a Maildir and the folders of the program.
class ConsoleHome {
 public:
  ConsoleHome();

  /// Messages "subject 1" to "subject COUNT", unread.
  void deliver(int count, const std::string& subject = "item");
  /// The whole preference file.
  void writePreferences(const std::string& text);
  std::string preferences() const;

  /// The subjects of what waits in the outbox, without "FW: "; fails the test where one is there
  /// twice.
  std::set<std::string> forwarded() const;
  /// The subjects of the messages that are marked as read.
  std::set<std::string> read() const;
  const TempFolder& folder() const { return folder_; }

 private:
  TempFolder folder_;
  int delivered_ = 0;
};

/// Section "default" of a preference file that forwards everything to one address.
std::string onePreference(const std::string& more = "");

enum class Streams { kPipes, kNullInput, kTerminal };

class ConsoleProcess {
 public:
  explicit ConsoleProcess(const ConsoleHome& home, Streams streams = Streams::kPipes,
                          std::vector<std::string> arguments = {});
  /// Kills it where it still runs.
  ~ConsoleProcess();
  ConsoleProcess(const ConsoleProcess&) = delete;
  ConsoleProcess& operator=(const ConsoleProcess&) = delete;

  void send(std::string_view bytes);
  void sendLine(const std::string& line) { send(line + "\n"); }
  /// Waits until the program has printed the text behind what was expected before, and returns what
  /// it has printed up to there. Fails the test where it ends, or has not after half a minute.
  std::string expect(const std::string& text);
  void endInput() { input_ = Descriptor(); }
  void closeOutput() { output_ = Descriptor(); }
  void signal(int number) const;
  pid_t id() const { return child_; }

  /// Reads the rest of its output and waits for its end. The exit status; the negative signal where
  /// one has ended it. Fails the test and kills it where it has not ended after half a minute.
  int wait();
  /// What it has printed since the last expect().
  const std::string& rest() const { return pending_; }
  std::string errors();

 private:
  void startOverPipes(const ConsoleHome& home, Streams streams);
  void startOnTerminal(const ConsoleHome& home);
  bool endsInTime() const;
  [[noreturn]] void become(const ConsoleHome& home) const;
  bool readMore(int timeout);

  std::vector<std::string> arguments_;
  pid_t child_ = -1;
  Descriptor input_;
  Descriptor output_;
  Descriptor errors_;
  Descriptor life_;  ///< a pipe whose other side the process alone holds
  std::string pending_;
};

}  // namespace relaybird
