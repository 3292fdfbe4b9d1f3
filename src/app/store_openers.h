// SPDX-License-Identifier: MIT
// The mail stores that a program knows, by the name that section "mail" of the preference file
// gives. A further store is a file with its opener and a line in the table.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "mail/outgoing_mail.h"
#include "mail/store_notice.h"
#include "platform/clock.h"
#include "platform/event_queue.h"
#include "platform/file_system.h"
#include "platform/profile/profile_strings.h"
#include "platform/result.h"

namespace relaybird {

/// What a store needs of the program. All must outlive the store.
struct StoreWorld {
  FileSystem& files;
  const Clock& clock;
  EventQueue& events;
  std::string stateFolder;  ///< SpecialFolders::stateFolder()
  std::function<void(StoreNotice)> notice;
  /// Takes the mailbox's folder for this program, or sees that it still has it. A store of mail on
  /// disk asks before each use of it; the error is a sentence for the user.
  std::function<Result<void>(const std::string& folder)> lockFolder = [](const std::string&) {
    return Result<void>();
  };
};

class OpenedStore {
 public:
  virtual ~OpenedStore() = default;
  virtual ObjectFactory& factory() = 0;
  virtual OutgoingMail& outgoing() = 0;
  /// Where the mailbox is, the same for every way of naming it: what two programs must not work on
  /// at once.
  virtual std::string place() const = 0;
};

/// Makes a store from its section of the preference file. Nothing of the mailbox is touched yet. An
/// error is a sentence about a setting that cannot be used.
using StoreOpener = Result<std::unique_ptr<OpenedStore>> (*)(const ProfileReader& file,
                                                             const StoreWorld& world);

struct StoreEntry {
  std::string_view name;
  StoreOpener open;
};

/// Opens the store that the preference file names; `fileName` is for the error's text.
Result<std::unique_ptr<OpenedStore>> openStore(const std::string& name, const ProfileReader& file,
                                               const std::string& fileName,
                                               const StoreWorld& world);

// The stores. Each is defined in its own file.
Result<std::unique_ptr<OpenedStore>> openMaildirStore(const ProfileReader& file,
                                                      const StoreWorld& world);

}  // namespace relaybird
