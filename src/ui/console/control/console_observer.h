// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

#include "ui/console/output/console_output.h"
#include "ui/forms/model/form.h"

namespace relaybird {

/// Prints what the windows would show of what happens: the action line, the state, the count of
/// forwards, log lines, windows that come and go.
class ConsoleObserver : public FormObserver {
 public:
  /// The controls whose changes are news; null for none.
  struct News {
    const Control* action = nullptr;
    const Control* state = nullptr;
    const Control* forwarded = nullptr;
    const Control* log = nullptr;
  };

  /// Observes the forms until it is destroyed. All must outlive it.
  ConsoleObserver(std::vector<Form*> forms, News news, ConsoleOutput& out);
  ~ConsoleObserver() override;
  ConsoleObserver(const ConsoleObserver&) = delete;
  ConsoleObserver& operator=(const ConsoleObserver&) = delete;

  void controlChanged(const Control& control, Change what) override;
  void formChanged(const Form& form, FormChange what) override;

 private:
  bool isNew(std::string& last, const Control& control) const;

  std::vector<Form*> forms_;
  News news_;
  ConsoleOutput& out_;
  std::string lastAction_;
  std::string lastState_;
  std::string lastForwarded_;
};

}  // namespace relaybird
