// SPDX-License-Identifier: MIT
// Programs of the user's desktop that the windows start: what opens folders and web pages, and what
// tells about the machine. A free desktop is searched by a list of known programs; Windows names
// its tool in the registry. RegistrySystemInformation waits for the Windows platform: no program
// uses it yet. The registry is an interface, so that the search can be tested on any system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/file_system.h"
#include "ui/forms/form_world.h"

namespace relaybird {

struct ListedProgram {
  std::string path;  ///< whole
  std::vector<std::string> arguments;
};

/// Starts a program in a window of its own and returns at once.
using ListedStarter = std::function<Result<void>(const std::string& program,
                                                 const std::vector<std::string>& arguments)>;

/// The tools of the free desktops, the desktop's own before those that go with any.
std::vector<ListedProgram> freeDesktopInformationTools();

class ListedSystemInformation : public SystemInformation {
 public:
  /// `files` must outlive it.
  ListedSystemInformation(std::vector<ListedProgram> programs, FileSystem& files,
                          ListedStarter starter);

  /// Looks afresh at every call: a tool may be installed while the program runs.
  std::optional<std::string> program() override;
  /// With the arguments of the list; with none for a program that is not on it.
  Result<void> start(const std::string& program) override;

 private:
  std::vector<ListedProgram> programs_;
  FileSystem& files_;
  ListedStarter starter_;
};

/// Shows folders and pages by the first program of a list that is installed, each of which takes
/// either of them behind its own arguments.
class ListedFolderViewer : public FolderViewer {
 public:
  /// `files` must outlive it.
  ListedFolderViewer(std::vector<ListedProgram> programs, FileSystem& files, ListedStarter starter)
      : programs_(std::move(programs)), files_(files), starter_(std::move(starter)) {}

  Result<void> show(const std::string& folder) override;
  Result<void> browse(const std::string& address) override;

 private:
  Result<void> startWith(const std::string& last, const char* whyNot);

  std::vector<ListedProgram> programs_;
  FileSystem& files_;
  ListedStarter starter_;
};

/// What opens a folder in the user's own file manager on a free desktop, and a page in his browser.
std::vector<ListedProgram> freeDesktopFolderOpeners();

enum class RegistryRoot { kCurrentUser, kLocalMachine };

/// The buffer that a value is read into, in characters.
inline constexpr std::size_t kRegistryBufferSize = 1024;

/// A text (REG_SZ, in UTF-8, with whatever the buffer held from the closing NUL on) or a 32-bit
/// number (REG_DWORD).
using RegistryValue = std::variant<std::string, std::uint32_t>;

/// An open key. Destroying it closes it (RegCloseKey).
class RegistryKey {
 public:
  virtual ~RegistryKey() = default;
  /// Reads a value (RegQueryValueExA). An error where there is none of that name, where it is of
  /// another kind and where it does not fit into `bufferSize` characters.
  virtual Result<RegistryValue> query(const std::string& valueName, std::size_t bufferSize) = 0;
};

class Registry {
 public:
  virtual ~Registry() = default;
  /// Opens a key with full access (RegOpenKeyExA with KEY_ALL_ACCESS).
  virtual Result<std::unique_ptr<RegistryKey>> open(RegistryRoot root,
                                                    const std::string& keyName) = 0;
};

/// True and the value in `result` where it can be read: a text up to its first NUL, a number in
/// decimal digits. Else false and an empty `result`. The key is closed either way.
bool GetKeyValue(Registry& registry, RegistryRoot root, const std::string& keyName,
                 const std::string& valueName, std::string& result);

class RegistrySystemInformation : public SystemInformation {
 public:
  /// Starts a program with a normal, focused window and returns at once.
  using Starter = std::function<Result<void>(const std::string& program)>;

  /// `registry` and `files` must outlive it.
  RegistrySystemInformation(Registry& registry, FileSystem& files, Starter starter);

  /// The tool that the registry names, unseen; else MSINFO32.EXE where it is in the folder that the
  /// registry names.
  std::optional<std::string> program() override;
  Result<void> start(const std::string& program) override { return starter_(program); }

 private:
  Registry& registry_;
  FileSystem& files_;
  Starter starter_;
};

}  // namespace relaybird
