// SPDX-License-Identifier: MIT
// The programs of the desktop that are started: by a list of paths, over a disk in memory, and by
// the registry of Windows, which is a fake.
#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

#include "prefs/fake_files.h"
#include "ui/forms/desktop_programs.h"

namespace relaybird {
namespace {

class ListedSystemInformationTest : public testing::Test {
 protected:
  FakeFiles files_;
  std::vector<std::pair<std::string, std::vector<std::string>>> started_;
  Result<void> outcome_;
  ListedSystemInformation information_{
      {{"/usr/bin/first", {"overview", "now"}}, {"/usr/bin/second", {}}},
      files_,
      [this](const std::string& program, const std::vector<std::string>& arguments) {
        started_.emplace_back(program, arguments);
        return outcome_;
      }};
};

TEST_F(ListedSystemInformationTest, TheFirstInstalledToolOfTheListIsTaken) {
  files_.addFile("/usr/bin/second", "");
  EXPECT_EQ(information_.program(), "/usr/bin/second");
  files_.addFile("/usr/bin/first", "");
  EXPECT_EQ(information_.program(), "/usr/bin/first");
}

TEST_F(ListedSystemInformationTest, WithoutAnyToolThereIsNone) {
  files_.addFolder("/usr/bin/first");
  EXPECT_EQ(information_.program(), std::nullopt);
}

TEST_F(ListedSystemInformationTest, AToolIsStartedWithItsArguments) {
  EXPECT_TRUE(information_.start("/usr/bin/first"));
  EXPECT_TRUE(information_.start("/usr/bin/second"));
  ASSERT_EQ(started_.size(), 2u);
  EXPECT_EQ(started_[0].first, "/usr/bin/first");
  EXPECT_EQ(started_[0].second, (std::vector<std::string>{"overview", "now"}));
  EXPECT_TRUE(started_[1].second.empty());
}

TEST_F(ListedSystemInformationTest, AStartThatFailsSaysWhy) {
  outcome_ = Error{13, "not allowed"};
  EXPECT_EQ(information_.start("/usr/bin/first").error().text, "not allowed");
}

TEST(FreeDesktopInformationTools, ComeInTheOrderOfPreference) {
  const std::vector<ListedProgram> tools = freeDesktopInformationTools();
  ASSERT_EQ(tools.size(), 4u);
  EXPECT_EQ(tools[0].path, "/usr/bin/gnome-control-center");
  EXPECT_EQ(tools[0].arguments, std::vector<std::string>{"info-overview"});
  EXPECT_EQ(tools[1].path, "/usr/bin/kinfocenter");
  EXPECT_EQ(tools[2].path, "/usr/bin/hardinfo2");
  EXPECT_EQ(tools[3].path, "/usr/bin/hardinfo");
}

}  // namespace

namespace {

constexpr const char* kToolKey = "SOFTWARE\\Microsoft\\Shared Tools\\MSINFO";
constexpr const char* kFolderKey = "SOFTWARE\\Microsoft\\Shared Tools Location";

// Registry keys in memory. Counts open keys and records the queries.
class FakeRegistry : public Registry {
 public:
  Result<std::unique_ptr<RegistryKey>> open(RegistryRoot root, const std::string& key) override {
    roots.push_back(root);
    opened.push_back(key);
    if (keys.count(key) == 0) {
      return Error{2, "no such key"};
    }
    ++openKeys;
    return std::unique_ptr<RegistryKey>(new Key(*this, keys[key]));
  }

  std::map<std::string, std::map<std::string, RegistryValue>> keys;
  std::vector<RegistryRoot> roots;
  std::vector<std::string> opened;
  std::vector<std::size_t> bufferSizes;
  int openKeys = 0;

 private:
  class Key : public RegistryKey {
   public:
    Key(FakeRegistry& registry, const std::map<std::string, RegistryValue>& values)
        : registry_(registry), values_(values) {}
    ~Key() override { --registry_.openKeys; }
    Result<RegistryValue> query(const std::string& name, std::size_t bufferSize) override {
      registry_.bufferSizes.push_back(bufferSize);
      const auto found = values_.find(name);
      if (found == values_.end()) {
        return Error{2, "no such value"};
      }
      return found->second;
    }

   private:
    FakeRegistry& registry_;
    const std::map<std::string, RegistryValue>& values_;
  };
};

class RegistryTest : public testing::Test {
 protected:
  std::string get(const std::string& value) {
    std::string result = "what was there before";
    got_ = GetKeyValue(registry_, RegistryRoot::kLocalMachine, "key", value, result);
    return result;
  }

