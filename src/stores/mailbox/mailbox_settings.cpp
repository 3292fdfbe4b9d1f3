// SPDX-License-Identifier: MIT
#include "stores/mailbox/mailbox_settings.h"

#include <charconv>

namespace relaybird {

namespace {

// A typing error must not switch the limit off.
std::size_t asLimit(const std::string& text) {
  std::size_t number = 0;
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc{} && read.ptr == end && number > 0 ? number : kMostPerHour;
}

// The forwarding settings are cut at 254 characters; a path may be longer (PATH_MAX).
constexpr std::size_t kValueSize = 4096;

}  // namespace

std::string mailValue(const ProfileReader& file, std::string_view key,
                      const std::string& fallback) {
  const std::string text = file.get(kMailSection, key, "", kValueSize);
  return text.empty() ? fallback : text;
}

std::string expandHome(const std::string& text, const std::string& home) {
  if (text == "~") {
    return home;
  }
  return text.compare(0, 2, "~/") == 0 ? home + text.substr(1) : text;
}

std::string userPath(const std::string& text, const std::string& home) {
  std::string path = expandHome(text, home);
  if (!path.empty() && path.front() != '/') {
    path = home + "/" + path;
  }
  while (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

MailboxSettings readMailboxSettings(const ProfileReader& file, const LocalIdentity& user,
                                    const std::string& stateFolder) {
  MailboxSettings settings;
  settings.stateFolder = stateFolder + "/rbx";
  settings.outbox = userPath(mailValue(file, "outbox", ""), user.homeFolder);
  settings.addressBook = userPath(mailValue(file, "address_book", ""), user.homeFolder);
  settings.address = mailValue(file, "address", user.userAtHost);
  settings.name = mailValue(file, "name", user.fullName);
  settings.mostPerHour = asLimit(mailValue(file, "max_per_hour", ""));
  return settings;
}

}  // namespace relaybird
