// SPDX-License-Identifier: MIT
#include "platform/win32/shell_programs.h"

#include <windows.h>

#include <shellapi.h>

#include "platform/win32/win32_error.h"
#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

// By the shell and not by CreateProcess: it knows what opens a document, and asks the user where a
// program wants to be an administrator.
Result<void> execute(const std::string& file, const std::string& parameters,
                     const std::string& what) {
  const std::wstring wideFile = toWide(file);
  const std::wstring wideParameters = toWide(parameters);
  SHELLEXECUTEINFOW info{};
  info.cbSize = sizeof info;
  // The caller tells of a failure. Waits for conversations with programs that are running already,
  // since this thread may serve no messages afterwards.
  info.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
  info.lpFile = wideFile.c_str();
  info.lpParameters = wideParameters.c_str();
  info.nShow = SW_SHOWNORMAL;
  return ::ShellExecuteExW(&info) ? Result<void>() : lastError(what);
}

}  // namespace

// The rules of CommandLineToArgvW: a backslash counts as an escape only before a quote.
std::string commandLineWord(const std::string& word) {
  // Programs with rules of their own, such as cmd, want their options as they are.
  if (!word.empty() && word.find_first_of(" \t\n\v\"") == std::string::npos) {
    return word;
  }
  std::string quoted = "\"";
  std::size_t backslashes = 0;
  for (const char c : word) {
    if (c == '"') {
      quoted.append(backslashes + 1, '\\');
    }
    backslashes = c == '\\' ? backslashes + 1 : 0;
    quoted += c;
  }
  return quoted.append(backslashes, '\\') + '"';
}

Result<void> startProgram(const std::string& program, const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    line += (line.empty() ? "" : " ") + commandLineWord(argument);
  }
  return execute(program, line, "start " + program);
}

Result<void> openInShell(const std::string& target) {
  return execute(target, "", "open " + target);
}

}  // namespace relaybird