  FakeRegistry registry_;
  bool got_ = false;
};

TEST_F(RegistryTest, ATextValueIsCutAtItsFirstNul) {
  registry_.keys["key"]["value"] = std::string("C:\\Tools\0rest\0", 14);
  EXPECT_EQ(get("value"), "C:\\Tools");
  EXPECT_TRUE(got_);
}

TEST_F(RegistryTest, ATextValueWithoutANulIsTakenWhole) {
  registry_.keys["key"]["value"] = std::string("C:\\Tools");
  EXPECT_EQ(get("value"), "C:\\Tools");
}

TEST_F(RegistryTest, AnEmptyTextIsAValue) {
  registry_.keys["key"]["value"] = std::string();
  EXPECT_EQ(get("value"), "");
  EXPECT_TRUE(got_);
}

TEST_F(RegistryTest, ANumberReadsInDecimalDigits) {
  const std::vector<std::pair<std::uint32_t, std::string>> numbers{
      {0, "0"}, {255, "255"}, {0x10000, "65536"}, {0xFFFFFFFF, "4294967295"}};
  for (const auto& [number, text] : numbers) {
    registry_.keys["key"]["value"] = number;
    EXPECT_EQ(get("value"), text);
    EXPECT_TRUE(got_);
  }
}

TEST_F(RegistryTest, AMissingKeyGivesNothing) {
  EXPECT_EQ(get("value"), "");
  EXPECT_FALSE(got_);
}

TEST_F(RegistryTest, AMissingValueGivesNothing) {
  registry_.keys["key"]["other"] = std::string("text");
  EXPECT_EQ(get("value"), "");
  EXPECT_FALSE(got_);
}

TEST_F(RegistryTest, ValuesAreReadInto1024Characters) {
  registry_.keys["key"]["value"] = std::string("text");
  get("value");
  EXPECT_EQ(registry_.bufferSizes, std::vector<std::size_t>{1024});
}

TEST_F(RegistryTest, TheKeyIsClosedWhateverComesOfIt) {
  registry_.keys["key"]["value"] = std::string("text");
  for (const char* value : {"value", "missing"}) {
    get(value);
    EXPECT_EQ(registry_.openKeys, 0) << value;
  }
  EXPECT_EQ(registry_.opened.size(), 2u);
}

class RegistrySystemInformationTest : public testing::Test {
 protected:
  void nameTool(const std::string& path) { registry_.keys[kToolKey]["PATH"] = path; }
  void nameFolder(const std::string& folder) { registry_.keys[kFolderKey]["MSINFO"] = folder; }

  FakeRegistry registry_;
  FakeFiles files_;
  std::vector<std::string> started_;
  Result<void> outcome_;
  RegistrySystemInformation information_{registry_, files_, [this](const std::string& program) {
                                           started_.push_back(program);
                                           return outcome_;
                                         }};
};

TEST_F(RegistrySystemInformationTest, TheToolThatTheRegistryNamesIsTakenUnseen) {
  nameTool("C:\\Windows\\msinfo32.exe");
  EXPECT_EQ(information_.program(), "C:\\Windows\\msinfo32.exe");
  EXPECT_EQ(registry_.opened, std::vector<std::string>{kToolKey});
  EXPECT_EQ(registry_.roots, std::vector<RegistryRoot>{RegistryRoot::kLocalMachine});
}

TEST_F(RegistrySystemInformationTest, TheFirstNameWinsOverTheFolder) {
  nameTool("C:\\first.exe");
  nameFolder("C:\\Shared");
  files_.addFile("C:\\Shared\\MSINFO32.EXE", "");
  EXPECT_EQ(information_.program(), "C:\\first.exe");
}

TEST_F(RegistrySystemInformationTest, WithoutAFirstNameTheFileInTheNamedFolderIsTaken) {
  nameFolder("C:\\Shared");
  files_.addFile("C:\\Shared\\MSINFO32.EXE", "");
  EXPECT_EQ(information_.program(), "C:\\Shared\\MSINFO32.EXE");
  EXPECT_EQ(registry_.opened, (std::vector<std::string>{kToolKey, kFolderKey}));
  EXPECT_EQ(registry_.roots,
            (std::vector<RegistryRoot>{RegistryRoot::kLocalMachine, RegistryRoot::kLocalMachine}));
}

TEST_F(RegistrySystemInformationTest, AFolderWithoutTheFileLeadsToNothing) {
  nameFolder("C:\\Shared");
  EXPECT_EQ(information_.program(), std::nullopt);
}

TEST_F(RegistrySystemInformationTest, AFolderOfTheFilesNameIsNotTheTool) {
  nameFolder("C:\\Shared");
  files_.addFolder("C:\\Shared\\MSINFO32.EXE");
  EXPECT_EQ(information_.program(), std::nullopt);
}

TEST_F(RegistrySystemInformationTest, ARegistryThatNamesNeitherLeadsToNothing) {
  EXPECT_EQ(information_.program(), std::nullopt);
}

TEST_F(RegistrySystemInformationTest, StartingHandsTheProgramToTheStarter) {
  EXPECT_TRUE(information_.start("C:\\first.exe"));
  EXPECT_EQ(started_, std::vector<std::string>{"C:\\first.exe"});
  outcome_ = Error{2, "no"};
  EXPECT_FALSE(information_.start("C:\\first.exe"));
}

}  // namespace

}  // namespace relaybird
