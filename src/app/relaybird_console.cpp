// SPDX-License-Identifier: MIT
// relaybird-console: the program at a terminal, for servers, for people without a screen, and for
// scripts. Turns the manual's pages into text and hands it to the console, which neither knows HTML
// nor the topics that are built in.
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/console_application.h"
#include "app/manual_text.h"
#include "app/program_start.h"
#include "ui/console/console_system.h"
#include "ui/help/help_topics.h"

namespace relaybird {
namespace {

constexpr const char* kHelp =
    "relaybird-console watches an inbox and forwards what passes your rules.\n"
    "It reads commands from standard input, a line each: help lists them, quit ends it.\n"
    "Its settings are in rbx/rbx_prefs.ini, in $XDG_CONFIG_HOME or ~/.config (Windows:\n"
    "%APPDATA%). The commands settings and setup change them.\n"
    "Exit status: 0 a clean end; 1 it could not start, or nobody reads what it prints; 2 the\n"
    "settings do not allow a start, or without input the server has refused the sign-in.\n";

std::string nameAndTitle(const HelpTopic& topic) {
  return std::string(topic.name) + ": " + std::string(topic.title);
}

// Cells of a table row are divided by tabs, which a terminal would set far apart.
std::string asLines(std::string text) {
  for (std::size_t tab = text.find('\t'); tab != std::string::npos; tab = text.find('\t', tab)) {
    text.replace(tab, 1, " - ");
  }
  return text;
}

std::optional<std::string> find(std::string_view words) {
  if (const HelpTopic* topic = findHelpTopic(words)) {
    return asLines(manualText(topic->html));
  }
  const std::vector<const HelpTopic*> mentioning = searchHelpTopics(words);
  if (mentioning.empty()) {
    return std::nullopt;
  }
  std::string text = "These topics tell of it:";
  for (const HelpTopic* topic : mentioning) {
    text += "\n" + nameAndTitle(*topic);
  }
  return text;
}

// The manual as plain text. Words that name no topic but occur in some are answered with the list
// of those.
Manual consoleManual() {
  Manual manual{find, {}};
  for (const HelpTopic& topic : helpTopics()) {
    manual.topics.push_back(nameAndTitle(topic));
  }
  return manual;
}

}  // namespace
}  // namespace relaybird

int main(int argc, char** argv) {
  relaybird::prepareSystemProcess();
  relaybird::ProgramPlatform platform = relaybird::systemPlatform();
  const relaybird::StandardStreams streams = platform.streams;
  const relaybird::ProgramIdentity identity = relaybird::programIdentity("relaybird-console");
  if (const auto answer =
          relaybird::answerArguments(identity, relaybird::kHelp, {argv + 1, argv + argc})) {
    (answer->status == 0 ? streams.out : streams.err)(answer->text);
    return answer->status;
  }
  try {
    const auto system = relaybird::openSystemConsole();
    relaybird::ConsoleApplication application(identity, std::move(platform), *system,
                                              relaybird::consoleManual());
    return application.run();
  } catch (const std::exception& error) {
    streams.err(identity.name + ": " + error.what() + "\n");
    return EXIT_FAILURE;
  }
}
