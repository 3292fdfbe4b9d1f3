// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
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
#include "ui/forms/setup/mail_setup.h"

namespace relaybird {

struct ProgramVersion {
  int major = 0;
  int minor = 0;
  int revision = 0;
};

/// Everything that the program needs from outside: the mail store, the disk, the clock, the
/// desktop. The forms share one object, which must outlive them, as must everything it refers to.
/// Made with designated initialisers.
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
  MailSetup& setup;
  ProgramVersion version;
  /// The place of the help file until the preferences or the user name another one.
  std::string defaultHelpFile;
  /// The decimal separator of the user's locale, accepted beside the point.
  std::string decimalSeparator = ".";
  /// Set while the verbose log is on; other threads read it.
  std::shared_ptr<std::atomic<bool>> verbose = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace relaybird
