// SPDX-License-Identifier: MIT
// Autostart by a desktop entry (freedesktop.org's Desktop Application Autostart and Desktop Entry
// texts). Entries are also edited by desktops and by users, so reading accepts what they leave
// there; writing replaces the whole file.
#include "platform/posix/desktop_entry_autostart.h"

#include <cerrno>
#include <map>
#include <sstream>
#include <utility>

#include "platform/file_system.h"
#include "platform/system/application_id.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::size_t kLargestEntry = 65536;

// A value of string type.
std::string desktopEntryString(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\\\";
    } else if (c == '\n') {
      escaped += "\\n";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string entryText(const std::string& program) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Relaybird\n"
         "Comment=Forwards newly arrived mail that passes your rules\n"
         "Icon=" +
         std::string(kApplicationId) + "\nExec=" + desktopEntryWord(program) +
         "\nTryExec=" + desktopEntryString(program) +
         "\nTerminal=false\n"
         "X-GNOME-Autostart-enabled=true\n";
}

using Keys = std::map<std::string, std::string>;

// The keys of the main group of a desktop entry, with escapes.
Keys keysOf(const std::string& entry) {
  Keys keys;
  std::istringstream lines(entry);
  bool inGroup = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[')) {
      inGroup = trimmed(line) == "[Desktop Entry]";
    }
    const auto equals = line.find('=');
    if (inGroup && equals != std::string::npos) {
      const std::string_view whole = line;
      keys[std::string(trimmed(whole.substr(0, equals)))] = trimmed(whole.substr(equals + 1));
    }
  }
  return keys;
}

// Desktops switch an entry off by one of these keys and leave the file in place.
bool switchedOff(Keys& keys) {
  return asciiLower(keys["Hidden"]) == "true" ||
         asciiLower(keys["X-GNOME-Autostart-enabled"]) == "false";
}

// A value of string type, unescaped.
std::string stringOf(const std::string& value) {
  const std::map<char, char> escapes{
      {'s', ' '}, {'n', '\n'}, {'t', '\t'}, {'r', '\r'}, {'\\', '\\'}};
  std::string text;
  for (std::size_t at = 0; at < value.size(); ++at) {
    const auto escape = at + 1 < value.size() ? escapes.find(value[at + 1]) : escapes.end();
    const bool escaped = value[at] == '\\' && escape != escapes.end();
    text += escaped ? escape->second : value[at];
    at += escaped ? 1 : 0;
  }
  return text;
}

// The program in a command line of the Exec key: a word, or a quoted string in which a backslash
// escapes. "%%" stands for "%".
std::string programOf(const std::string& line) {
  const bool quoted = line.starts_with('"');
  const std::string ends = quoted ? "\"" : " \t";
  std::string program;
  for (std::size_t at = quoted ? 1 : 0; at < line.size(); ++at) {
    if (ends.find(line[at]) != std::string::npos) {
      break;
    }
    const bool mark = line[at] == '\\' || line[at] == '%';
    at += mark && at + 1 < line.size() ? 1 : 0;
    program += line[at];
  }
  return program;
}

// A name without a folder is searched by the desktop, whose search path may differ from ours.
bool mayBeThere(FileSystem& files, const std::string& program) {
  return !program.starts_with('/') || FileExists(files, program);
}

// Whether the entry starts something: this program or another copy of it.
bool startsAProgram(FileSystem& files, Keys& keys) {
  const std::string program = programOf(stringOf(keys["Exec"]));
  return !program.empty() && mayBeThere(files, program) &&
         mayBeThere(files, stringOf(keys["TryExec"]));
}

}  // namespace

DesktopEntryAutostart::DesktopEntryAutostart(FileSystem& files, std::string configFolder,
                                             std::string program)
    : files_(files),
      file_(std::move(configFolder) + "/autostart/" + kApplicationId + ".desktop"),
      program_(std::move(program)) {}

bool DesktopEntryAutostart::enabled() {
  const auto entry = readFile(files_, file_, kLargestEntry);
  if (!entry) {
    return false;
  }
  Keys keys = keysOf(*entry);
  return !switchedOff(keys) && startsAProgram(files_, keys);
}

Result<void> DesktopEntryAutostart::setEnabled(bool enabled) {
  // Without an entry the program is not started, so a missing one is a success.
  if (!enabled) {
    Result<void> removed = files_.remove(file_);
    return !removed && removed.error().code == ENOENT ? Result<void>() : removed;
  }
  if (!MakeFolderPath(files_, file_)) {
    return Error{0, "Cannot make the folder for " + file_};
  }
  return replaceFile(files_, file_, entryText(program_));
}

std::string desktopEntryWord(const std::string& word) {
  std::string quoted = "\"";
  for (const char c : word) {
    switch (c) {
      case '"':
      case '`':
      case '$':
        // The quoting's backslash is itself escaped in a string value.
        quoted += "\\\\";
        quoted += c;
        break;
      case '\\':
        quoted += "\\\\\\\\";
        break;
      case '%':
        quoted += "%%";
        break;
      case '\n':
        quoted += "\\n";
        break;
      default:
        quoted += c;
    }
  }
  return quoted + "\"";
}

}  // namespace relaybird
