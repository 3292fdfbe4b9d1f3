// SPDX-License-Identifier: MIT
// What the forms ask of the user's desktop, by the shell and the registry.
#pragma once

#include <optional>
#include <string>

#include "platform/file_system.h"
#include "ui/forms/desktop_programs.h"

namespace relaybird {

/// The system's registry. Where the user may not change a key it is opened for reading: since
/// Windows Vista that is usual for keys of the whole computer.
class Win32Registry : public Registry {
 public:
  Result<std::unique_ptr<RegistryKey>> open(RegistryRoot root, const std::string& keyName) override;
};

/// The tool that the registry names.
class Win32SystemInformation : public SystemInformation {
 public:
  /// `files` must outlive it.
  explicit Win32SystemInformation(FileSystem& files);
  std::optional<std::string> program() override { return named_.program(); }
  Result<void> start(const std::string& program) override { return named_.start(program); }

 private:
  Win32Registry registry_;
  RegistrySystemInformation named_;
};

/// The program that the user has for folders and for web pages.
class ShellFolderViewer : public FolderViewer {
 public:
  Result<void> show(const std::string& folder) override;
  Result<void> browse(const std::string& address) override;
};

}  // namespace relaybird
