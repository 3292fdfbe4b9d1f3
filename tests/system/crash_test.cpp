// SPDX-License-Identifier: MIT
// Kills the program at every step of an inbox pass that changes the disk, starts it again and
// requires the same result: every item forwarded once, none lost, no partial message anywhere.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <set>
#include <sstream>

#include "stores/maildir/maildir_house.h"
#include "support/mail_text.h"
#include "support/whole_text.h"
#include "system/pass_program.h"

namespace relaybird {
namespace {

namespace fs = std::filesystem;

using Ids = std::multimap<std::string, std::string>;  // Message-IDs by subject

const std::vector<std::string> kSubjects = {"plain", "attached", "html", "report", "flagged"};

// The disk of one trial: a Maildir with five items to forward and one that has been read.
struct Machine {
  Machine() {
    for (const char* part : {"", "/new", "/cur", "/tmp"}) {
      fs::create_directory(maildir + part);
    }
    put("new/1700000001.M1P1.host", "MailItem", "plain");
    put("new/1700000002.M1P1.host", "MailItem", "attached");
    put("cur/1700000003.M1P1.host:2,", "MailItem", "html");
    put("new/1700000004.M1P1.host", "ReportItem", "report");
    put("cur/1700000005.M1P1.host:2,Fx", "MailItem", "flagged");
    put("cur/1700000006.M1P1.host:2,S", "MailItem", "read before");
  }

  void put(const std::string& name, const std::string& kind, const std::string& subject) {
    MailText mail;
    mail.subject = subject;
    mail.body = "The text of " + subject;
    if (subject == "html") {
      mail.html = "<p>The text of html</p>";
    }
    if (subject == "attached") {
      mail.attachments = {{"a.bin", std::string(9000, '\x01')}};
    }
    writeBytes(maildir + "/" + name, mailTextOfKind(kind, mail));
  }

  TempFolder temp;
  std::string maildir = temp.path("Maildir");
  std::string outbox = temp.path("state/rbx/outbox");
  std::string handedOver = temp.path("handed-over");
};

// Records the delivered messages in a way that survives a crash of the program.
class RecordingTransport : public SingleTransport {
 public:
  explicit RecordingTransport(std::string file) : file_(std::move(file)) {}
  Outcome deliver(const OutgoingMessage& message, std::stop_token) override {
    const std::string line =
        message.subject + "\t" + fieldOf(wholeText(message.text), "Message-ID") + "\n";
    const int fd = ::open(file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    const bool written =
        fd >= 0 && ::write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    ::close(fd);
    return written ? Outcome{} : Outcome{Outcome::Kind::kTemporary, "no disk", false};
  }

 private:
  std::string file_;
};

// One run of the program over the machine's disk.
struct Program {
  Program(const Machine& machine, FileSystem& files, std::uint64_t run, bool delivering)
      : transport(machine.handedOver),
        inner(maildirSettings(machine.maildir, machine.outbox, "ann@example.org", "Ann"),
              machine.temp.path("state"), files, run, delivering ? &transport : nullptr) {}

  void pass() { inner.pass(); }

