// SPDX-License-Identifier: MIT
// The folders by the XDG Base Directory rules, and the templates folder from user-dirs.dirs, a file
// of shell assignments that the desktop writes. A relative or empty value counts as unset, as those
// rules say.
#include "platform/posix/xdg_folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

namespace relaybird {
namespace {

// Files and records of this size are not written by any desktop; the limits keep a mistake from
// filling memory.
constexpr std::size_t kUserDirsLimit = std::size_t{1} << 20;
constexpr std::size_t kLargestUserRecord = std::size_t{1} << 20;

std::string withoutClosingSeparators(std::string path) {
  while (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

bool isAbsolute(const std::optional<std::string>& path) {
  return path && !path->empty() && path->front() == '/';
}

std::string_view withoutLeadingBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

// Removes `expected` from the front of the line, with the blanks before it.
bool take(std::string_view& line, std::string_view expected) {
  const std::string_view rest = withoutLeadingBlanks(line);
  if (!rest.starts_with(expected)) {
    return false;
  }
  line = rest.substr(expected.size());
  return true;
}

// Up to the closing quote; a backslash escapes the next character.
std::string quotedText(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size() && text[i] != '"'; ++i) {
    if (text[i] == '\\' && i + 1 < text.size()) {
      ++i;
    }
    result += text[i];
  }
  return result;
}

// The folder that a line of user-dirs.dirs assigns to `name`; none for any other line. The file is
// read by shells, but only two forms are allowed: "$HOME/..." and "/...".
std::optional<std::string> folderInLine(std::string_view line, std::string_view name,
                                        const std::string& home) {
  if (!take(line, name) || !take(line, "=") || !take(line, "\"")) {
    return std::nullopt;
  }
  constexpr std::string_view kHome = "$HOME";
  if (line.starts_with("/")) {
    return withoutClosingSeparators(quotedText(line));
  }
  if (!line.starts_with(kHome) || home.empty()) {
    return std::nullopt;
  }
  const std::string below = quotedText(line.substr(kHome.size()));
  if (!below.empty() && below.front() != '/') {
    return std::nullopt;
  }
  return withoutClosingSeparators(home + below);
}

}  // namespace

Environment processEnvironment() {
  return [](const std::string& name) -> std::optional<std::string> {
    const char* const value = std::getenv(name.c_str());
    if (!value) {
      return std::nullopt;
    }
    return value;
  };
}

std::string homeFromUserDatabase() {
  std::vector<char> space(1024);
  // The record's size is not known in advance; the call says when the space is too small.
  for (;;) {
    passwd record{};
    passwd* found = nullptr;
    const int code = ::getpwuid_r(::getuid(), &record, space.data(), space.size(), &found);
    if (code == EINTR) {
      continue;
    }
    if (code == ERANGE && space.size() < kLargestUserRecord) {
      space.resize(space.size() * 2);
      continue;
    }
    return code == 0 && found && found->pw_dir ? found->pw_dir : std::string();
  }
}

XdgFolders::XdgFolders(FileSystem& files, Environment environment,
                       std::function<std::string()> fallbackHome)
    : files_(files), environment_(std::move(environment)), fallbackHome_(std::move(fallbackHome)) {}

std::string XdgFolders::GetSpecialFolderPath(int folderNumber) const {
  return folderNumber == kAppDataFolder ? baseFolder("XDG_CONFIG_HOME", ".config") : std::string();
}

std::string XdgFolders::templatesFolder() const {
  const std::string config = GetAppDataFolder();
  if (config.empty()) {
    return {};
  }
  const auto text = readFile(files_, config + "/user-dirs.dirs", kUserDirsLimit);
  if (!text) {
    return {};
  }
  const std::string userHome = home();
  std::string result;
  std::string_view rest = *text;
  while (!rest.empty()) {
    const auto end = rest.find('\n');
    // As in a shell, the last assignment counts.
    if (auto folder = folderInLine(rest.substr(0, end), "XDG_TEMPLATES_DIR", userHome)) {
      result = std::move(*folder);
    }
    if (end == std::string_view::npos) {
      break;
    }
    rest.remove_prefix(end + 1);
  }
  // The home folder itself means that the user has no such folder, by the rules of that file.
  return result == userHome ? std::string() : result;
}

std::string XdgFolders::windowsFolder() const {
  return GetAppDataFolder();
}

std::string XdgFolders::stateFolder() const {
  return baseFolder("XDG_STATE_HOME", ".local/state");
}

std::string XdgFolders::home() const {
  auto set = environment_("HOME");
  if (isAbsolute(set)) {
    return withoutClosingSeparators(std::move(*set));
  }
  std::string known = fallbackHome_();
  return isAbsolute(known) ? withoutClosingSeparators(std::move(known)) : std::string();
}

std::string XdgFolders::baseFolder(const std::string& variable,
                                   const std::string& belowHome) const {
  auto set = environment_(variable);
  if (isAbsolute(set)) {
    return withoutClosingSeparators(std::move(*set));
  }
  const std::string userHome = home();
  return userHome.empty() ? std::string() : userHome + '/' + belowHome;
}

}  // namespace relaybird
