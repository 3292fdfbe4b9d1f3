// SPDX-License-Identifier: MIT
// Cuts the power at every step of a pass with its delivery, and of saving the settings. The program
// then starts on every state that the medium may be in: each item must have been forwarded once,
// and the settings must be the old ones or the new ones.
//
// One thing may happen twice: a message whose hand-over was not yet recorded on the medium is
// handed over again, with the same Message-ID.
#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <tuple>

#include "prefs/pref_bench.h"
#include "support/cut_disk.h"
#include "support/mail_text.h"
#include "support/whole_text.h"
#include "system/pass_program.h"

namespace relaybird {
namespace {

const std::string kMaildir = "/home/ann/Maildir";
const std::string kStateFolder = "/home/ann/.local/state";
const std::string kState = kStateFolder + "/rbx";
const std::string kOutbox = kState + "/outbox";

// The step after which a hand-over of step `taken` is on the medium: the journal's line was synced,
// the journal was rewritten, or the file was removed.
std::size_t notedAt(const CutDisk& disk, std::size_t taken) {
  const std::string journal = kOutbox + "/journal";
  const std::size_t rewritten = disk.nextStep("rename " + journal + ".", taken);
  return std::min({disk.nextStep("sync of file " + journal, taken),
                   disk.nextStep("sync of folder " + kOutbox, rewritten),
                   disk.nextStep("remove " + kOutbox + "/new/", taken)});
}

MailSettings annsSettings() {
  return maildirSettings(kMaildir, kOutbox, "ann@example.org", "Ann");
}

void put(DiskImage& image, const std::string& name, const std::string& kind,
         const std::string& subject) {
  MailText mail;
  mail.subject = subject;
  mail.body = "The text of " + subject;
  image.files[kMaildir + "/" + name] = mailTextOfKind(kind, mail);
}

DiskImage fullInbox() {
  DiskImage image;
  image.folders = {"/",      "/home",           "/home/ann",       "/home/ann/.local",
                   kMaildir, kMaildir + "/new", kMaildir + "/cur", kMaildir + "/tmp"};
  put(image, "new/1700000001.M1P1.host", "MailItem", "plain");
  put(image, "cur/1700000002.M1P1.host:2,", "MailItem", "moved");
  put(image, "new/1700000003.M1P1.host", "ReportItem", "refused");
  put(image, "cur/1700000004.M1P1.host:2,S", "MailItem", "read before");
  return image;
}

// Accepts every message but one, and records the disk's step at that time.
class NotingTransport : public SingleTransport {
 public:
  struct Taken {
    std::string subject;
    std::string id;
    std::size_t step = 0;
  };

  explicit NotingTransport(const CutDisk& disk) : disk_(disk) {}
  Outcome deliver(const OutgoingMessage& message, std::stop_token) override {
    if (message.subject == "refused") {  // a report is sent under its own subject
      return {Outcome::Kind::kPermanent, "550 nobody here", false};
    }
    taken.push_back(
        {message.subject, fieldOf(wholeText(message.text), "Message-ID"), disk_.steps()});
    return {};
  }
  std::vector<Taken> taken;

 private:
  const CutDisk& disk_;
};

// A run with two passes and a normal end.
std::vector<NotingTransport::Taken> runOn(CutDisk& disk, std::uint64_t run,
                                          std::size_t passes = 2) {
  NotingTransport transport(disk);
  PassProgram program(annsSettings(), kStateFolder, disk, run, &transport);
  for (std::size_t i = 0; i < passes; ++i) {
    program.pass();
  }
  return transport.taken;
}

class PowerCut : public testing::Test {
 protected:
  // A message that was sent before the cut, and whether the medium is certain to record that.
  struct Left {
    std::string subject;
    std::string id;
    bool noted = false;
    bool operator<(const Left& other) const {
      return std::tie(subject, id, noted) < std::tie(other.subject, other.id, other.noted);
    }
  };
  using Before = std::vector<Left>;

  static Before leftBefore(const CutDisk& disk, const std::vector<NotingTransport::Taken>& taken,
                           std::size_t count) {
    Before before;
    for (const auto& message : taken) {
      if (message.step > count) {
        continue;
      }
      const bool noted = notedAt(disk, message.step) < count;
      before.push_back({message.subject, message.id, noted});
    }
    return before;
  }

