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
  std::string path;  ///< absolute
  std::vector<std::string> arguments;
};

/// Starts a program in a window of its own and returns at once.
using ListedStarter = std::function<Result<void>(const std::string& program,
                                                 const std::vector<std::string>& arguments)>;

/// System-information tools of the free desktops, in order of preference.
std::vector<ListedProgram> freeDesktopInformationTools();

class ListedSystemInformation : public SystemInformation {
 public:
  /// `files` must outlive it.
  ListedSystemInformation(std::vector<ListedProgram> programs, FileSystem& files,
                          ListedStarter starter);

  /// Searches again at every call: a tool may be installed while the program runs.
  std::optional<std::string> program() override;
  /// Uses the arguments of the list; none for a program that is not in it.
  Result<void> start(const std::string& program) override;

 private:
  std::vector<ListedProgram> programs_;
  FileSystem& files_;
  ListedStarter starter_;
};

/// Shows folders and web pages with the first installed program of a list. The folder or address
/// follows the program's own arguments.
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

/// Programs that open a folder in the user's file manager, and a web page in the browser, on a free
/// desktop.
std::vector<ListedProgram> freeDesktopFolderOpeners();

enum class RegistryRoot { kCurrentUser, kLocalMachine };

/// The size of the buffer for a value, in characters.
inline constexpr std::size_t kRegistryBufferSize = 1024;

/// A text (REG_SZ, in UTF-8, followed by a NUL and possibly the rest of the buffer) or a 32-bit
/// number (REG_DWORD).
using RegistryValue = std::variant<std::string, std::uint32_t>;

/// An open key. Destroying it closes it (RegCloseKey).
class RegistryKey {
 public:
  virtual ~RegistryKey() = default;
  /// Reads a value (RegQueryValueExA). An error if there is no value of that name, if it has
  /// another type, or if it does not fit into `bufferSize` characters.
  virtual Result<RegistryValue> query(const std::string& valueName, std::size_t bufferSize) = 0;
};

class Registry {
 public:
  virtual ~Registry() = default;
  /// Opens a key with full access (RegOpenKeyExA with KEY_ALL_ACCESS).
  virtual Result<std::unique_ptr<RegistryKey>> open(RegistryRoot root,
                                                    const std::string& keyName) = 0;
};

/// Reads a value into `result`: a text up to its first NUL, a number in decimal digits. Returns
/// false and an empty `result` if that fails. The key is closed in both cases.
bool GetKeyValue(Registry& registry, RegistryRoot root, const std::string& keyName,
                 const std::string& valueName, std::string& result);

class RegistrySystemInformation : public SystemInformation {
 public:
  /// Starts a program with a normal, focused window and returns at once.
  using Starter = std::function<Result<void>(const std::string& program)>;

  /// `registry` and `files` must outlive it.
  RegistrySystemInformation(Registry& registry, FileSystem& files, Starter starter);

  /// The tool that the registry names, without checking that it exists; otherwise MSINFO32.EXE, if
  /// it exists in the folder that the registry names.
  std::optional<std::string> program() override;
  Result<void> start(const std::string& program) override { return starter_(program); }

 private:
  Registry& registry_;
  FileSystem& files_;
  Starter starter_;
};

}  // namespace relaybird
