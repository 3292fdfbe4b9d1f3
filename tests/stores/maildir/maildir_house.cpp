// SPDX-License-Identifier: MIT
#include "stores/maildir/maildir_house.h"

#include <gtest/gtest.h>

#include "outbox/journal.h"

namespace relaybird {

RandomBytes countingRandom(std::uint64_t seed) {
  auto state = std::make_shared<std::uint64_t>(seed * 0x9E3779B97F4A7C15U);
  return [state](std::size_t count) -> Result<std::string> {
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
      *state = *state * 6364136223846793005U + 1442695040888963407U;
      byte = static_cast<char>(*state >> 56);
    }
    return bytes;
  };
}

MailSettings maildirSettings(const std::string& maildir, const std::string& outbox,
                             const std::string& address, const std::string& name) {
  MailSettings settings;
  settings.maildir = maildir;
  settings.outbox = outbox;
  settings.address = address;
  settings.name = name;
  return settings;
}

std::vector<OutboxFile> outboxFiles(const std::string& folder) {
  std::vector<OutboxFile> files;
  const std::string waiting = folder + "/new";
  if (std::filesystem::exists(waiting)) {
    for (const auto& entry : std::filesystem::directory_iterator(waiting)) {
      files.push_back({entry.path().filename().string(), readBytes(entry.path().string())});
    }
  }
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  PosixFileSystem disk{sleeper};
  if (const auto journal = Journal::open(disk, clock, folder + "/journal")) {
    for (const auto& [name, text] : (*journal)->records().texts()) {
      files.push_back({name, text});
    }
  }
  std::sort(files.begin(), files.end(),
            [](const auto& a, const auto& b) { return a.name < b.name; });
  return files;
}

std::string fieldOf(std::string_view message, const std::string& name) {
  const std::string_view head = message.substr(0, message.find("\n\n") + 1);
  const std::size_t at = ("\n" + std::string(head)).find("\n" + name + ": ");
  if (at == std::string::npos) {
    return {};
  }
  const std::size_t value = at + name.size() + 2;
  return std::string(head.substr(value, head.find('\n', value) - value));
}

MaildirHouse::MaildirHouse() {
  settings =
      maildirSettings(maildir, stateFolder + "/rbx/outbox", "ann@example.org", "Ann Example");
  open();
}

void MaildirHouse::open() {
  store.reset();
  store = std::make_unique<MaildirStore>(
      settings,
      StoreWorld{.files = disk,
                 .clock = clock,
                 .events = events,
                 .executor = executor,
                 .commands = commands,
                 .random = countingRandom(++opened),
                 .stateFolder = stateFolder,
                 .notice = [this](const StoreNotice& told) { notices.push_back(told.line); },
                 .lockFolder = [this](const std::string& folder) { return lock(folder); }},
      delivering ? borrowed(&transport) : nullptr);
}

void MaildirHouse::forward(const std::shared_ptr<MailItem>& item) {
  item->UnRead(false);
  const auto forward = item->Forward();
  forward->Recipients()->Add("cell@phone.example");
  forward->send();
  item->UnRead(false);
}

}  // namespace relaybird
