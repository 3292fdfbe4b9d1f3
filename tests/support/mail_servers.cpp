// SPDX-License-Identifier: MIT
// Speaks with the tool mail_servers.py by two pipes: a command is a line, and so is its answer,
// "ok" with values or words about what failed. The servers end with the tool, and the tool with the
// end of its input, so nothing is left running when a test crashes.
#include "support/mail_servers.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace relaybird {
namespace {

constexpr std::chrono::seconds kPatience{10};

const std::map<std::string, std::string> kHosts = {
    {"plain", "localhost"},      {"demanding", "127.0.0.2"},   {"expired", "127.0.0.3"},
    {"wrong-host", "127.0.0.4"}, {"self-signed", "127.0.0.5"}, {"unencrypted", "127.0.0.6"}};

}  // namespace

MailServers& MailServers::get() {
  static MailServers servers;
  return servers;
}

MailServers::MailServers() {
  std::optional<Pipe> in = makePipe();
  std::optional<Pipe> out = makePipe();
  if (!in || !out) {
    throw std::runtime_error("no pipe to the mail servers");
  }
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, in->read.get(), STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, out->write.get(), STDOUT_FILENO);
  std::string words[] = {"python3", "-B", RELAYBIRD_MAIL_SERVERS, folder_.path()};
  char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
  const int failed =
      ::posix_spawn(&tool_, "/usr/bin/python3", &actions, nullptr, arguments, environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) {
    throw std::runtime_error("cannot start /usr/bin/python3 for the mail servers");
  }
  commands_ = std::move(in->write);
  answers_ = std::move(out->read);
  out->write.close();
  places_ = ask("servers");
}

// The tool ends the servers at the end of its input, and itself after them.
MailServers::~MailServers() {
  commands_.close();
  ::waitpid(tool_, nullptr, 0);
}

std::uint16_t MailServers::port(const std::string& name) const {
  return static_cast<std::uint16_t>(std::stoi(places_.at(name)));
}

std::string MailServers::host(const std::string& name) {
  return kHosts.at(name.substr(0, name.find('.')));
}

MailServers::Values MailServers::ask(const std::string& command) {
  const std::string line = command + "\n";
  if (::write(commands_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw std::runtime_error("the mail servers have ended");
  }
  std::string answer;
  for (char c = 0; ::read(answers_.get(), &c, 1) == 1 && c != '\n';) {
    answer += c;
  }
  std::istringstream parts(answer);
  std::string part;
  std::getline(parts, part, '\t');
  if (part != "ok") {
    throw std::runtime_error("mail servers: " + command + ": " + answer);
  }
  Values values;
  while (std::getline(parts, part, '\t')) {
    const std::size_t equals = part.find('=');
    values[part.substr(0, equals)] = part.substr(equals + 1);
  }
  return values;
}

std::uint16_t MailServers::portOf(const std::string& command) {
  return static_cast<std::uint16_t>(std::stoi(ask(command).at("port")));
}

std::string MailServers::freshUser() {
  return "box" + std::to_string(++users_);
}

std::string MailServers::deliver(const std::string& user, std::string_view message,
                                 const std::function<void(const std::string& path)>& prepare) {
  const std::string name =
      std::to_string(1800000000 + delivered_) + ".M" + std::to_string(delivered_) + "P1.host";
  ++delivered_;
  const std::string made = maildir(user) + "/tmp/" + name;
  writeBytes(made, message);
  ::chmod(made.c_str(), 0644);  // the servers may run as another user
  if (prepare) {
    prepare(made);
  }
  std::filesystem::rename(made, maildir(user) + "/new/" + name);
  return name;
}

std::string MailServers::awaitLog(const std::string& text, std::size_t from) const {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    const std::string log = readBytes(places_.at("log")).substr(from);
    if (log.find(text) != std::string::npos) {
      return log;
    }
    if (std::chrono::steady_clock::now() > end) {
      ADD_FAILURE() << "the server has not logged " << text << " but:\n" << log;
      return log;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

std::size_t MailServers::logSize() const {
  return static_cast<std::size_t>(std::filesystem::file_size(places_.at("log")));
}

}  // namespace relaybird
