// SPDX-License-Identifier: MIT
#include "ui/forms/autostart/desktop_entry_autostart.h"

#include <cerrno>
#include <sstream>
#include <utility>

#include "platform/system/folder_check.h"
#include "platform/text/number_text.h"

namespace relaybird {
namespace {

constexpr const char* kApplication = "org.relaybird.Relaybird";
constexpr std::size_t kLargestEntry = 65536;

/// A value of string type.
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
         std::string(kApplication) + "\nExec=" + desktopEntryWord(program) +
         "\nTryExec=" + desktopEntryString(program) +
         "\nTerminal=false\n"
         "X-GNOME-Autostart-enabled=true\n";
}

std::string trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r";
  const auto first = text.find_first_not_of(kBlanks);
  return first == std::string::npos
             ? std::string()
             : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Desktops that let the user switch an entry off do so by one of these keys, and leave it there.
bool switchedOff(const std::string& entry) {
  std::istringstream lines(entry);
  bool off = false;
  bool inGroup = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('[')) {
      inGroup = trimmed(line) == "[Desktop Entry]";
    }
    const auto equals = line.find('=');
    if (!inGroup || equals == std::string::npos) {
      continue;
    }
    const std::string key = trimmed(line.substr(0, equals));
    const std::string value = asciiLower(trimmed(line.substr(equals + 1)));
    off = off || (key == "Hidden" && value == "true") ||
          (key == "X-GNOME-Autostart-enabled" && value == "false");
  }
  return off;
}

}  // namespace

DesktopEntryAutostart::DesktopEntryAutostart(FileSystem& files, std::string configFolder,
                                             std::string program)
    : files_(files),
      file_(std::move(configFolder) + "/autostart/" + kApplication + ".desktop"),
      program_(std::move(program)) {}

bool DesktopEntryAutostart::enabled() {
  const auto entry = readFile(files_, file_, kLargestEntry);
  return entry && !switchedOff(*entry);
}

Result<void> DesktopEntryAutostart::setEnabled(bool enabled) {
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
