// SPDX-License-Identifier: MIT
// The Maildir store against plain use of the disk: reading as many header bytes, writing as many
// files.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <unordered_set>
#include <vector>

#include "maildir_world.h"
#include "ratios.h"

namespace relaybird::bench {
namespace {

constexpr int kListed = 10000;
constexpr int kForwarded = 1000;
constexpr std::size_t kMessageBytes = 4096;

std::string sampleMessage(int number) {
  std::string message =
      "Return-Path: <bob@example.com>\nReceived: from mx.example.com by mail.example.org with "
      "ESMTPS id 4XyZ;\n\tFri, 20 Nov 2026 15:00:00 +0000\nMIME-Version: 1.0\nDate: Fri, 20 Nov "
      "2026 "
      "15:00:00 +0000\nMessage-ID: <" +
      std::to_string(number) +
      ".bench@example.com>\nFrom: \"Bob Example\" <bob@example.com>\nTo: ann@example.org\nSubject: "
      "Report number " +
      std::to_string(number) + "\nContent-Type: text/plain; charset=utf-8\n\n";
  while (message.size() < kMessageBytes) {
    message += "A line of text as people write them, neither long nor short.\n";
  }
  message.resize(kMessageBytes);
  return message;
}

// The size of the header section, empty line included: what a reader that knew it would read.
std::size_t headerSize() {
  return sampleMessage(kListed).find("\n\n") + 2;
}

// Per message: one listing, then the sender and the subject rule on each; nothing is forwarded.
void decide(benchmark::State& state) {
  MaildirBench maildir;
  maildir.fill(kListed, sampleMessage);
  auto& fields = maildir.world.prefs.fields();
  fields.mintSenderFilter = kForwardAllButListed;
  fields.mcolSenderList = {"bob@example.com"};
  fields.mbolFilterText = true;
  fields.mintTextToCheck = kCheckSubject;
  fields.mstrTextToMatch = {"report"};
  for (auto _ : state) {
    maildir.world.engine.pass().ResetIgnoreList();
    state.SetIterationTime(maildir.world.timePass() / kListed);
  }
  if (maildir.waiting() != 0) {
    state.SkipWithError("an excluded message was sent");
  }
}

// Per message: the same folder listed, and the same header bytes read by open, read and close.
void plainRead(benchmark::State& state) {
  MaildirBench maildir;
  maildir.fill(kListed, sampleMessage);
  const std::size_t size = headerSize();
  std::vector<char> buffer(size);
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    for (const auto& entry : std::filesystem::directory_iterator(maildir.inbox() + "/new")) {
      const int file = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
      if (read(file, buffer.data(), size) <= 0) {
        state.SkipWithError("a message could not be read");
      }
      close(file);
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(took.count() / kListed);
  }
}

// Per message that stands on the ignore list.
void passOverIgnored(benchmark::State& state) {
  MaildirBench maildir;
  maildir.fill(kListed, sampleMessage);
  maildir.world.prefs.fields().mintSenderFilter = kForwardAllButListed;
  maildir.world.prefs.fields().mcolSenderList = {"bob@example.com"};
  maildir.world.timePass();
  for (auto _ : state) {
    state.SetIterationTime(maildir.world.timePass() / kListed);
  }
}

// Per identifier: finding it among the same identifiers.
void bareLookUp(benchmark::State& state) {
  MaildirBench maildir;
  maildir.fill(kListed, sampleMessage);
  std::vector<std::string> ids;
  for (const auto& entry : std::filesystem::directory_iterator(maildir.inbox() + "/new")) {
    ids.push_back(entry.path().filename());
  }
  const std::unordered_set<std::string> set(ids.begin(), ids.end());
  for (auto _ : state) {
    const auto begin = std::chrono::steady_clock::now();
    for (const std::string& id : ids) {
      benchmark::DoNotOptimize(set.contains(id));
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(took.count() / kListed);
  }
}

// Per message: the whole way from the inbox into the outbox.
void forwardAll(benchmark::State& state) {
  for (auto _ : state) {
    MaildirBench maildir;
    maildir.fill(kForwarded, sampleMessage);
    maildir.warmUp();
    state.SetIterationTime(maildir.world.timePass() / kForwarded);
    if (maildir.waiting() != kForwarded) {
      state.SkipWithError("not every message was forwarded");
    }
  }
}

// Per file: written, synced, renamed into place, its folder synced.
void plainWrite(benchmark::State& state) {
  const std::string message = sampleMessage(1);
  for (auto _ : state) {
    TempFolder folder;
    std::filesystem::create_directories(folder.path() + "/tmp");
    std::filesystem::create_directories(folder.path() + "/new");
    const int place = open((folder.path() + "/new").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < kForwarded; ++i) {
      const std::string name = std::to_string(i);
      const std::string temporary = folder.path() + "/tmp/" + name;
      const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
      const bool written =
          write(file, message.data(), message.size()) == static_cast<ssize_t>(message.size()) &&
          fsync(file) == 0;
      close(file);
      if (!written || rename(temporary.c_str(), (folder.path() + "/new/" + name).c_str()) != 0 ||
          fsync(place) != 0) {
        state.SkipWithError("a file could not be written");
      }
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    close(place);
    state.SetIterationTime(took.count() / kForwarded);
  }
}

}  // namespace

void registerMaildirBenchmarks() {
  benchmark::RegisterBenchmark("maildir_decide", decide)->UseManualTime()->Iterations(3);
  benchmark::RegisterBenchmark("maildir_plain_read", plainRead)->UseManualTime()->Iterations(3);
  benchmark::RegisterBenchmark("maildir_pass_ignored", passOverIgnored)
      ->UseManualTime()
      ->Iterations(5);
  benchmark::RegisterBenchmark("maildir_bare_look_up", bareLookUp)->UseManualTime()->Iterations(10);
  benchmark::RegisterBenchmark("maildir_forward", forwardAll)->UseManualTime()->Iterations(1);
  benchmark::RegisterBenchmark("maildir_plain_write", plainWrite)->UseManualTime()->Iterations(1);
}

}  // namespace relaybird::bench
