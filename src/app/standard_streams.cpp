// SPDX-License-Identifier: MIT
#include "app/standard_streams.h"

#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <string_view>

namespace relaybird {
namespace {

bool isNullDevice(int descriptor) {
  struct stat own {};
  struct stat null {};
  return ::fstat(descriptor, &own) == 0 && ::stat("/dev/null", &null) == 0 &&
         S_ISCHR(own.st_mode) && own.st_rdev == null.st_rdev;
}

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view{} : value;
}

int terminalColumns() {
  winsize size{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

}  // namespace

InputKind standardInputKind() {
  if (::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1) {
    return InputKind::kPerson;
  }
  return isNullDevice(STDIN_FILENO) ? InputKind::kNothing : InputKind::kScript;
}

TerminalManner standardTerminalManner() {
  const std::string_view terminal = variable("TERM");
  const bool able = !terminal.empty() && terminal != "dumb";
  return {able && variable("NO_COLOR").empty(), able, terminalColumns};
}

void useTerminalCharacters() {
  const char* chosen = std::setlocale(LC_CTYPE, "");
  if (chosen == nullptr || std::string_view(::nl_langinfo(CODESET)) == "ANSI_X3.4-1968") {
    std::setlocale(LC_CTYPE, "C.UTF-8");
  }
}

}  // namespace relaybird
