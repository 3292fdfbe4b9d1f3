// SPDX-License-Identifier: MIT
// A bus of the test's own is a dbus-daemon with an address in a temporary folder, put into the
// environment of this process. So tests neither see nor disturb the bus of the desktop they run on.
#include "platform/freedesktop/test_session_bus.h"

#include <gio/gio.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "platform/system/command_runner.h"

namespace relaybird {

TestProgram::TestProgram(std::vector<std::string> arguments, const std::string& input,
                         const std::string& sign) {
  const auto in = makeInput(wholeInput(input));
  auto out = makePipe();
  if (!in || !out) {
    throw std::runtime_error("no descriptor is left");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in->get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, out->write.get(), STDOUT_FILENO);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    pointers.push_back(argument.data());
  }
  pointers.push_back(nullptr);
  const int failure =
      ::posix_spawnp(&process_, pointers[0], &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) {
    throw std::runtime_error("cannot start " + arguments[0]);
  }
  (void)out->write.close();
  output_ = std::move(out->read);
  while (!sign.empty() && (!line_.starts_with(sign) || !line_.ends_with('\n'))) {
    if (line_.ends_with('\n')) {
      line_.clear();
    }
    char c = 0;
    if (::read(output_.get(), &c, 1) != 1) {
      throw std::runtime_error(arguments[0] + " has ended early");
    }
    line_ += c;
  }
  if (line_.ends_with('\n')) {
    line_.pop_back();
  }
}

TestProgram::~TestProgram() {
  ::kill(process_, SIGKILL);
  ::waitpid(process_, nullptr, 0);
}

TestSessionBus::TestSessionBus() {
  const std::string configuration = folder_.path("bus.conf");
  writeBytes(configuration,
             "<busconfig><type>session</type><listen>unix:path=" + folder_.path("bus") +
                 "</listen><policy context='default'><allow send_destination='*'/>"
                 "<allow receive_sender='*'/><allow own='*'/></policy></busconfig>");
  daemon_ = std::make_unique<TestProgram>(
      std::vector<std::string>{"dbus-daemon", "--nofork", "--print-address",
                               "--config-file=" + configuration},
      "", "unix:");
  ::setenv("DBUS_SESSION_BUS_ADDRESS", daemon_->line().c_str(), 1);
}

TestSessionBus::~TestSessionBus() {
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void waitForService(const char* name) {
  bool there = false;
  const auto appeared = [](GDBusConnection*, const gchar*, const gchar*, gpointer flag) {
    *static_cast<bool*>(flag) = true;
  };
  const guint watch = g_bus_watch_name(G_BUS_TYPE_SESSION, name, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                       appeared, nullptr, &there, nullptr);
  while (!there) {
    g_main_context_iteration(nullptr, TRUE);
  }
  g_bus_unwatch_name(watch);
}

TestVariable::TestVariable(std::string name, const char* value) : name_(std::move(name)) {
  const char* const before = ::getenv(name_.c_str());
  wasSet_ = before != nullptr;
  before_ = wasSet_ ? before : "";
  if (value != nullptr) {
    ::setenv(name_.c_str(), value, 1);
  } else {
    ::unsetenv(name_.c_str());
  }
}

TestVariable::~TestVariable() {
  if (wasSet_) {
    ::setenv(name_.c_str(), before_.c_str(), 1);
  } else {
    ::unsetenv(name_.c_str());
  }
}

}  // namespace relaybird
