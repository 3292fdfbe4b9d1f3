// SPDX-License-Identifier: MIT
// The disk keeps a log of steps, and the names and inodes as programs see them now. A state after a
// power cut is made by choosing a fate for each unsynced step and replaying the log (imageOf()).
// Which combinations are tried is described at eachStateAfter().
#include "support/cut_disk.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <tuple>
#include <utility>

namespace relaybird {

namespace {

Error failure(int code, const std::string& path) {
  return {code, path + ": " + std::strerror(code)};
}

}  // namespace

class CutDisk::Input : public InputFile {
 public:
  Input(const CutDisk& disk, Node node, FileInfo info) : disk_(disk), node_(node), info_(info) {}
  const FileInfo& info() const override { return info_; }
  Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
    const std::string& bytes = disk_.inodes_[node_].bytes;
    if (offset >= bytes.size()) {
      return std::size_t{0};
    }
    return bytes.copy(buffer, size, static_cast<std::size_t>(offset));
  }

 private:
  const CutDisk& disk_;
  Node node_;
  FileInfo info_;
};

class CutDisk::Output : public OutputFile {
 public:
  Output(CutDisk& disk, Node node, std::string path)
      : disk_(disk), node_(node), path_(std::move(path)) {}
  Result<void> write(std::string_view bytes) override {
    disk_.write(node_, path_, bytes);
    return {};
  }
  Result<void> sync() override {
    Step step;
    step.kind = Step::Kind::kSyncFile;
    step.node = node_;
    step.path = path_;
    disk_.record(std::move(step));
    return {};
  }
  Result<void> close() override { return {}; }

 private:
  CutDisk& disk_;
  Node node_;
  std::string path_;
};

class CutDisk::Lock : public FolderLock {
 public:
  Lock(CutDisk& disk, std::string folder) : disk_(disk), folder_(std::move(folder)) {}
  ~Lock() override { disk_.locked_.erase(folder_); }

 private:
  CutDisk& disk_;
  std::string folder_;
};

CutDisk::CutDisk(const Clock& clock, const DiskImage& image) : clock_(clock), start_(image) {
  inodes_.resize(1);
  for (const std::string& folder : image.folders) {
    folders_[folder] = clock.now();
  }
  for (const auto& [path, bytes] : image.files) {
    names_[path] = inodes_.size();
    inodes_.push_back({bytes, clock.now()});
  }
}

CutDisk::~CutDisk() = default;

DiskImage CutDisk::image() const {
  DiskImage image;
  for (const auto& [folder, changed] : folders_) {
    image.folders.insert(folder);
  }
  for (const auto& [path, node] : names_) {
    image.files[path] = inodes_[node].bytes;
  }
  return image;
}

void CutDisk::record(Step step) {
  log_.push_back(std::move(step));
}

// Called before something gets that name.
Result<void> CutDisk::enter(const std::string& path) {
  const auto folder = folders_.find(parentFolder(path));
  if (folder == folders_.end()) {
    return failure(ENOENT, path);
  }
  folder->second = clock_.now();
  return {};
}

Result<FileInfo> CutDisk::inspect(const std::string& path) {
  FileInfo info;
  if (const auto folder = folders_.find(path); folder != folders_.end()) {
    info.type = FileType::kFolder;
    info.modified = folder->second;
    info.inode = std::hash<std::string>()(path);
    return info;
  }
  const auto name = names_.find(path);
  if (name == names_.end()) {
    return failure(ENOENT, path);
  }
  info.type = FileType::kRegular;
  info.size = inodes_[name->second].bytes.size();
  info.modified = inodes_[name->second].modified;
  info.inode = name->second;
  return info;
}

Result<std::vector<FolderEntry>> CutDisk::list(const std::string& folder) {
  if (!folders_.contains(folder)) {
    return failure(ENOENT, folder);
  }
  const std::string start = folder + '/';
  std::vector<FolderEntry> entries;
  const auto addFrom = [&](const auto& paths, FileType type) {
    for (auto at = paths.lower_bound(start); at != paths.end(); ++at) {
      if (!at->first.starts_with(start)) {
        break;
      }
      const std::string name = at->first.substr(start.size());
      if (name.find('/') == name.npos) {
        entries.push_back({name, type});
      }
    }
  };
  addFrom(folders_, FileType::kFolder);
  addFrom(names_, FileType::kRegular);
  return entries;
}

Result<std::unique_ptr<InputFile>> CutDisk::open(const std::string& path) {
  const auto info = inspect(path);
  if (!info) {
    return info.error();
  }
  if (info->type != FileType::kRegular) {
    return failure(EISDIR, path);
  }
  return std::unique_ptr<InputFile>(std::make_unique<Input>(*this, names_.at(path), *info));
}

Result<std::unique_ptr<OutputFile>> CutDisk::makeFile(const std::string& path) {
  if (auto entered = enter(path); !entered) {
    return entered.error();
  }
  const Node node = inodes_.size();
  inodes_.push_back({{}, clock_.now()});
  names_[path] = node;
  Step step;
  step.path = path;
  step.node = node;
  record(std::move(step));
  return std::unique_ptr<OutputFile>(std::make_unique<Output>(*this, node, path));
}

