// SPDX-License-Identifier: MIT
// What the contract suite needs of a mail store besides the MailStore interface: control over the
// outside world, that is the server and other mail programs. A store joins the suite with one file,
// NAME_contract_test.cpp in this folder, that implements StoreUnderTest and ends with
//
//   INSTANTIATE_TEST_SUITE_P(Name, MailStoreContract, testing::Values(StoreMaker{"name", makeIt}),
//                            storeMakerName);
//
// and a line rb_contract_test(NAME SOURCES ...) in CMakeLists.txt here.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "mail/mail_store.h"
#include "support/fake_clock.h"

namespace relaybird {

struct SampleAttachment {
  std::string name;
  std::string bytes;
  bool operator==(const SampleAttachment&) const = default;
};

/// A received item, described by what the interface must return for it. Texts are UTF-8; lines end
/// in "\n".
struct SampleMail {
  std::string kind = "MailItem";
  std::string subject = "Subject";
  std::string body = "Body";
  std::string html;  ///< an HTML form beside the text; empty for none
  std::string senderName = "Wren Writer";
  std::string senderAddress = "wren@writer.example";  ///< both empty: no sender at all
  DateTime received = makeTime(2026, 11, 20, 12, 0, 0);
  std::vector<SampleAttachment> attachments;
  bool unread = true;
};

/// An item that send() has taken, as a server would get it.
struct SentMail {
  std::vector<std::pair<std::string, RecipientType>> recipients;  ///< bare addresses
  std::vector<std::string> replyTo;                               ///< bare addresses
  std::string subject;
  std::string body;   ///< the plain text
  bool html = false;  ///< whether it has an HTML form
  std::vector<SampleAttachment> attachments;
};

/// Failures of the outside world.
enum class Trouble {
  kApplicationGone,   ///< Version fails from now on
  kInboxUnreachable,  ///< listing the inbox fails
  kOutboxRefuses,     ///< send cannot keep the message safe
};

class StoreUnderTest {
 public:
  virtual ~StoreUnderTest() = default;

  /// The store, with an empty inbox and outbox at first; the same one every time.
  virtual MailStore& store() = 0;

  /// The item is in the inbox, after the earlier ones, when this returns. Subjects of one test are
  /// all different.
  virtual void deliver(const SampleMail& mail) = 0;
  /// Another program moves the item of that subject out of the inbox.
  virtual void takeAway(const std::string& subject) = 0;
  /// Everything that send() has taken, in order, whether or not it was delivered since.
  virtual std::vector<SentMail> outbox() = 0;

  virtual void removeComponent(std::string_view progId) = 0;

  /// Runs the user-interface thread's events until none waits and no synchronisation runs.
  virtual void runPendingEvents() = 0;

  /// A name without "@" that resolves, and its address; none where the store knows no names.
  virtual std::optional<std::pair<std::string, std::string>> knownName() = 0;

  /// Whether the inbox lists items that are read. One on a server may list the unread ones alone.
  virtual bool listsReadItems() { return true; }

  /// Whether the store makes this component's objects in another way where it is not installed.
  virtual bool makesWithout(std::string_view) { return false; }

  /// Begins the trouble; false if this store cannot be made to have it.
  virtual bool begin(Trouble trouble) = 0;
  virtual void end(Trouble trouble) = 0;
};

struct StoreMaker {
  const char* name;
  std::unique_ptr<StoreUnderTest> (*make)();
};

inline void PrintTo(const StoreMaker& maker, std::ostream* out) {
  *out << maker.name;
}

}  // namespace relaybird