  // Runs the program on the image and returns what that run did.
  std::vector<NotingTransport::Taken> expectAllWell(CutDisk& disk, const Before& before,
                                                    std::uint64_t run) {
    const auto later = runOn(disk, run);
    std::map<std::string, std::set<std::string>> ids;
    std::map<std::string, int> count;
    for (const Left& message : before) {
      ids[message.subject].insert(message.id);
      if (message.noted) {
        ++count[message.subject];
      }
    }
    for (const auto& message : later) {
      if (ids.contains(message.subject)) {
        ++repeated;
      }
      ids[message.subject].insert(message.id);
      ++count[message.subject];
    }
    EXPECT_EQ(ids.size(), 2u) << "one was lost";
    for (const auto& [subject, all] : ids) {
      EXPECT_EQ(all.size(), 1u) << "two Message-IDs";
    }
    for (const auto& [subject, times] : count) {
      EXPECT_LE(times, 1) << subject << " left again although that it had left was noted";
    }
    expectEndOf(disk.image());
    return later;
  }

  // The result that every trial must have.
  static void expectEndOf(const DiskImage& image) {
    std::vector<std::string> inbox;
    std::size_t refused = 0;
    for (const auto& [path, bytes] : image.files) {
      // A cut may restore the old name of a message that was marked; it counts as read then.
      const std::string read = std::string(path).replace(0, kMaildir.size() + 4, kMaildir + "/cur");
      const bool twin = path.starts_with(kMaildir + "/new/") && image.files.contains(read + ":2,S");
      if (path.starts_with(kMaildir) && !twin) {
        inbox.push_back(path.substr(kMaildir.size() + 1));
      }
      EXPECT_FALSE(path.starts_with(kOutbox + "/tmp/")) << path;
      EXPECT_FALSE(path.starts_with(kOutbox + "/new/")) << path;
      // An incomplete note that a cut left does no harm.
      if (!path.starts_with(kOutbox + "/failed/") || path.ends_with(".tmp")) {
        continue;
      }
      if (path.ends_with(".txt")) {
        EXPECT_EQ(bytes, "550 nobody here\n");
      } else {
        ++refused;
        EXPECT_EQ(fieldOf(bytes, "Subject"), "refused");
        EXPECT_TRUE(image.files.contains(path + ".txt"));
      }
    }
    EXPECT_EQ(refused, 1u);
    EXPECT_EQ(inbox, (std::vector<std::string>{
                         "cur/1700000001.M1P1.host:2,S", "cur/1700000002.M1P1.host:2,S",
                         "cur/1700000003.M1P1.host:2,S", "cur/1700000004.M1P1.host:2,S"}));
  }

  // Every state after every step of a recorded run, without duplicates. Every kAgain-th one is cut
  // a second time, at every step of the run that starts from it.
  void tryEveryCut(const CutDisk& disk, const std::vector<NotingTransport::Taken>& taken) {
    for (std::size_t count = 0; count <= disk.steps() && !HasFailure(); ++count) {
      const Before before = leftBefore(disk, taken, count);
      disk.eachStateAfter(count, [&](const DiskImage& image, const std::string& how) {
        if (HasFailure() || !seen.insert({image, before}).second) {
          return;
        }
        SCOPED_TRACE("cut after step " + std::to_string(count) +
                     (count > 0 ? " (" + disk.describe(count - 1) + ")" : "") + ", " + how);
        CutDisk second(clock, image);
        const auto later = expectAllWell(second, before, 2);
        if (seen.size() % kAgain == 0) {
          cutAgain(second, before, later);
        }
      });
    }
  }

  void cutAgain(const CutDisk& disk, const Before& before,
                const std::vector<NotingTransport::Taken>& taken) {
    for (std::size_t count = 0; count <= disk.steps() && !HasFailure(); ++count) {
      Before all = before;
      for (const Left& message : leftBefore(disk, taken, count)) {
        all.push_back(message);
      }
      disk.eachExtremeAfter(count, [&](const DiskImage& image, const std::string& how) {
        if (HasFailure() || !seenAgain.insert({image, all}).second) {
          return;
        }
        SCOPED_TRACE("cut again after step " + std::to_string(count) + ", " + how);
        CutDisk third(clock, image);
        expectAllWell(third, all, 3);
      });
    }
  }

  void report(const CutDisk& disk) const {
    std::cout << "power cut in " << seen.size() << " states of " << disk.steps()
              << " steps, and again in " << seenAgain.size() << " of the restarts; " << repeated
              << " messages handed over again\n";
  }