Result<std::unique_ptr<OutputFile>> CutDisk::create(const std::string& path) {
  if (inspect(path)) {
    return failure(EEXIST, path);
  }
  return makeFile(path);
}

Result<std::unique_ptr<OutputFile>> CutDisk::append(const std::string& path) {
  if (folders_.contains(path)) {
    return failure(EISDIR, path);
  }
  const auto name = names_.find(path);
  if (name == names_.end()) {
    return makeFile(path);
  }
  return std::unique_ptr<OutputFile>(std::make_unique<Output>(*this, name->second, path));
}

void CutDisk::write(Node node, const std::string& path, std::string_view bytes) {
  Inode& inode = inodes_[node];
  Step step;
  step.kind = Step::Kind::kWrite;
  step.path = path;
  step.node = node;
  step.offset = inode.bytes.size();
  step.bytes = bytes;
  record(std::move(step));
  inode.bytes += bytes;
  inode.modified = clock_.now();
}

Result<void> CutDisk::rename(const std::string& from, const std::string& to) {
  const auto name = names_.find(from);
  if (name == names_.end()) {
    return failure(ENOENT, from);
  }
  if (folders_.contains(to)) {
    return failure(EISDIR, to);
  }
  if (auto entered = enter(to); !entered) {
    return entered;
  }
  (void)enter(from);
  Step step;
  step.kind = Step::Kind::kRename;
  step.path = from;
  step.to = to;
  step.node = name->second;
  record(std::move(step));
  names_[to] = name->second;
  names_.erase(from);
  return {};
}

Result<void> CutDisk::remove(const std::string& file) {
  if (folders_.contains(file)) {
    return failure(EISDIR, file);
  }
  if (names_.erase(file) == 0) {
    return failure(ENOENT, file);
  }
  (void)enter(file);
  Step step;
  step.kind = Step::Kind::kRemove;
  step.path = file;
  record(std::move(step));
  return {};
}

Result<void> CutDisk::createFolder(const std::string& folder) {
  if (inspect(folder)) {
    return failure(EEXIST, folder);
  }
  if (auto entered = enter(folder); !entered) {
    return entered;
  }
  folders_[folder] = clock_.now();
  Step step;
  step.kind = Step::Kind::kFolder;
  step.path = folder;
  record(std::move(step));
  return {};
}

Result<void> CutDisk::syncFolder(const std::string& folder) {
  if (!folders_.contains(folder)) {
    return failure(ENOENT, folder);
  }
  Step step;
  step.kind = Step::Kind::kSyncFolder;
  step.path = folder;
  record(std::move(step));
  return {};
}

Result<std::unique_ptr<FolderLock>> CutDisk::lockFolder(const std::string& folder) {
  if (!folders_.contains(folder)) {
    return failure(ENOENT, folder);
  }
  if (!locked_.insert(folder).second) {
    return failure(EWOULDBLOCK, folder);
  }
  return std::unique_ptr<FolderLock>(std::make_unique<Lock>(*this, folder));
}

std::string CutDisk::describe(std::size_t step) const {
  static constexpr const char* kWords[] = {"create ", "write to ",     "rename ",        "remove ",
                                           "mkdir ",  "sync of file ", "sync of folder "};
  const Step& done = log_.at(step);
  std::string text = kWords[static_cast<int>(done.kind)] + done.path;
  if (done.kind == Step::Kind::kRename) {
    text += " to " + done.to;
  }
  return text;
}

std::size_t CutDisk::nextStep(std::string_view words, std::size_t from) const {
  for (std::size_t at = from; at < log_.size(); ++at) {
    const std::string text = describe(at);
    if (text == words ||
        ((words.ends_with('/') || words.ends_with('.')) && text.starts_with(words))) {
      return at;
    }
  }
  return log_.size();
}

bool CutDisk::isDurable(std::size_t step, std::size_t count) const {
  const Step& done = log_[step];
  if (done.kind == Step::Kind::kSyncFile || done.kind == Step::Kind::kSyncFolder) {
    return true;
  }
  const std::string folder = parentFolder(done.kind == Step::Kind::kRename ? done.to : done.path);
  return std::any_of(log_.begin() + static_cast<std::ptrdiff_t>(step),
                     log_.begin() + static_cast<std::ptrdiff_t>(count), [&](const Step& later) {
                       if (done.kind == Step::Kind::kWrite) {
                         return later.kind == Step::Kind::kSyncFile && later.node == done.node;
                       }
                       return later.kind == Step::Kind::kSyncFolder && later.path == folder;
                     });
}

bool CutDisk::mayHaveBothNames(std::size_t step, std::size_t count) const {
  const Step& done = log_[step];
  if (done.kind != Step::Kind::kRename) {
    return false;
  }
  const std::string folder = parentFolder(done.path);
  return folder != parentFolder(done.to) && nextStep("sync of folder " + folder, step) >= count;
}

