// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "message/address/address_book.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "support/faulty_file_system.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

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
