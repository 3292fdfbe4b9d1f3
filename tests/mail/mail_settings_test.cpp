// SPDX-License-Identifier: MIT
// The keys of section "mail": defaults, every value, wrong values, and what is written.
#include "mail/mail_settings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "platform/profile/profile_file.h"
#include "platform/text/ascii_text.h"
#include "prefs/fake_files.h"

namespace relaybird {
namespace {

const std::string kFile = "/rbx_prefs.ini";
const LocalIdentity kUser = {"/home/ann", "ann@host", "Ann Example"};

class MailSettingsFile : public testing::Test {
 protected:
  MailSettingsRead read(const std::string& lines) {
    files.addFile(kFile, "[mail]\n" + lines);
    return readMailSettings(*profiles.read(kFile), kUser);
  }
  std::string firstError(const std::string& lines) {
    const auto result = read(lines);
    return result.errors.empty() ? "" : result.errors.front();
  }
  // The lines that the file has after the settings were written over these.
  std::string written(const std::string& before, const MailSettings& settings) {
    files.addFile(kFile, before);
    const auto writer = profiles.write(kFile);
    EXPECT_TRUE(writeMailSettings(*profiles.read(kFile), *writer, settings, kUser));
    EXPECT_TRUE(writer->commit()) << writer->error();
    return files.bytes(kFile);
  }

