// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/paths.h"

namespace relaybird {

/// An empty folder for one test, removed with its content at the end of the scope. Permissions that
/// the test has changed in it are restored first.
class TempFolder {
 public:
  TempFolder() {
    namespace fs = std::filesystem;
    std::random_device random;
    fs::path folder;
    do {
      folder = fs::temp_directory_path() / ("relaybird-" + std::to_string(random()));
    } while (!fs::create_directory(folder));  // false where another test has the name
    fs::permissions(folder, fs::perms::owner_all);
    path_ = folder.string();
  }
  ~TempFolder() {
    namespace fs = std::filesystem;
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(path_, ignored)) {
      if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
        fs::permissions(entry.path(), fs::perms::owner_all, ignored);
      }
    }
    fs::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  /// Absolute, without a closing separator.
  const std::string& path() const { return path_; }
  /// The path of a name in the folder; nothing is created.
  std::string path(std::string_view name) const { return joinPath(path_, name); }

 private:
  std::string path_;
};

/// The bytes of a file; throws if it cannot be read, so that a test never takes a missing file for
/// an empty one.
inline std::string readBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw std::runtime_error("cannot read " + path);
  }
  return {std::istreambuf_iterator<char>(in), {}};
}

inline void writeBytes(const std::string& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) {
    throw std::runtime_error("cannot write " + path);
  }
}

}  // namespace relaybird
