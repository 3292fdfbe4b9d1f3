// SPDX-License-Identifier: MIT
// The start of both programs: the state of the process, the command line, the release's version,
// and the facts about user and program that the system knows. All that calls POSIX here is the
// programs' own; what a test replaces is an interface in platform/.
#include "app/program_start.h"

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
#include <utility>

#include "message/text/libraries.h"
#include "platform/curl/curl_network.h"
#include "platform/file_system.h"
#include "platform/posix/secret_pages.h"

namespace relaybird {
namespace {

// From this size on, freed memory goes back to the system at once. By itself the C library raises
// the limit to that of the largest block so far, and then keeps what one large message has needed.
constexpr int kLargeBlock = 256 << 10;

std::string hostName() {
  std::array<char, 256> name{};
  // A name that is cut off need not end in a zero byte, so the last one is left alone.
  if (gethostname(name.data(), name.size() - 1) != 0 || name.front() == '\0') {
    return "localhost";
  }
  return name.data();
}

}  // namespace

void prepareProcess() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // open() takes the lowest free number, which is this one.
    if (::fcntl(descriptor, F_GETFD) < 0) {
      (void)::open("/dev/null", O_RDWR);
    }
  }
#ifdef M_MMAP_THRESHOLD
  (void)::mallopt(M_MMAP_THRESHOLD, kLargeBlock);
#endif
  // Where the parent ignored SIGCHLD, waitpid() would find no exit status.
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  static auto* const secretPages = new SecretPages;  // never destroyed: statics may hold secrets
  keepSecretsIn(*secretPages);
  prepareLibraries();
  prepareCurl();
}

ProgramIdentity programIdentity(std::string name) {
  return {std::move(name),
          RELAYBIRD_VERSION,
          {RELAYBIRD_VERSION_MAJOR, RELAYBIRD_VERSION_MINOR, RELAYBIRD_VERSION_PATCH}};
}

std::optional<int> answerArguments(const ProgramIdentity& identity, std::string_view help,
                                   const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    return std::nullopt;
  }
  if (arguments == std::vector<std::string>{"--help"}) {
    std::cout << help;
    return EXIT_SUCCESS;
  }
  if (arguments == std::vector<std::string>{"--version"}) {
    std::cout << "Relaybird " << identity.versionText << '\n';
    return EXIT_SUCCESS;
  }
  std::cerr << identity.name << " takes no options but --help and --version, not \""
            << arguments.front() << "\"\n";
  return kSettingsForbid;
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
  if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
    identity.homeFolder = home;
  }
  return identity;
}

std::string credentialFolder() {
  const char* const folder = std::getenv("CREDENTIALS_DIRECTORY");
  return folder != nullptr && *folder == '/' ? folder : "";
}

std::string programFolder() {
  std::array<char, PATH_MAX> path;
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) {
    return {};
  }
  return parentFolder({path.data(), static_cast<std::size_t>(length)});
}

std::string defaultHelpFile(FileSystem& files, const std::string& folder) {
  const std::string installed = joinPath(parentFolder(folder), "share/relaybird/rbx.chm");
  const std::string beside = joinPath(folder, "rbx.chm");
  return !FileExists(files, installed) && FileExists(files, beside) ? beside : installed;
}

}  // namespace relaybird
