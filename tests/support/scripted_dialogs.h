// SPDX-License-Identifier: MIT
// A user who answers by a script, and a record of the questions.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ui/forms/model/control.h"
#include "ui/forms/model/dialogs.h"

namespace relaybird {

/// Gives the answers of each kind in their order. A box without a waiting answer, or whose answer
/// is not one of its buttons, counts as unexpected and gets the answer that changes nothing.
class ScriptedDialogs : public Dialogs {
 public:
  void answer(BoxAnswer answer) { answers_.push_back(answer); }
  void enter(std::string text) { texts_.push_back(std::move(text)); }
  void choose(std::optional<std::string> path) { paths_.push_back(std::move(path)); }

  BoxAnswer messageBox(const AnswerBox& box) override {
    boxes.push_back(box);
    if (onBox) {
      onBox(box);
    }
    if (box.buttons == BoxButtons::kOk) {
      return BoxAnswer::kOk;
    }
    for (const BoxAnswer offered : answersOf(box.buttons)) {
      if (!answers_.empty() && answers_.front() == offered) {
        answers_.pop_front();
        return offered;
      }
    }
    ++unexpected;
    return safeAnswer(box.buttons);
  }
  std::string inputBox(const InputBox& box) override {
    inputs.push_back(box);
    if (onInput) {
      onInput(box);
    }
    return next(texts_).value_or("");
  }
  std::optional<std::string> openFile(const OpenFileBox& box) override {
    files.push_back(box);
    return next(paths_).value_or(std::nullopt);
  }
  std::optional<std::string> saveFile(const SaveFileBox& box) override {
    saved.push_back(box);
    return next(paths_).value_or(std::nullopt);
  }
  void popupMenu(Control& menu) override {
    menus.push_back(&menu);
    if (onMenu) {
      onMenu(menu);
    }
  }

  std::vector<AnswerBox> boxes;
  std::vector<InputBox> inputs;
  std::vector<OpenFileBox> files;
  std::vector<SaveFileBox> saved;
  std::vector<Control*> menus;
  std::size_t unexpected = 0;  ///< questions without an answer in the script

  /// What the user does while a box is open.
  std::function<void(const AnswerBox&)> onBox;
  std::function<void(const InputBox&)> onInput;
  std::function<void(Control&)> onMenu;

 private:
  template <class T>
  std::optional<T> next(std::deque<T>& queue) {
    if (queue.empty()) {
      ++unexpected;
      return std::nullopt;
    }
    std::optional<T> first = std::move(queue.front());
    queue.pop_front();
    return first;
  }

  std::deque<BoxAnswer> answers_;
  std::deque<std::string> texts_;
  std::deque<std::optional<std::string>> paths_;
};

/// A box in one line: "title|text|icon|buttons", for comparing whole boxes at once.
inline std::string boxLine(const AnswerBox& box) {
  static const char* const kIcons[] = {"none", "exclamation", "critical"};
  static const char* const kButtons[] = {"OK", "OK Cancel", "Yes No", "Yes No Cancel"};
  return box.title + "|" + box.text + "|" + kIcons[static_cast<std::size_t>(box.icon)] + "|" +
         kButtons[static_cast<std::size_t>(box.buttons)];
}

}  // namespace relaybird
