// SPDX-License-Identifier: MIT
#include "app/local_identity.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <vector>

namespace relaybird {
namespace {

std::string hostName() {
  std::array<char, 256> name{};
  if (gethostname(name.data(), name.size() - 1) != 0 || name.front() == '\0') {
    return "localhost";
  }
  return name.data();
}

}  // namespace

LocalIdentity localIdentity() {
  LocalIdentity identity;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
    identity.homeFolder = found->pw_dir;
    identity.userAtHost = std::string(found->pw_name) + "@" + hostName();
    const std::string gecos = found->pw_gecos == nullptr ? "" : found->pw_gecos;
    identity.fullName = gecos.substr(0, gecos.find(','));
  }
  if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
    identity.homeFolder = home;
  }
  return identity;
}

}  // namespace relaybird
