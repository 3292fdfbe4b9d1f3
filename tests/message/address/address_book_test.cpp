// SPDX-License-Identifier: MIT
// Names of the address book and the addresses that they lead to. Most tests parse a book from a
// text; those of the file write it to a scratch folder and count how often it is opened.
#include "message/address/address_book.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "message/text/repeated.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using namespace std::string_view_literals;

std::string card(std::string_view lines) {
  return "BEGIN:VCARD\r\nVERSION:3.0\r\n" + std::string(lines) + "\r\nEND:VCARD\r\n";
}

std::string addressOf(const AddressBook& book, std::string_view name) {
  const auto mailbox = book.find(name);
  return mailbox ? mailbox->address : "none";
}

std::string addressIn(std::string_view lines, std::string_view name) {
  return addressOf(AddressBook::parse(card(lines)), name);
}

TEST(AddressBook, APersonIsKnownByEachOfTheirNames) {
  const auto book = AddressBook::parse(
      card("FN:Dr. John Q. Doe\r\nN:Doe;John;Q.;Dr.;\r\nNICKNAME:Johnny,JD\r\nEMAIL:john@x.org"));
  for (const auto name : {"Dr. John Q. Doe", "John Doe", "Doe, John", "Johnny", "JD", "john doe",
                          "  JOHN   DOE ", "doe,  john"}) {
    EXPECT_EQ(addressOf(book, name), "john@x.org") << name;
  }
  for (const auto name : {"", "John", "Doe", "john@x.org", "John Q"}) {
    EXPECT_EQ(addressOf(book, name), "none") << name;
  }
  EXPECT_EQ(book.find("jd")->name, "Dr. John Q. Doe");
}

TEST(AddressBook, CaseAndComposedCharactersDoNotCount) {
  EXPECT_EQ(addressIn("FN:J\xC3\xB6rg M\xC3\xBCller\r\nEMAIL:j@x", "J\xC3\x96RG MU\xCC\x88LLER"),
            "j@x");
  EXPECT_EQ(addressIn("FN:ΑΛΕΞΗΣ\r\nEMAIL:a@x", "αλεξησ"), "a@x");
}

TEST(AddressBook, ANameOfTwoPeopleStandsForNeither) {
  const auto book =
      AddressBook::parse(card("FN:Ann\r\nNICKNAME:A\r\nEMAIL:ann@x.org") +
                         card("FN:Ann\r\nNICKNAME:B\r\nEMAIL:ann@y.org") +
                         card("FN:Bob\r\nEMAIL:bob@x.org") + card("FN:Bob\r\nEMAIL:BOB@x.org"));
  EXPECT_EQ(addressOf(book, "Ann"), "none");
  EXPECT_EQ(addressOf(book, "A"), "ann@x.org");
  EXPECT_EQ(addressOf(book, "B"), "ann@y.org");
  EXPECT_EQ(addressOf(book, "Bob"), "bob@x.org");
}

TEST(AddressBook, ThePreferredAddressIsTaken) {
  const struct {
    std::string_view emails;
    std::string_view address;
  } kSamples[] = {
      {"EMAIL:one@x\r\nEMAIL:two@x", "one@x"},
      {"EMAIL;TYPE=home:one@x\r\nEMAIL;TYPE=work,pref:two@x", "two@x"},
      {"EMAIL;TYPE=home:one@x\r\nEMAIL;TYPE=INTERNET;type=PREF:two@x", "two@x"},
      {"EMAIL;INTERNET:one@x\r\nEMAIL;PREF;INTERNET:two@x", "two@x"},
      {"EMAIL;PREF=50:one@x\r\nEMAIL;PREF=1:two@x\r\nEMAIL:three@x", "two@x"},
      {"EMAIL;TYPE=\"work,pref\":two@x", "two@x"},
      {"EMAIL;PREF=junk:one@x\r\nEMAIL:two@x", "one@x"},
      {"item1.EMAIL;type=pref:g@x\r\nitem1.X-ABLabel:w", "g@x"},
      {"EMAIL:no address\r\nEMAIL:two@x", "two@x"},
      {"EMAIL:mailto:m@x", "m@x"},
      {"email:low@x", "low@x"},
      {"EMAIL;X=\"a:b;c\":q@x", "q@x"},
      {"EMAIL: sp@x ", "sp@x"},
  };
  for (const auto& sample : kSamples) {
    EXPECT_EQ(addressIn("FN:N\r\n" + std::string(sample.emails), "n"), sample.address)
        << sample.emails;
  }
}

