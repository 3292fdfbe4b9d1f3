// SPDX-License-Identifier: MIT
#include "stores/maildir/maildir_settings.h"

#include <charconv>

namespace relaybird {

namespace {

std::string expandHome(const std::string& text, const std::string& home) {
  if (text == "~") {
    return home;
  }
  return text.compare(0, 2, "~/") == 0 ? home + text.substr(1) : text;
}

std::string asPath(const std::string& text, const std::string& home) {
  std::string path = expandHome(text, home);
  if (!path.empty() && path.front() != '/') {
    path = home + "/" + path;
  }
  while (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

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

// A key with an empty value counts as absent: the user has cleared the line.
MaildirSettings readMaildirSettings(const ProfileReader& file, const LocalIdentity& user,
                                    const std::string& stateFolder) {
  const auto value = [&](std::string_view key, const std::string& fallback) {
    const std::string text = file.get(kMailSection, key, "", kValueSize);
    return text.empty() ? fallback : text;
  };
  const std::string& home = user.homeFolder;
  MaildirSettings settings;
  settings.stateFolder = stateFolder + "/rbx";
  settings.maildir = asPath(value("maildir", home + "/Maildir"), home);
  settings.outbox = asPath(value("outbox", ""), home);
  settings.addressBook = asPath(value("address_book", ""), home);
  settings.sendmail = expandHome(value("sendmail", ""), home);
  settings.address = value("address", user.userAtHost);
  settings.mostPerHour = asLimit(value("max_per_hour", ""));
  settings.name = value("name", user.fullName);
  return settings;
}

}  // namespace relaybird
