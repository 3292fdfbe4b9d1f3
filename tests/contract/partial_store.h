// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "mail/mail_store.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

/// A store whose components can be taken out of the machine. `store` returns the whole one.
class PartialStore : public MailStore, private ObjectFactory {
 public:
  explicit PartialStore(std::function<MailStore&()> store) : store_(std::move(store)) {}
  ObjectFactory& factory() override { return *this; }
  OutgoingMail& outgoing() override { return store_().outgoing(); }
  std::string place() const override { return store_().place(); }
  std::string folder() const override { return store_().folder(); }
  void remove(std::string_view progId) { missing_.insert(asciiLower(progId)); }

 private:
  std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override {
    if (missing_.count(asciiLower(progId)) != 0) {
      throw MailStoreError("not installed");
    }
    return store_().factory().CreateObject(progId);
  }

  std::function<MailStore&()> store_;
  std::set<std::string> missing_;
};

}  // namespace relaybird