TEST(AddressBook, DangerousAddressesAreNotTaken) {
  EXPECT_EQ(addressIn("FN:N\r\nEMAIL:-oQ/tmp@x", "n"), "none");
  EXPECT_EQ(addressIn("FN:N\r\nEMAIL;ENCODING=QUOTED-PRINTABLE:a@b=0D=0Ac", "n"), "none");
  EXPECT_EQ(addressIn("FN:N", "n"), "none");
}

TEST(AddressBook, FoldedLinesAreJoined) {
  EXPECT_EQ(addressIn("FN:Maximil\r\n ian Long\r\nEMAIL:max@ex\r\n\tample.org", "Maximilian Long"),
            "max@example.org");
  EXPECT_EQ(addressIn("FN:J\xC3\r\n \xB6rg\r\nEMAIL:j@x", "Jörg"), "j@x");
}

TEST(AddressBook, EscapedTextIsRead) {
  EXPECT_EQ(addressIn("FN:Doe\\, John\\; Jr\r\nEMAIL:j@x", "Doe, John; Jr"), "j@x");
  EXPECT_EQ(addressIn("N:O\\;Neil;A\\\\B;;;\r\nEMAIL:j@x", "A\\B O;Neil"), "j@x");
  EXPECT_EQ(addressIn("NICKNAME:a\\,b,c\r\nEMAIL:j@x", "a,b"), "j@x");
  EXPECT_EQ(addressIn("FN:two\\nlines\r\nEMAIL:j@x", "two lines"), "j@x");
}

TEST(AddressBook, AnAddressThatIsNotWhollyOneIsNotRepaired) {
  for (const auto email :
       {"joe@my company.com"sv, "joe@x.org:25"sv, "joe@x.org (Joe)"sv, "Joe <joe@x.org>"sv,
        "<joe@x.org>"sv, "joe@x.org, ann@x.org"sv, "joe@x.org\\, ann@x.org"sv, "joe@x\\n.org"sv,
        "joe@x.org\\n"sv, "j\\oe@x.org"sv, "-f@x.org"sv, "mailto:joe@x.org?subject=x"sv,
        "mailto:joe%40a.org@x.org"sv, "mailto:mailto:joe@x.org"sv, "http://joe@x.org"sv,
        "joe\x01@x.org"sv, "j\xF6@x.org"sv, "joe@p\u0430ypal.com"sv, "jo\u200Be@x.org"sv}) {
    EXPECT_EQ(addressIn("FN:Joe\r\nEMAIL:" + std::string(email), "Joe"), "none") << email;
  }
}

TEST(AddressBook, AnAddressStaysAsItIsWritten) {
  EXPECT_EQ(addressIn("FN:Joe\r\nEMAIL:\"a  b\"@x.org", "Joe"), "\"a  b\"@x.org");
  EXPECT_EQ(addressIn("FN:Joe\r\nEMAIL:\"a\\,b\"@x.org", "Joe"), "\"a,b\"@x.org");
  EXPECT_EQ(addressIn("FN:Joe\r\nEMAIL:\"a\\\\\"b\"@x.org", "Joe"), "\"a\\\"b\"@x.org");
  EXPECT_EQ(addressIn("FN:Joe\r\nEMAIL: j\u00F6@m\u00FCnchen.example\t", "Joe"),
            "j\u00F6@xn--mnchen-3ya.example");
  EXPECT_EQ(addressIn("FN:Joe\r\nEMAIL;CHARSET=ISO-8859-1:j\xF6@x.org", "Joe"), "j\u00F6@x.org");
}

