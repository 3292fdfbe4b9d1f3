// SPDX-License-Identifier: MIT
// The store over the desktop mail application, with the double as that application: in this
// process, and in a process of its own. The suite runs over either.
#include <windows.h>

#include <objbase.h>

#include "contract/mail_store_contract.h"
#include "outlook_double/class_objects.h"
#include "outlook_double/com_client.h"
#include "outlook_double/commands.h"
#include "outlook_double/double_server.h"
#include "outlook_double/lasting_stubs.h"
#include "stores/outlook/outlook_store.h"
#include "support/fake_clock.h"
#include "support/fake_timers.h"
#include "support/no_disk.h"
#include "support/store_fakes.h"

namespace relaybird {
namespace {

namespace od = outlook_double;

struct ComApartment {
  ComApartment() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
  ~ComApartment() { CoUninitialize(); }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
};

void serveMessages() {
  for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE;) {
    DispatchMessageW(&message);
  }
}

std::string deliverLine(const SampleMail& mail) {
  const auto received = std::to_string(mail.received.time_since_epoch().count());
  std::string line = "deliver" + od::field("kind", mail.kind) + od::field("subject", mail.subject) +
                     od::field("body", mail.body) +
                     od::field("html", mail.html.empty() ? "0" : "1") +
                     od::field("sender", mail.senderName) +
                     od::field("address", mail.senderAddress) + od::field("received", received) +
                     od::field("modified", received) + od::field("unread", mail.unread ? "1" : "0");
  for (const auto& [name, bytes] : mail.attachments) {
    line += od::field("file", name + ":" + bytes);
  }
  return line;
}

SentMail sentMail(const od::CommandLine& line) {
  SentMail mail;
  mail.subject = line.value("subject");
  mail.body = line.value("body");
  mail.html = line.flag("html", false);
  mail.replyTo = line.all("reply");
  for (const auto& one : line.all("recipient")) {
    mail.recipients.emplace_back(one.substr(2), static_cast<RecipientType>(one[0] - '0'));
  }
  for (const auto& one : line.all("file")) {
    const auto colon = one.find(':');
    mail.attachments.push_back({one.substr(0, colon), one.substr(colon + 1)});
  }
  return mail;
}

class OutlookUnderTest : public StoreUnderTest {
 public:
  OutlookUnderTest() = default;

  MailStore& store() override {
    if (!store_) {
      auto opened = openOutlookStore({.files = disk_,
                                      .clock = clock_,
                                      .events = events_,
                                      .executor = executor_,
                                      .commands = commands_,
                                      .random = [](std::size_t) {
                                        return Error{0, "not used"};
                                      }});
      if (!opened) {
        throw std::runtime_error(opened.error().text);
      }
      store_ = std::move(*opened);
    }
    return *store_;
  }

  void deliver(const SampleMail& mail) override { tell(deliverLine(mail)); }
  void takeAway(const std::string& subject) override {
    tell("take" + od::field("subject", subject));
  }
  std::vector<SentMail> outbox() override {
    std::vector<SentMail> all;
    const std::string lines = tell("sent");
    for (std::size_t begin = 0; begin < lines.size();) {
      const auto end = lines.find('\n', begin);
      all.push_back(sentMail(od::CommandLine(std::string_view(lines).substr(begin, end - begin))));
      begin = end + 1;
    }
    return all;
  }
  void runPendingEvents() override {
    do {
      serveMessages();
      events_.runUntilIdle();
    } while (od::CommandLine(tell("state")).number("running", 0) > 0 || events_.waiting() > 0);
  }
  std::optional<std::pair<std::string, std::string>> knownName() override {
    return std::pair("Ann Example", "ann@example.org");
  }

  // What has come so far.
  void runWaitingEvents() { events_.runUntilIdle(); }
  // A synchronisation that runs ends in the middle of the next such call.
  void endSyncDuring(const std::string& call) {
    tell("syncs\tend=told");
    tell("meanwhile\ttimes=1" + od::field("call", call) +
         od::field("command", "event\tname=SyncEnd"));
  }

  // The application makes a mail item too.
  bool makesWithout(std::string_view progId) override { return progId == prog_id::kMailItem; }

  bool begin(Trouble trouble) override {
    if (trouble == Trouble::kApplicationGone) {
      endApplication();
    } else if (trouble == Trouble::kInboxUnreachable) {
      tell("raise\tcall=Items.Restrict\tcode=80040115\ttext=The server is not available.");
    } else {
      // The codes of a mailbox that is full.
      tell("raise\tcall=SafeItem.Send\tcode=8004060C\ttext=The mailbox is full.");
      tell("raise\tcall=MailItem.Send\tcode=8004060C\ttext=The mailbox is full.");
    }
    return true;
  }
  void end(Trouble) override { tell("calm"); }

 protected:
  virtual od::ComRef<IDispatch>& control() = 0;
  virtual void endApplication() = 0;

  std::string tell(const std::string& command) { return od::tell(*control().get(), command); }
  void startAnew() {
    tell("reset");
    tell("name\tname=Ann Example\taddress=ann@example.org");
  }

  ComApartment com_;

 private:
  NoFiles disk_;
  FakeClock clock_;
  FakeEventQueue events_;
  InlineExecutor executor_;
  NoCommands commands_;
  std::unique_ptr<MailStore> store_;
};

// The system has the dictionary, which runs in this process. The test's own can be missing.
class Dictionary {
 public:
  void remove() {
    own_.reset(new od::ClassObjects(od::ClassObjects::dictionary()));
    od::carryOut(od::CommandLine("reset"));
    od::carryOut(od::CommandLine("missing" + od::field("component", prog_id::kDictionary)));
  }

