// SPDX-License-Identifier: MIT
// Delivery to a scripted SMTP server, from the outbox on disk to what the server has taken.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "outbox/delivery/smtp_transport.h"
#include "outbox/delivery_fixture.h"
#include "outbox/smtp_server.h"

namespace relaybird {

/// One run of the program's delivery, with a disk, a server and a clock of its own.
struct SmtpWorld {
  explicit SmtpWorld(bool pipelining = true) {
    disk.clock.set(std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now()));
    server.pipelining = pipelining;
    network.serve([this](ServerEnd& end) {
      if (prepare) {
        prepare(end, network.connections() - 1);
      }
      return onConnect ? onConnect(network.connections() - 1)
                       : server.script(network.connections() - 1);
    });
    outbox = disk.open();
    restart();
  }
  void restart() {
    worker.reset();
    transport = std::make_unique<SmtpTransport>(SmtpTransport::Setting{
        {MailProtocol::kSmtp, "smtp.example.org", 465, Security::kTls, ""},
        signIn,
        [this] { return std::make_unique<BorrowedNetwork>(network, onSend); },
        [this](const ProtocolLine& line) {
          trace.push_back((line.sent ? "> " : "< ") + line.text);
        }});
    worker.emplace(
        DeliveryWorker::Setting{disk.disk, disk.clock, *outbox, transport.get(), executor, events,
                                [this](const StoreNotice& told) { notices.push_back(told.line); }});
  }
  static std::string sender(int number) { return "ann" + std::to_string(number) + "@example.org"; }
  static std::string text(int number, const std::string& to = "bob@example.org") {
    return "From: " + sender(number) + "\nBcc: " + to + "\nSubject: message " +
           std::to_string(number) + "\nMessage-ID: <" + std::to_string(number) +
           "@id>\n\n.dot\n..\nbody\n";
  }
  void send(int number, const std::string& to = "bob@example.org") {
    ASSERT_TRUE(outbox->send("entry " + std::to_string(number),
                             "<" + std::to_string(number) + "@id>", writes(text(number, to))));
  }
  void sendMany(int count) {
    for (int number = 1; number <= count; ++number) {
      send(number);
    }
  }
  void flush() {
    worker->flush(nullptr);
    events.runUntilIdle();
  }
  // Flushes until all has had its chance.
  void flushForADay() {
    for (int i = 0; i < 30 && waiting() > 0; ++i) {
      disk.clock.advance(std::chrono::minutes{60});
      flush();
    }
  }
  std::size_t waiting() { return disk.names("new").size(); }
  // Messages that are on record as handed over, whether their files are gone or not.
  std::size_t recordedDeliveries() {
    const std::string journal = readBytes(disk.journal);
    std::size_t count = 0;
    for (std::size_t at = 0; (at = journal.find(" delivered ", at)) != journal.npos; ++at) {
      ++count;
    }
    return count;
  }
  std::size_t journalSyncs() {
    const auto record = disk.files.record();
    return static_cast<std::size_t>(
        std::count(record.begin(), record.end(), "sync " + disk.journal));
  }
  std::size_t failed() { return disk.names("failed").size() / 2; }

  OutboxWorld disk;
  FakeEventQueue events;
  InlineExecutor executor;
  ScriptedNetwork network;
  SmtpServer server;
  std::function<std::unique_ptr<ServerScript>(std::size_t)> onConnect;
  std::function<void(ServerEnd&, std::size_t)> prepare;
  BorrowedNetwork::OnSend onSend;
  std::optional<SmtpTransport::SignInCalls> signIn;
  std::vector<std::string> notices;
  std::vector<std::string> trace;
  std::unique_ptr<Outbox> outbox;
  std::unique_ptr<SmtpTransport> transport;
  std::optional<DeliveryWorker> worker;
};

/// An answer of three digits, "drop", "hang" or "cut".
inline SmtpFault faultOf(const std::string& answer) {
  SmtpFault fault;
  fault.drop = answer == "drop";
  fault.hang = answer == "hang";
  fault.cut = answer == "cut";
  if (answer[0] >= '0' && answer[0] <= '9') {
    fault.reply = answer + " no";
  }
  return fault;
}

/// Fails to open as a Network does that meets the answer at that step (smtp_opening_test.cpp).
class NeverOpen : public ServerScript {
 public:
  NeverOpen(std::string verb, std::string answer)
      : verb_(std::move(verb)), answer_(std::move(answer)) {}
  void connecting(ServerEnd& end) override {
    using Cause = ConnectFailure::Cause;
    if (answer_ == "hang") {
      return;
    }
    ConnectFailure failure;
    failure.step = verb_ == "AUTH"       ? ConnectStep::kSignIn
                   : verb_ == "STARTTLS" ? ConnectStep::kEncrypt
                                         : ConnectStep::kConnect;
    failure.cause = answer_ == "drop"     ? Cause::kClosed
                    : answer_ == "cut"    ? Cause::kTls
                    : answer_[0] == '4'   ? Cause::kBusy
                    : verb_ == "STARTTLS" ? Cause::kNoEncryption
                    : verb_ == "AUTH"     ? Cause::kSignInRefused
                                          : Cause::kBusy;
    failure.words = "It failed";
    failure.answer = faultOf(answer_).reply;
    end.fail(failure);
  }
  void heard(ServerEnd&, std::string_view) override {}

 private:
  std::string verb_;
  std::string answer_;
};

/// Messages from nowhere, whose verdicts the test looks at.
struct FewMessages : MessageFeed {
  std::optional<FedMessage> next() override {
    if (given == most) {
      return std::nullopt;
    }
    return FedMessage{++given, {{"a@example.org", recipients}, "s", OutgoingText("text\n")}};
  }
  void report(std::vector<Verdict> verdicts) override {
    std::move(verdicts.begin(), verdicts.end(), std::back_inserter(told));
  }
  void makeDurable() override {}
  void putBack(std::uint64_t) override {}
  std::size_t waiting() const override { return 0; }
  std::vector<std::string> recipients = {"b@example.org"};
  std::uint64_t most = 1;
  std::uint64_t given = 0;
  std::vector<Verdict> told;
};

}  // namespace relaybird
