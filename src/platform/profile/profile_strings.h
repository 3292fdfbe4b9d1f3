// SPDX-License-Identifier: MIT
// Private-profile files: sections of key=value lines, read and written with the rules of the
// Windows calls GetPrivateProfileStringA and WritePrivateProfileStringA. On Windows an
// implementation calls those; elsewhere profile_file.h does the same to a file by itself.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace relaybird {

/// The size of the caller's buffer in characters, closing NUL included: values are cut at 254.
inline constexpr std::size_t kProfileBufferSize = 255;

/// One look at a profile file. What others write afterwards may or may not be seen.
class ProfileReader {
 public:
  virtual ~ProfileReader() = default;
  /// The value of the first such key in the first such section, names compared without regard to
  /// case, or `fallback` where the file, the section or the key is missing. A key that is there
  /// with an empty value yields the empty text. The result is cut at `bufferSize` - 1 characters
  /// (of UTF-8; a byte that is none counts as one), and never within one.
  virtual std::string get(std::string_view section, std::string_view key, std::string_view fallback,
                          std::size_t bufferSize = kProfileBufferSize) const = 0;
};

/// A series of writes to one profile file.
class ProfileWriter {
 public:
  virtual ~ProfileWriter() = default;
  /// Sets a key, making file, section and key as needed. A value or a name that would break the
  /// line structure (CR, LF or NUL in it) is refused. False on failure, and error() says why.
  virtual bool set(std::string_view section, std::string_view key, std::string_view value) = 0;
  /// Returns true when everything that set() accepted is in the file, durably. An implementation
  /// may write at each set(); one that collects leaves the old file whole when commit() fails.
  virtual bool commit() = 0;
  virtual std::string error() const = 0;
};

class ProfileStrings {
 public:
  virtual ~ProfileStrings() = default;
  /// Never fails: a file that cannot be read holds no keys.
  virtual std::unique_ptr<ProfileReader> read(const std::string& file) = 0;
  virtual std::unique_ptr<ProfileWriter> write(const std::string& file) = 0;
};

}  // namespace relaybird
