// SPDX-License-Identifier: MIT
// Paths of either system, on either system.
#include "platform/paths.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/file_system.h"
#include "prefs/fake_files.h"

namespace relaybird {
namespace {

constexpr PathStyle kPosix = PathStyle::kPosix;
constexpr PathStyle kWindows = PathStyle::kWindows;

struct Pair {
  const char* path;
  const char* expected;
};

TEST(ParentFolder, IsThePathWithoutItsLastName) {
  for (const auto& [path, parent] : std::vector<Pair>{{"/a/b", "/a"},
                                                      {"/a", "/"},
                                                      {"/", "/"},
                                                      {"//", "/"},
                                                      {"a", "."},
                                                      {"a/b", "a"},
                                                      {"/a/b/", "/a"},
                                                      {"", "."},
                                                      {"//a", "/"},
                                                      {"/a//b", "/a"},
                                                      {"/a\\b", "/"},
                                                      {"C:\\a\\b", "."}}) {
    EXPECT_EQ(parentFolder(path, kPosix), parent) << path;
  }
}

TEST(ParentFolder, KnowsDrivesSharesAndBothSeparatorsOfWindows) {
  for (const auto& [path, parent] :
       std::vector<Pair>{{R"(C:\a\b)", R"(C:\a)"},
                         {R"(C:\a)", R"(C:\)"},
                         {R"(C:\)", R"(C:\)"},
                         {R"(C:\\\)", R"(C:\)"},
                         {"C:name", "C:"},
                         {"C:", "C:"},
                         {R"(C:\a\b\)", R"(C:\a)"},
                         {R"(C:\a\\b)", R"(C:\a)"},
                         {"C:/Users/ann/x.ini", "C:/Users/ann"},
                         {R"(C:/Users\ann/x.ini)", R"(C:/Users\ann)"},
                         {R"(\\server\share\a\b)", R"(\\server\share\a)"},
                         {R"(\\server\share\a)", R"(\\server\share\)"},
                         {R"(\\server\share)", R"(\\server\share)"},
                         {R"(\\?\C:\a)", R"(\\?\C:\)"},
                         {R"(\a\b)", R"(\a)"},
                         {R"(\a)", R"(\)"},
                         {R"(a\b)", "a"},
                         {"/a/b", "/a"},
                         {"a", "."},
                         {"", "."}}) {
    EXPECT_EQ(parentFolder(path, kWindows), parent) << path;
  }
}

// What walks up a path ends when the parent is the folder itself.
TEST(ParentFolder, AWalkUpEndsAtTheRoot) {
  for (const PathStyle style : {kPosix, kWindows}) {
    for (const char* path : {"/a/b/c", R"(C:\a\b)", "C:a", R"(\\server\share\a\b)", "a/b", ""}) {
      std::string at = path;
      int steps = 0;
      for (; parentFolder(at, style) != at && steps < 10; ++steps) {
        at = parentFolder(at, style);
      }
      EXPECT_LT(steps, 5) << path;
    }
  }
}

TEST(Paths, AnAbsolutePathDependsOnNothing) {
  EXPECT_TRUE(isAbsolutePath("/", kPosix));
  EXPECT_TRUE(isAbsolutePath("/a", kPosix));
  for (const char* path : {"", "a", "./a", R"(C:\a)", R"(\a)"}) {
    EXPECT_FALSE(isAbsolutePath(path, kPosix)) << path;
  }
  for (const char* path :
       {R"(C:\)", "c:/a", R"(\\server\share)", R"(\\server\share\a)", R"(\\?\C:\a)"}) {
    EXPECT_TRUE(isAbsolutePath(path, kWindows)) << path;
  }
  for (const char* path : {"", "a", "C:", "C:a", R"(\a)", "/a", R"(\\)", R"(\\\a)", "1:/a"}) {
    EXPECT_FALSE(isAbsolutePath(path, kWindows)) << path;
  }
}

TEST(Paths, AFilesNameIsWhatFollowsTheLastSeparator) {
  EXPECT_EQ(fileNameOf("/a/b", kPosix), "b");
  EXPECT_EQ(fileNameOf("b", kPosix), "b");
  EXPECT_EQ(fileNameOf("/a/", kPosix), "");
  EXPECT_EQ(fileNameOf("/", kPosix), "");
  EXPECT_EQ(fileNameOf(R"(a\b)", kPosix), R"(a\b)");
  EXPECT_EQ(fileNameOf(R"(C:\a/b)", kWindows), "b");
  EXPECT_EQ(fileNameOf("C:b", kWindows), "b");
  EXPECT_EQ(fileNameOf(R"(\\server\share\b)", kWindows), "b");
  EXPECT_EQ(fileNameOf(R"(\\server\share)", kWindows), "");
}

TEST(Paths, JoiningAddsTheSeparatorThatTheFolderUses) {
  EXPECT_EQ(joinPath("/a", "b", kPosix), "/a/b");
  EXPECT_EQ(joinPath("/a/", "b", kPosix), "/a/b");
  EXPECT_EQ(joinPath("/", "b", kPosix), "/b");
  EXPECT_EQ(joinPath("", "b", kPosix), "/b");
  EXPECT_EQ(joinPath(R"(a\)", "b", kPosix), R"(a\/b)");
  EXPECT_EQ(joinPath(R"(C:\a)", "b", kWindows), R"(C:\a\b)");
  EXPECT_EQ(joinPath(R"(C:\)", "b", kWindows), R"(C:\b)");
  EXPECT_EQ(joinPath("C:/a", "b", kWindows), "C:/a/b");
  EXPECT_EQ(joinPath("C:/a/", "b", kWindows), "C:/a/b");
  EXPECT_EQ(joinPath("C:", "b", kWindows), "C:b");
  EXPECT_EQ(joinPath("a", "b", kWindows), R"(a\b)");
  EXPECT_EQ(joinPath("", "b", kWindows), R"(\b)");
  EXPECT_EQ(joinPath(R"(\\server\share)", "b", kWindows), R"(\\server\share\b)");
  EXPECT_EQ(joinPath("/a", "b/c", kPosix), "/a/b/c");
  EXPECT_EQ(joinPath(R"(C:\a)", "b/c", kWindows), R"(C:\a\b\c)");
  EXPECT_EQ(joinPath("C:/a", "b/c", kWindows), "C:/a/b/c");
}

TEST(Paths, ARelativePathBeginsInTheFolder) {
  EXPECT_EQ(pathFrom("/home/ann", "Mail", kPosix), "/home/ann/Mail");
  EXPECT_EQ(pathFrom("/home/ann", "/var/mail", kPosix), "/var/mail");
  const char* home = R"(C:\Users\ann)";
  EXPECT_EQ(pathFrom(home, "Mail", kWindows), R"(C:\Users\ann\Mail)");
  EXPECT_EQ(pathFrom(home, R"(D:\Mail)", kWindows), R"(D:\Mail)");
  EXPECT_EQ(pathFrom(home, R"(\Mail)", kWindows), R"(C:\Mail)");
  EXPECT_EQ(pathFrom(home, "c:Mail", kWindows), R"(C:\Users\ann\Mail)");
  EXPECT_EQ(pathFrom(home, "D:Mail", kWindows), "D:Mail");
  EXPECT_EQ(pathFrom(R"(\\server\homes\ann)", R"(\Mail)", kWindows), R"(\\server\homes\Mail)");
}

TEST(Paths, ClosingSeparatorsGoButARootKeepsItsOwn) {
  EXPECT_EQ(withoutClosingSeparators("/a/b//", kPosix), "/a/b");
  EXPECT_EQ(withoutClosingSeparators("///", kPosix), "/");
  EXPECT_EQ(withoutClosingSeparators("", kPosix), "");
  EXPECT_EQ(withoutClosingSeparators(R"(a\)", kPosix), R"(a\)");
  EXPECT_EQ(withoutClosingSeparators(R"(C:\a\/)", kWindows), R"(C:\a)");
  EXPECT_EQ(withoutClosingSeparators(R"(C:\\)", kWindows), R"(C:\)");
  EXPECT_EQ(withoutClosingSeparators("C:", kWindows), "C:");
}

// The disk takes the paths as mere names here, as a disk of the other system would.
TEST(Paths, FoldersAreMadeLevelByLevelBelowADriveOrAShare) {
  for (const std::string root : {R"(C:)", R"(\\server\share)"}) {
    class AnyParent : public FakeFiles {
     public:
      Result<void> createFolder(const std::string& folder) override {
        changes.push_back("createFolder " + folder);
        addFolder(folder);
        return {};
      }
    } files;
    files.addFolder(root);
    files.addFolder(root + R"(\a)");
    EXPECT_TRUE(MakeFolderPath(files, root + R"(\a\b/c\file.ini)", kWindows));
    EXPECT_EQ(files.changes, (std::vector<std::string>{"createFolder " + root + R"(\a\b)",
                                                       "createFolder " + root + R"(\a\b/c)"}));
  }
}

}  // namespace
}  // namespace relaybird