TEST(AddressBook, Version21IsRead) {
  EXPECT_EQ(addressIn("N;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:M=C3=BCller;J=C3=B6rg;;;\r\n"
                      "EMAIL;INTERNET:j@x",
                      "Jörg Müller"),
            "j@x");
  EXPECT_EQ(addressIn("FN;QUOTED-PRINTABLE;CHARSET=ISO-8859-1:J=F6=\r\nrg\r\nEMAIL:j@x", "jörg"),
            "j@x");
  EXPECT_EQ(addressIn("FN;ENCODING=QUOTED-PRINTABLE:Ends=\r\n\r\nEMAIL:j@x", "ends"), "j@x");
}

TEST(AddressBook, ACardWithinACardIsPassedOver) {
  const auto book =
      AddressBook::parse(card("FN:Boss\r\nAGENT:\r\nBEGIN:VCARD\r\nFN:Agent\r\nEMAIL:agent@"
                              "x\r\nEND:VCARD\r\nEMAIL:boss@x"));
  EXPECT_EQ(addressOf(book, "Boss"), "boss@x");
  EXPECT_EQ(addressOf(book, "Agent"), "none");
}

TEST(AddressBook, CardsThatNeverEndAreSkippedAndHideNoOther) {
  const auto book =
      AddressBook::parse("BEGIN:VCARD\nFN:Lost\nEMAIL:lost@x\n" + card("FN:Kept\r\nEMAIL:kept@x") +
                         "BEGIN:VCARD\nFN:Cut\nEMAIL:cut@x");
  EXPECT_EQ(addressOf(book, "Lost"), "none");
  EXPECT_EQ(addressOf(book, "Kept"), "kept@x");
  EXPECT_EQ(addressOf(book, "Cut"), "none");
}

TEST(AddressBook, OtherComponentsAndLineEndsAreFine) {
  EXPECT_EQ(addressOf(AddressBook::parse("BEGIN:VCALENDAR\nFN:x\nEND:VCALENDAR\n"
                                         "\n\nbegin:vcard\nfn:lf\nemail:lf@x\nend:vcard"),
                      "LF"),
            "lf@x");
  EXPECT_EQ(addressOf(AddressBook::parse("BEGIN:VCARD\rFN:cr\rEMAIL:cr@x\rEND:VCARD\r"), "cr"),
            "cr@x");
}

TEST(AddressBook, ByteOrderMarksAndOldCharacterSetsAreRead) {
  EXPECT_EQ(addressOf(AddressBook::parse("\xEF\xBB\xBF" + card("FN:bom\r\nEMAIL:b@x")), "bom"),
            "b@x");
  EXPECT_EQ(addressIn("FN:J\xF6rg\r\nEMAIL:j@x", "Jörg"), "j@x");
  std::string wide = "\xFF\xFE";
  for (const char c : card("FN:wide\r\nEMAIL:w@x")) {
    wide += {c, '\0'};
  }
  EXPECT_EQ(addressOf(AddressBook::parse(wide), "wide"), "w@x");
}

TEST(AddressBook, RubbishIsABookWithoutEntries) {
  for (const auto rubbish : {""sv, "\0\0\0"sv, ":"sv, ";:;:"sv, "BEGIN:VCARD"sv, "END:VCARD"sv,
                             "\x89PNG\r\n\x1A\n"sv, "=\n=\n="sv, " \n \n"sv}) {
    EXPECT_EQ(AddressBook::parse(rubbish).size(), 0u);
  }
}