// For each step from the first on, whether it is kept; later steps did not happen.
DiskImage CutDisk::imageOf(const std::vector<Fate>& fates) const {
  std::map<std::string, Node> names;
  std::map<Node, std::string> bytes;
  std::set<std::string> folders = start_.folders;
  Node next = 1;
  for (const auto& [path, content] : start_.files) {
    names[path] = next;
    bytes[next++] = content;
  }
  for (std::size_t i = 0; i < fates.size(); ++i) {
    const Step& step = log_[i];
    const Fate fate = fates[i];
    if (fate == Fate::kLost) {
      continue;
    }
    if (step.kind == Step::Kind::kFolder) {
      folders.insert(step.path);
    }
    if (step.kind == Step::Kind::kName) {
      names[step.path] = step.node;
    }
    if (step.kind == Step::Kind::kRemove) {
      names.erase(step.path);
    }
    if (step.kind == Step::Kind::kRename) {
      names[step.to] = step.node;
      const auto old = names.find(step.path);
      const bool same = old != names.end() && old->second == step.node;
      if (same && fate != Fate::kBothNames) {
        names.erase(old);
      }
      if (fate == Fate::kBothNames) {
        names[step.path] = step.node;
      }
    }
    if (step.kind == Step::Kind::kWrite) {
      std::string& file = bytes[step.node];
      std::string written = step.bytes;
      if (fate == Fate::kTorn) {
        written.resize(written.size() / 2);
      }
      if (fate == Fate::kZeros) {
        written.assign(written.size(), '\0');
      }
      if (file.size() < step.offset) {
        file.resize(step.offset, '\0');  // an earlier write was lost
      }
      file.replace(step.offset, written.size(), written);
    }
  }
  DiskImage image;
  for (const std::string& folder : folders) {
    const std::string parent = parentFolder(folder);
    if (start_.folders.contains(folder) || image.folders.contains(parent)) {
      image.folders.insert(folder);
    }
  }
  for (const auto& [path, node] : names) {
    if (image.folders.contains(parentFolder(path))) {
      image.files[path] = bytes[node];
    }
  }
  return image;
}

std::vector<std::size_t> CutDisk::unsyncedAfter(std::size_t count) const {
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < count; ++i) {
    if (!isDurable(i, count)) {
      open.push_back(i);
    }
  }
  return open;
}

void CutDisk::eachExtremeAfter(std::size_t count, const Use& use) const {
  std::vector<Fate> fates(count, Fate::kKept);
  use(imageOf(fates), "all kept");
  for (const std::size_t i : unsyncedAfter(count)) {
    fates[i] = Fate::kLost;
  }
  use(imageOf(fates), "all lost that may be");
}

void CutDisk::eachStateAfter(std::size_t count, const Use& use) const {
  const std::vector<std::size_t> open = unsyncedAfter(count);
  std::vector<std::size_t> twin;  // renames that may show both names
  for (std::size_t i = 0; i < count; ++i) {
    if (mayHaveBothNames(i, count)) {
      twin.push_back(i);
    }
  }
  const std::vector<Fate> whole(count, Fate::kKept);
  std::vector<Fate> none = whole;
  for (const std::size_t i : open) {
    none[i] = Fate::kLost;
  }

  // The state, and again with its last open write torn and zeroed.
  const auto show = [&](const std::vector<Fate>& fates, const std::string& how) {
    use(imageOf(fates), how);
    const auto last = std::find_if(open.rbegin(), open.rend(), [&](std::size_t i) {
      return log_[i].kind == Step::Kind::kWrite && fates[i] == Fate::kKept;
    });
    if (last == open.rend()) {
      return;
    }
    std::vector<Fate> other = fates;
    other[*last] = Fate::kTorn;
    use(imageOf(other), how + ", last write torn");
    other[*last] = Fate::kZeros;
    use(imageOf(other), how + ", last write zeros");
  };

  show(whole, "all kept");
  show(none, "all lost that may be");
  std::vector<Fate> prefix = none;
  for (const std::size_t i : open) {
    prefix[i] = Fate::kKept;
    show(prefix, "all lost after " + describe(i));
    std::vector<Fate> fates = whole;
    fates[i] = Fate::kLost;
    show(fates, "lost: " + describe(i));
    fates = none;
    fates[i] = Fate::kKept;
    show(fates, "of what may be lost kept only: " + describe(i));
  }
  const std::size_t combined = std::min(kCombined, open.size());
  for (std::size_t bits = 0; bits < std::size_t{1} << combined; ++bits) {
    std::vector<Fate> fates = whole;
    for (std::size_t i = 0; i < combined; ++i) {
      if ((bits >> i & 1) != 0) {
        fates[open[open.size() - 1 - i]] = Fate::kLost;
      }
    }
    show(fates, "of the last changes lost: pattern " + std::to_string(bits));
  }
  for (const std::size_t i : twin) {
    for (const auto& base : {whole, none}) {
      std::vector<Fate> fates = base;
      fates[i] = Fate::kBothNames;
      use(imageOf(fates), "both names of " + describe(i));
    }
  }
  if (!twin.empty()) {
    std::vector<Fate> fates = whole;
    for (const std::size_t i : twin) {
      fates[i] = Fate::kBothNames;
    }
    use(imageOf(fates), "both names of every rename");
  }
}

}  // namespace relaybird
