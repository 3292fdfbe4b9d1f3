// SPDX-License-Identifier: MIT
// The console at work: takes lines, runs what they command, hands answers to the boxes that wait.
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

/// Who sends the lines.
enum class InputKind {
  kPerson,   ///< a terminal; its end ends the program
  kScript,   ///< a pipe or a file; its end ends the program, once what it asked for is done
  kNothing,  ///< the null device, as under a service manager: the program works on without it
};

/// What a session works with. All must outlive it.
struct SessionWorld {
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
  explicit ConsoleSession(SessionWorld world);
  ~ConsoleSession();
  ConsoleSession(const ConsoleSession&) = delete;
  ConsoleSession& operator=(const ConsoleSession&) = delete;

  /// Runs the program's start-up, during which lines answer its boxes, and from then on takes
  /// commands.
  void begin(const std::function<void()>& startUp);
  /// The program ends: no more lines are taken, and boxes get the answer that changes nothing.
  void end();
  bool ended() const { return ended_; }
  /// 1 where the program ended because it had nothing to do, else 0.
  int exitStatus() const { return exitStatus_; }

 private:
  struct Wait;
  class Inside;

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
  void tellUnusedAnswers();
  void setPrompt();
  void pumpLater();

  SessionWorld world_;
  ConsoleCommands commands_;
  int depth_ = 0;  ///< how many commands are inside one another
  bool starting_ = false;
  bool answered_ = false;  ///< a box has been, and its own caller goes first
  bool inputOver_ = false;
  bool ended_ = false;
  bool hasWorked_ = false;  ///< forwarding has been on
  int exitStatus_ = 0;
  std::shared_ptr<int> alive_ = std::make_shared<int>();  ///< gone when the session is
  std::unique_ptr<Wait> wait_;
  std::unique_ptr<Timer> workTimer_;
};

}  // namespace relaybird
