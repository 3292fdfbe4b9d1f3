// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "mail/mail_store.h"

namespace relaybird {

/// The factory of a store: a maker per program identifier, compared without regard to case.
class ObjectRegistry : public ObjectFactory {
 public:
  using Maker = std::function<std::shared_ptr<AutomationObject>()>;

  /// Sets the maker of an identifier, in place of any earlier one. A maker may throw
  /// MailStoreError.
  void add(std::string_view progId, Maker maker);
  /// The component is not installed any more: making it throws until it is added again.
  void remove(std::string_view progId);

  std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override;

 private:
  std::map<std::string, Maker, std::less<>> makers_;  ///< by identifier in lower case
};

/// Adds what a store needs no code of its own for: the safe mail, meeting and task items that pass
/// everything through, and the dictionary.
void addSharedComponents(ObjectRegistry& registry);

}  // namespace relaybird
