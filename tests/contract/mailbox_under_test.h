// SPDX-License-Identifier: MIT
// What all contract tests have in common whose store is a MailboxStore: components that can be
// missing, an address book, an outbox of files on a disk that can be full. A store adds its inbox:
// how messages come and go, and how the inbox gets lost.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "contract/store_under_test.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {

class MailboxUnderTest : public StoreUnderTest {
 public:
  MailStore& store() final { return partial_; }
  std::vector<SentMail> outbox() final;
  void removeComponent(std::string_view progId) final;
  std::optional<std::pair<std::string, std::string>> knownName() final;
  bool begin(Trouble trouble) final;
  void end(Trouble trouble) final;

 protected:
  /// The address book with knownName(), for the settings of the store.
  static std::string makeAddressBook(const TempFolder& temp);
  /// The item as its sender writes it.
  static std::string textOf(const SampleMail& mail);
  /// Gives the file of a message the time at which it was received.
  static void setReceived(const std::string& path, DateTime received);

 private:
  /// The store with all components. It may be another object after a restart.
  virtual MailStore& whole() const = 0;
  virtual FaultyFileSystem& disk() = 0;
  virtual std::string outboxFolder() const = 0;
  /// The application is gone and the inbox cannot be reached: where a mailbox is, that is the same.
  virtual void loseInbox() = 0;
  virtual void findInbox() = 0;

  // The store without the components that are missing.
  class Partial : public MailStore, private ObjectFactory {
   public:
    explicit Partial(const MailboxUnderTest& test) : test_(test) {}
    ObjectFactory& factory() override { return *this; }
    OutgoingMail& outgoing() override { return test_.whole().outgoing(); }
    std::string place() const override { return test_.whole().place(); }
    std::string folder() const override { return test_.whole().folder(); }

    std::set<std::string> missing;  // in lower case

   private:
    std::shared_ptr<AutomationObject> CreateObject(std::string_view progId) override;

    const MailboxUnderTest& test_;
  };

  Partial partial_{*this};
};

}  // namespace relaybird
