// SPDX-License-Identifier: MIT
// A command can open a box, which runs events until it is answered; lines that arrive meanwhile are
// handled inside that command. A script's commands must not overlap, so its lines wait unless they
// answer the box; a person may type `stop` while a check runs. Lines are therefore read by pump(),
// which stops at the first line that has to wait and is called again when something changes.
#include "ui/console/console_session.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <span>
#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"
#include "ui/console/command_table.h"
#include "ui/console/quoting.h"

namespace relaybird {
namespace {

using std::chrono::milliseconds;

// How often `wait idle` looks whether everything has ended.
constexpr milliseconds kIdleLook{20};
// How often a program without input looks whether it still has something to do.
constexpr milliseconds kWorkLook{1000};
// A year; a longer wait is a typing error.
constexpr double kLongestWait = 366.0 * 24 * 3600;

// Exit statuses of a program that found nothing to do: the service manager starts it again after
// the first, and not after the second (packaging/systemd).
constexpr int kToBeStartedAgain = 1;
constexpr int kNotToBeStartedAgain = 2;

constexpr const char* kPrompt = "relaybird> ";

std::optional<milliseconds> readSeconds(std::string_view text) {
  const auto seconds = readNumber(text);
  if (!seconds || *seconds < 0 || *seconds > kLongestWait) {
    return std::nullopt;
  }
  return milliseconds(static_cast<std::int64_t>(*seconds * 1000));
}

}  // namespace

// The wait command that is running.
struct ConsoleSession::Wait {
  bool forIdle = false;
  bool over = false;  // the time limit was reached
  std::unique_ptr<Timer> limit;
  std::unique_ptr<Timer> look;
};

// Counts a running command, also when it throws.
class ConsoleSession::RunningCommand {
 public:
  explicit RunningCommand(int& depth) : depth_(depth) { ++depth_; }
  ~RunningCommand() { --depth_; }
  RunningCommand(const RunningCommand&) = delete;
  RunningCommand& operator=(const RunningCommand&) = delete;

