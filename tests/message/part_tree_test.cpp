// SPDX-License-Identifier: MIT
// The structure of a message: which parts it has, and where their bytes begin and end. Boundaries
// that are missing, nested, repeated or hidden in long lines; then the reading of lines and of
// encoded content.
#include "message/parts/part_tree.h"

#include <gtest/gtest.h>

#include "message/mail_samples.h"
#include "message/parts/line_reader.h"
#include "message/parts/part_content.h"

namespace relaybird {
namespace {

struct Read {
  std::shared_ptr<MemoryInput> file;
  std::string bytes;
  PartTree tree;

  std::string body(const Part& part) const { return bytes.substr(part.body, part.end - part.body); }
  std::string content(const Part& part) const { return *decodedContent(*file, part, 1'000'000); }
};

Read read(std::string bytes, std::uint64_t limit = 1'000'000'000) {
  auto file = memoryFile(bytes);
  auto tree = readPartTree(*file, *readHeaderBlock(*file), limit);
  return {file, std::move(bytes), std::move(*tree)};
}

const std::string kTwoParts =
    "Content-Type: multipart/mixed; boundary=\"b 1\"\n\npreamble\n"
    "--b 1\nContent-Type: text/html\n\none\n\n--b 1  \n\ntwo\n--b 1--\nepilogue\n";

TEST(PartTree, FindsThePartsAndWhereTheyLie) {
  const Read r = read(kTwoParts);
  const Part& root = *r.tree.root;
  ASSERT_EQ(root.children.size(), 2U);
  EXPECT_TRUE(root.multipart);
  EXPECT_EQ(root.children[0]->type.value, "text/html");
  EXPECT_EQ(r.body(*root.children[0]), "one\n");
  EXPECT_EQ(root.children[1]->type.value, "text/plain");
  EXPECT_EQ(r.body(*root.children[1]), "two");
  EXPECT_FALSE(r.tree.truncated);
}

TEST(PartTree, PartsWhoseHeadersEndOddlyLoseNoText) {
  for (const char* separator : {"", " \n", "\t \r\n"}) {
    const std::string odd(separator);
    const Read r = read("Content-Type: multipart/mixed; boundary=b\n" + odd +
                        "--b\nContent-Type: text/html\n" + odd + "one more\n\ntext\n--b\n" + odd +
                        "two\n--b\nContent-Type: multipart/mixed; boundary=c\n" + odd +
                        "--c\nContent-Type: text/html\n" + odd + "three 3\n--c--\n--b--\n");
    const Part& root = *r.tree.root;
    ASSERT_EQ(root.children.size(), 3U) << odd;
    EXPECT_EQ(root.children[0]->type.value, "text/html");
    EXPECT_EQ(r.body(*root.children[0]), "one more\n\ntext");
    EXPECT_NE(r.body(*root.children[1]).find("two"), std::string::npos);
    ASSERT_EQ(root.children[2]->children.size(), 1U) << odd;
    EXPECT_EQ(root.children[2]->children[0]->type.value, "text/html");
    EXPECT_EQ(r.body(*root.children[2]->children[0]), "three 3");
  }
}

TEST(PartTree, APreambleWithoutAnEmptyLineBeforeItLosesNoPart) {
  const Read r = read(
      "Content-Type: multipart/mixed; boundary=b\nThis is a message in several parts.\n--b\n"
      "Content-Type: multipart/mixed; boundary=c\nAnd so is this.\n--c\n\none\n--c--\n--b--\n");
  ASSERT_EQ(r.tree.root->children.size(), 1U);
  ASSERT_EQ(r.tree.root->children[0]->children.size(), 1U);
  EXPECT_EQ(r.body(*r.tree.root->children[0]->children[0]), "one");
}

TEST(PartTree, LineEndsBeforeBoundariesAreNoContent) {
  const Read r = read(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\none\r\n--b\r\n\r\n"
      "\r\n--b\r\n--b--\r\n");
  ASSERT_EQ(r.tree.root->children.size(), 3U);
  EXPECT_EQ(r.body(*r.tree.root->children[0]), "one");
  EXPECT_EQ(r.body(*r.tree.root->children[1]), "");
  EXPECT_EQ(r.body(*r.tree.root->children[2]), "");
}

TEST(PartTree, ABoundaryMustBeAWholeLine) {
  const Read r = read(
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n\n--bb\nx--b\n--b-\n--b --\n"
      "--b\n\ntwo\n--b--");
  ASSERT_EQ(r.tree.root->children.size(), 2U);
  EXPECT_EQ(r.body(*r.tree.root->children[0]), "--bb\nx--b\n--b-\n--b --");
}

TEST(PartTree, AnOuterBoundaryEndsWhatWasLeftOpen) {
  const Read r = read(
      "Content-Type: multipart/mixed; boundary=a\n\n--a\n"
      "Content-Type: multipart/mixed; boundary=b\n\n--b\n\ninner\n--a\n\nouter\n--a--\n");
  const Part& root = *r.tree.root;
  ASSERT_EQ(root.children.size(), 2U);
  ASSERT_EQ(root.children[0]->children.size(), 1U);
  EXPECT_EQ(r.body(*root.children[0]->children[0]), "inner");
  EXPECT_EQ(r.body(*root.children[1]), "outer");
}

TEST(PartTree, NestedMultipartsMayHaveTheSameBoundary) {
  const Read r = read(
      "Content-Type: multipart/mixed; boundary=a\n\n--a\n"
      "Content-Type: multipart/mixed; boundary=a\n\n--a\n\ninner\n--a--\n"
      "--a\n\nouter\n--a--\n");
  const Part& root = *r.tree.root;
  ASSERT_EQ(root.children.size(), 2U);
  EXPECT_EQ(r.body(*root.children[0]->children[0]), "inner");
  EXPECT_EQ(r.body(*root.children[1]), "outer");
}

TEST(PartTree, APartMayEndWithinItsHeaders) {
  const Read r = read(
      "Content-Type: multipart/mixed; boundary=a\n\n--a\nContent-Type: image/png\n--a\n"
      "Content-Type: image/gif");
  ASSERT_EQ(r.tree.root->children.size(), 2U);
  EXPECT_EQ(r.tree.root->children[0]->type.value, "image/png");
  EXPECT_EQ(r.body(*r.tree.root->children[0]), "");
  EXPECT_EQ(r.tree.root->children[1]->type.value, "image/gif");
}

TEST(PartTree, APartMayHaveNoHeadersAndNoEmptyLine) {
  const Read r = read("Content-Type: multipart/mixed; boundary=a\n\n--a\njust text\n--a--\n");
  EXPECT_EQ(r.body(*r.tree.root->children[0]), "just text");
}

TEST(PartTree, EmbeddedMessagesAreNotOpened) {
  const Read r = read(sample("nested.eml"));
  const Part& root = *r.tree.root;
  ASSERT_EQ(root.children.size(), 4U);
  EXPECT_EQ(root.children[0]->children.size(), 2U);
  EXPECT_EQ(root.children[1]->fileName, "Pläne für alle.bin");
  EXPECT_EQ(root.children[2]->type.value, "message/rfc822");
  EXPECT_TRUE(root.children[2]->children.empty());
}

TEST(PartTree, PartsOfADigestAreMessages) {
  const Read r =
      read("Content-Type: multipart/digest; boundary=a\n\n--a\n\nSubject: x\n\nhi\n--a--\n");
  EXPECT_EQ(r.tree.root->children[0]->type.value, "message/rfc822");
}

TEST(PartTree, AMultipartWithoutBoundaryHasNoParts) {
  const Read r = read("Content-Type: multipart/mixed\n\n--a\n\nx\n");
  EXPECT_FALSE(r.tree.root->multipart);
  EXPECT_EQ(r.body(*r.tree.root), "--a\n\nx\n");
}

TEST(PartTree, DepthAndNumberAreLimited) {
  std::string deep;
  for (int i = 0; i < 5000; ++i) {
    const std::string boundary = "b" + std::to_string(i);
    deep += "Content-Type: multipart/mixed; boundary=" + boundary + "\n\n--" + boundary + "\n";
  }
  Read r = read(deep + "\nhello\n");
  EXPECT_TRUE(r.tree.truncated);
  int depth = 0;
  for (const Part* part = r.tree.root.get(); !part->children.empty();
       part = part->children[0].get()) {
    ++depth;
  }
  EXPECT_EQ(depth, kPartDepth);

  std::string many = "Content-Type: multipart/mixed; boundary=b\n\n";
  for (int i = 0; i < 100'000; ++i) {
    many += "--b\n\n\n";
  }
  r = read(many);
  EXPECT_TRUE(r.tree.truncated);
  EXPECT_EQ(r.tree.root->children.size(), kPartCount - 1);
}

TEST(PartTree, NothingBehindTheLimitIsRead) {
  const Read r = read("Content-Type: multipart/mixed; boundary=b\n\n--b\n\n" +
                          std::string(500'000, 'x') + "\n--b\n\ntwo\n--b--\n",
                      100'000);
  EXPECT_LE(r.file->readTo, 100'000U);
  ASSERT_EQ(r.tree.root->children.size(), 1U);
  EXPECT_EQ(r.tree.root->children[0]->end, 100'000U);
}

TEST(PartTree, LinesLongerThanAnyBufferHideNoBoundary) {
  for (std::size_t size = 65'500; size < 65'560; ++size) {
    const std::string line(size, 'x');
    const Read r = read("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n" + line +
                        "\r\n--b\r\n\r\ntwo\r\n--b--\r\n");
    ASSERT_EQ(r.tree.root->children.size(), 2U);
    EXPECT_EQ(r.tree.root->children[0]->end - r.tree.root->children[0]->body, size);
  }
}

TEST(PartTree, DecodesTransferEncodings) {
  const Read r = read(
      "Content-Type: multipart/mixed; boundary=b\n\n"
      "--b\nContent-Transfer-Encoding: base64\n\naGVs\nbG8=\n"
      "--b\nContent-Transfer-Encoding: Quoted-Printable\n\nh=65l=\nlo\n"
      "--b\nContent-Transfer-Encoding: 8bit\n\nhello\n"
      "--b\nContent-Transfer-Encoding: nonsense\n\nhello\n"
      "--b\nContent-Transfer-Encoding: base64\n\naGVsbG8\n--b--\n");
  for (const auto& part : r.tree.root->children) {
    EXPECT_EQ(r.content(*part), "hello");
    EXPECT_EQ(*decodedSize(*r.file, *part), 5);
  }
}

TEST(PartContent, EncodesWhatItDecodes) {
  std::string bytes;
  for (int i = 0; i < 200'000; ++i) {
    bytes += static_cast<char>(i * 7 % 251);
  }
  const std::string encoded = encodeBase64(bytes);
  const Read r = read("Content-Transfer-Encoding: base64\n\n" + encoded);
  EXPECT_EQ(r.content(*r.tree.root), bytes);
  EXPECT_EQ(*decodedSize(*r.file, *r.tree.root), 200'000);
}

TEST(LineReader, GivesEveryByteOnceAndKeepsCrLfTogether) {
  std::string bytes;
  for (std::size_t i = 0; i < 40; ++i) {
    bytes += std::string(i * 5000, 'x') + (i % 3 == 0 ? "\r\n" : "\n");
  }
  bytes += "end";
  MemoryInput file(bytes);
  LineReader lines(file, 0, bytes.size());
  std::string all;
  std::size_t begun = 0;
  for (auto line = lines.next(); line && *line; line = lines.next()) {
    EXPECT_EQ((*line)->offset, all.size());
    EXPECT_FALSE((*line)->text.ends_with('\r'));
    all += (*line)->text;
    begun += (*line)->begins ? 1 : 0;
  }
  EXPECT_EQ(all, bytes);
  EXPECT_EQ(begun, 41U);
}

}  // namespace
}  // namespace relaybird
