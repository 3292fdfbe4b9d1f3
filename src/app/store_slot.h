// SPDX-License-Identifier: MIT
// The place of the mail store in the running program. The forms keep these two interfaces for as
// long as they live, while the store behind them can be closed and another one opened.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "mail/mail_store.h"

namespace relaybird {

/// User-interface thread only. While no store is there, every use fails with the words of why().
class StoreSlot : public ObjectFactory, public OutgoingMail {
 public:
  /// Everything that was taken from the former store must have been dropped.
  void put(std::unique_ptr<MailStore> store) { store_ = std::move(store); }
  void close(std::string why) {
    store_.reset();
    why_ = std::move(why);
  }
  /// MailStore::beginToClose() of the store; true where there is none. close() is to follow.
  bool beginToClose(std::function<void()> ready) {
    return !store_ || store_->beginToClose(std::move(ready));
  }
  MailStore* store() const { return store_.get(); }
  /// Why there is no store; empty while there is one.
  std::string why() const { return store_ ? std::string() : why_; }

  std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override {
    return theStore().factory().CreateObject(progId);
  }
  OutgoingState state() override { return store_ ? store_->outgoing().state() : OutgoingState{}; }
  std::size_t waiting() override { return store_ ? store_->outgoing().waiting() : 0; }
  std::size_t recentlyWaiting() override {
    return store_ ? store_->outgoing().recentlyWaiting() : 0;
  }
  void tryAgain(std::function<void()> done) override {
    theStore().outgoing().tryAgain(std::move(done));
  }
  void userAsks() override {
    if (store_) {
      store_->outgoing().userAsks();
    }
  }
  void minutePassed() override {
    if (store_) {
      store_->outgoing().minutePassed();
    }
  }
  void forwardingSwitched(bool on) override {
    if (store_) {
      store_->outgoing().forwardingSwitched(on);
    }
  }

 private:
  MailStore& theStore() const {
    if (!store_) {
      throw MailStoreError(why_);
    }
    return *store_;
  }

  std::unique_ptr<MailStore> store_;
  std::string why_ = "No mailbox is open";
};

}  // namespace relaybird
