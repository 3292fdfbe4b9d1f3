// SPDX-License-Identifier: MIT
// Starts the program with its streams on pipes or on a pseudo-terminal. Waiting is by poll() with a
// long limit, so that a program that hangs fails its test, and a slow machine does not.
#include "system/console_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <sstream>

namespace relaybird {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kPatience{30};

std::string subjectOf(const std::string& file) {
  std::istringstream lines(readBytes(file));
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') {
      line.pop_back();
    }
    if (line.rfind("Subject: ", 0) == 0) {
      return line.substr(9);
    }
  }
  return {};
}

std::pair<Descriptor, Descriptor> openPipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

}  // namespace

ConsoleHome::ConsoleHome() {
  for (const char* part :
       {"Maildir", "Maildir/new", "Maildir/cur", "Maildir/tmp", "config", "config/rbx", "state"}) {
    fs::create_directory(folder_.path(part));
  }
}

void ConsoleHome::deliver(int count, const std::string& subject) {
  for (int i = 1; i <= count; ++i) {
    ++delivered_;
    writeBytes(folder_.path("Maildir/new/" + std::to_string(1700000000 + delivered_) +
                            ".M1P1.host.example"),
               "From: Ann <ann@sender.example>\nTo: me@here.example\nSubject: " + subject + " " +
                   std::to_string(i) + "\n\nThe text of it.\n");
  }
}

void ConsoleHome::writePreferences(const std::string& text) {
  writeBytes(folder_.path("config/rbx/rbx_prefs.ini"), text);
}

std::string ConsoleHome::preferences() const {
  return readBytes(folder_.path("config/rbx/rbx_prefs.ini"));
}

std::set<std::string> ConsoleHome::forwarded() const {
  std::set<std::string> subjects;
  const std::string outbox = folder_.path("state/rbx/outbox/new");
  if (!fs::exists(outbox)) {
    return subjects;
  }
  for (const auto& entry : fs::directory_iterator(outbox)) {
    std::string subject = subjectOf(entry.path().string());
    if (subject.rfind("FW: ", 0) == 0) {
      subject = subject.substr(4);
    }
    EXPECT_TRUE(subjects.insert(subject).second) << subject << " was forwarded twice";
  }
  return subjects;
}

std::set<std::string> ConsoleHome::read() const {
  std::set<std::string> subjects;
  for (const auto& entry : fs::directory_iterator(folder_.path("Maildir/cur"))) {
    const std::string name = entry.path().filename().string();
    if (name.find('S', name.find(":2,")) == std::string::npos) {
      continue;
    }
    subjects.insert(subjectOf(entry.path().string()));
  }
  return subjects;
}

std::string onePreference(const std::string& more) {
  return "[default]\nmstrFwdToAddress_num=1\nmstrFwdToAddress_1=cell@phone.example\n" + more +
         "[mail]\naddress=me@here.example\nname=Me\n";
}

ConsoleProcess::ConsoleProcess(const ConsoleHome& home, Streams streams,
                               std::vector<std::string> arguments)
    : arguments_(std::move(arguments)) {
  auto [lifeRead, lifeWrite] = openPipe();
  life_ = std::move(lifeRead);
  ::fcntl(lifeWrite.get(), F_SETFD, 0);
  if (streams == Streams::kTerminal) {
    startOnTerminal(home);
  } else {
    startOverPipes(home, streams);
  }
}

ConsoleProcess::~ConsoleProcess() {
  if (child_ <= 0) {
    return;
  }
  ::kill(child_, SIGKILL);
  ::waitpid(child_, nullptr, 0);
}

void ConsoleProcess::startOverPipes(const ConsoleHome& home, Streams streams) {
  auto [inRead, inWrite] = openPipe();
  auto [outRead, outWrite] = openPipe();
  auto [errRead, errWrite] = openPipe();
  child_ = ::fork();
  if (child_ == 0) {
    const bool none = streams == Streams::kNullInput;
    ::dup2(none ? ::open("/dev/null", O_RDONLY | O_CLOEXEC) : inRead.get(), STDIN_FILENO);
    ::dup2(outWrite.get(), STDOUT_FILENO);
    ::dup2(errWrite.get(), STDERR_FILENO);
    become(home);
  }
  input_ = std::move(inWrite);
  output_ = std::move(outRead);
  errors_ = std::move(errRead);
}

