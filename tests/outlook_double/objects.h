// SPDX-License-Identifier: MIT
// The double's objects, by the names of the automation world. Each maker returns a new object that
// serves the world of this process.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "mail/mail_store.h"
#include "outlook_double/com_values.h"
#include "outlook_double/dispatch_object.h"
#include "outlook_double/type_names.h"

namespace relaybird::outlook_double {

/// The synchronisation of a running application, and who listens to its events.
class SyncPoint {
 public:
  virtual ~SyncPoint() = default;
  virtual void start() = 0;
  /// The event goes to every listener. One whose process has ended is forgotten.
  virtual void fire(SyncEvent event, std::int32_t code = 0, const std::string& text = {}) = 0;
  virtual std::size_t listeners() const = 0;
  /// Ends that have not been told yet.
  virtual std::size_t waiting() const = 0;
};

std::shared_ptr<SyncPoint> makeSyncPoint(const std::shared_ptr<SyncObject>& sync);

ComRef<IDispatch> makeItem(std::shared_ptr<MailItem> item);
ComRef<IDispatch> makeAttachments(std::shared_ptr<Attachments> attachments);
ComRef<IDispatch> makeRecipients(std::shared_ptr<Recipients> recipients, bool reply);
ComRef<IDispatch> makeSyncObject(std::shared_ptr<SyncPoint> point);
ComRef<IDispatch> makeSafeItem(const std::string& className);
/// The test's own object: `Do(command)` carries out a command (commands.h) and returns its answer.
ComRef<IDispatch> makeControl();

/// The item that an object of this process stands for; null for any other object.
std::shared_ptr<MailItem> itemOf(IUnknown* object);

/// Carries out what is planned for the making of this component, then makes it. Throws Returned,
/// Raised or MailStoreError; Returned with REGDB_E_CLASSNOTREG for an identifier that is not the
/// double's.
ComRef<IDispatch> makeComponent(std::string_view progId);

}  // namespace relaybird::outlook_double