  static constexpr std::size_t kAgain = 25;
  FakeClock clock;
  std::set<std::pair<DiskImage, Before>> seen;
  std::set<std::pair<DiskImage, Before>> seenAgain;
  std::size_t repeated = 0;
};

TEST_F(PowerCut, AfterEveryStepOfAPassWithDeliveryNothingIsLostAndNothingGoesTwice) {
  CutDisk disk(clock, fullInbox());
  const auto taken = runOn(disk, 1);
  ASSERT_EQ(taken.size(), 2u);
  expectEndOf(disk.image());
  ASSERT_GT(disk.steps(), 60u);
  tryEveryCut(disk, taken);
  report(disk);
  EXPECT_GT(repeated, 0u) << "no cut fell between a hand-over and its note";
  EXPECT_GT(seen.size(), 500u);
}

TEST_F(PowerCut, AfterEveryStepOfAPassThatOnlyFillsTheOutboxNothingIsLostAndNothingGoesTwice) {
  CutDisk disk(clock, fullInbox());
  PassProgram(annsSettings(), kStateFolder, disk, 1, nullptr).pass();
  ASSERT_GT(disk.steps(), 40u);
  tryEveryCut(disk, {});
  report(disk);
  EXPECT_GT(seen.size(), 300u);
}

const std::string kOldSettings =
    "[default]\r\nmlngMaxToForward=5\r\nmstrFwdToAddress_num=1\r\nmstrFwdToAddress_1=old@x."
    "example\r\n";

// The preferences over their own disk.
struct Settings {
  explicit Settings(FileSystem& files)
      : profiles(files),
        prefs({.files = files,
               .profiles = profiles,
               .folders = folders,
               .osVersion = osVersion,
               .objects = noObjects}) {}

  ProfileFile profiles;
  HomeFolders folders;
  FakeOsVersion osVersion;
  NoObjects noObjects;
  clsPref prefs;
};

void saveNewSettings(FileSystem& files) {
  Settings settings(files);
  ASSERT_EQ(settings.prefs.ReadIniPref(), 1);
  settings.prefs.fields().mlngMaxToForward = 77;
  settings.prefs.fields().mstrFwdToAddress = {"new@x.example", "second@x.example"};
  ASSERT_EQ(settings.prefs.WriteTofile(), 1);
}

// "old", "new", "defaults", or another description of the settings.
std::string settingsIn(const DiskImage& image, const Clock& clock) {
  CutDisk disk(clock, image);
  Settings settings(disk);
  if (settings.prefs.ReadIniPref() != 1) {
    return "unreadable";
  }
  const auto& fields = settings.prefs.fields();
  const auto& to = fields.mstrFwdToAddress;
  if (fields.mlngMaxToForward == 5 && to == StringList{"old@x.example"}) {
    return "old";
  }
  if (fields.mlngMaxToForward == 77 && to == StringList{"new@x.example", "second@x.example"}) {
    return "new";
  }
  return fields.mlngMaxToForward == 1000 && to == StringList{""} ? "defaults" : "a mixture";
}

struct SavedFrom {
  const char* name;
  DiskImage image;
  std::string before;  // the result of settingsIn before the cut
};

TEST_F(PowerCut, WhileTheSettingsAreSavedTheyAreTheOldOrTheNewOnesAndAfterwardsTheNewOnes) {
  const DiskImage home{{"/", "/home", "/home/ann", "/home/ann/.config", "/home/ann/Templates"}, {}};
  SavedFrom first{"first save", home, "defaults"};
  SavedFrom change{"change", home, "old"};
  change.image.folders.insert("/home/ann/.config/rbx");
  change.image.files[kCurrentFile] = kOldSettings;
  SavedFrom former{"former file", home, "old"};
  former.image.files[kFormerFile] = kOldSettings;
  SavedFrom both{"both files", change.image, "old"};
  both.image.files[kFormerFile] = kOldSettings;
  std::size_t states = 0;
  for (const SavedFrom& from : {first, change, former, both}) {
    CutDisk disk(clock, from.image);
    saveNewSettings(disk);
    for (std::size_t count = 0; count <= disk.steps(); ++count) {
      disk.eachStateAfter(count, [&](const DiskImage& image, const std::string& how) {
        ++states;
        const std::string found = settingsIn(image, clock);
        const bool saved = count == disk.steps();
        EXPECT_TRUE(found == "new" || (!saved && found == from.before))
            << from.name << " cut after step " << count << ", " << how << ": " << found;
      });
    }
  }
  std::cout << "power cut in " << states << " states of saved settings\n";
  EXPECT_GT(states, 100u);
}

}  // namespace
}  // namespace relaybird
