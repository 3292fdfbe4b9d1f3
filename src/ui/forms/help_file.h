// SPDX-License-Identifier: MIT
// The help file: where it is, what happens when it is not there, and how it is shown.
#pragma once

#include <string>

#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"
#include "platform/result.h"
#include "platform/system/special_folders.h"
#include "ui/forms/form_world.h"
#include "ui/forms/model/dialogs.h"

namespace relaybird {

/// What the search works with. All must outlive it.
struct HelpWorld {
  FileSystem& files;
  ProfileStrings& profiles;
  const SpecialFolders& folders;
  Dialogs& dialogs;
  HelpViewer& viewer;
};

class HelpFile {
 public:
  /// `location` is where the file is looked for, as a whole path, unless the user has chosen
  /// another in an earlier run that is still there.
  HelpFile(HelpWorld world, std::string location);

  const std::string& location() const { return location_; }
  /// The preferences name another file.
  void setLocation(std::string file) { location_ = std::move(file); }

  /// Shows a page of the help (HelpViewer::show); asks for the file when it is not where it was. A
  /// file that the user chooses and that exists is the location from then on, and is remembered for
  /// the next start in rbx.ini in the Windows folder. Where the file cannot be shown, the user is
  /// told why and may choose another at once; the next request tries again what is the location
  /// then. What else fails is told in boxes.
  void show(const std::string& topic = {});

 private:
  bool exists(const std::string& file) const;
  std::string remembered() const;
  bool asked(const MessageBox& box);
  bool chooseFile();
  Result<void> remember();
  void tellWhatIsNotKept();
  void tellError(const std::string& text);

  HelpWorld world_;
  std::string location_;
  Result<void> kept_;  ///< of the last choice, until it is told
};

}  // namespace relaybird
