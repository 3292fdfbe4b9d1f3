// SPDX-License-Identifier: MIT
#include "stores/maildir/maildir_settings.h"

#include <gtest/gtest.h>

#include <map>

namespace relaybird {
namespace {

using Keys = std::map<std::string, std::string>;

// Section "mail" as a table.
class TableReader : public ProfileReader {
 public:
  explicit TableReader(Keys keys) : keys_(std::move(keys)) {}
  std::string get(std::string_view section, std::string_view key, std::string_view fallback,
                  std::size_t bufferSize) const override {
    const auto found = keys_.find(std::string(key));
    const bool known = section == "mail" && found != keys_.end();
    return (known ? found->second : std::string(fallback)).substr(0, bufferSize - 1);
  }

 private:
  Keys keys_;
};

const LocalIdentity kUser{"/home/ann", "ann@example.org", "Ann Example"};

MaildirSettings read(Keys keys) {
  return readMaildirSettings(TableReader(std::move(keys)), kUser, "/home/ann/.local/state");
}

TEST(MaildirSettings, AnEmptyFileGivesTheDefaults) {
  const auto settings = read({});
  EXPECT_EQ(settings.maildir, "/home/ann/Maildir");
  EXPECT_EQ(settings.stateFolder, "/home/ann/.local/state/rbx");
  EXPECT_EQ(settings.outbox, "");
  EXPECT_EQ(settings.sendmail, "");
  EXPECT_EQ(settings.address, "ann@example.org");
  EXPECT_EQ(settings.name, "Ann Example");
  EXPECT_EQ(settings.addressBook, "");
}

TEST(MaildirSettings, KeysOverrideAndHomeIsExpanded) {
  const auto settings = read({{"maildir", "~/mail/in/"},
                              {"outbox", "/var/spool/ann//"},
                              {"sendmail", "~/bin/msmtp -a work"},
                              {"address", "a@b.example"},
                              {"name", "A. B."},
                              {"address_book", "contacts.vcf"}});
  EXPECT_EQ(settings.maildir, "/home/ann/mail/in");
  EXPECT_EQ(settings.outbox, "/var/spool/ann");
  EXPECT_EQ(settings.sendmail, "/home/ann/bin/msmtp -a work");
  EXPECT_EQ(settings.address, "a@b.example");
  EXPECT_EQ(settings.name, "A. B.");
  EXPECT_EQ(settings.addressBook, "/home/ann/contacts.vcf");
}

TEST(MaildirSettings, ALimitThatIsNoWholeNumberFromOneOnIsTheDefault) {
  EXPECT_EQ(read({}).mostPerHour, 500U);
  EXPECT_EQ(read({{"max_per_hour", "20"}}).mostPerHour, 20U);
  for (const char* none : {"0", "-1", "many", "5x", "", "99999999999999999999999"}) {
    EXPECT_EQ(read({{"max_per_hour", none}}).mostPerHour, 500U) << none;
  }
}

TEST(MaildirSettings, ATildeInsideAPathIsAnOrdinaryLetter) {
  const auto settings = read({{"maildir", "/x/~/y"}, {"outbox", "~bob/o"}});
  EXPECT_EQ(settings.maildir, "/x/~/y");
  EXPECT_EQ(settings.outbox, "/home/ann/~bob/o");
  EXPECT_EQ(read({{"maildir", "~"}}).maildir, "/home/ann");
  EXPECT_EQ(read({{"maildir", "/"}}).maildir, "/");
}

TEST(MaildirSettings, ABlankedKeyCountsAsAbsent) {
  const auto settings = read({{"maildir", ""}, {"address", ""}, {"sendmail", ""}});
  EXPECT_EQ(settings.maildir, "/home/ann/Maildir");
  EXPECT_EQ(settings.address, "ann@example.org");
  EXPECT_EQ(settings.sendmail, "");
}

TEST(MaildirSettings, ALongPathIsNotCut) {
  const std::string path = "/" + std::string(1000, 'p');
  EXPECT_EQ(read({{"maildir", path}}).maildir, path);
}

}  // namespace
}  // namespace relaybird
