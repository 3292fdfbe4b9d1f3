// SPDX-License-Identifier: MIT
// Boxes as questions. A box is printed, and answered from the queue of a script or by the next line
// that is one of its answers. While it waits, events run, and another box may open on top of it:
// the newest one is answered first. Any answer may be a password, so all are kept as secrets.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "platform/system/secret.h"
#include "ui/console/console_output.h"
#include "ui/forms/model/dialogs.h"

namespace relaybird {

/// What the questions need. All must outlive it.
struct DialogsParts {
  ConsoleOutput& out;
  /// Runs events until `done` returns true or the program ends (MainLoop::runUntil).
  std::function<bool(const std::function<bool()>& done)> runUntil;
  /// Whether answers may be abbreviated to an unambiguous beginning, as people do.
  bool forPeople = false;
};

class ConsoleDialogs : public Dialogs {
 public:
  explicit ConsoleDialogs(DialogsParts parts);

  BoxAnswer messageBox(const AnswerBox& box) override;
  std::string inputBox(const InputBox& box) override;
  std::optional<std::string> openFile(const OpenFileBox& box) override;
  std::optional<std::string> saveFile(const SaveFileBox& box) override;
  void popupMenu(Control& menu) override;

  /// Called when a box begins to wait, and when one has been answered.
  void setObserver(std::function<void()> onAsking, std::function<void()> onAnswered);

  /// Whether a box waits for an answer.
  bool asking() const { return newest() != nullptr; }
  /// The box to be answered next; null if none waits.
  const BoxView* question() const;
  /// Answers it. An answer that the box does not offer is an error, as is one while no box waits;
  /// nothing changes then.
  Result<void> answer(std::string_view value);
  /// Whether the value names one of its buttons.
  bool offers(std::string_view value) const;

  /// Adds answers for the following boxes, in this order. A box skips answers that it does not
  /// offer.
  void queue(std::span<const std::string> answers);
  const std::deque<Secret>& queued() const { return queue_; }
  void clearQueue() { queue_.clear(); }

  /// Called when nobody can answer any more: every box, now and later, gets the answer that changes
  /// nothing.
  void close();

 private:
  struct Question;
  class WaitingQuestion;

  std::optional<std::string> askForFile(const std::string& title, const std::string& filter);
  Secret ask(Question question);
  std::optional<Secret> fromQueue(const Question& question);
  Question* newest() const;
  std::optional<Secret> match(const Question& question, std::string_view value) const;
  void printAnswer(const Question& question, const Secret& answer);

  DialogsParts parts_;
  std::function<void()> onAsking_ = [] {};
  std::function<void()> onAnswered_ = [] {};
  std::deque<Secret> queue_;
  std::vector<Question*> waiting_;
  bool closed_ = false;
};

}  // namespace relaybird
