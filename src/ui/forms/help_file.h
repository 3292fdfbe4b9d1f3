// SPDX-License-Identifier: MIT
// The help file: where it is, what happens when it is missing, and how it is shown.
#pragma once

#include <string>

#include "platform/result.h"
#include "ui/forms/program_world.h"

namespace relaybird {

class HelpFile {
 public:
  /// The file's place is the world's default, unless the user chose another file in an earlier run
  /// and it still exists. `world` must outlive this.
  explicit HelpFile(const ProgramWorld& world);

  const std::string& location() const { return location_; }
  /// Called when the preferences name another file.
  void setLocation(std::string file) { location_ = std::move(file); }

  /// Shows a page of the help (HelpViewer::show); asks for the file if it is missing. An existing
  /// file that the user chooses becomes the location, and is remembered for the next start in
  /// rbx.ini in the Windows folder. If the file cannot be shown, the user is told why and may
  /// choose another at once. Other failures are reported in boxes.
  void show(const std::string& topic = {});

 private:
  bool exists(const std::string& file) const;
  std::string rememberedFile() const;
  bool confirms(const AnswerBox& box);
  bool chooseFile();
  Result<void> remember();
  void reportNotRemembered();
  void showError(const std::string& text);

  const ProgramWorld& world_;
  std::string location_;
  Result<void> remembered_;  ///< result of remembering the last choice, until reported
};

}  // namespace relaybird
