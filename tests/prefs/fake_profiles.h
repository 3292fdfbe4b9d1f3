// SPDX-License-Identifier: MIT
// Profile strings in memory that record what is read and set, and refuse on demand.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/profile/profile_strings.h"
#include "platform/text/utf8_text.h"

namespace relaybird {

class FakeProfiles : public ProfileStrings {
 public:
  using Key = std::pair<std::string, std::string>;  ///< section, key

  std::map<Key, std::string> values;
  std::vector<std::string> readFiles;
  std::vector<std::string> writtenFiles;
  std::vector<std::string> keysRead;
  std::vector<std::pair<std::string, std::string>> sets;  ///< accepted ones: key, value
  std::size_t commits = 0;
  std::size_t refuseSetNumber = 0;  ///< from 1; 0 refuses none
  bool refuseCommit = false;

  std::string& operator[](const std::string& key) { return values[{"default", key}]; }

  std::unique_ptr<ProfileReader> read(const std::string& file) override {
    readFiles.push_back(file);
    return std::make_unique<Reader>(*this);
  }
  std::unique_ptr<ProfileWriter> write(const std::string& file) override {
    writtenFiles.push_back(file);
    return std::make_unique<Writer>(*this);
  }

 private:
  class Reader : public ProfileReader {
   public:
    explicit Reader(FakeProfiles& profiles) : profiles_(profiles) {}
    std::string get(std::string_view section, std::string_view key, std::string_view fallback,
                    std::size_t bufferSize) const override {
      profiles_.keysRead.emplace_back(key);
      const auto found = profiles_.values.find({std::string(section), std::string(key)});
      std::string value(found == profiles_.values.end() ? fallback : found->second);
      value.resize(firstCharacters(value, bufferSize - 1).size());
      return value;
    }

   private:
    FakeProfiles& profiles_;
  };

  class Writer : public ProfileWriter {
   public:
    explicit Writer(FakeProfiles& profiles) : profiles_(profiles) {}
    bool set(std::string_view section, std::string_view key, std::string_view value) override {
      const bool refused = ++calls_ == profiles_.refuseSetNumber;
      if (refused || value.find_first_of("\r\n") != std::string_view::npos) {
        error_ = "refused " + std::string(key);
        return false;
      }
      profiles_.sets.emplace_back(key, value);
      pending_[{std::string(section), std::string(key)}] = value;
      return true;
    }
    bool commit() override {
      ++profiles_.commits;
      if (profiles_.refuseCommit) {
        error_ = "disk full";
        return false;
      }
      for (const auto& [key, value] : pending_) {
        profiles_.values[key] = value;
      }
      return true;
    }
    std::string error() const override { return error_; }

   private:
    FakeProfiles& profiles_;
    std::map<Key, std::string> pending_;
    std::size_t calls_ = 0;
    std::string error_;
  };
};

}  // namespace relaybird
