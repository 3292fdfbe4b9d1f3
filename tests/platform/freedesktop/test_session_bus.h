// SPDX-License-Identifier: MIT
// A session bus of the test's own, with the programs on it that the test starts.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/descriptor.h"
#include "support/temp_folder.h"

namespace relaybird {

/// A program that runs until the object ends.
class TestProgram {
 public:
  /// Starts it, gives it `input`, and waits until its output has a line that begins with `sign`
  /// (empty: does not wait). Throws std::runtime_error where it ends before that.
  TestProgram(std::vector<std::string> arguments, const std::string& input,
              const std::string& sign);
  ~TestProgram();
  TestProgram(const TestProgram&) = delete;
  TestProgram& operator=(const TestProgram&) = delete;

  /// The line that begins with the sign.
  const std::string& line() const { return line_; }
  int process() const { return process_; }

 private:
  int process_ = -1;
  Descriptor output_;
  std::string line_;
};

/// This process's session bus while the object lives. No service is started by a call to its name.
class TestSessionBus {
 public:
  TestSessionBus();
  ~TestSessionBus();
  TestSessionBus(const TestSessionBus&) = delete;
  TestSessionBus& operator=(const TestSessionBus&) = delete;

 private:
  TempFolder folder_;
  std::unique_ptr<TestProgram> daemon_;
};

/// Returns once a program on the session bus has this name.
void waitForService(const char* name);

/// Takes an environment variable away, or sets it, while the object lives.
class TestVariable {
 public:
  TestVariable(std::string name, const char* value);
  ~TestVariable();
  TestVariable(const TestVariable&) = delete;
  TestVariable& operator=(const TestVariable&) = delete;

 private:
  std::string name_;
  std::string before_;
  bool wasSet_ = false;
};

}  // namespace relaybird
