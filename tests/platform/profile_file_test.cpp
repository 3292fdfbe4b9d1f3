// SPDX-License-Identifier: MIT
// One row for each documented or commonly known rule of the Windows calls, and the content of the
// file after writing.
#include "platform/profile/profile_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "support/fake_clock.h"
#include "support/faulty_file_system.h"
#include "support/system_files.h"
#include "support/temp_folder.h"

namespace relaybird {
namespace {

using namespace std::string_literals;

class ProfileFileTest : public testing::Test {
 protected:
  std::string get(std::string_view section, std::string_view key,
                  std::string_view fallback = "(default)", std::size_t size = kProfileBufferSize) {
    return profiles.read(file)->get(section, key, fallback, size);
  }
  std::string getFrom(std::string_view bytes, std::string_view key,
                      std::string_view section = "S") {
    writeBytes(file, bytes);
    return get(section, key);
  }
  bool set(std::string_view section, std::string_view key, std::string_view value) {
    const auto writer = profiles.write(file);
    const bool done = writer->set(section, key, value) && writer->commit();
    lastError = writer->error();
    return done;
  }
  // The content of the file after a value has been set.
  std::string after(std::string_view before, std::string_view key, std::string_view value,
                    std::string_view section = "S") {
    writeBytes(file, before);
    EXPECT_TRUE(set(section, key, value)) << lastError;
    return readBytes(file);
  }