TEST(AddressBook, PhotosAndOverlongLinesAreNoTrouble) {
  const auto book =
      AddressBook::parse(card("PHOTO;ENCODING=b:" + repeated("AAAA\r\n ", 500'000) +
                              "\r\nFN:N\r\nNOTE:" + std::string(2'000'000, 'x') + "\r\nEMAIL:n@x"));
  EXPECT_EQ(addressOf(book, "n"), "n@x");
}

TEST(AddressBook, HostileFilesOfferNoOtherAddress) {
  for (const auto piece :
       {"BEGIN:VCARD\n"sv, "BEGIN:VCARD\nAGENT:\n"sv, "FN;ENCODING=QUOTED-PRINTABLE:=\n"sv, "=\n"sv,
        " \n"sv, "\n"sv, "\""sv, ";"sv, ":"sv, "\\"sv, "FN:a\n"sv, "EMAIL;PREF:a@b\n"sv, "\0"sv,
        "\xFF"sv, "BEGIN:VCARD\nFN:x\nEMAIL:a@b\nEND:VCARD\n"sv, "NICKNAME:,,,,,,\n"sv,
        "N:;;;;;;\n"sv}) {
    const auto book = AddressBook::parse("BEGIN:VCARD\nFN:a\nEMAIL:a@b\nFN" +
                                         repeated(piece, 100'000) + "\nEND:VCARD");
    const auto found = book.find("a");
    EXPECT_TRUE(!found || found->address == "a@b") << piece;
  }
}

// Counts how often a file is opened.
class CountingFiles : public FaultyFileSystem {
 public:
  using FaultyFileSystem::FaultyFileSystem;
  Result<std::unique_ptr<InputFile>> open(const std::string& path) override {
    ++opened;
    return FaultyFileSystem::open(path);
  }
  int opened = 0;
};

class AddressBookFileTest : public testing::Test {
 protected:
  void write(std::string_view address) {
    writeBytes(path_, "BEGIN:VCARD\nFN:Ann\nEMAIL:" + std::string(address) + "\nEND:VCARD\n");
  }
  std::string ann() {
    const auto book = file_.current();
    if (!book) {
      return "error " + std::to_string(book.error().code);
    }
    const auto mailbox = (*book)->find("ann");
    return mailbox ? mailbox->address : "none";
  }

  TempFolder folder_;
  std::string path_ = folder_.path("book.vcf");
  PosixSleeper sleeper_;
  PosixFileSystem disk_{sleeper_};
  CountingFiles files_{disk_};
  AddressBookFile file_{files_, path_};
};

TEST_F(AddressBookFileTest, IsReadOncePerChange) {
  write("ann@x.org");
  EXPECT_EQ(ann(), "ann@x.org");
  EXPECT_EQ(ann(), "ann@x.org");
  EXPECT_EQ(files_.opened, 1);
  write("ann@example.org");
  EXPECT_EQ(ann(), "ann@example.org");
  EXPECT_EQ(files_.opened, 2);
}

TEST_F(AddressBookFileTest, AMissingFileIsAnErrorUntilItIsThere) {
  EXPECT_EQ(ann(), "error " + std::to_string(ENOENT));
  write("ann@x.org");
  EXPECT_EQ(ann(), "ann@x.org");
}

TEST_F(AddressBookFileTest, AFileBehindALinkIsRead) {
  write("ann@x.org");
  std::filesystem::create_symlink(path_, folder_.path("link.vcf"));
  AddressBookFile linked(files_, folder_.path("link.vcf"));
  const auto book = linked.current();
  ASSERT_TRUE(book);
  EXPECT_TRUE((*book)->find("Ann"));
}

TEST_F(AddressBookFileTest, NoPathIsAnEmptyBook) {
  AddressBookFile none(files_, "");
  const auto book = none.current();
  ASSERT_TRUE(book);
  EXPECT_EQ((*book)->size(), 0u);
  EXPECT_EQ(files_.opened, 0);
}

TEST_F(AddressBookFileTest, AFolderIsAnError) {
  std::filesystem::create_directory(path_);
  EXPECT_FALSE(file_.current());
}

TEST_F(AddressBookFileTest, AnOversizedFileIsRefused) {
  write("ann@x.org");
  std::filesystem::resize_file(path_, kMaxAddressBookSize + 1);
  EXPECT_EQ(ann(), "error " + std::to_string(EFBIG));
}

}  // namespace
}  // namespace relaybird