 private:
  std::unique_ptr<od::ClassObjects> own_;
};

// What the registry says of the double. The tests change it, and leave it so to the next one.
class Registered {
 public:
  static void at(od::DoublePlace place) {
    static Registered only(place);
    if (only.place_ != place) {
      od::registerDouble(place);
      only.place_ = place;
    }
  }
  Registered(const Registered&) = delete;
  Registered& operator=(const Registered&) = delete;

 private:
  explicit Registered(od::DoublePlace place) : place_(place) { od::registerDouble(place); }
  ~Registered() { od::unregisterClasses(); }

  ComApartment com_;
  od::DoublePlace place_;
};

// COM loads the double into this process.
class InProcess : public OutlookUnderTest {
 public:
  InProcess() {
    Registered::at(od::DoublePlace::kLoaded);
    control_ = od::create(od::kControl, CLSCTX_INPROC_SERVER);
    EXPECT_TRUE(od::libraryIsLoaded());
    startAnew();
  }

  void removeComponent(std::string_view progId) override {
    if (progId == prog_id::kDictionary) {
      dictionary_.remove();
    } else {
      tell("missing" + od::field("component", progId));
    }
  }

 protected:
  od::ComRef<IDispatch>& control() override { return control_; }
  void endApplication() override { tell("quit"); }

 private:
  Dictionary dictionary_;
  od::ComRef<IDispatch> control_;
};

// As other versions and settings of the application are: what its filter has let through changes
// under the reader, the newest item comes first, and the date of a change has its other name.
class InProcessOtherwise : public InProcess {
 public:
  InProcessOtherwise() { tell("show\tfilter=live\torder=newest\tdates=date"); }
};

// One server serves all tests of the program: starting one takes a second.
class OtherProcess {
 public:
  static OtherProcess& only() {
    static OtherProcess server;
    return server;
  }
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;
  ~OtherProcess() { end(); }

  od::ComRef<IDispatch>& control() {
    if (!control_) {
      control_ = od::create(od::kControl, CLSCTX_LOCAL_SERVER);
    }
    return control_;
  }
  // In the middle of a call. The next use starts another.
  void end() {
    if (control_) {
      try {
        od::tell(*control_.get(), "die");
      } catch (const od::CallFailed&) {
        control_ = {};
      }
    }
  }

 private:
  OtherProcess() = default;

  ComApartment com_;
  od::LastingStubs stubs_;  // for the listeners that it is given
  od::ComRef<IDispatch> control_;
};

class OutOfProcess : public OutlookUnderTest {
 public:
  explicit OutOfProcess(od::DoublePlace place = od::DoublePlace::kProgram) {
    Registered::at(place);
    startAnew();
  }

  void removeComponent(std::string_view progId) override {
    if (progId == prog_id::kDictionary) {
      dictionary_.remove();
    } else {
      tell("missing" + od::field("component", progId));
    }
  }

 protected:
  od::ComRef<IDispatch>& control() override { return OtherProcess::only().control(); }
  void endApplication() override { OtherProcess::only().end(); }

 private:
  Dictionary dictionary_;
};

// As on a user's computer: COM loads the safe-item library into this process.
class LibraryHere : public OutOfProcess {
 public:
  LibraryHere() : OutOfProcess(od::DoublePlace::kLibraryLoaded) {
    // Throws if it cannot be made here.
    od::create(prog_id::kUtility, CLSCTX_INPROC_SERVER);
    EXPECT_TRUE(od::libraryIsLoaded());
  }
};

template <class T>
std::unique_ptr<StoreUnderTest> make() {
  return std::make_unique<T>();
}

INSTANTIATE_TEST_SUITE_P(Outlook, MailStoreContract,
                         testing::Values(StoreMaker{"in_process", make<InProcess>},
                                         StoreMaker{"in_process_otherwise",
                                                    make<InProcessOtherwise>},
                                         StoreMaker{"out_of_process", make<OutOfProcess>},
                                         StoreMaker{"library_in_process", make<LibraryHere>}),
                         storeMakerName);

// COM serves other calls while one of this thread is out. A handler that ran there would call the
// store in the middle of one of its own calls.
template <class T>
class OutlookEvents : public testing::Test {
 protected:
  // The end of a synchronisation comes in the middle of that call, which `caller` makes.
  void endComesIn(const std::string& call, const std::function<void()>& caller) {
    int ends = 0;
    sync_->onSyncEnd([&] { ++ends; });
    outside_.endSyncDuring(call);
    caller();
    EXPECT_EQ(ends, 0) << "in the middle of " << call;
    outside_.runWaitingEvents();
    EXPECT_EQ(ends, 1) << "after " << call;
  }

  T outside_;
  std::shared_ptr<Application> application_ =
      createAs<Application>(outside_.store().factory(), prog_id::kApplication);
  std::shared_ptr<SyncObject> sync_ = application_->GetNamespace("MAPI")->SyncObjects()->Item(1);
};

using Places = testing::Types<InProcess, OutOfProcess>;
TYPED_TEST_SUITE(OutlookEvents, Places);

TYPED_TEST(OutlookEvents, AnEndThatComesInTheMiddleOfACallIsToldAfterIt) {
  this->endComesIn("SyncObject.Start", [this] { this->sync_->Start(); });
  this->endComesIn("Application.Version", [this] { (void)this->application_->Version(); });
  const auto item = this->application_->CreateItem(kMailItemKind);
  this->endComesIn("MailItem.Subject=", [&] { item->Subject("Tea"); });
}

}  // namespace
}  // namespace relaybird
