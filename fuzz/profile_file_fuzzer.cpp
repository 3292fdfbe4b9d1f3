// SPDX-License-Identifier: MIT
// Any bytes as a profile file, into which a setting is written: the setting is read back, every
// other key has the same value, and all other lines keep their bytes. The last three lines of the
// input, if it has so many, are section, key and value; the lines before them are the file.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "platform/profile/profile_document.h"
#include "platform/profile/profile_encoding.h"
#include "platform/profile/profile_file.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

void require(bool holds, const char* what) {
  if (holds) {
    return;
  }
  std::cerr << "does not hold: " << what << '\n';
  std::abort();
}

// A file system in memory.
class MemoryFiles : public FileSystem {
 public:
  std::map<std::string, std::string> contents;

  Result<FileInfo> inspect(const std::string& path) override {
    if (!contents.contains(path)) {
      return Error{ENOENT, path};
    }
    return FileInfo{FileType::kRegular, contents[path].size(), kNoDate, 0, 0};
  }
  Result<std::vector<FolderEntry>> list(const std::string& path) override {
    return Error{ENOTSUP, path};
  }
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    const auto info = inspect(path);
    if (!info) {
      return info.error();
    }
    return std::unique_ptr<InputFile>(std::make_unique<Input>(contents[path], *info));
  }
  Result<std::unique_ptr<OutputFile>> create(const std::string& path) override {
    if (contents.contains(path)) {
      return Error{EEXIST, path};
    }
    return append(path);
  }
  Result<std::unique_ptr<OutputFile>> append(const std::string& path) override {
    return std::unique_ptr<OutputFile>(std::make_unique<Output>(contents[path]));
  }
  Result<void> rename(const std::string& from, const std::string& to) override {
    contents[to] = contents[from];
    return remove(from);
  }
  Result<void> remove(const std::string& path) override {
    contents.erase(path);
    return {};
  }
  Result<void> createFolder(const std::string&) override { return {}; }
  Result<void> syncFolder(const std::string&) override { return {}; }
  Result<std::unique_ptr<FolderLock>> lockFolder(const std::string&) override {
    return std::make_unique<FolderLock>();
  }

 private:
  class Input : public InputFile {
   public:
    Input(std::string bytes, FileInfo info) : bytes_(std::move(bytes)), info_(info) {}
    const FileInfo& info() const override { return info_; }
    Result<std::size_t> readAt(std::uint64_t offset, char* to, std::size_t size) override {
      return offset >= bytes_.size() ? 0 : bytes_.copy(to, size, offset);
    }

   private:
    std::string bytes_;
    FileInfo info_;
  };
  class Output : public OutputFile {
   public:
    explicit Output(std::string& bytes) : bytes_(bytes) {}
    Result<void> write(std::string_view more) override {
      bytes_ += more;
      return {};
    }
    Result<void> sync() override { return {}; }
    Result<void> close() override { return {}; }

   private:
    std::string& bytes_;
  };
};

struct Input {
  std::string file;
  std::string section = "default";
  std::string key = "key";
  std::string value = "value";
};

Input split(std::string bytes) {
  Input input;
  if (std::count(bytes.begin(), bytes.end(), '\n') >= 3) {
    for (std::string* part : {&input.value, &input.key, &input.section}) {
      const auto end = bytes.rfind('\n');
      *part = bytes.substr(end + 1);
      bytes.resize(end);
    }
  }
  input.file = std::move(bytes);
  return input;
}

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const auto end = std::min(text.find_first_of("\r\n"), text.size());
    const std::size_t breaks = text.substr(end, 2) == "\r\n" ? 2 : end < text.size() ? 1 : 0;
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end + breaks);
  }
  return lines;
}

// The names of all lines that look like sections and keys, whether they count as such or not.
std::vector<std::pair<std::string, std::string>> namesIn(const std::vector<std::string>& lines) {
  std::vector<std::pair<std::string, std::string>> names;
  std::string section;
  for (const std::string& line : lines) {
    const auto trimmed = trimProfileBlanks(line);
    if (trimmed.starts_with('[') && trimmed.find(']') != std::string_view::npos) {
      section = trimmed.substr(1, trimmed.rfind(']') - 1);
    } else if (const auto equals = line.find('='); equals != std::string::npos) {
      names.emplace_back(section, line.substr(0, equals));
    }
  }
  return names;
}

bool sameName(std::string_view left, std::string_view right) {
  left = trimProfileBlanks(left);
  right = trimProfileBlanks(right);
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [&](char a, char b) { return lower(a) == lower(b); });
}

// The value as it is read back.
std::string asRead(std::string_view value) {
  value = trimProfileBlanks(value);
  if (value.size() >= 2 && value.front() == value.back() &&
      (value.front() == '"' || value.front() == '\'')) {
    value = value.substr(1, value.size() - 2);
  }
  return std::string(firstCharacters(value, kProfileBufferSize - 1));
}

// Requires that `after` is `before` with at most one line changed, or with up to two lines
// inserted.
void requireOneChange(const std::vector<std::string>& before,
                      const std::vector<std::string>& after) {
  const auto [b, a] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
  const auto [rb, ra] = std::mismatch(before.rbegin(), std::make_reverse_iterator(b),
                                      after.rbegin(), std::make_reverse_iterator(a));
  const auto gone = rb.base() - b;
  const auto come = ra.base() - a;
  require((gone == 1 && come == 1) || (gone == 0 && come <= 2), "all other lines are unchanged");
}

void check(const Input& input) {
  MemoryFiles files;
  ProfileFile profiles(files);
  const std::string name = "/rbx.ini";
  files.contents[name] = input.file;
  const ProfileText old = decodeProfile(input.file);
  require(encodeProfile(old, old.text) == input.file, "decoding and encoding lose nothing");

  const auto before = profiles.read(name);
  const auto writer = profiles.write(name);
  if (!writer->set(input.section, input.key, input.value)) {
    return;
  }
  if (!writer->commit()) {
    require(files.contents[name] == input.file, "a commit that fails changes nothing");
    require(old.encoding == ProfileEncoding::kUtf16Le, "only UTF-16 files refuse a setting");
    return;
  }
  require(files.contents.size() == 1, "nothing else is left behind");
  const auto after = profiles.read(name);
  require(after->get(input.section, input.key, "missing") == asRead(input.value),
          "what is set is read back");
  const auto lines = linesOf(old.text);
  requireOneChange(lines, linesOf(decodeProfile(files.contents[name]).text));
  for (const auto& [section, key] : namesIn(lines)) {
    if (sameName(section, input.section) && sameName(key, input.key)) {
      continue;
    }
    require(before->get(section, key, "none") == after->get(section, key, "none"),
            "other keys read the same");
  }
  const std::string once = files.contents[name];
  const auto again = profiles.write(name);
  require(again->set(input.section, input.key, input.value) && again->commit(), "again");
  require(files.contents[name] == once, "setting it again changes nothing");
}

}  // namespace
}  // namespace relaybird

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  relaybird::check(relaybird::split({reinterpret_cast<const char*>(data), size}));
  return 0;
}
