// SPDX-License-Identifier: MIT
// The mail application that all of the double's objects stand for: a mailbox in memory, what is
// planned for calls, and how the application behaves. One for each process, as COM makes objects
// for a process.
//
// All of it on one thread, that of the apartment.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "memory_store/memory_store.h"
#include "outlook_double/call_script.h"
#include "outlook_double/com_values.h"

namespace relaybird::outlook_double {

/// The name under which an item tells when it was changed.
enum class DateName { kModificationTime, kModificationDate, kBoth };

/// What a client learns of an object's class.
enum class TypeNames {
  kUnderscore,  ///< the type information is that of the interface "_MailItem"
  kClass,       ///< that of "IMailItem", and IProvideClassInfo tells "MailItem"
  kNone,        ///< no type information at all
};

struct Behaviour {
  DateName dateName = DateName::kModificationTime;
  TypeNames typeNames = TypeNames::kUnderscore;
  /// A synchronisation ends after a moment. Else the test ends it.
  bool syncsEndByThemselves = true;
  /// A start during a synchronisation does nothing. Else every start has an end of its own.
  bool startsJoin = true;
  /// Collections that nobody has sorted begin with the newest item.
  bool newestFirst = false;
  /// A filtered collection loses an item that is marked as read, at once.
  bool filterIsLive = false;
  /// The namespace knows how to open an item by its identifier.
  bool opensByIdentifier = true;
};

class SyncPoint;
class WindowQueue;

/// The application while it runs: its session with the mailbox.
struct RunningApplication {
  std::shared_ptr<Application> application;
  std::shared_ptr<Namespace> mapi;
  ComRef<IUnknown> mapiObject;
  std::shared_ptr<SyncPoint> sync;
};

class DoubleWorld {
 public:
  /// The one of this process.
  static DoubleWorld& only();

  /// As new: an empty mailbox, nothing planned, nothing counted. Objects of before keep the old
  /// mailbox.
  void reset();
  MemoryStore& store() { return *store_; }
  CallScript& calls() { return calls_; }
  Behaviour& behaviour() { return behaviour_; }

  /// The running application, which is started where none runs. Throws MailStoreError.
  std::shared_ptr<RunningApplication> running();
  /// The application ends: its objects are lost.
  void quit();

  /// A synchronisation has begun.
  void syncBegan();

  // The inbox is kept in a file where a folder was given, so that an application that starts again
  // has it.

  /// Reads what is kept in the folder, and keeps all changes there from now on.
  void keepIn(const std::string& folder);
  /// Returns the identifier of the item, made up where it has none. An empty one is possible, too.
  std::string deliver(MemoryItem item);
  void takeAway(const std::string& entryId);
  /// The item's place in the inbox, from 0.
  std::optional<std::size_t> positionOf(const std::string& entryId) const;
  /// Sets an item's mark, as another program does.
  void mark(const std::string& entryId, bool unread);
  /// An item's mark was changed, or a message was sent, by a client.
  void marked(const std::string& entryId, bool unread);
  void sent();
  /// Messages that have left, those of earlier runs included.
  std::vector<MemoryMessage> allSent() const;

 private:
  DoubleWorld();
  ~DoubleWorld();
  void write(const std::string& line);
  void readBack(const std::string& line);

  std::unique_ptr<WindowQueue> events_;
  std::unique_ptr<MemoryStore> store_;
  CallScript calls_;
  Behaviour behaviour_;
  std::shared_ptr<RunningApplication> running_;
  std::vector<std::string> ids_;  ///< of the inbox, oldest first
  std::size_t lastId_ = 0;
  std::vector<MemoryMessage> sentBefore_;
  std::string journal_;  ///< the file; empty for none
};

}  // namespace relaybird::outlook_double