  RecordingTransport transport;
  PassProgram inner;
};

// Runs passes to the end on an intact disk, including closing; returns the steps.
std::vector<std::string> runToTheEnd(const Machine& machine, std::uint64_t run, bool delivering) {
  FakeClock clock;
  RecordingSleeper sleeper(clock);
  UnsyncedDisk real(sleeper);
  FaultyFileSystem files(real);
  {
    Program program(machine, files, run, delivering);
    program.pass();
  }
  return files.record();
}

// Runs a pass in a child process that is killed before the given step. False when the pass ended
// before that step.
bool runAndCrash(const Machine& machine, std::uint64_t run, bool delivering, std::size_t step,
                 bool tear) {
  const pid_t child = ::fork();
  if (child == 0) {
    FakeClock clock;
    RecordingSleeper sleeper(clock);
    UnsyncedDisk real(sleeper);
    FaultyFileSystem files(real);
    files.hookBefore(
        step, [] { ::kill(::getpid(), SIGKILL); }, tear);
    {
      Program program(machine, files, run, delivering);
      program.pass();
    }
    ::_exit(0);
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0);
  return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

std::string subjectOf(const std::string& message) {
  const std::string subject = fieldOf(message, "Subject");
  return subject.substr(0, 4) == "FW: " ? subject.substr(4) : subject;
}

Ids waitingIds(const Machine& machine) {
  Ids ids;
  for (const OutboxFile& file : outboxFiles(machine.outbox)) {
    ids.emplace(subjectOf(file.bytes), fieldOf(file.bytes, "Message-ID"));
  }
  return ids;
}

Ids handedOverIds(const Machine& machine) {
  Ids ids;
  std::ifstream in(machine.handedOver);
  for (std::string line; std::getline(in, line);) {
    const std::size_t tab = line.find('\t');
    const std::string subject = line.substr(0, tab);
    ids.emplace(subject.substr(0, 4) == "FW: " ? subject.substr(4) : subject, line.substr(tab + 1));
  }
  return ids;
}

std::vector<std::string> keysOf(const Ids& ids) {
  std::vector<std::string> keys;
  for (const auto& [subject, id] : ids) {
    keys.push_back(subject);
  }
  return keys;
}

std::vector<std::string> sortedSubjects() {
  std::vector<std::string> subjects = kSubjects;
  std::sort(subjects.begin(), subjects.end());
  return subjects;
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Every message of the outbox by subject, without the parts that differ between runs.
std::map<std::string, std::string> essence(const Machine& machine) {
  std::map<std::string, std::string> texts;
  for (const OutboxFile& file : outboxFiles(machine.outbox)) {
    std::string& text = texts[subjectOf(file.bytes)];
    std::istringstream lines(file.bytes);
    bool varies = false;
    for (std::string line; std::getline(lines, line);) {
      if (varies && !line.empty() && line.front() == ' ') {
        continue;  // its continuation lines
      }
      varies = line.rfind("Message-I", 0) == 0 || line.rfind("X-Relaybird-", 0) == 0 ||
               line.rfind("Date:", 0) == 0 || line.rfind("--", 0) == 0 ||
               line.find("boundary=") != std::string::npos;
      if (!varies) {
        text += line + "\n";
      }
    }
  }
  return texts;
}

// The result that every trial must have.
void expectInboxDone(const Machine& machine) {
  EXPECT_TRUE(namesIn(machine.maildir + "/new").empty());
  EXPECT_EQ(namesIn(machine.maildir + "/cur"),
            (std::vector<std::string>{"1700000001.M1P1.host:2,S", "1700000002.M1P1.host:2,S",
                                      "1700000003.M1P1.host:2,S", "1700000004.M1P1.host:2,S",
                                      "1700000005.M1P1.host:2,FSx", "1700000006.M1P1.host:2,S"}));
  EXPECT_TRUE(namesIn(machine.outbox + "/tmp").empty());
  EXPECT_TRUE(namesIn(machine.outbox + "/failed").empty());
  EXPECT_TRUE(namesIn(machine.outbox + "/cur").empty());
}

// The points at which a pass can be killed: before each step, and in the middle of each write.
struct Point {
  std::size_t step;
  bool tear;
};

std::vector<Point> pointsOf(const std::vector<std::string>& steps) {
  std::vector<Point> points;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    points.push_back({i + 1, false});
    if (steps[i].rfind("write ", 0) == 0) {
      points.push_back({i + 1, true});
    }
  }
  return points;
}

class CrashTest : public testing::Test {
 protected:
  // Runs `trial` for every point and requires that each was reached.
  template <class Trial>
  void atEveryPoint(const std::vector<std::string>& steps, const Trial& trial) {
    ASSERT_GT(steps.size(), 40U);
    std::size_t covered = 0;
    for (const Point& point : pointsOf(steps)) {
      SCOPED_TRACE("killed before step " + std::to_string(point.step) +
                   (point.tear ? ", which was torn: " : ": ") + steps[point.step - 1]);
      if (trial(point)) {
        ++covered;
      }
      if (HasFailure()) {
        return;
      }
    }
    std::cout << "killed at " << covered << " points of " << steps.size() << " steps\n";
    RecordProperty("points", static_cast<int>(covered));
    RecordProperty("steps", static_cast<int>(steps.size()));
    EXPECT_EQ(covered, pointsOf(steps).size());
    EXPECT_GE(covered, steps.size());
  }
};

TEST_F(CrashTest, APassWithoutACrashForwardsEveryItemOnceAndTheNextOneNothing) {
  const Machine machine;
  runToTheEnd(machine, 1, false);
  EXPECT_EQ(keysOf(waitingIds(machine)), sortedSubjects());
  runToTheEnd(machine, 2, false);
  EXPECT_EQ(keysOf(waitingIds(machine)), sortedSubjects());
  expectInboxDone(machine);
}

TEST_F(CrashTest, AfterACrashAtAnyStepEveryItemIsForwardedOnce) {
  const Machine clean;
  const auto steps = runToTheEnd(clean, 1, false);
  const auto wanted = essence(clean);
  ASSERT_EQ(wanted.size(), kSubjects.size());
  atEveryPoint(steps, [&](const Point& point) {
    const Machine machine;
    const bool crashed = runAndCrash(machine, 1, false, point.step, point.tear);
    const Ids before = waitingIds(machine);
    runToTheEnd(machine, 2, false);
    const Ids after = waitingIds(machine);
    EXPECT_EQ(keysOf(after), sortedSubjects());
    for (const auto& [subject, id] : before) {
      EXPECT_EQ(after.find(subject)->second, id) << subject;
    }
    EXPECT_TRUE(essence(machine) == wanted) << "a message differs from that of a clean run";
    runToTheEnd(machine, 3, false);
    EXPECT_EQ(waitingIds(machine), after);
    expectInboxDone(machine);
    return crashed;
  });
}

TEST_F(CrashTest, ASecondCrashDuringTheRestartChangesNothing) {
  const Machine clean;
  const auto steps = runToTheEnd(clean, 1, false);
  atEveryPoint(steps, [&](const Point& point) {
    const Machine machine;
    const bool crashed = runAndCrash(machine, 1, false, point.step, point.tear);
    runAndCrash(machine, 2, false, 1 + point.step * 5 % 23, !point.tear);
    runToTheEnd(machine, 3, false);
    runToTheEnd(machine, 4, false);
    EXPECT_EQ(keysOf(waitingIds(machine)), sortedSubjects());
    expectInboxDone(machine);
    return crashed;
  });
}

TEST_F(CrashTest, ADeliveryRepeatedAfterACrashKeepsItsMessageId) {
  const Machine clean;
  const auto steps = runToTheEnd(clean, 1, true);
  ASSERT_EQ(keysOf(handedOverIds(clean)), sortedSubjects());
  std::size_t repeated = 0;
  atEveryPoint(steps, [&](const Point& point) {
    const Machine machine;
    const bool crashed = runAndCrash(machine, 1, true, point.step, point.tear);
    runToTheEnd(machine, 2, true);
    runToTheEnd(machine, 3, true);
    const Ids ids = handedOverIds(machine);
    std::set<std::string> everyId;
    for (const std::string& subject : kSubjects) {
      const auto [first, last] = ids.equal_range(subject);
      std::set<std::string> own;
      for (auto at = first; at != last; ++at) {
        own.insert(at->second);
      }
      EXPECT_EQ(own.size(), 1U) << subject;
      EXPECT_LE(std::distance(first, last), 2) << subject;
      everyId.insert(own.begin(), own.end());
    }
    repeated += ids.size() - kSubjects.size();
    EXPECT_EQ(everyId.size(), kSubjects.size());
    EXPECT_TRUE(waitingIds(machine).empty());
    expectInboxDone(machine);
    return crashed;
  });
  EXPECT_GT(repeated, 0U) << "no crash fell between a hand-over and its journal line";
}

}  // namespace
}  // namespace relaybird
