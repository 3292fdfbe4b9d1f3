// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "mail/mail_store.h"
#include "mail/outgoing_mail.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"
#include "platform/system/os_version.h"
#include "platform/system/special_folders.h"
#include "platform/system/trace_log.h"
#include "ui/forms/form_world.h"
#include "ui/forms/mod_systray.h"
#include "ui/forms/model/dialogs.h"

namespace relaybird {

/// Everything that the program needs of the world. All must outlive it.
struct ProgramWorld {
  ObjectFactory& objects;
  OutgoingMail& outgoing;
  FileSystem& files;
  ProfileStrings& profiles;
  const SpecialFolders& folders;
  const OsVersion& osVersion;
  const Clock& clock;
  Sleeper& sleeper;
  TimerMaker& timers;
  EventQueue& events;
  TraceLog& trace;
  Dialogs& dialogs;
  Screen& screen;
  Clipboard& clipboard;
  HelpViewer& helpViewer;
  FolderViewer& folderViewer;
  SystemInformation& systemInformation;
  TrayPlatform& tray;
  Notifications& notifications;
  Autostart& autostart;
  ProgramVersion version;
  /// Where the help file is looked for until the preferences or the user name another place.
  std::string defaultHelpFile;
  /// What the user's numbers may have in place of the point, by his locale.
  std::string decimalSeparator = ".";
};

}  // namespace relaybird
