// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string_view>

namespace relaybird {

/// Where the console's bytes go.
class TextSink {
 public:
  virtual ~TextSink() = default;
  /// Writes all of it, or nothing more once nobody can read it.
  virtual void write(std::string_view bytes) = 0;
};

/// An open file descriptor, which stays the caller's. A reader that takes its time is waited for,
/// and the program with it; not so once `interrupt`, another descriptor, is readable: what cannot
/// be written at once is then dropped, so that a program that is told to end does.
class DescriptorSink : public TextSink {
 public:
  /// `onBroken` is called once, from within a write, when the reader has gone for good: a closed
  /// pipe, a terminal that was hung up. `interrupt` may be -1 for none.
  DescriptorSink(int descriptor, int interrupt, std::function<void()> onBroken);
  /// A line that a full disk refuses is lost, and the following ones are tried anew.
  void write(std::string_view bytes) override;
  /// From now on nothing is waited for.
  void hurry() { hurry_ = true; }

 private:
  bool mayWrite();

  int descriptor_;
  int interrupt_;
  std::function<void()> onBroken_;
  bool broken_ = false;
  bool hurry_ = false;
};

}  // namespace relaybird
