// SPDX-License-Identifier: MIT
// The whole program over the world of fake_world.h. Tests act as a user and see what he sees, by
// the names of the controls.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ui/forms/fake_world.h"
#include "ui/forms/program_forms.h"

namespace relaybird {

class ProgramTest : public testing::Test, protected FakeWorld {
 protected:
  ProgramTest() {
    clock_.set(kNine);
    files_.addFolder("/config");
    files_.addFolder("/templates");
    files_.addFolder("/state");
  }
  ~ProgramTest() override { store_.setHook({}); }

  static constexpr DateTime kNine =
      std::chrono::sys_days{std::chrono::year{2026} / 11 / 20} + std::chrono::hours{9};
  static constexpr const char* kPrefFile = "/config/rbx/rbx_prefs.ini";

  /// Writes the preference file; `lines` are those of its section.
  void preferences(const std::string& lines) {
    files_.addFolder("/config/rbx");
    files_.addFile(kPrefFile, "[default]\n" + lines);
  }
  void oneAddress(const std::string& moreLines = {}) {
    preferences("mstrFwdToAddress_num=1\nmstrFwdToAddress_1=5550100@sms.example.net\n" + moreLines);
  }

  /// The started program. Made once per test.
  ProgramForms& program() {
    if (!program_) {
      makeProgram();
      started_ = program_->start();
    }
    return *program_;
  }
  void makeProgram(ProgramVersion version = {3, 1, 2}) {
    program_ = std::make_unique<ProgramForms>(world(version));
  }
  frmRelaybird& main() { return program().main(); }
  EngineState& state() { return main().engine().state(); }

  Control& control(std::string_view form, std::string_view name) {
    Form* found = program().find(form);
    Control* part = found == nullptr ? nullptr : found->find(name);
    if (part == nullptr) {
      throw std::invalid_argument(std::string(form) + "." + std::string(name));
    }
    return *part;
  }
  /// Clicks as a user does. Throws for a control that accepts no input: the test is wrong then.
  void click(std::string_view form, std::string_view name) {
    Control& part = control(form, name);
    const std::string why = whyNoInput(part);
    if (!why.empty()) {
      throw std::logic_error(why);
    }
    part.click();
  }
  std::string text(std::string_view name) { return control("frmRelaybird", name).text(); }
  std::string status() { return text("lblCurrentActions"); }
  const std::vector<std::string>& log() { return program().log().lstLog.list(); }

  /// Switches forwarding on, confirming the addresses.
  void switchOn() {
    dialogs_.answer(BoxAnswer::kYes);
    click("frmRelaybird", "cmdStart");
  }

  static MemoryItem mail(const std::string& subject, DateTime received) {
    MemoryItem item;
    item.subject = subject;
    item.body = "text of " + subject;
    item.senderName = "Bob Example";
    item.senderAddress = "bob@example.com";
    item.received = received;
    item.modified = received;
    return item;
  }
  void deliver(const std::string& subject) { store_.deliver(mail(subject, clock_.now())); }
  std::vector<std::string> sentSubjects() const {
    std::vector<std::string> subjects;
    for (const auto& message : store_.outbox()) {
      subjects.push_back(message.subject);
    }
    return subjects;
  }
  /// Advances the time and runs timers and events.
  void letPass(std::chrono::seconds duration) {
    timers_.advance(duration);
    events_.runUntilIdle();
  }

  bool started_ = false;
  std::unique_ptr<ProgramForms> program_;
};

}  // namespace relaybird
