// SPDX-License-Identifier: MIT
// A box first takes the next queued answer that it offers. Otherwise it runs events until a line
// answers it. Waiting boxes form a stack, because a box can open while another one waits; they
// return in the reverse order of opening.
#include "ui/console/console_dialogs.h"

#include <algorithm>
#include <utility>

#include "platform/text/ascii_text.h"
#include "ui/console/quoting.h"
#include "ui/forms/model/form.h"

namespace relaybird {

struct ConsoleDialogs::Question {
  BoxView view;
  std::string safe;  // the answer that changes nothing
  std::optional<Secret> answer;
};

// Keeps a question on the stack of waiting ones for a scope.
class ConsoleDialogs::WaitingQuestion {
 public:
  WaitingQuestion(std::vector<Question*>& all, Question& one) : all_(all), one_(&one) {
    all_.push_back(one_);
  }
  ~WaitingQuestion() { all_.erase(std::find(all_.begin(), all_.end(), one_)); }
  WaitingQuestion(const WaitingQuestion&) = delete;
  WaitingQuestion& operator=(const WaitingQuestion&) = delete;

 private:
  std::vector<Question*>& all_;
  Question* one_;
};

namespace {

bool beginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

// The entries of a menu that can be chosen now.
std::vector<Control*> entriesOf(const Control& menu) {
  std::vector<Control*> entries;
  for (Control* control : menu.form().controls()) {
    if (control->parent() == &menu && control->visible() && control->enabled()) {
      entries.push_back(control);
    }
  }
  return entries;
}

}  // namespace

ConsoleDialogs::ConsoleDialogs(DialogsParts parts) : parts_(std::move(parts)) {}

void ConsoleDialogs::setObserver(std::function<void()> onAsking, std::function<void()> onAnswered) {
  onAsking_ = std::move(onAsking);
  onAnswered_ = std::move(onAnswered);
}

BoxAnswer ConsoleDialogs::messageBox(const AnswerBox& box) {
  Question question{{BoxView::Kind::kMessage, box.title, box.text, box.icon, {}},
                    std::string(answerText(safeAnswer(box.buttons))),
                    {}};
  for (const BoxAnswer answer : answersOf(box.buttons)) {
    question.view.choices.emplace_back(answerText(answer));
  }
  const Secret said = ask(std::move(question));
  for (const BoxAnswer answer : answersOf(box.buttons)) {
    if (said.bytes() == answerText(answer)) {
      return answer;
    }
  }
  return safeAnswer(box.buttons);
}

std::string ConsoleDialogs::inputBox(const InputBox& box) {
  Question question{{BoxView::Kind::kInput, box.title, box.prompt, BoxIcon::kNone, {}}, "", {}};
  question.view.secret = box.secret;
  question.view.emptyCancels = box.emptyCancels;
  question.view.entry = box.entry;
  return std::string(ask(std::move(question)).bytes());
}

std::optional<std::string> ConsoleDialogs::openFile(const OpenFileBox& box) {
  return askForFile(box.title, box.filter);
}

std::optional<std::string> ConsoleDialogs::saveFile(const SaveFileBox& box) {
  return askForFile(box.title, box.filter);
}

std::optional<std::string> ConsoleDialogs::askForFile(const std::string& title,
                                                      const std::string& filter) {
  const Secret path = ask({{BoxView::Kind::kFile, title, filter, BoxIcon::kNone, {}}, "", {}});
  if (path.empty()) {
    return std::nullopt;
  }
  return std::string(path.bytes());
}

void ConsoleDialogs::popupMenu(Control& menu) {
  Question question{
      {BoxView::Kind::kMenu, plainCaption(menu.text()), "", BoxIcon::kNone, {}}, "", {}};
  const std::vector<Control*> entries = entriesOf(menu);
  for (const Control* entry : entries) {
    question.view.choices.push_back(plainCaption(entry->text()));
  }
  const Secret said = ask(std::move(question));
  for (Control* entry : entries) {
    if (!said.empty() && said.bytes() == plainCaption(entry->text())) {
      // The box has returned, so the entry's command may open boxes of its own.
      entry->click();
      return;
    }
  }
}

// The question lives on this stack frame while events run; a nested box returns before this one
// can.
Secret ConsoleDialogs::ask(Question question) {
  parts_.out.box(question.view);
  if (const auto said = fromQueue(question)) {
    printAnswer(question, *said);
    return *said;
  }
  if (!closed_) {
    const WaitingQuestion onStack(waiting_, question);
    parts_.out.boxWaits(question.view);
    onAsking_();
    // Without an answer, because the program ends, the safe one is taken below.
    (void)parts_.runUntil([&] { return question.answer.has_value(); });
  }
  if (!question.answer) {
    parts_.out.event("note", "nobody can answer any more");
    question.answer = Secret(question.safe);
    printAnswer(question, *question.answer);
  }
  return *question.answer;
}

// Answers that do not fit are dropped with a note, so that a script whose boxes changed does not
// answer the wrong one later.
std::optional<Secret> ConsoleDialogs::fromQueue(const Question& question) {
  while (!queue_.empty()) {
    const Secret value = std::move(queue_.front());
    queue_.pop_front();
    if (auto said = match(question, value.bytes())) {
      return said;
    }
    parts_.out.event("note", "the answer " + inQuotes(value.bytes()) +
                                 " is none to this box, which offers " +
                                 joined(question.view.choices));
  }
  return std::nullopt;
}

void ConsoleDialogs::printAnswer(const Question& question, const Secret& answer) {
  const bool hide = question.view.secret && !answer.empty();
  parts_.out.boxAnswered(question.view, std::string(hide ? "(hidden)" : answer.bytes()));
}

// The box's own spelling of an answer, which may differ in letter case or be abbreviated; empty if
// the box does not offer it.
std::optional<Secret> ConsoleDialogs::match(const Question& question,
                                            std::string_view value) const {
  const BoxView& view = question.view;
  if (view.kind == BoxView::Kind::kInput || view.kind == BoxView::Kind::kFile) {
    return Secret(value);
  }
  if (view.kind == BoxView::Kind::kMenu && value.empty()) {
    return Secret();
  }
  const std::string wanted = asciiLower(value);
  std::vector<std::string> begun;
  for (const std::string& choice : view.choices) {
    const std::string name = asciiLower(choice);
    if (name == wanted) {
      return Secret(choice);
    }
    if (beginsWith(name, wanted)) {
      begun.push_back(choice);
    }
  }
  // A script has to write the whole answer: a beginning might fit another box after a change of the
  // program.
  if (!parts_.forPeople) {
    return std::nullopt;
  }
  // The Enter key alone answers a box with one button.
  if (wanted.empty()) {
    begun = view.choices;
  }
  if (begun.size() == 1) {
    return Secret(begun.front());
  }
  return std::nullopt;
}

// An answered question stays on the stack until the boxes above it have returned.
ConsoleDialogs::Question* ConsoleDialogs::newest() const {
  const auto found = std::find_if(waiting_.rbegin(), waiting_.rend(),
                                  [](const Question* each) { return !each->answer; });
  return found == waiting_.rend() ? nullptr : *found;
}

const BoxView* ConsoleDialogs::question() const {
  const Question* asked = newest();
  return asked == nullptr ? nullptr : &asked->view;
}

bool ConsoleDialogs::offers(std::string_view value) const {
  const Question* asked = newest();
  return asked != nullptr && !asked->view.choices.empty() && match(*asked, value).has_value();
}

Result<void> ConsoleDialogs::answer(std::string_view value) {
  Question* asked = newest();
  if (asked == nullptr) {
    return Error{0, "no box waits for an answer"};
  }
  auto said = match(*asked, value);
  if (!said) {
    return Error{0, inQuotes(value) + " is no answer to this box: " + joined(asked->view.choices)};
  }
  asked->answer = std::move(said);
  printAnswer(*asked, *asked->answer);
  onAnswered_();
  return {};
}

void ConsoleDialogs::queue(std::span<const std::string> answers) {
  for (const std::string& each : answers) {
    queue_.emplace_back(each);
  }
}

// Every waiting box is answered, the oldest included: each loop that waits must return.
void ConsoleDialogs::close() {
  if (std::exchange(closed_, true)) {
    return;
  }
  for (Question* asked : waiting_) {
    if (asked->answer) {
      continue;
    }
    asked->answer = Secret(asked->safe);
    parts_.out.event("note", "the input has ended: nobody can answer any more");
    printAnswer(*asked, *asked->answer);
  }
  onAnswered_();
}

}  // namespace relaybird
