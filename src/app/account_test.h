// SPDX-License-Identifier: MIT
// The test of a mailbox and of the way out, step by step, as the set-up shows it. Nothing is
// stored, and no mail is sent.
#pragma once

#include <functional>
#include <stop_token>

#include "mail/mail_settings.h"
#include "mail/store_world.h"
#include "platform/file_system.h"
#include "platform/system/network.h"
#include "ui/forms/setup/mail_setup.h"

namespace relaybird {

/// What the test needs. All must outlive it.
struct AccountTestWorld {
  FileSystem& files;
  SecretWorld secrets;
  NetworkMaker network;
  std::string version;    ///< of the program, which some providers ask for: "1.2.3"
  std::string home = {};  ///< the user's home folder: paths in it are shown short
  /// Whether the user may run this program; null: no program is run here.
  std::function<bool(const std::string& program)> mayRun = {};
};

/// Returns whether all is well; `line` gets a line for each step. May take minutes, so it is not
/// for the user-interface thread; ends soon after `stop` was requested. A refused password is not
/// tried again.
bool testAccount(const AccountTestWorld& world, const MailSettings& settings,
                 const TypedSecrets& secrets, std::stop_token stop,
                 const std::function<void(const TestLine&)>& line);

}  // namespace relaybird
