// SPDX-License-Identifier: MIT
#pragma once

#include "ui/console/output/console_output.h"
#include "ui/console/output/text_sink.h"

namespace relaybird {

/// The line protocol of docs/console.md: every item one line, "KIND: TEXT". Each line is handed to
/// the sink whole, as it happens.
class ScriptOutput : public ConsoleOutput {
 public:
  /// The sink must outlive it.
  explicit ScriptOutput(TextSink& sink) : sink_(sink) {}

  void status(const std::string& text) override { event("status", text); }
  void logLine(const std::string& text) override { event("log", text); }
  void event(std::string_view kind, const std::string& text) override;
  void form(const Form& form, bool open) override;
  void box(const BoxView& box) override;
  void boxWaits(const BoxView& box) override;
  void boxAnswered(const BoxView& box, const std::string& answer) override;
  void reply(std::string_view kind, const std::string& text) override { event(kind, text); }
  void replyFields(std::string_view kind, const std::string& fields) override;
  void ok() override { sink_.write("ok\n"); }
  void error(const std::string& text) override { event("error", text); }

 private:
  TextSink& sink_;
};

}  // namespace relaybird
