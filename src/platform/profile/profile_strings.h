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

/// The size of the caller's buffer in characters, including the closing NUL: values are cut at 254.
inline constexpr std::size_t kProfileBufferSize = 255;

/// Reads a profile file. Whether later changes by others are seen is not specified.
class ProfileReader {
 public:
  virtual ~ProfileReader() = default;
  /// The value of the first such key in the first such section, ignoring the case of names, or
  /// `fallback` when the file, the section or the key is missing. A key with an empty value yields
  /// the empty text. The result is cut to `bufferSize` - 1 UTF-8 characters, never within one; a
  /// byte that is not UTF-8 counts as one character.
  virtual std::string get(std::string_view section, std::string_view key, std::string_view fallback,
                          std::size_t bufferSize = kProfileBufferSize) const = 0;
};

/// A series of writes to one profile file.
class ProfileWriter {
 public:
  virtual ~ProfileWriter() = default;
  /// Sets a key, creating file, section and key as needed. A value or a name that would break the
  /// line structure (with a CR, LF or NUL) is refused. False on failure; error() says why.
  virtual bool set(std::string_view section, std::string_view key, std::string_view value) = 0;
  /// Returns true once everything that set() accepted is on disk. An implementation may write at
  /// each set(); one that collects leaves the old file intact when commit() fails.
  virtual bool commit() = 0;
  virtual std::string error() const = 0;
};

class ProfileStrings {
 public:
  virtual ~ProfileStrings() = default;
  /// Never fails: a file that cannot be read has no keys.
  virtual std::unique_ptr<ProfileReader> read(const std::string& file) = 0;
  virtual std::unique_ptr<ProfileWriter> write(const std::string& file) = 0;
};

}  // namespace relaybird
