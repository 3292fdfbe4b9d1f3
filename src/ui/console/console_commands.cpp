// SPDX-License-Identifier: MIT
// The commands about the program; those about single windows are passed to FormCommands. A command
// that takes no arguments refuses any, so that a mistyped line does nothing.
#include "ui/console/console_commands.h"

#include <algorithm>
#include <charconv>

#include "ui/console/command_table.h"
#include "ui/console/quoting.h"

namespace relaybird {
namespace {

constexpr std::size_t kLogLines = 20;

Result<void> takesNothing(std::string_view rest) {
  if (rest.empty()) {
    return {};
  }
  return Error{0, "this command takes nothing"};
}

}  // namespace

ConsoleCommands::ConsoleCommands(ConsoleProgram& program, ConsoleOutput& out)
    : program_(program), out_(out), forms_(program.forms(), out) {}

Result<void> ConsoleCommands::run(std::string_view name, std::string_view rest) {
  if (name == "log") {
    return log(rest);
  }
  if (name == "settings") {
    return settings(rest);
  }
  if (name == "help") {
    return help(rest);
  }
  if (name == "forms") {
    return forms_.forms(rest);
  }
  if (name == "show") {
    return forms_.show(rest);
  }
  if (name == "set") {
    return forms_.set(rest);
  }
  if (name == "click") {
    return forms_.click(rest);
  }
  if (name == "key") {
    return forms_.key(rest);
  }
  if (name == "close") {
    return forms_.close(rest);
  }
  if (name == "setup" && !rest.empty()) {
    if (rest != "test" && rest != "message") {
      return Error{0, "setup takes test, message, or nothing"};
    }
    return rest == "test" ? program_.testSetup() : program_.sendTestMessage();
  }
  // All commands from here on take nothing.
  if (auto plain = takesNothing(rest); !plain) {
    return plain;
  }
  if (name == "setup") {
    return program_.setUp();
  }
  if (name == "start") {
    return program_.start();
  }
  if (name == "stop") {
    return program_.stop();
  }
  if (name == "test") {
    return program_.test();
  }
  if (name == "retry") {
    return program_.retry();
  }
  if (name == "waiting") {
    return program_.waiting();
  }
  if (name == "refused") {
    return program_.refused();
  }
  // The session has refused unknown names and runs the commands about itself (wait, answer, quit),
  // so one name is left.
  status();
  return {};
}

void ConsoleCommands::status() {
  for (const auto& [kind, text] : program_.status()) {
    out_.reply(kind, text);
  }
}

Result<void> ConsoleCommands::log(std::string_view rest) {
  std::size_t count = kLogLines;
  if (!rest.empty()) {
    const auto [end, code] = std::from_chars(rest.data(), rest.data() + rest.size(), count);
    if (code != std::errc{} || end != rest.data() + rest.size() || count == 0) {
      return Error{0, "log takes how many lines to show, not " + inQuotes(rest)};
    }
  }
  const auto& lines = program_.log();
  for (std::size_t i = lines.size() - std::min(count, lines.size()); i < lines.size(); ++i) {
    out_.reply("line", lines[i]);
  }
  return {};
}

Result<void> ConsoleCommands::settings(std::string_view rest) {
  const std::string_view name = takeWord(rest);
  if (!name.empty()) {
    if (rest.empty()) {
      return Error{0, "settings takes NAME VALUE, or nothing"};
    }
    auto value = readValue(rest);
    if (!value) {
      return value.error();
    }
    return program_.changeSetting(name, *value);
  }
  std::string tab;
  for (const Setting& setting : program_.settings()) {
    if (setting.tab != tab) {
      out_.reply("tab", setting.tab);
    }
    tab = setting.tab;
    out_.replyFields(
        "setting", setting.name + " " + inQuotes(setting.value) + " " + inQuotes(setting.meaning));
  }
  return {};
}

// Commands win over topics of the same name; a quoted word is always a topic.
Result<void> ConsoleCommands::help(std::string_view rest) {
  if (rest.empty()) {
    out_.reply("help", program_.mailboxLine() + "\n");
    out_.reply("help", commandList());
    std::string topics;
    for (const std::string& topic : program_.helpTopics()) {
      topics += "\n  " + topic;
    }
    if (!topics.empty()) {
      out_.reply("help", "\nTopics of the manual, shown by help TOPIC:" + topics);
    }
    return {};
  }
  if (const CommandInfo* info = findCommand(rest)) {
    out_.reply("help", std::string(info->name) + " " + std::string(info->arguments) + "\n  " +
                           std::string(info->summary));
    return {};
  }
  const auto words = readValue(rest);
  if (!words) {
    return words.error();
  }
  const auto text = program_.helpTopic(*words);
  if (!text) {
    return Error{0, "there is no command and no topic " + inQuotes(*words)};
  }
  out_.reply("help", *text);
  return {};
}

}  // namespace relaybird
