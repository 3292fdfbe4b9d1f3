// SPDX-License-Identifier: MIT
// Boxes as questions. A box is printed and answered by what a script has queued, else by the next
// line that fits. While it waits, everything else goes on, and another box may come up on top of
// it: the newest one is answered first.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"
#include "ui/console/console_output.h"
#include "ui/forms/model/dialogs.h"

namespace relaybird {

/// What the questions work with. All must outlive it.
struct DialogsWorld {
  ConsoleOutput& out;
  /// Runs events until `done` says so or the program is to end (MainLoop::runUntil).
  std::function<bool(const std::function<bool()>& done)> runUntil;
  /// Answers may be shortened to what tells them apart, as people do.
  bool forPeople = false;
};

class ConsoleDialogs : public Dialogs {
 public:
  explicit ConsoleDialogs(DialogsWorld world);

  BoxAnswer messageBox(const MessageBox& box) override;
  std::string inputBox(const InputBox& box) override;
  std::optional<std::string> openFile(const OpenFileBox& box) override;
  std::optional<std::string> saveFile(const SaveFileBox& box) override;
  void popupMenu(Control& menu) override;

  /// Told when a box begins to wait, and when one has been answered.
  void setObserver(std::function<void()> onAsking, std::function<void()> onAnswered);

  /// Whether a box waits for an answer.
  bool asking() const { return newest() != nullptr; }
  /// The box that is to be answered next; null where none waits.
  const BoxView* question() const;
  /// Answers it. An answer that it does not offer, and one where no box waits, is an error and
  /// changes nothing.
  Result<void> answer(const std::string& value);
  /// Whether it has buttons, and the value names one of them.
  bool offers(const std::string& value) const;

  /// Answers for the boxes to come, in this order. A box passes over those that it does not offer.
  void queue(std::vector<std::string> answers);
  const std::deque<std::string>& queued() const { return queue_; }
  void clearQueue() { queue_.clear(); }

  /// Nobody can answer any more: every box, now and later, gets the answer that changes nothing.
  void close();

 private:
  struct Question;
  class Standing;

  std::optional<std::string> askForFile(const std::string& title, const std::string& filter);
  std::string ask(Question question);
  std::optional<std::string> fromQueue(const Question& question);
  Question* newest() const;
  std::optional<std::string> match(const Question& question, const std::string& value) const;
  void settle(const Question& question, const std::string& answer);

  DialogsWorld world_;
  std::function<void()> onAsking_ = [] {};
  std::function<void()> onAnswered_ = [] {};
  std::deque<std::string> queue_;
  std::vector<Question*> standing_;
  bool closed_ = false;
};

}  // namespace relaybird
