// SPDX-License-Identifier: MIT
// Both implementations of profile strings, call by call, over thousands of generated files: the
// calls of Windows and the parser of this project give the same answers. The files hold what people
// and programs write: blanks, quotes, comments, duplicates, broken lines, every kind of line end,
// texts in UTF-8, in the user's code page and in UTF-16. Where the answers differ on purpose, a
// rule below says why and what each answer is; any other difference fails.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "platform/profile/profile_document.h"
#include "platform/profile/profile_encoding.h"
#include "platform/profile/profile_file.h"
#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"
#include "platform/win32/win32_file_system.h"
#include "platform/win32/win32_profile_strings.h"
#include "platform/win32/win32_text.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

// The same numbers everywhere: the distributions of the standard library are not.
class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  std::size_t below(std::size_t count) { return engine_() % count; }
  bool oneIn(std::size_t count) { return below(count) == 0; }
  const std::string& from(const std::vector<std::string>& choices) {
    return choices[below(choices.size())];
  }

 private:
  std::mt19937 engine_;
};

const std::vector<std::string> kSections = {"S", "Main", "two words", "a]b", "T.1"};
const std::vector<std::string> kKeys = {"a", "b", "key", "k 4 x", "mstrFwdToAddress_1", "x.y"};
const std::vector<std::string> kPieces = {
    "v",  "1",  "-5", " ", "  ", "\t", "\"", "'",   "=",      ";",      "#",      "[", "]",
    "\\", "//", "a",  "B", ".",  "@",  ",",  "x y", "\u00f6", "\u20ac", "\u4e2d", "%", "0x10"};

std::string changedCase(Dice& dice, std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z' && dice.oneIn(3)) {
      c = static_cast<char>(c - 'a' + 'A');
    }
  }
  return text;
}

std::string blanks(Dice& dice) {
  static const std::vector<std::string> kBlanks = {"", "", "", " ", "  ", "\t", " \t "};
  return dice.from(kBlanks);
}

std::string valueText(Dice& dice) {
  std::string value;
  for (std::size_t left = dice.below(8); left > 0; --left) {
    value += dice.from(kPieces);
  }
  if (dice.oneIn(8)) {
    value = '"' + value + '"';
  }
  if (dice.oneIn(40)) {
    value.append(300, 'l');
  }
  return value;
}

std::string line(Dice& dice) {
  switch (dice.below(12)) {
    case 0:
    case 1:
      return blanks(dice) + '[' + blanks(dice) + changedCase(dice, dice.from(kSections)) +
             blanks(dice) + ']' + (dice.oneIn(5) ? "rest" : "");
    case 2:
      return "; " + dice.from(kKeys) + "=comment";
    case 3:
      return dice.oneIn(2) ? "" : valueText(dice);
    case 4:
      return dice.oneIn(2) ? "[broken" : "no equals sign";
    default:
      return blanks(dice) + changedCase(dice, dice.from(kKeys)) + blanks(dice) + '=' +
             blanks(dice) + valueText(dice) + blanks(dice);
  }
}

// A file's text in UTF-8.
std::string fileText(Dice& dice) {
  static const std::vector<std::string> kEnds = {"\r\n", "\r\n", "\n", "\r"};
  const std::string usual = dice.from(kEnds);
  std::string text;
  for (std::size_t left = dice.below(25); left > 0; --left) {
    text += line(dice);
    if (left > 1 || dice.oneIn(2)) {
      text += dice.oneIn(10) ? dice.from(kEnds) : usual;
    }
  }
  return text;
}

std::string inCodePage(const std::string& utf8) {
  const std::wstring wide = toWide(utf8);
  std::string bytes(wide.size() * 2, '\0');
  const int length =
      ::WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr);
  bytes.resize(wide.empty() ? 0 : static_cast<std::size_t>(length));
  return bytes;
}

// In one of the encodings that such files have.
std::string encoded(Dice& dice, const std::string& text) {
  switch (dice.below(4)) {
    case 0:
      return inCodePage(text);
    case 1:
      return *encodeProfile({{}, ProfileEncoding::kUtf16Le, {}}, text);
    default:
      return text;
  }
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = firstCharacter(text).length;
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

// The parser hands on bytes as they are; the calls know the user's code page. That is the first
// difference, and its cure is exact.
std::string asText(const std::string& bytes) {
  if (isUtf8(bytes)) {
    return bytes;
  }
  std::wstring wide(bytes.size(), L'\0');
  const int length = ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()),
                                           wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(length));
  return fromWide(wide);
}

