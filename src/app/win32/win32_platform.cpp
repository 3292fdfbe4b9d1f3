// SPDX-License-Identifier: MIT
// A program's platform on Windows: the implementations of platform/win32, and what only the process
// itself can be asked. Mail goes through the mail application, so that there are no delivery
// commands, no mail servers and no passwords.
#include "app/win32/win32_platform.h"

#include <windows.h>

#define SECURITY_WIN32
#include <security.h>
#include <shlobj.h>

#include <cerrno>
#include <functional>
#include <iostream>
#include <vector>

#include "app/program_platform.h"
#include "app/win32/win32_desktop_programs.h"
#include "platform/paths.h"
#include "platform/win32/locked_pages.h"
#include "platform/win32/run_key_autostart.h"
#include "platform/win32/serving_sleeper.h"
#include "platform/win32/shell_folders.h"
#include "platform/win32/starter_output.h"
#include "platform/win32/win32_clock.h"
#include "platform/win32/win32_file_system.h"
#include "platform/win32/win32_profile_strings.h"
#include "platform/win32/win32_text.h"
#include "platform/win32/win32_version.h"

namespace relaybird {
namespace {

// The longest path that the system knows.
constexpr DWORD kLongestPath = 32768;

class NoCommands : public CommandRunner {
 public:
  CommandResult run(const std::vector<std::string>&, const CommandInput&, std::chrono::milliseconds,
                    std::stop_token) override {
    return {CommandResult::End::kNotStarted, ENOTSUP, ""};
  }
};

// A name that the system writes into a buffer: the call takes the buffer and its size in
// characters, and sets the size of the name without its NUL. Empty where it fails.
std::string nameBy(const std::function<bool(wchar_t*, DWORD*)>& call) {
  std::vector<wchar_t> buffer(1024);
  DWORD size = static_cast<DWORD>(buffer.size());
  return call(buffer.data(), &size) ? fromWide(buffer.data()) : "";
}

// The program with windows has streams only where they are redirected.
void tellStarter(const std::string& text, bool isError) {
  if (!writeToStarter(isError ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE, text)) {
    ::MessageBoxW(nullptr, toWide(text).c_str(), L"Relaybird",
                  MB_SETFOREGROUND | (isError ? MB_ICONWARNING : MB_ICONINFORMATION));
  }
}

StandardStreams standardStreams() {
  return {.out = [](const std::string& text) { std::cout << text << std::flush; },
          .err = [](const std::string& text) { std::cerr << text; },
          .tellStarter = tellStarter};
}

// Known places, the same for every user. In the root of the drive only an administrator may make a
// file, so that others have to make the trace file for the user first.
constexpr const char* kTraceFile = "c:\\rbxdb.txt";
constexpr const char* kTraceMarker = "c:\\rbxkey\\db";

}  // namespace

// Objects of the mail application belong to the thread that makes them, which is this one; the
// apartment lasts as long as the process.
void prepareSystemProcess() {
  (void)::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  // A missing disk in a drive is an error for the caller and not a box of the system.
  ::SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  static auto* const pages = new LockedPages;  // never destroyed: statics may hold secrets
  keepSecretsIn(*pages);
}

LocalIdentity localIdentity() {
  LocalIdentity identity;
  identity.homeFolder = ShellFolders().GetSpecialFolderPath(CSIDL_PROFILE);
  const std::string name =
      nameBy([](wchar_t* buffer, DWORD* size) { return ::GetUserNameW(buffer, size) != 0; });
  const std::string host = nameBy([](wchar_t* buffer, DWORD* size) {
    return ::GetComputerNameExW(ComputerNameDnsHostname, buffer, size) != 0;
  });
  if (!name.empty()) {
    identity.userAtHost = name + "@" + (host.empty() ? "localhost" : host);
  }
  identity.fullName = nameBy([](wchar_t* buffer, DWORD* size) {
    return ::GetUserNameExW(NameDisplay, buffer, size) != 0;
  });
  return identity;
}

std::string programFolder() {
  std::wstring path(kLongestPath, L'\0');
  const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), kLongestPath);
  if (length == 0 || length >= kLongestPath) {
    return {};
  }
  path.resize(length);
  return parentFolder(fromWide(path));
}

ProgramPlatform systemPlatform() {
  ProgramPlatform system;
  system.streams = standardStreams();
  system.sleeper = std::make_unique<ServingSleeper>();
  system.files = std::make_unique<Win32FileSystem>(*system.sleeper);
  FileSystem& files = *system.files;
  system.profiles = std::make_unique<Win32ProfileStrings>(files);
  system.clock = std::make_unique<Win32Clock>();
  system.folders = std::make_unique<ShellFolders>();
  system.osVersion = std::make_unique<Win32OsVersion>();
  system.commands = std::make_unique<NoCommands>();
  system.random = systemRandomBytes;
  system.traceFile = kTraceFile;
  system.traceMarker = kTraceMarker;
  system.plainText = {.lineEnd = "\r\n", .encode = toAnsi};
  system.user = localIdentity();
  system.process = static_cast<long>(::GetCurrentProcessId());
  system.programFolder = programFolder();
  system.decimalSeparator = userDecimalSeparator();
  system.systemInformation = std::make_unique<Win32SystemInformation>(files);
  system.folderViewer = std::make_unique<ShellFolderViewer>();
  // The caller names the program without an ending, as it is on other systems.
  system.makeAutostart = [&files](const std::string& program) -> std::unique_ptr<Autostart> {
    return std::make_unique<RunKeyAutostart>(files, program + ".exe");
  };
  return system;
}

}  // namespace relaybird