 private:
  int& depth_;
};

ConsoleSession::ConsoleSession(SessionParts parts)
    : parts_(std::move(parts)), commands_(parts_.program, parts_.out) {
  parts_.dialogs.setObserver([this] { boxAsks(); }, [this] { boxAnswered(); });
}

ConsoleSession::~ConsoleSession() {
  parts_.dialogs.setObserver([] {}, [] {});
}

// Lines are read during start-up already, since its boxes must be answerable; commands wait until
// it has ended.
void ConsoleSession::begin(const std::function<void()>& startUp) {
  setPrompt();
  parts_.lines.listen([this] { pump(); });
  {
    const RunningCommand running(depth_);
    starting_ = true;
    startUp();
    starting_ = false;
  }
  workTimer_ = parts_.timers.makeTimer(kWorkLook, [this] { lookForWork(); });
  pumpLater();
}

// Posted, so that the command or box that made room for the next line returns first. The session
// may be gone by then.
void ConsoleSession::pumpLater() {
  parts_.events.post([this, alive = std::weak_ptr(alive_)] {
    if (!alive.expired()) {
      pump();
    }
  });
}

// Closing the dialogs answers every waiting box, so that the commands that opened them return
// before the loop ends.
void ConsoleSession::end() {
  if (std::exchange(ended_, true)) {
    return;
  }
  reportUnusedAnswers();
  wait_.reset();
  workTimer_.reset();
  parts_.dialogs.close();
  parts_.endProgram();
}

void ConsoleSession::setPrompt() {
  const BoxView* box = parts_.dialogs.question();
  if (box == nullptr) {
    parts_.lines.setPrompt(kPrompt, LineSource::Typing::kCommand);
  } else if (box->secret) {
    parts_.lines.setPrompt("password> ", LineSource::Typing::kPassword);
  } else {
    parts_.lines.setPrompt(box->choices.empty() ? "answer> " : joined(box->choices) + "> ",
                           LineSource::Typing::kAnswer);
  }
}

// Whether a command has to wait for another one. A script's commands run one after the other; a
// person may type `stop` while a check runs.
bool ConsoleSession::holdsCommands() const {
  return starting_ || (parts_.input != InputKind::kPerson && (depth_ > 0 || wait_ != nullptr));
}

// While a box waits, every line is looked at, since it may be the answer.
bool ConsoleSession::takesLines() const {
  return !ended_ && !answered_ && (parts_.dialogs.asking() || !holdsCommands());
}

// Lines stay in the source while none may be handled; the source then stops reading, and the writer
// of a pipe waits.
void ConsoleSession::pump() {
  while (takesLines()) {
    const auto line = parts_.lines.next();
    if (!line) {
      break;
    }
    handle(*line);
  }
  if (inputOver_ && depth_ == 0 && !wait_) {
    handleEnd();
  }
}

void ConsoleSession::handle(const InputLine& line) {
  parts_.out.lineEntered();
  switch (line.kind) {
    case InputLine::Kind::kEnd:
      inputOver_ = true;
      parts_.dialogs.close();
      return;
    case InputLine::Kind::kUnusable:
      parts_.out.error(line.why);
      return;
    case InputLine::Kind::kText:
    default:
      handleText(line.text.bytes());
  }
  overwriteStack();
}

// While a box waits, a line is a command only if it is not an answer to that box.
void ConsoleSession::handleText(std::string_view text) {
  if (parts_.dialogs.asking() && answerBox(text)) {
    return;
  }
  std::string_view rest = text;
  const std::string_view name = takeWord(rest);
  if (name.empty() || name.front() == '#') {
    return;
  }
  const CommandInfo* info = findCommand(name);
  if (const BoxView* box = parts_.dialogs.question(); box && (!info || !info->whileAsking)) {
    parts_.out.error("a box waits for an answer: " + box->title +
                     (box->choices.empty() ? "" : " (" + joined(box->choices) + ")"));
  } else if (info == nullptr) {
    parts_.out.error("there is no command " + inQuotes(name) + "; help lists them");
  } else {
    const auto last = rest.find_last_not_of(" \t");
    runCommand(info->name, rest.substr(0, last == std::string_view::npos ? 0 : last + 1));
  }
}

// Uses a line as the answer to the waiting box; false if it is not one.
bool ConsoleSession::answerBox(std::string_view text) {
  // A script answers with the full name of a button, or with `answer` for any text: a line meant as
  // a command must not be taken for a typed text.
  const bool person = parts_.input == InputKind::kPerson;
  const std::string_view value = trimmed(text, " ");
  const bool freeText = person && parts_.dialogs.question()->choices.empty();
  const bool nothing = person && value.empty();
  if (!freeText && !parts_.dialogs.offers(value)) {
    // An empty line decides nothing: the question is shown again.
    return nothing;
  }
  if (value.empty() && !person) {
    return false;
  }
  finish(parts_.dialogs.answer(value));
  return true;
}

// Any command ends a `wait`: only a person can type one then, and wants something else.
void ConsoleSession::runCommand(std::string_view name, std::string_view rest) {
  if (wait_) {
    endWait(Error{0, "the wait was cut short"});
  }
  if (name == "wait") {
    const auto begun = beginWait(rest);
    if (!begun) {
      finish(begun);
    }
    return;
  }
  if (name == "quit" || name == "exit") {
    reportUnusedAnswers();
    finish({});
    end();
    return;
  }
  finish(outcomeOf(name, rest));
}

// Exceptions become errors of the command, so that a script gets exactly one result for each
// command.
Result<void> ConsoleSession::outcomeOf(std::string_view name, std::string_view rest) {
  const RunningCommand running(depth_);
  if (name == "answer") {
    return answer(rest);
  }
  if (name == "answers") {
    return answers(rest);
  }
  try {
    return commands_.run(name, rest);
  } catch (const std::exception& error) {
    return Error{0, error.what()};
  }
}

void ConsoleSession::finish(const Result<void>& outcome) {
  hasWorked_ = hasWorked_ || parts_.program.forwardingOn();
  if (outcome) {
    parts_.out.ok();
  } else {
    parts_.out.error(outcome.error().text);
  }
}

// The first value answers the waiting box, the others wait for the boxes that follow, because one
// command may open several.
Result<void> ConsoleSession::answer(std::string_view rest) {
  auto values = splitWords(rest);
  if (!values) {
    return values.error();
  }
  if (values->empty()) {
    return Error{0, "answer takes what to answer"};
  }
  Result<void> taken;
  std::span<const std::string> others = *values;
  if (parts_.dialogs.asking()) {
    taken = parts_.dialogs.answer(values->front());
    others = others.subspan(1);
  }
  if (taken) {
    parts_.dialogs.queue(others);
  }
  std::ranges::for_each(*values, wipe);
  return taken;
}

Result<void> ConsoleSession::answers(std::string_view rest) {
  if (rest == "clear") {
    parts_.dialogs.clearQueue();
    return {};
  }
  if (!rest.empty()) {
    return Error{0, "answers takes clear, or nothing"};
  }
  for (const Secret& value : parts_.dialogs.queued()) {
    parts_.out.replyFields("queued", inQuotes(value.bytes()));
  }
  return {};
}

Result<void> ConsoleSession::beginWait(std::string_view rest) {
  const std::string what = asciiLower(takeWord(rest));
  const bool forIdle = what == "idle";
  const auto time = readSeconds(forIdle ? rest : std::string_view(what));
  // After `idle` a time may follow; without it, a time is required and nothing may follow.
  if (forIdle ? !rest.empty() && !time : !time || !rest.empty()) {
    return Error{0, "wait takes idle, idle SECONDS, or SECONDS"};
  }
  wait_ = std::make_unique<Wait>();
  wait_->forIdle = forIdle;
  if (time) {
    wait_->over = time->count() == 0;
    wait_->limit = parts_.timers.makeTimer(*time, [this] {
      wait_->over = true;
      checkWait();
    });
    wait_->limit->setEnabled(true);
  }
  if (forIdle) {
    wait_->look = parts_.timers.makeTimer(kIdleLook, [this] { checkWait(); });
    wait_->look->setEnabled(true);
  }
  checkWait();
  return {};
}

void ConsoleSession::checkWait() {
  if (wait_->forIdle && parts_.program.idle()) {
    endWait({});
  } else if (wait_->over) {
    endWait(wait_->forIdle ? Result<void>(Error{0, "something still runs"}) : Result<void>());
  }
}

void ConsoleSession::endWait(const Result<void>& outcome) {
  wait_.reset();
  finish(outcome);
  pumpLater();
}

void ConsoleSession::boxAsks() {
  setPrompt();
  // A waiting `wait` would hold up the line that answers the box.
  if (wait_) {
    endWait(Error{0, "a box waits for an answer: " + parts_.dialogs.question()->title});
  }
  pumpLater();
}

// The code that opened the box continues before another line is read.
void ConsoleSession::boxAnswered() {
  answered_ = true;
  setPrompt();
  parts_.events.post([this, alive = std::weak_ptr(alive_)] {
    if (alive.expired()) {
      return;
    }
    answered_ = false;
    pump();
  });
}

// The end of a pipe or terminal ends the program. The null device is what a service has: the
// program then runs as long as forwarding is on.
void ConsoleSession::handleEnd() {
  if (ended_) {
    return;
  }
  if (parts_.input != InputKind::kNothing) {
    end();
    return;
  }
  if (workTimer_ && !workTimer_->enabled()) {
    workTimer_->setEnabled(true);
    lookForWork();
  }
}

// Without input nobody can switch forwarding on any more, so the program ends when it is off. Its
// status tells the service manager whether to start it again: a password that was refused would be
// refused again, each time, until the server locks the account.
void ConsoleSession::lookForWork() {
  hasWorked_ = hasWorked_ || parts_.program.forwardingOn();
  if (parts_.program.forwardingOn() || !parts_.program.idle()) {
    return;
  }
  if (hasWorked_) {
    exitStatus_ = 0;
    parts_.out.event("note",
                     "forwarding has been switched off and nobody can switch it on again: the "
                     "program ends");
  } else if (parts_.program.logonRefused()) {
    exitStatus_ = kNotToBeStartedAgain;
    parts_.out.event("note",
                     "the sign-in was refused: the program ends; correct the password or the "
                     "settings, and start it again");
  } else {
    exitStatus_ = kToBeStartedAgain;
    parts_.out.event("note", "there is no input and forwarding is off: the program ends");
  }
  end();
}

void ConsoleSession::reportUnusedAnswers() {
  for (const Secret& value : parts_.dialogs.queued()) {
    parts_.out.event("note", "no box has asked for the answer " + inQuotes(value.bytes()));
  }
  parts_.dialogs.clearQueue();
}

}  // namespace relaybird