// The second difference: a line that is a key's name and nothing else counts as a key without a
// value for the calls, and hides a later line of that name; the parser passes it over. A program
// never writes such a line.
bool nameAlone(const std::string& text, const std::string& key) {
  const std::string lines = asciiUpper(text);
  for (std::size_t begin = 0; begin < lines.size();) {
    const std::size_t end = std::min(lines.find_first_of("\r\n", begin), lines.size());
    if (trimProfileBlanks(std::string_view(lines).substr(begin, end - begin)) == asciiUpper(key)) {
      return true;
    }
    begin = end + 1;
  }
  return false;
}

class ProfileComparison : public testing::Test {
 protected:
  // `text` is the file's, in UTF-8.
  void same(const ProfileReader& calling, const ProfileReader& parsing, const std::string& section,
            const std::string& key, const std::string& fallback, std::size_t size,
            const std::string& text, const std::string& what) {
    ++answers;
    const std::string called = calling.get(section, key, fallback, size);
    const std::string bytes = parsing.get(section, key, fallback, size);
    const std::string parsed = asText(bytes);
    inTheCodePage += parsed != bytes ? 1 : 0;
    if (called == parsed) {
      return;
    }
    if (nameAlone(text, key) && called == std::string(firstCharacters(fallback, size - 1))) {
      ++hiddenByAName;
      return;
    }
    if (++unexplained <= 10) {
      ADD_FAILURE() << what << " [" << section << "] " << key << ", " << size << "\n called: {"
                    << called << "}\n parsed: {" << parsed << "}";
    }
  }

  // Every key of every section, some keys and sections that are not there, some short buffers.
  void compareReaders(const ProfileReader& called, const ProfileReader& parsed,
                      const std::string& text, const std::string& what, Dice& dice) {
    for (const std::string& section : kSections) {
      for (const std::string& key : kKeys) {
        const std::size_t size = dice.oneIn(6) ? dice.below(12) : kProfileBufferSize;
        same(called, parsed, changedCase(dice, section), key, "dflt", size, text, what);
      }
    }
    same(called, parsed, "absent", "a", " d  ", kProfileBufferSize, text, what);
    same(called, parsed, "S", "absent", "\"q\"", kProfileBufferSize, text, what);
  }

  FakeClock clock;
  RecordingSleeper sleeper{clock};
  Win32FileSystem files{sleeper};
  Win32ProfileStrings calls{files};
  ProfileFile parser{files};
  TempFolder temp;
  int answers = 0;
  int inTheCodePage = 0;
  int hiddenByAName = 0;
  int unexplained = 0;
};

TEST_F(ProfileComparison, TwoThousandFilesAreReadTheSame) {
  const std::string file = temp.path("read.ini");
  for (unsigned seed = 1; seed <= 2000; ++seed) {
    Dice dice(seed);
    const std::string text = fileText(dice);
    writeBytes(file, encoded(dice, text));
    compareReaders(*calls.read(file), *parser.read(file), text, "file " + std::to_string(seed),
                   dice);
  }
  EXPECT_EQ(unexplained, 0);
  EXPECT_EQ(answers, 2000 * 32);
  EXPECT_GT(inTheCodePage, 50);
  EXPECT_GT(hiddenByAName, 0);
  EXPECT_LT(hiddenByAName, 10);
}

// What each has written, both read the same. The bytes differ: the calls write UTF-16, and those of
// Wine also drop blank lines and the blanks around "=".
TEST_F(ProfileComparison, SettingsAreWrittenSoThatBothReadTheSame) {
  const std::string byCalls = temp.path("calls.ini");
  const std::string byParser = temp.path("parser.ini");
  for (unsigned seed = 5001; seed <= 5200; ++seed) {
    Dice dice(seed);
    const std::string text = fileText(dice);
    const std::string bytes = encoded(dice, text);
    writeBytes(byCalls, bytes);
    writeBytes(byParser, bytes);
    const auto calling = calls.write(byCalls);
    const auto parsing = parser.write(byParser);
    for (std::size_t left = 1 + dice.below(4); left > 0; --left) {
      const std::string section = changedCase(dice, dice.from(kSections));
      const std::string key = changedCase(dice, dice.from(kKeys));
      const std::string value = valueText(dice);
      EXPECT_EQ(calling->set(section, key, value), parsing->set(section, key, value));
    }
    ASSERT_TRUE(calling->commit()) << calling->error();
    ASSERT_TRUE(parsing->commit()) << parsing->error();
    const std::string what = "file " + std::to_string(seed);
    compareReaders(*calls.read(byCalls), *parser.read(byParser), text, what, dice);
    compareReaders(*calls.read(byParser), *parser.read(byCalls), text, what + " crosswise", dice);
  }
  EXPECT_EQ(unexplained, 0);
  EXPECT_EQ(answers, 200 * 2 * 32);
}

}  // namespace
}  // namespace relaybird
