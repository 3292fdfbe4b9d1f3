// SPDX-License-Identifier: MIT
// The session with the mail application: the objects that a pass and a synchronisation use.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "engine/engine_world.h"
#include "engine/status_display.h"
#include "mail/mail_store.h"

namespace relaybird {

/// Results of ResetOlkObj.
enum SessionResult : std::int16_t {
  kSessionReady = 1,
  kSessionSyncRunning = 0,
  kSessionNoApplication = -1,
  kSessionNoNamespace = -2,
  kSessionLogonFailed = -3,
  kSessionNoInbox = -4,
  kSessionNoSync = -5,
};

class MailSession {
 public:
  /// `onSyncEnd` handles the end of every synchronisation, also of one that the user started.
  /// `onRelease` is called when the objects were dropped, but not by the destructor.
  MailSession(ObjectFactory& objects, const EngineState& state, StatusDisplay& status,
              std::function<void()> onSyncEnd, std::function<void()> onRelease);
  ~MailSession();
  MailSession(const MailSession&) = delete;
  MailSession& operator=(const MailSession&) = delete;

  /// Ensures that the application and its namespace are available, on demand also the inbox and the
  /// synchronisation object; obtains only what is missing. Returns a SessionResult. What was
  /// obtained before a failure is kept, so that the next call continues from there. `showStatus`
  /// shows each step in the status line. Faults of the store are not thrown.
  std::int16_t ResetOlkObj(bool getInbox, bool getSync, bool showStatus);
  /// Whether the application that was obtained still answers; false when there is none.
  bool IsOutlookOpen() const;
  /// Drops every object, so that the next ResetOlkObj starts afresh. When called from inside
  /// ResetOlkObj, whose status texts let events run, the objects are dropped at its end, and it
  /// fails.
  void release();
  /// Drops the objects of an application that has gone away; every call on them would fail.
  void dropIfGone();

  /// The fixed text of the last failure; empty after success.
  const std::string& errorText() const { return errorText_; }
  /// The store's own description of the last failure; empty when it gave none.
  const std::string& storeWords() const { return storeWords_; }
  /// The best description of the last failure: the store's words, else the fixed text.
  const std::string& lastWords() const { return storeWords_.empty() ? errorText_ : storeWords_; }
  /// Whether the logon was refused in that failure, so that another try would have the same end.
  /// False where there was nothing to sign in with yet.
  bool logonRefused() const { return logonRefused_; }

  Application* application() const { return application_.get(); }
  Folder* inbox() const { return inbox_.get(); }
  /// Shared, so that it survives a release while it is in use.
  std::shared_ptr<SyncObject> syncObject() const { return sync_; }

 private:
  struct Failure;
  class Opening;
  std::int16_t open(bool getInbox, bool getSync, bool showStatus);
  void openApplication(bool showStatus);
  void openNamespace(bool showStatus);
  void openInbox(bool showStatus);
  void openSync();
  void drop();

  ObjectFactory& objects_;
  const EngineState& state_;
  StatusDisplay& status_;
  std::function<void()> onSyncEnd_;
  std::function<void()> onRelease_;

  std::shared_ptr<Application> application_;
  std::shared_ptr<Namespace> namespace_;
  std::shared_ptr<Folder> inbox_;
  std::shared_ptr<SyncObject> sync_;
  std::string errorText_;
  std::string storeWords_;
  bool logonRefused_ = false;
  int opening_ = 0;  ///< how many ResetOlkObj are on the stack
  bool releaseWaits_ = false;
};

/// Whether a version text of the mail application is new enough: longer than two characters, and
/// the number made of its first two is above 9 ("10.0.2627" passes, "9.0" and "11" do not).
bool CheckOlkVer(std::string_view version);

}  // namespace relaybird