void ConsoleProcess::startOnTerminal(const ConsoleHome& home) {
  int master = -1;
  winsize size{24, 80, 0, 0};
  child_ = ::forkpty(&master, nullptr, nullptr, &size);
  if (child_ == 0) {
    become(home);
  }
  ::fcntl(master, F_SETFD, FD_CLOEXEC);
  input_ = Descriptor(::fcntl(master, F_DUPFD_CLOEXEC, 0));
  output_ = Descriptor(master);
}

void ConsoleProcess::become(const ConsoleHome& home) const {
  ::signal(SIGPIPE, SIG_DFL);
  const TempFolder& folder = home.folder();
  const std::vector<std::string> environment = {"HOME=" + folder.path(),
                                                "XDG_CONFIG_HOME=" + folder.path("config"),
                                                "XDG_STATE_HOME=" + folder.path("state"),
                                                "LC_ALL=C.UTF-8",
                                                "TZ=UTC",
                                                "TERM=xterm",
                                                "PATH=/usr/bin:/bin"};
  std::vector<char*> variables;
  for (const std::string& each : environment) {
    variables.push_back(const_cast<char*>(each.c_str()));
  }
  variables.push_back(nullptr);
  std::string program = RELAYBIRD_CONSOLE_PROGRAM;
  std::vector<char*> words{program.data()};
  for (const std::string& each : arguments_) {
    words.push_back(const_cast<char*>(each.c_str()));
  }
  words.push_back(nullptr);
  ::execve(program.c_str(), words.data(), variables.data());
  ::_exit(127);
}

void ConsoleProcess::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(input_.get(), bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      ADD_FAILURE() << "the program takes no input";
      return;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

// False at the end of the output, and after that many milliseconds without output.
bool ConsoleProcess::readMore(int timeout) {
  if (!output_) {
    return false;
  }
  pollfd waiting{output_.get(), POLLIN, 0};
  if (::poll(&waiting, 1, timeout) <= 0) {
    return false;
  }
  std::array<char, 65536> buffer;
  const ssize_t got = ::read(output_.get(), buffer.data(), buffer.size());
  if (got <= 0) {
    return false;  // a terminal whose other side is closed fails with EIO
  }
  pending_.append(buffer.data(), static_cast<std::size_t>(got));
  return true;
}

std::string ConsoleProcess::expect(const std::string& text) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  std::size_t at;
  while ((at = pending_.find(text)) == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0 || !readMore(static_cast<int>(left.count()))) {
      ADD_FAILURE() << "expected " << text << "\nafter:\n" << pending_;
      return {};
    }
  }
  const std::string before = pending_.substr(0, at + text.size());
  pending_.erase(0, before.size());
  return before;
}

void ConsoleProcess::signal(int number) const {
  EXPECT_EQ(::kill(child_, number), 0);
}

bool ConsoleProcess::endsInTime() const {
  pollfd living{life_.get(), POLLIN, 0};
  return ::poll(&living, 1, static_cast<int>(std::chrono::milliseconds(kPatience).count())) > 0;
}

int ConsoleProcess::wait() {
  const int patience = static_cast<int>(std::chrono::milliseconds(kPatience).count());
  while (readMore(patience)) {
  }
  if (!endsInTime()) {
    ADD_FAILURE() << "the program does not end; it printed:\n" << pending_;
    ::kill(child_, SIGKILL);
  }
  int status = 0;
  const pid_t ended = ::waitpid(std::exchange(child_, -1), &status, 0);
  EXPECT_GT(ended, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string ConsoleProcess::errors() {
  std::string text;
  std::array<char, 4096> buffer;
  ssize_t got;
  while (errors_ && (got = ::read(errors_.get(), buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return text;
}

}  // namespace relaybird