  FakeFiles files;
  ProfileFile profiles{files};
};

std::string textOf(const MailSettings& settings, std::string_view key) {
  for (const MailSetting& setting : mailSettingTexts(settings)) {
    if (setting.key == key) {
      return setting.text;
    }
  }
  return "no such key";
}

const std::string kAccount = "store=account\nimap_host=imap.example.org\naddress=ann@example.org\n";
const std::string kSmtp = kAccount + "smtp_host=smtp.example.org\n";

TEST_F(MailSettingsFile, AnEmptyFileMeansTheMaildirAndNothingLeaves) {
  const auto result = read("");
  EXPECT_TRUE(result.errors.empty());
  const MailSettings& s = result.settings;
  EXPECT_EQ(s.mailbox, MailboxKind::kMaildir);
  EXPECT_EQ(s.maildir, "/home/ann/Maildir");
  EXPECT_EQ(s.outbox, "");
  EXPECT_EQ(s.address, "ann@host");
  EXPECT_EQ(s.name, "Ann Example");
  EXPECT_EQ(s.addressBook, "");
  EXPECT_EQ(s.mostPerHour, std::nullopt);
  EXPECT_EQ(s.delivery, DeliveryKind::kNone);
  EXPECT_FALSE(s.keepSentCopy);
}

TEST_F(MailSettingsFile, AnAccountNeedsItsServerAlone) {
  const auto result = read(kAccount);
  EXPECT_TRUE(result.errors.empty());
  const AccountSettings& imap = result.settings.imap;
  EXPECT_EQ(imap.server.protocol, MailProtocol::kImap);
  EXPECT_EQ(imap.server.security, Security::kTls);
  EXPECT_EQ(imap.server.port, 993);
  EXPECT_EQ(imap.user, "ann@example.org");
  EXPECT_EQ(imap.signIn, SignInMethod::kPassword);
  EXPECT_EQ(imap.secret, SecretSource::kKeyring);
  EXPECT_EQ(result.settings.folder, "INBOX");
  EXPECT_EQ(result.settings.delivery, DeliveryKind::kNone);
}

TEST_F(MailSettingsFile, AnAccountWithAServerForSendingSendsBySmtp) {
  const auto result = read(kSmtp + "imap_user=ann\n");
  EXPECT_TRUE(result.errors.empty());
  EXPECT_EQ(result.settings.delivery, DeliveryKind::kSmtp);
  const AccountSettings& smtp = result.settings.smtp;
  EXPECT_EQ(smtp.server.protocol, MailProtocol::kSmtp);
  EXPECT_EQ(smtp.server.port, 465);
  EXPECT_EQ(smtp.user, "ann");
  EXPECT_EQ(smtp.secret, SecretSource::kSameAsImap);
  EXPECT_EQ(&result.settings.smtpSecretOwner(), &result.settings.imap);
}

TEST_F(MailSettingsFile, AMaildirWithAServerForSendingSendsBySmtpToo) {
  const auto result = read("smtp_host=smtp.example.org\nsmtp_user=ann\nsmtp_secret=keyring\n");
  EXPECT_TRUE(result.errors.empty());
  EXPECT_EQ(result.settings.delivery, DeliveryKind::kSmtp);
  EXPECT_EQ(read("smtp_host=smtp.example.org\nsendmail=msmtp\n").settings.delivery,
            DeliveryKind::kSendmail);
}

TEST_F(MailSettingsFile, ACommandIsTheWayOutWhereThereIsOne) {
  EXPECT_EQ(read("sendmail=~/bin/send -t\n").settings.delivery, DeliveryKind::kSendmail);
  EXPECT_EQ(read("sendmail=~/bin/send -t\n").settings.sendmail, "/home/ann/bin/send -t");
  EXPECT_EQ(read(kSmtp + "sendmail=msmtp\n").settings.delivery, DeliveryKind::kSendmail);
  EXPECT_EQ(read(kSmtp + "sendmail=msmtp\ndelivery=smtp\n").settings.delivery, DeliveryKind::kSmtp);
  EXPECT_EQ(read("sendmail=msmtp\ndelivery=none\n").settings.delivery, DeliveryKind::kNone);
}

TEST_F(MailSettingsFile, TheUsualPortFollowsTheSecurity) {
  EXPECT_EQ(read(kSmtp + "imap_security=starttls\n").settings.imap.server.port, 143);
  EXPECT_EQ(read(kSmtp + "smtp_security=starttls\n").settings.smtp.server.port, 587);
  EXPECT_EQ(read(kSmtp + "smtp_security=starttls\nsmtp_port=2525\n").settings.smtp.server.port,
            2525);
}

TEST_F(MailSettingsFile, AnAccessTokenIsUsedWithItsOwnMethod) {
  const auto result = read(kSmtp + "imap_secret=token-command\nimap_secret_command=~/token\n");
  EXPECT_TRUE(result.errors.empty());
  EXPECT_EQ(result.settings.imap.signIn, SignInMethod::kXoauth2);
  EXPECT_EQ(result.settings.smtp.signIn, SignInMethod::kXoauth2);
  EXPECT_EQ(result.settings.imap.secretCommand, "/home/ann/token");
}

TEST_F(MailSettingsFile, ACredentialHasANameEvenWithoutOne) {
  EXPECT_EQ(read(kAccount + "imap_secret=credential\n").settings.imap.secretName, "relaybird.imap");
  EXPECT_EQ(read(kSmtp + "smtp_secret=credential\n").settings.smtp.secretName, "relaybird.smtp");
}

TEST_F(MailSettingsFile, PathsBeginInTheHomeFolder) {
  const auto s =
      read("maildir=~/Mail/\noutbox=out\naddress_book=/srv/all.vcf\nimap_ca_file=~/ca.pem\n");
  EXPECT_EQ(s.settings.maildir, "/home/ann/Mail");
  EXPECT_EQ(s.settings.outbox, "/home/ann/out");
  EXPECT_EQ(s.settings.addressBook, "/srv/all.vcf");
  EXPECT_EQ(s.settings.imap.server.caFile, "/home/ann/ca.pem");
}

TEST_F(MailSettingsFile, ATildeInsideAPathIsAnOrdinaryLetter) {
  const auto s = read("maildir=/x/~/y\noutbox=~bob/o\n");
  EXPECT_EQ(s.settings.maildir, "/x/~/y");
  EXPECT_EQ(s.settings.outbox, "/home/ann/~bob/o");
  EXPECT_EQ(read("maildir=~\n").settings.maildir, "/home/ann");
  EXPECT_EQ(read("maildir=/\n").settings.maildir, "/");
}

TEST_F(MailSettingsFile, ABlankedKeyCountsAsAbsent) {
  const auto s = read("maildir=\naddress=\nsendmail=\n");
  EXPECT_EQ(s.settings.maildir, "/home/ann/Maildir");
  EXPECT_EQ(s.settings.address, "ann@host");
  EXPECT_EQ(s.settings.delivery, DeliveryKind::kNone);
}

TEST_F(MailSettingsFile, ALongPathIsNotCut) {
  const std::string path = "/" + std::string(1000, 'p');
  EXPECT_EQ(read("maildir=" + path + "\n").settings.maildir, path);
}

TEST_F(MailSettingsFile, ATypingErrorDoesNotSwitchTheHourlyLimitOff) {
  EXPECT_EQ(read("max_per_hour=7\n").settings.mostPerHour, 7u);
  for (const std::string wrong : {"0", "-1", "7x", "none"}) {
    const auto result = read("max_per_hour=" + wrong + "\n");
    EXPECT_EQ(result.settings.mostPerHour, std::nullopt) << wrong;
    EXPECT_TRUE(result.errors.empty()) << wrong;
  }
}

// Every name of every choice is read, whatever its letter case, and comes back as it is written.
TEST_F(MailSettingsFile, EveryNameOfAChoiceIsKnown) {
  const std::map<std::string, std::vector<std::string>> choices = {
      {"store", {"maildir", "account"}},
      {"delivery", {"none", "sendmail", "smtp"}},
      {"imap_security", {"tls", "starttls", "none"}},
      {"imap_sign_in", {"password", "plain", "login", "xoauth2", "oauthbearer"}},
      {"imap_secret", {"keyring", "command", "token-command", "credential", "online-account"}},
      {"smtp_security", {"tls", "starttls", "none"}},
      {"smtp_sign_in", {"password", "plain", "login", "xoauth2", "oauthbearer", "none"}},
      {"smtp_secret",
       {"same", "keyring", "command", "token-command", "credential", "online-account"}},
      {"keep_sent_copy", {"0", "1"}},
  };
  for (const auto& [key, names] : choices) {
    for (const std::string& name : names) {
      EXPECT_EQ(textOf(read(key + "=" + name + "\n").settings, key), name);
      EXPECT_EQ(textOf(read(key + "=" + asciiUpper(name) + "\n").settings, key), name);
    }
  }
}

TEST_F(MailSettingsFile, AWrongValueIsToldWithWhatIsPossible) {
  EXPECT_EQ(firstError("store=outlook\n"),
            "store=outlook is not known; it has to be one of maildir, account.");
  EXPECT_EQ(firstError("delivery=post\n"),
            "delivery=post is not known; it has to be one of none, sendmail, smtp.");
  EXPECT_EQ(firstError(kAccount + "imap_security=ssl\n"),
            "imap_security=ssl is not known; it has to be one of tls, starttls, none.");
  for (const std::string port : {"0", "65536", "-1", "993 ", "imap", "99x"}) {
    const std::string error = firstError(kAccount + "imap_port=\"" + port + "\"\n");
    EXPECT_EQ(error, "imap_port=" + port + " is not known; it has to be a number from 1 to 65535.");
  }
  EXPECT_EQ(firstError("keep_sent_copy=maybe\n"),
            "keep_sent_copy=maybe is not known; it has to be 1 or 0.");
  EXPECT_EQ(read(kAccount + "imap_port=x\n").settings.imap.server.port, 993);
}

TEST_F(MailSettingsFile, WhatIsMissingIsTold) {
  EXPECT_EQ(firstError("store=account\n"),
            "imap_host is missing: it is the name of the mail server.");
  EXPECT_EQ(firstError("delivery=smtp\n"),
            "smtp_host is missing: it is the name of the mail server.");
  EXPECT_EQ(firstError("delivery=sendmail\n"),
            "sendmail is missing: delivery=sendmail needs the command.");
  EXPECT_EQ(firstError(kAccount + "imap_secret=command\n"),
            "imap_secret_command is missing: it is the command that prints the password.");
  EXPECT_EQ(firstError(kAccount + "imap_secret=token-command\n"),
            "imap_secret_command is missing: it is the command that prints the access token.");
  EXPECT_EQ(firstError(kAccount + "imap_secret=online-account\n"),
            "imap_secret_name is missing: it names the online account.");
  EXPECT_NE(firstError(kAccount + "imap_secret=same\n").find("imap_secret=same is not possible"),
            std::string::npos);
  EXPECT_NE(firstError(kAccount + "imap_sign_in=none\n").find("imap_sign_in=none is not possible"),
            std::string::npos);
  EXPECT_NE(
      firstError("delivery=smtp\nsmtp_host=smtp.example.org\n").find("smtp_secret is missing"),
      std::string::npos);
  EXPECT_EQ(firstError("delivery=smtp\nsmtp_host=smtp.example.org\nsmtp_sign_in=none\n"), "");
}

TEST_F(MailSettingsFile, AHostIsANameOrAnAddress) {
  EXPECT_EQ(firstError("store=account\nimap_host=::1\n"), "");
  EXPECT_EQ(firstError("store=account\nimap_host=fe80::1%2\n"), "");
  for (const std::string wrong :
       {"imaps://example.org", "a b", "ann@example.org", "example.org:993"}) {
    EXPECT_EQ(firstError("store=account\nimap_host=" + wrong + "\n"),
              "imap_host=" + wrong + " is not the name of a server.");
  }
}

TEST_F(MailSettingsFile, ATokenAndAPasswordAreNotMixed) {
  EXPECT_NE(firstError(kAccount + "imap_sign_in=xoauth2\n").find("needs an access token"),
            std::string::npos);
  EXPECT_NE(firstError(kAccount +
                       "imap_secret=token-command\nimap_secret_command=t\nimap_sign_in=login\n")
                .find("needs a password"),
            std::string::npos);
  EXPECT_EQ(
      firstError(kAccount + "imap_secret=online-account\nimap_secret_name=1\nimap_sign_in=login\n"),
      "");
  EXPECT_NE(firstError(kSmtp + "smtp_sign_in=oauthbearer\n").find("needs an access token"),
            std::string::npos);
}

TEST_F(MailSettingsFile, APlainConnectionHasToBeSaidTwice) {
  const std::string plain = kAccount + "imap_security=none\n";
  EXPECT_EQ(firstError(plain),
            "imap_security=none sends the password to imap.example.org so that others can read it "
            "on the way. If you want that, say so a second time: "
            "imap_unencrypted=imap.example.org.");
  EXPECT_NE(firstError(plain + "imap_unencrypted=other.example.org\n"), "");
  EXPECT_EQ(firstError(plain + "imap_unencrypted=IMAP.example.org\n"), "");
  EXPECT_NE(firstError(kSmtp + "smtp_security=none\n"), "");
  EXPECT_EQ(firstError("store=account\nimap_host=localhost\nimap_security=none\n"), "");
}

TEST(LocalHost, IsThisComputerAlone) {
  for (const char* local :
       {"localhost", "LOCALHOST", "imap.localhost", "127.0.0.1", "127.1.2.3", "::1"}) {
    EXPECT_TRUE(isLocalHost(local)) << local;
  }
  for (const char* other : {"", "example.org", "localhost.example.org", "127.example.org",
                            "128.0.0.1", "notlocalhost", "::2"}) {
    EXPECT_FALSE(isLocalHost(other)) << other;
  }
}

TEST_F(MailSettingsFile, KnowsWhetherMailHasBeenSetUp) {
  const auto names = [&](const std::string& lines) {
    files.addFile(kFile, "[mail]\n" + lines);
    return namesMailbox(*profiles.read(kFile));
  };
  EXPECT_FALSE(names(""));
  EXPECT_FALSE(names("name=Ann\nstore=\n"));
  EXPECT_TRUE(names("store=maildir\n"));
  EXPECT_TRUE(names("maildir=~/Mail\n"));
  EXPECT_TRUE(names("sendmail=msmtp\n"));
}

// All keys with values that are no defaults.
const std::string kEverything =
    "store=account\nmaildir=/m\noutbox=/o\naddress=a@example.org\nname=A. Name\n"
    "address_book=/b.vcf\nmax_per_hour=9\nimap_host=i.example.org\nimap_security=none\n"
    "imap_port=1143\nimap_unencrypted=i.example.org\nimap_ca_file=/ca\nimap_user=iu\n"
    "imap_secret=command\nimap_secret_command=pass show \"my mail\"\nimap_secret_name=in\n"
    "imap_sign_in=login\nimap_folder=In/Box\nsendmail=send -t\nsmtp_host=s.example.org\n"
    "smtp_security=starttls\nsmtp_port=1587\nsmtp_unencrypted=s.example.org\nsmtp_ca_file=/cb\n"
    "smtp_user=su\nsmtp_secret=credential\nsmtp_secret_command=none\nsmtp_secret_name=cn\n"
    "smtp_sign_in=plain\ndelivery=none\nkeep_sent_copy=1\n";

TEST_F(MailSettingsFile, WhatIsWrittenIsReadBack) {
  const auto result = read(kEverything);
  EXPECT_TRUE(result.errors.empty());
  const std::string file = written("", result.settings);
  // One key each, and none was missed.
  EXPECT_EQ(std::count(kEverything.begin(), kEverything.end(), '\n'),
            static_cast<std::ptrdiff_t>(mailSettingTexts(result.settings).size()));
  const auto again = readMailSettings(*profiles.read(kFile), kUser);
  for (const MailSetting& setting : mailSettingTexts(result.settings)) {
    EXPECT_EQ(textOf(again.settings, setting.key), setting.text) << setting.key;
    EXPECT_NE(file.find(std::string(setting.key) + "="), std::string::npos) << setting.key;
  }
}

TEST_F(MailSettingsFile, ForeignLinesAndSpellingsStay) {
  const std::string before =
      "; mine\n[default]\nmstrForwardAddress=b@example.org\n\n[mail]\n# the folder\n"
      "Maildir = ~/Mail/\nfuture_key=7\nsendmail=msmtp\n[other]\nx=1\n";
  files.addFile(kFile, before);
  MailSettings settings = readMailSettings(*profiles.read(kFile), kUser).settings;
  EXPECT_EQ(written(before, settings), before);
  settings.name = "Someone";
  EXPECT_EQ(written(before, settings),
            "; mine\n[default]\nmstrForwardAddress=b@example.org\n\n[mail]\n# the folder\n"
            "Maildir = ~/Mail/\nfuture_key=7\nsendmail=msmtp\nname=Someone\n[other]\nx=1\n");
}

TEST_F(MailSettingsFile, DefaultsAreNotWrittenButAChangeBackIs) {
  MailSettings settings = read(kSmtp).settings;
  settings.imap.server.security = Security::kStartTls;
  settings.imap.server.port = 143;
  EXPECT_EQ(written("[mail]\n" + kSmtp, settings), "[mail]\n" + kSmtp + "imap_security=starttls\n");
  settings.imap.server = read(kSmtp).settings.imap.server;
  EXPECT_EQ(written("[mail]\n" + kSmtp + "imap_security=starttls\n", settings),
            "[mail]\n" + kSmtp + "imap_security=tls\n");
}

// The default of "delivery" depends on the command: leaving it out would have switched sending on.
TEST_F(MailSettingsFile, StayingInTheOutboxIsWrittenWhereACommandIsKnown) {
  MailSettings settings = read("").settings;
  settings.sendmail = "msmtp";
  settings.delivery = DeliveryKind::kNone;
  written("[mail]\n", settings);
  EXPECT_EQ(readMailSettings(*profiles.read(kFile), kUser).settings.delivery, DeliveryKind::kNone);
}

TEST_F(MailSettingsFile, AWrongValueIsReplaced) {
  const MailSettings settings = read(kAccount + "imap_port=x\n").settings;
  EXPECT_EQ(written("[mail]\n" + kAccount + "imap_port=x\n", settings),
            "[mail]\n" + kAccount + "imap_port=993\n");
}

TEST_F(MailSettingsFile, AnEmptiedNameDoesNotComeBackAsTheLogins) {
  MailSettings settings = read("name=Ann\n").settings;
  settings.name = "";
  EXPECT_EQ(written("[mail]\nname=Ann\n", settings), "[mail]\nname=-\n");
  const MailSettings again = readMailSettings(*profiles.read(kFile), kUser).settings;
  EXPECT_EQ(again.name, "");
  EXPECT_EQ(written("[mail]\nname=-\n", again), "[mail]\nname=-\n");
}

TEST_F(MailSettingsFile, AnEmptiedPathWithoutADefaultIsJustEmpty) {
  MailSettings settings = read("address_book=/b.vcf\n").settings;
  settings.addressBook = "";
  EXPECT_EQ(written("[mail]\naddress_book=/b.vcf\n", settings), "[mail]\naddress_book=\n");
}

TEST_F(MailSettingsFile, AnEmptiedCertificateFileDoesNotComeBackFromTheOtherServer) {
  const std::string lines =
      "imap_host=mail.example.org\nsmtp_host=mail.example.org\nimap_ca_file=/ca\n";
  MailSettings settings = read(lines).settings;
  EXPECT_EQ(settings.smtp.server.caFile, "/ca");
  settings.smtp.server.caFile = "";
  written("[mail]\n" + lines, settings);
  EXPECT_EQ(readMailSettings(*profiles.read(kFile), kUser).settings.smtp.server.caFile, "");
}

TEST_F(MailSettingsFile, ACertificateFileIsNotTrustedForAnotherServer) {
  EXPECT_EQ(read(kSmtp + "imap_ca_file=/ca\n").settings.smtp.server.caFile, "");
}

TEST_F(MailSettingsFile, QuotesAndBlanksOfACommandStay) {
  for (const std::string command : {"\"/my pass\" \"show\"", " x ", "'a'"}) {
    MailSettings settings = read("").settings;
    settings.sendmail = command;
    written("", settings);
    EXPECT_EQ(readMailSettings(*profiles.read(kFile), kUser).settings.sendmail, command);
  }
}

TEST_F(MailSettingsFile, AValueThatWouldBreakTheLineIsRefused) {
  MailSettings settings = read("").settings;
  settings.name = "Ann\nsendmail=rm";
  const auto writer = profiles.write(kFile);
  EXPECT_FALSE(writeMailSettings(*profiles.read(kFile), *writer, settings, kUser));
}

}  // namespace
}  // namespace relaybird
