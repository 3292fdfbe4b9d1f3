// SPDX-License-Identifier: MIT
// A program's platform on Linux: the implementations of platform/posix, the desktop's services
// where they are built in, and what only the process itself can be asked. This is the one place of
// app/ that calls the system; the rest is given what is made here.
#include "app/posix/posix_platform.h"

#include <fcntl.h>
#include <limits.h>
#include <malloc.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <iostream>
#include <vector>

#include "app/program_platform.h"
#ifdef RELAYBIRD_KEYRING
#include "platform/freedesktop/desktop_keyring.h"
#include "platform/freedesktop/desktop_online_accounts.h"
#endif
#include "message/text/libraries.h"
#include "platform/curl/curl_network.h"
#include "platform/paths.h"
#include "platform/posix/desktop_entry_autostart.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/posix/posix_processes.h"
#include "platform/posix/secret_pages.h"
#include "platform/posix/xdg_folders.h"
#include "platform/profile/profile_file.h"
#include "ui/forms/desktop_programs.h"

namespace relaybird {
namespace {

// From this size on, freed memory goes back to the system at once. By itself the C library raises
// the limit to that of the largest block so far, and then keeps what one large message has needed.
// A message of usual size must not be given back and fetched anew for each of its copies, which
// takes longer than the copying.
constexpr int kLargeBlock = 4 << 20;

// A program with windows has the streams that it was started with, as any other.
StandardStreams standardStreams() {
  const auto out = [](const std::string& text) { std::cout << text << std::flush; };
  const auto err = [](const std::string& text) { std::cerr << text; };
  return {.out = out, .err = err, .tellStarter = [=](const std::string& text, bool isError) {
            isError ? err(text) : out(text);
          }};
}

std::string hostName() {
  std::array<char, 256> name{};
  // A name that is cut off need not end in a zero byte, so the last one is left alone.
  if (gethostname(name.data(), name.size() - 1) != 0 || name.front() == '\0') {
    return "localhost";
  }
  return name.data();
}

}  // namespace

// Standard streams that are closed become the null device, so that no file of the program ever gets
// their numbers; a broken pipe becomes an error instead of ending the process; and the exit status
// of a delivery command, which tells whether a message was taken, is not lost.
void prepareSystemProcess() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // open() takes the lowest free number, which is this one.
    if (::fcntl(descriptor, F_GETFD) < 0) {
      (void)::open("/dev/null", O_RDWR);
    }
  }
#ifdef M_MMAP_THRESHOLD
  (void)::mallopt(M_MMAP_THRESHOLD, kLargeBlock);
  (void)::mallopt(M_TRIM_THRESHOLD, kLargeBlock);
#endif
  // Where the parent ignored SIGCHLD, waitpid() would find no exit status.
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  static auto* const secretPages = new SecretPages;  // never destroyed: statics may hold secrets
  keepSecretsIn(*secretPages);
  // Threads share these libraries, so that they are made ready before there are any.
  prepareCurl();
  prepareLibraries();
}

LocalIdentity localIdentity() {
  LocalIdentity identity;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
    identity.homeFolder = found->pw_dir;
    identity.userAtHost = std::string(found->pw_name) + "@" + hostName();
    const std::string gecos = found->pw_gecos == nullptr ? "" : found->pw_gecos;
    // The first of its fields, divided by commas, is the name.
    identity.fullName = gecos.substr(0, gecos.find(','));
  }
  // As in a shell, HOME counts more than the list of users.
  if (const char* home = std::getenv("HOME"); home != nullptr && isAbsolutePath(home)) {
    identity.homeFolder = home;
  }
  return identity;
}

std::string credentialFolder() {
  const char* const folder = std::getenv("CREDENTIALS_DIRECTORY");
  return folder != nullptr && isAbsolutePath(folder) ? folder : "";
}

// With the rights that a program is started with, not those of whoever has started this one.
bool mayRun(const std::string& program) {
  return ::faccessat(AT_FDCWD, program.c_str(), X_OK, AT_EACCESS) == 0;
}

std::string programFolder() {
  std::array<char, PATH_MAX> path;
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) {
    return {};
  }
  return parentFolder({path.data(), static_cast<std::size_t>(length)});
}

ProgramPlatform systemPlatform() {
  ProgramPlatform system;
  system.streams = standardStreams();
  system.sleeper = std::make_unique<PosixSleeper>();
  system.files = std::make_unique<PosixFileSystem>(*system.sleeper);
  FileSystem& files = *system.files;
  system.profiles = std::make_unique<ProfileFile>(files);
  system.clock = std::make_unique<PosixClock>();
  system.folders = std::make_unique<XdgFolders>(files);
  system.osVersion = std::make_unique<NotWindows>();
  system.commands = std::make_unique<PosixCommandRunner>(steadyTime);
  system.mayRun = mayRun;
  system.secretCommands = std::make_unique<PosixCommandRunner>(steadyTime);
#ifdef RELAYBIRD_KEYRING
  system.keyring = std::make_unique<DesktopKeyring>();
  system.accounts = std::make_unique<DesktopOnlineAccounts>();
#endif
  system.network = [] { return std::make_unique<CurlNetwork>(); };
  system.random = systemRandomBytes;
  system.user = localIdentity();
  system.process = ::getpid();
  system.credentialFolder = credentialFolder();
  system.programFolder = programFolder();
  system.decimalSeparator = userDecimalSeparator();
  system.systemInformation =
      std::make_unique<ListedSystemInformation>(freeDesktopInformationTools(), files, startProgram);
  system.folderViewer =
      std::make_unique<ListedFolderViewer>(freeDesktopFolderOpeners(), files, startProgram);
  system.makeAutostart = [&files, folder = system.folders->GetAppDataFolder()](
                             const std::string& program) -> std::unique_ptr<Autostart> {
    return std::make_unique<DesktopEntryAutostart>(files, folder, program);
  };
  return system;
}

}  // namespace relaybird
