// SPDX-License-Identifier: MIT
// Each step obtains one object (application, namespace, inbox, synchronisation object) or throws a
// Failure, which open() turns into a result and a fixed text. Status texts let events run between
// the steps, and an event may release the session: release() then waits until the outermost
// ResetOlkObj ends, so that no step loses an object that it is using.
#include "engine/mail_session.h"

#include <utility>

#include "mail/logon_failure.h"
#include "platform/text/number_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kNoApplicationText =
    "Could not start up Microsoft Outlook (please verify that MS-Outlook is installed and "
    "configured "
    "correctly on this PC).";
constexpr std::string_view kNoNamespaceText = "Problem retrieving Outlook MAPI object";
constexpr std::string_view kLogonFailedText = "Problem logging into Outlook";
constexpr std::string_view kNoInboxText = "Could not retrieve Outlook inbox";
constexpr std::string_view kNoSyncText = "Error retrieving Outlook synchronization";

// The synchronisation object of the default send/receive group.
constexpr std::int32_t kDefaultSync = 1;

}  // namespace

// A step that failed: the result to report and its fixed text.
struct MailSession::Failure {
  SessionResult result;
  std::string_view text;
  std::string storeWords;
  bool logonRefused = false;
};

// Counts one ResetOlkObj on the stack.
class MailSession::Opening {
 public:
  explicit Opening(MailSession& session) : session_(session) { ++session_.opening_; }
  ~Opening() { --session_.opening_; }
  Opening(const Opening&) = delete;
  Opening& operator=(const Opening&) = delete;

 private:
  MailSession& session_;
};

MailSession::MailSession(ObjectFactory& objects, const EngineState& state, StatusDisplay& status,
                         std::function<void()> onSyncEnd, std::function<void()> onRelease)
    : objects_(objects),
      state_(state),
      status_(status),
      onSyncEnd_(std::move(onSyncEnd)),
      onRelease_(std::move(onRelease)) {}

MailSession::~MailSession() {
  drop();
}

std::int16_t MailSession::ResetOlkObj(bool getInbox, bool getSync, bool showStatus) {
  std::int16_t result = 0;
  {
    const Opening opening(*this);
    result = open(getInbox, getSync, showStatus);
  }
  // An event has released the session meanwhile. What the steps have opened is not usable, whatever
  // their result.
  if (releaseWaits_ && opening_ == 0) {
    release();
    errorText_ = kNoApplicationText;
    return kSessionNoApplication;
  }
  return result;
}

std::int16_t MailSession::open(bool getInbox, bool getSync, bool showStatus) {
  errorText_.clear();
  storeWords_.clear();
  logonRefused_ = false;
  try {
    const bool newApplication = !application_;
    if (newApplication) {
      openApplication(showStatus);
    }
    // Each object is obtained from the one before it, so a new one makes those behind it useless.
    const bool newNamespace = newApplication || !namespace_;
    if (newNamespace) {
      openNamespace(showStatus);
    }
    if (getInbox && (newNamespace || !inbox_)) {
      openInbox(showStatus);
    }
    if (getSync) {
      // Its object belongs to the running synchronisation.
      if (state_.syncBusy) {
        return kSessionSyncRunning;
      }
      openSync();
    }
    return kSessionReady;
  } catch (const Failure& failure) {
    errorText_ = failure.text;
    storeWords_ = failure.storeWords;
    logonRefused_ = failure.logonRefused;
    return failure.result;
  }
}

void MailSession::openApplication(bool showStatus) {
  if (showStatus) {
    status_.SetStatusLabel("Activating Outlook...");
  }
  try {
    application_ = createAs<Application>(objects_, prog_id::kApplication);
  } catch (const MailStoreError& error) {
    throw Failure{kSessionNoApplication, kNoApplicationText, error.what()};
  }
}

void MailSession::openNamespace(bool showStatus) {
  namespace_.reset();
  if (showStatus) {
    status_.SetStatusLabel("Performing Outlook Email Logon...");
  }
  try {
    namespace_ = application_->GetNamespace("MAPI");
  } catch (const MailLogonError& error) {
    throw Failure{kSessionLogonFailed, kLogonFailedText, error.what(),
                  error.code() != kNoSecretYet};
  } catch (const MailStoreError& error) {
    throw Failure{kSessionNoNamespace, kNoNamespaceText, error.what()};
  }
  if (!namespace_) {
    throw Failure{kSessionNoNamespace, kNoNamespaceText, {}};
  }
}

void MailSession::openInbox(bool showStatus) {
  inbox_.reset();
  if (showStatus) {
    status_.SetStatusLabel("Accessing Outlook Inbox...");
  }
  try {
    inbox_ = namespace_->GetDefaultInbox();
  } catch (const MailStoreError& error) {
    throw Failure{kSessionNoInbox, kNoInboxText, error.what()};
  }
  if (!inbox_) {
    throw Failure{kSessionNoInbox, kNoInboxText, {}};
  }
}

void MailSession::openSync() {
  try {
    auto sync =
        required(required(namespace_->SyncObjects(), "synchronisation objects")->Item(kDefaultSync),
                 "synchronisation object");
    // The store may return the same object each time; its handler is set once.
    if (sync != sync_) {
      sync->onSyncEnd(onSyncEnd_);
      sync_ = std::move(sync);
    }
  } catch (const MailStoreError& error) {
    throw Failure{kSessionNoSync, kNoSyncText, error.what()};
  }
}

bool MailSession::IsOutlookOpen() const {
  if (!application_) {
    return false;
  }
  try {
    // The cheapest question to an application that may be gone.
    (void)application_->Version();
    return true;
  } catch (const MailStoreError&) {
    return false;
  }
}

void MailSession::dropIfGone() {
  if (application_ && !IsOutlookOpen()) {
    release();
  }
}

void MailSession::release() {
  releaseWaits_ = opening_ > 0;
  if (!releaseWaits_) {
    drop();
    onRelease_();
  }
}

void MailSession::drop() {
  if (sync_) {
    try {
      // No end may be reported to a session that is released.
      sync_->onSyncEnd({});
    } catch (const MailStoreError&) {
      // A store that has gone away raises no more events, so there is nothing to take back.
    }
  }
  sync_.reset();
  inbox_.reset();
  namespace_.reset();
  application_.reset();
}

bool CheckOlkVer(std::string_view version) {
  // The first two characters: 10 is Outlook 2002.
  return version.size() > 2 && numericPrefix(version.substr(0, 2)) > 9;
}

}  // namespace relaybird
