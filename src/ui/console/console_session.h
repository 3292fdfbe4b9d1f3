// SPDX-License-Identifier: MIT
// The running console: reads lines, runs commands, and passes answers to waiting boxes.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/event_queue.h"
#include "ui/console/console_commands.h"
#include "ui/console/console_dialogs.h"
#include "ui/console/console_output.h"
#include "ui/console/console_program.h"
#include "ui/console/line_source.h"

namespace relaybird {

/// What a session needs. All must outlive it.
struct SessionParts {
  EventQueue& events;
  TimerMaker& timers;
  LineSource& lines;
  ConsoleOutput& out;
  ConsoleDialogs& dialogs;
  ConsoleProgram& program;
  InputKind input = InputKind::kScript;
  /// Ends the program: every loop returns. Called once.
  std::function<void()> endProgram;
};

class ConsoleSession {
 public:
  explicit ConsoleSession(SessionParts parts);
  ~ConsoleSession();
  ConsoleSession(const ConsoleSession&) = delete;
  ConsoleSession& operator=(const ConsoleSession&) = delete;

  /// Runs the program's start-up, during which lines only answer boxes, and then accepts commands.
  void begin(const std::function<void()>& startUp);
  /// Ends the session: no more lines are read, and boxes get the answer that changes nothing.
  void end();
  bool ended() const { return ended_; }
  /// Without input: 1 if the program ended because it had nothing to do, 2 if that was so because
  /// the logon was refused. Otherwise 0.
  int exitStatus() const { return exitStatus_; }

 private:
  struct Wait;
  class RunningCommand;

  void pump();
  bool takesLines() const;
  bool holdsCommands() const;
  void handle(const InputLine& line);
  void handleText(std::string_view text);
  bool answerBox(std::string_view text);
  void runCommand(std::string_view name, std::string_view rest);
  Result<void> outcomeOf(std::string_view name, std::string_view rest);
  void finish(const Result<void>& outcome);

  Result<void> answer(std::string_view rest);
  Result<void> answers(std::string_view rest);
  Result<void> beginWait(std::string_view rest);
  void checkWait();
  void endWait(const Result<void>& outcome);

  void boxAsks();
  void boxAnswered();
  void handleEnd();
  void lookForWork();
  void reportUnusedAnswers();
  void setPrompt();
  void pumpLater();

  SessionParts parts_;
  ConsoleCommands commands_;
  int depth_ = 0;  ///< number of commands running inside one another
  bool starting_ = false;
  bool answered_ = false;  ///< a box was answered; its caller runs before the next line
  bool inputOver_ = false;
  bool ended_ = false;
  bool hasWorked_ = false;  ///< forwarding has been on
  int exitStatus_ = 0;
  std::shared_ptr<int> alive_ = std::make_shared<int>();  ///< expires with the session
  std::unique_ptr<Wait> wait_;
  std::unique_ptr<Timer> workTimer_;
};

}  // namespace relaybird