  FakeClock clock;
  RecordingSleeper sleeper{clock};
  SystemFiles disk{sleeper};
  FaultyFileSystem files{disk};
  ProfileFile profiles{files};
  TempFolder temp;
  std::string file = temp.path("rbx.ini");
  std::string lastError;
};

struct Row {
  const char* rule;
  std::string bytes;
  std::string section;
  std::string key;
  std::string value;
};

// The name of a test shows its rule.
void PrintTo(const Row& row, std::ostream* out) {
  *out << row.rule;
}

class ProfileRule : public ProfileFileTest, public testing::WithParamInterface<Row> {};

TEST_P(ProfileRule, Reads) {
  const Row& row = GetParam();
  EXPECT_EQ(getFrom(row.bytes, row.key, row.section), row.value);
}

const std::string kMissing = "(default)";

INSTANTIATE_TEST_SUITE_P(
    Table, ProfileRule,
    testing::Values(
        Row{"CaseOfSection", "[Main]\r\na=1\r\n", "mAIN", "a", "1"},
        Row{"CaseOfKey", "[S]\r\nmstrKey=1\r\n", "S", "MSTRkEY", "1"},
        Row{"BlanksInsideHeader", "[ Main\t]\r\na=1\r\n", "Main", "a", "1"},
        Row{"BlanksAroundHeader", " \t[Main]  \r\na=1\r\n", "Main", "a", "1"},
        Row{"BlanksAroundSectionArgument", "[Main]\r\na=1\r\n", " Main ", "a", "1"},
        Row{"BlanksAroundKey", "[S]\r\n\t a \t=1\r\n", "S", "a", "1"},
        Row{"BlanksAroundKeyArgument", "[S]\r\na=1\r\n", "S", "\ta ", "1"},
        Row{"BlanksInsideKeyMatter", "[S]\r\nk 4 x=1\r\n", "S", "k 4 x", "1"},
        Row{"BlanksInsideKeyMatterToo", "[S]\r\nk 4 x=1\r\n", "S", "k  4 x", kMissing},
        Row{"BlanksAroundValue", "[S]\r\na= \t v \t\r\n", "S", "a", "v"},
        Row{"BlanksInsideValue", "[S]\r\na= v  w \r\n", "S", "a", "v  w"},
        Row{"DoubleQuotes", "[S]\r\na=\" v \"\r\n", "S", "a", " v "},
        Row{"SingleQuotes", "[S]\r\na= ' v ' \r\n", "S", "a", " v "},
        Row{"EmptyDoubleQuotes", "[S]\r\na=\"\"\r\n", "S", "a", ""},
        Row{"EmptySingleQuotes", "[S]\r\na=''\r\n", "S", "a", ""},
        Row{"LoneQuote", "[S]\r\na=\"\r\n", "S", "a", "\""},
        Row{"OpenQuote", "[S]\r\na=\"v\r\n", "S", "a", "\"v"},
        Row{"MixedQuotes", "[S]\r\na='v\"\r\n", "S", "a", "'v\""},
        Row{"OnlyOnePairOfQuotes", "[S]\r\na=\"\"\"two\"\"\"\r\n", "S", "a", "\"\"two\"\""},
        Row{"EmptyValueIsNoDefault", "[S]\r\na=\r\n", "S", "a", ""},
        Row{"BlankValueIsNoDefault", "[S]\r\na= \t \r\n", "S", "a", ""},
        Row{"MissingKey", "[S]\r\na=1\r\n", "S", "b", kMissing},
        Row{"MissingSection", "[S]\r\na=1\r\n", "T", "a", kMissing},
        Row{"KeyOfAnotherSection", "[S]\r\na=1\r\n[T]\r\nb=2\r\n", "S", "b", kMissing},
        Row{"FirstOfTwoKeys", "[S]\r\na=1\r\nA=2\r\n", "S", "a", "1"},
        Row{"FirstOfTwoSections", "[S]\r\na=1\r\n[T]\r\n[s]\r\na=2\r\n", "S", "a", "1"},
        Row{"KeysOfALaterSectionAreLost", "[S]\r\na=1\r\n[T]\r\n[s]\r\nb=2\r\n", "S", "b",
            kMissing},
        Row{"SemicolonComment", "[S]\r\n;a=1\r\n", "S", "a", kMissing},
        Row{"SemicolonCommentAfterBlanks", "[S]\r\n  ;a=1\r\na=2\r\n", "S", "a", "2"},
        Row{"CommentedHeader", "[S]\r\n;[T]\r\na=1\r\n", "S", "a", "1"},
        Row{"HashIsNoComment", "[S]\r\n#b=2\r\n", "S", "#b", "2"},
        Row{"SlashesAreNoComment", "[S]\r\n//g=7\r\n", "S", "//g", "7"},
        Row{"SemicolonInValue", "[S]\r\nc=3;tail\r\n", "S", "c", "3;tail"},
        Row{"HashInValue", "[S]\r\nd=4 #tail\r\n", "S", "d", "4 #tail"},
        Row{"LineWithoutEquals", "[S]\r\na\r\nb=1\r\n", "S", "a", kMissing},
        Row{"FirstEqualsSeparates", "[S]\r\nx=1=2\r\n", "S", "x", "1=2"},
        Row{"HeaderWithoutEnd", "[S]\r\n[Broken\r\na=1\r\n", "S", "a", "1"},
        Row{"HeaderWithTwoEnds", "[a]b]\r\nk=1\r\n", "a]b", "k", "1"},
        Row{"TextAfterHeader", "[S]a=5\r\nb=6\r\n", "S", "a", kMissing},
        Row{"TextAfterHeaderEndsThere", "[S]a=5\r\nb=6\r\n", "S", "b", "6"},
        Row{"LineFeeds", "[S]\na=1\nb=2\n", "S", "b", "2"},
        Row{"CarriageReturns", "[S]\ra=1\rb=2\r", "S", "b", "2"},
        Row{"MixedLineEnds", "[S]\na=1\r\nb=2\rc=3", "S", "c", "3"},
        Row{"NoFinalLineEnd", "[S]\r\na=1", "S", "a", "1"},
        Row{"EndOfFileMark", "[S]\r\na=1\r\n\x1A", "S", "a", "1"},
        Row{"EndOfFileMarkAfterValue", "[S]\r\na=1\x1A", "S", "a", "1"},
        Row{"BytesAreBytes", "[S]\r\na=\xC3\xB6\xF6\x80\r\n", "S", "a", "\xC3\xB6\xF6\x80"},
        Row{"NulEndsAValue", "[S]\r\na=1 \0 2\r\nb=3\r\n"s, "S", "a", "1"},
        Row{"Utf8Mark", "\xEF\xBB\xBF[S]\r\na=\xC3\xB6\r\n", "S", "a", "\xC3\xB6"},
        Row{"Utf16", "\xFF\xFE[\0S\0]\0\r\0\n\0a\0=\0\xF6\0\x3D\xD8\x00\xDE"s, "S", "a",
            "\xC3\xB6\xF0\x9F\x98\x80"},
        Row{"Utf16OddByte", "\xFF\xFE[\0S\0]\0\n\0a\0=\0v\0x"s, "S", "a", "v"},
        Row{"EmptyFile", "", "S", "a", kMissing}),
    [](const auto& row) { return row.param.rule; });

TEST_F(ProfileFileTest, AMissingFileOrFolderHoldsNoKeys) {
  EXPECT_EQ(get("S", "a"), kMissing);
  file = temp.path("no/such/folder.ini");
  EXPECT_EQ(get("S", "a"), kMissing);
}

TEST_F(ProfileFileTest, TheDefaultLosesItsTrailingBlanksOnly) {
  EXPECT_EQ(get("S", "a", "  two words \t "), "  two words");
  EXPECT_EQ(get("S", "a", "   "), "");
  EXPECT_EQ(get("S", "a", ""), "");
}

TEST_F(ProfileFileTest, ValuesAreCutToTheBuffer) {
  const std::string text(300, 'x');
  writeBytes(file, "[S]\r\na=" + text + "\r\n");
  EXPECT_EQ(profiles.read(file)->get("S", "a", ""), text.substr(0, 254));
  EXPECT_EQ(get("S", "a", "", 256), text.substr(0, 255));
  EXPECT_EQ(get("S", "a", "", 10), text.substr(0, 9));
  EXPECT_EQ(get("S", "a", "", 1), "");
  EXPECT_EQ(get("S", "a", "", 0), "");
  EXPECT_EQ(get("S", "b", text).size(), 254u);
}

TEST_F(ProfileFileTest, AReadOnlyFileIsRefusedInWordsAndNeverReplaced) {
  writeBytes(file, "[S]\r\na=1\r\n");
  ASSERT_EQ(::chmod(file.c_str(), 0400), 0);
  const auto writer = profiles.write(file);
  EXPECT_TRUE(writer->set("S", "a", "2"));
  EXPECT_FALSE(writer->commit());
  EXPECT_EQ(writer->error(), "Cannot write to " + file + ": it is read-only");
  EXPECT_EQ(get("S", "a"), "1");
  // A value that is already there is not written.
  const auto same = profiles.write(file);
  EXPECT_TRUE(same->set("S", "a", "1"));
  EXPECT_TRUE(same->commit());
  ASSERT_EQ(::chmod(file.c_str(), 0600), 0);
  EXPECT_TRUE(writer->commit());
  EXPECT_EQ(get("S", "a"), "2");
}

TEST_F(ProfileFileTest, TheBufferHoldsCharactersAndNoneIsCut) {
  writeBytes(file, "[S]\r\na=\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z\r\nb=\xE4\xF6\xFC\r\n");
  EXPECT_EQ(get("S", "a", "", 2), "\xC3\xA4");
  EXPECT_EQ(get("S", "a", "", 3), "\xC3\xA4\xE2\x82\xAC");
  EXPECT_EQ(get("S", "a", "", 4), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(get("S", "a", "", 5), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z");
  // Bytes of another character set count one by one.
  EXPECT_EQ(get("S", "b", "", 3), "\xE4\xF6");
}

TEST_F(ProfileFileTest, AReaderIsASnapshotAndANewOneSeesTheChange) {
  writeBytes(file, "[S]\r\na=1\r\n");
  const auto reader = profiles.read(file);
  writeBytes(file, "[S]\r\na=2\r\n");  // of the same size
  EXPECT_EQ(reader->get("S", "a", ""), "1");
  EXPECT_EQ(get("S", "a"), "2");
}

TEST_F(ProfileFileTest, AMissingFileIsMade) {
  EXPECT_TRUE(set("S", "k", "v"));
  EXPECT_EQ(readBytes(file), "[S]\r\nk=v\r\n");
}

TEST_F(ProfileFileTest, AnExistingKeyKeepsItsLineAndSpelling) {
  EXPECT_EQ(after("[S]\r\nOldKey=v\r\nb=2\r\n", "OLDKEY", "w"), "[S]\r\nOldKey=w\r\nb=2\r\n");
  EXPECT_EQ(after("[S]\n Old Key = v \nb=2\n", "old key", "w"), "[S]\n Old Key = w\nb=2\n");
  EXPECT_EQ(after("[S]\r\na=1\r\na=2\r\n", "a", "3"), "[S]\r\na=3\r\na=2\r\n");
  EXPECT_EQ(after("[S]\r\na=1=2", "a", "3"), "[S]\r\na=3");
}

TEST_F(ProfileFileTest, ValuesAreWrittenVerbatim) {
  EXPECT_EQ(after("[S]\r\na=1\r\n", "a", " sp "), "[S]\r\na= sp \r\n");
  EXPECT_EQ(get("S", "a"), "sp");
  EXPECT_EQ(after("[S]\r\na=1\r\n", "b", "\" q \""), "[S]\r\na=1\r\nb=\" q \"\r\n");
  EXPECT_EQ(get("S", "b"), " q ");
  EXPECT_EQ(after("[S]\r\na = 1\r\n", "a", ""), "[S]\r\na =\r\n");
  EXPECT_EQ(get("S", "a"), "");
  EXPECT_EQ(after("[S]\r\n", "a", "x=1;[T]"), "[S]\r\na=x=1;[T]\r\n");
  EXPECT_EQ(get("S", "a"), "x=1;[T]");
}

TEST_F(ProfileFileTest, ANewKeyFollowsTheLastKeyOfTheFirstSuchSection) {
  EXPECT_EQ(after("[S]\r\na=1\r\n\r\n; about T\r\n[T]\r\nb=2\r\n[s]\r\nc=3\r\n", "n", "v"),
            "[S]\r\na=1\r\nn=v\r\n\r\n; about T\r\n[T]\r\nb=2\r\n[s]\r\nc=3\r\n");
  EXPECT_EQ(after("[S]\r\n; empty\r\n[T]\r\n", "n", "v"), "[S]\r\nn=v\r\n; empty\r\n[T]\r\n");
  // A key that only a later section of the name has is not the first section's key.
  EXPECT_EQ(after("[S]\r\na=1\r\n[S]\r\nb=2\r\n", "b", "3"), "[S]\r\na=1\r\nb=3\r\n[S]\r\nb=2\r\n");
}

TEST_F(ProfileFileTest, ANewSectionIsAppendedWithoutABlankLine) {
  EXPECT_EQ(after("[S]\r\na=1\r\n\r\n", "k", "v", "New One"),
            "[S]\r\na=1\r\n\r\n[New One]\r\nk=v\r\n");
  EXPECT_EQ(after("; only a comment", "k", "v"), "; only a comment\r\n[S]\r\nk=v\r\n");
}

TEST_F(ProfileFileTest, NewLinesEndAsTheOthersDo) {
  EXPECT_EQ(after("[S]\na=1\n", "n", "v"), "[S]\na=1\nn=v\n");
  EXPECT_EQ(after("[S]\na=1", "n", "v"), "[S]\na=1\nn=v\n");
  EXPECT_EQ(after("[S]\ra=1\r", "n", "v"), "[S]\ra=1\rn=v\r");
  EXPECT_EQ(after("[S]\r\na=1\r\nb=2\n", "n", "v"), "[S]\r\na=1\r\nb=2\nn=v\r\n");
  EXPECT_EQ(after("[S]", "n", "v"), "[S]\r\nn=v\r\n");
  EXPECT_EQ(after("[S]\na=1", "n", "v", "T"), "[S]\na=1\n[T]\nn=v\n");
  EXPECT_EQ(after("[S]\r\na=", "a", "v"), "[S]\r\na=v");
}

TEST_F(ProfileFileTest, EveryOtherByteStaysAsItIs) {
  const std::string odd =
      "\r\n  [ S ] rest\r\n\r\n# x\n;c\rno equals\r\n =noname\r\n a\t=\t1 \t\n\n[Broken\n"s +
      "\0\xFF\xFE=\x1A\r\nA=2\n[s]\na=3\r\n\x1A"s;
  const std::string changed =
      "\r\n  [ S ] rest\r\n\r\n# x\n;c\rno equals\r\n =noname\r\n a\t=\tnew\n\n[Broken\n"s +
      "\0\xFF\xFE=\x1A\r\nA=2\n[s]\na=3\r\n\x1A"s;
  EXPECT_EQ(after(odd, "A", "new"), changed);
}

TEST_F(ProfileFileTest, MarksAndUtf16Stay) {
  EXPECT_EQ(after("\xEF\xBB\xBF[S]\r\na=1\r\n", "a", "2"), "\xEF\xBB\xBF[S]\r\na=2\r\n");
  EXPECT_EQ(after("\xEF\xBB\xBF", "a", "2"), "\xEF\xBB\xBF[S]\r\na=2\r\n");
  const std::string wide =
      "\xFF\xFE[\0S\0]\0\n\0x\0=\0\x00\xD8\n\0"s;  // contains half a surrogate pair
  EXPECT_EQ(after(wide, "a", "\xC3\xB6\xF0\x9F\x98\x80"),
            wide + "a\0=\0\xF6\0\x3D\xD8\x00\xDE\n\0"s);
  EXPECT_EQ(get("S", "a"), "\xC3\xB6\xF0\x9F\x98\x80");
}

TEST_F(ProfileFileTest, Utf16RefusesWhatItCannotHold) {
  const std::string wide = "\xFF\xFE[\0S\0]\0\n\0"s;
  writeBytes(file, wide);
  for (const char* value :
       {"\xF6", "\xC3", "\xC0\x80", "\xF4\x90\x80\x80", "\xED\xA0\x80\xED\xB0\x80"}) {
    EXPECT_FALSE(set("S", "a", value));
    EXPECT_NE(lastError.find("not valid UTF-8"), std::string::npos) << lastError;
  }
  EXPECT_EQ(readBytes(file), wide);
}

TEST_F(ProfileFileTest, WhatWouldBreakTheLinesIsRefused) {
  writeBytes(file, "[S]\r\na=1\r\n");
  const auto writer = profiles.write(file);
  for (const std::string& bad : {"x\ry"s, "x\ny"s, "x\0y"s, "x\r\n[T]"s}) {
    EXPECT_FALSE(writer->set("S", "a", bad));
    EXPECT_NE(writer->error(), "");
    EXPECT_FALSE(writer->set("S", bad, "1"));
    EXPECT_FALSE(writer->set(bad, "a", "1"));
  }
  for (const char* key : {"", " ", ";a", " ;a", "[a", "a=b", "="}) {
    EXPECT_FALSE(writer->set("S", key, "1")) << key;
  }
  EXPECT_FALSE(writer->set("", "a", "1"));
  EXPECT_FALSE(writer->set(" ", "a", "1"));
  EXPECT_TRUE(writer->commit());
  EXPECT_EQ(files.steps(), 0u);
  EXPECT_EQ(readBytes(file), "[S]\r\na=1\r\n");
}

TEST_F(ProfileFileTest, OneCommitTakesManySettings) {
  writeBytes(file, "[S]\na=1\nb=2\n[T]\nc=3\n");
  const auto writer = profiles.write(file);
  EXPECT_TRUE(writer->set("New", "x", "1"));
  EXPECT_TRUE(writer->set("t", "d", "4"));
  EXPECT_TRUE(writer->set("S", "n", "old"));
  EXPECT_TRUE(writer->set("S", "b", "5"));
  EXPECT_TRUE(writer->set("S", "m", "6"));
  EXPECT_TRUE(writer->set("NEW", "y", "7"));
  EXPECT_TRUE(writer->set("s", "N", "8"));
  EXPECT_EQ(readBytes(file), "[S]\na=1\nb=2\n[T]\nc=3\n");
  EXPECT_TRUE(writer->commit());
  EXPECT_EQ(readBytes(file), "[S]\na=1\nb=5\nn=8\nm=6\n[T]\nc=3\nd=4\n[New]\nx=1\ny=7\n");
}

TEST_F(ProfileFileTest, SettingWhatIsThereWritesNothing) {
  writeBytes(file, "[S]\na = 1 \n");
  EXPECT_TRUE(set("S", "A", "1"));
  EXPECT_EQ(readBytes(file), "[S]\na = 1 \n");
  EXPECT_EQ(files.record(), std::vector<std::string>{"syncFolder " + temp.path()});
}

}  // namespace
}  // namespace relaybird
