// SPDX-License-Identifier: MIT
// The first use of the mail libraries in a process, by two threads at once. A program of its own:
// each trial is a child that inherits libraries which nobody has entered yet, so nothing else may
// run in the parent.
#include <glib.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <memory>
#include <string>
#include <thread>

#include "stores/maildir/maildir_house.h"

namespace relaybird {
namespace {

constexpr int kTrials = 1000;
constexpr unsigned kPatience = 60;  // seconds, for one trial on a machine that is busy

// A disk on which the first opening of a file in the outbox and the first in the inbox wait for
// each other: what is done with the two files begins at the same instant.
class MeetingDisk : public UnsyncedDisk {
 public:
  MeetingDisk(Sleeper& sleeper, std::string outbox, std::string inbox)
      : UnsyncedDisk(sleeper), outbox_(std::move(outbox)), inbox_(std::move(inbox)) {}

  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    auto file = UnsyncedDisk::open(path);
    if (path.starts_with(outbox_) && !outboxOpened_.exchange(true)) {
      meeting_.arrive_and_wait();
    }
    if (path.starts_with(inbox_) && !inboxOpened_.exchange(true)) {
      meeting_.arrive_and_wait();
    }
    return file;
  }

 private:
  std::string outbox_;
  std::string inbox_;
  std::atomic<bool> outboxOpened_ = false;
  std::atomic<bool> inboxOpened_ = false;
  std::barrier<> meeting_{2};
};

// A mailbox with a message to read, and one that an earlier run left in the outbox. No trial
// changes either, so that all can use the same.
struct Machine {
  Machine() {
    for (const char* part : {"/new", "/cur", "/tmp"}) {
      std::filesystem::create_directories(maildir + part);
      std::filesystem::create_directories(outbox + part);
    }
    writeBytes(maildir + "/new/1700000001.M1P1.host",
               "From: Bob <bob@example.org>\nSubject: new\n"
               "Content-Type: text/html; charset=utf-8\n\n<p>text</p>\n");
    writeBytes(outbox + "/new/1600000001.M1P1.host",
               "From: Ann <ann@example.org>\nTo: \"Cell, my\" <cell@phone.example>\n"
               "Message-ID: <1@example.org>\nSubject: =?utf-8?q?left_waiting?=\n\ntext\n");
  }

  TempFolder temp;
  std::string maildir = temp.path("Maildir");
  std::string state = temp.path("state");
  std::string outbox = state + "/rbx/outbox";
};

// Opens the store, which begins to deliver what waits, and reads the new message meanwhile.
// Whether both were done.
bool deliverAndRead(const Machine& machine) {
  FakeClock clock;
  RecordingSleeper sleeper(clock);
  MeetingDisk disk(sleeper, machine.outbox + "/new/", machine.maildir + "/");
  FakeEventQueue events;
  FakeTransport transport;
  transport.answer = [](const OutgoingMessage&) {
    return Outcome{Outcome::Kind::kTemporary, "later", false};
  };
  std::string body;
  {
    NoCommands commands;
    ThreadExecutor executor;
    MaildirStore store(maildirSettings(machine.maildir, machine.outbox, "ann@example.org", "Ann"),
                       {.files = disk,
                        .clock = clock,
                        .events = events,
                        .executor = executor,
                        .commands = commands,
                        .random = countingRandom(),
                        .stateFolder = machine.state},
                       borrowed(&transport));
    const auto application = createAs<Application>(store.factory(), prog_id::kApplication);
    const auto inbox = application->GetNamespace("MAPI")->GetDefaultInbox();
    body = inbox->Items()->Item(1)->Body();
  }
  return body.starts_with("text") && transport.taken.size() == 1 &&
         transport.taken.front().subject == "left waiting" &&
         transport.taken.front().envelope.recipients ==
             std::vector<std::string>{"cell@phone.example"};
}

// The exit status of a fresh process in which worker and pass begin at once; the negative signal
// where one ended it.
int tryOnce(const Machine& machine) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(kPatience);
    g_log_set_always_fatal(
        static_cast<GLogLevelFlags>(G_LOG_LEVEL_WARNING | G_LOG_LEVEL_CRITICAL | G_LOG_FATAL_MASK));
    ::_exit(deliverAndRead(machine) ? 0 : 1);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

TEST(FirstUse, AWorkerAndAPassThatBeginAtTheSameInstantBothDoTheirWork) {
  const Machine machine;
  int failed = 0;
  for (int trial = 0; trial < kTrials; ++trial) {
    const int status = tryOnce(machine);
    if (status == 0) {
      continue;
    }
    ++failed;
    ADD_FAILURE() << "trial " << trial << " ended with " << status;
    if (failed == 3) {
      break;
    }
  }
  EXPECT_EQ(failed, 0);
}

}  // namespace
}  // namespace relaybird
