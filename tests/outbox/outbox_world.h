// SPDX-License-Identifier: MIT
// An outbox on a real disk that can be made to fail, under a clock that stands still.
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "outbox/outbox.h"
#include "platform/posix/posix_file_system.h"
#include "stores/maildir/maildir_disk.h"
#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {

/// Bytes that differ from call to call, over all copies, and are the same in every run.
inline RandomBytes countingBytes() {
  return [count = std::make_shared<int>(0)](std::size_t size) -> Result<std::string> {
    std::string bytes(size, '\0');
    bytes.back() = static_cast<char>(++*count);
    return bytes;
  };
}

inline Outbox::Writer writes(std::string text) {
  return [text = std::move(text)](OutputFile& file) { return file.write(text); };
}

struct OutboxWorld {
  TempFolder temp;
  FakeClock clock;
  RecordingSleeper sleeper{clock};
  UnsyncedDisk disk{sleeper};
  FaultyFileSystem files{disk};
  FileSystem* through = &files;  ///< `&disk` for tests with threads, which `files` is not for
  RandomBytes random = countingBytes();
  std::string folder = temp.path("mail/outbox");
  std::string journal = temp.path("state/rbx/journal");

  Result<std::unique_ptr<Outbox>> tryOpen() {
    return Outbox::open(*through, clock, random, folder, journal);
  }
  /// Throws where the outbox cannot be opened.
  std::unique_ptr<Outbox> open() { return std::move(tryOpen().value()); }

  /// Names in new/, tmp/, failed/ ..., sorted.
  std::vector<std::string> names(const std::string& part) {
    std::vector<std::string> found;
    const auto entries = disk.list(folder + '/' + part);
    for (const FolderEntry& entry : entries.value()) {
      found.push_back(entry.name);
    }
    std::sort(found.begin(), found.end());
    return found;
  }
  std::string bytesOf(const std::string& part, const std::string& name) {
    return readBytes(folder + '/' + part + '/' + name);
  }
  void put(const std::string& part, const std::string& name, const std::string& bytes) {
    writeBytes(folder + '/' + part + '/' + name, bytes);
  }
};

}  // namespace relaybird
