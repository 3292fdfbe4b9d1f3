// SPDX-License-Identifier: MIT
// What the keys do in every window: shortcuts, access keys, help.
#include <gmock/gmock.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/text/ascii_text.h"
#include "ui/forms/main/program_fixture.h"
#include "ui/help/help_topics.h"

namespace relaybird {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

// The letter that "&" marks in a caption.
std::optional<char> accessKey(std::string_view caption) {
  for (std::size_t i = 0; i + 1 < caption.size(); ++i) {
    if (caption[i] != '&') {
      continue;
    }
    if (caption[i + 1] != '&') {
      return caption[i + 1];
    }
    ++i;
  }
  return std::nullopt;
}

class KeysTest : public ProgramTest {
 protected:
  KeysTest() { oneAddress(); }

  std::map<std::string, std::string> shortcutsOf(const Form& form) {
    std::map<std::string, std::string> keys;
    for (const Control* each : form.controls()) {
      if (!each->shortcut().empty()) {
        EXPECT_TRUE(keys.emplace(each->shortcut(), each->name()).second) << each->name();
      }
    }
    return keys;
  }
  std::string helpIn(const Form& form) {
    helpViewer_.shown.clear();
    form.help();
    return helpViewer_.shown.empty() ? "none" : helpViewer_.shown.back();
  }
};

TEST_F(KeysTest, EveryWindowHasItsShortcutsEachOnce) {
  EXPECT_THAT(shortcutsOf(main()),
              UnorderedElementsAre(Pair("Ctrl+,", "mnuPreferences"), Pair("Ctrl+T", "mnuTest"),
                                   Pair("Ctrl+L", "mnuViewLog"), Pair("F1", "mnuIndex"),
                                   Pair("Ctrl+Q", "mnuExit")));
  EXPECT_THAT(shortcutsOf(program().log()),
              UnorderedElementsAre(Pair("Ctrl+C", "mnuCopy"), Pair("Ctrl+S", "mnuSaveAs"),
                                   Pair("Ctrl+W", "cmdClose"), Pair("F3", "cmdFindNext"),
                                   Pair("Shift+F3", "cmdFindPrevious")));
  EXPECT_THAT(shortcutsOf(program().settings()), ElementsAre(Pair("Ctrl+W", "cmdCancel")));
  EXPECT_THAT(shortcutsOf(program().about()), ElementsAre(Pair("Ctrl+W", "cmdOk")));
  EXPECT_THAT(shortcutsOf(program().setup()), ElementsAre(Pair("Ctrl+W", "cmdCancel")));
}

TEST_F(KeysTest, NoShortcutSendsWithoutAQuestion) {
  for (Form* form : program().forms()) {
    for (const auto& [keys, name] : shortcutsOf(*form)) {
      if (form == &main() && name == "mnuExit") {
        continue;
      }
      form->show();
      deliver("lunch");
      Control* part = form->find(name);
      if (whyNoInput(*part).empty()) {
        part->click();
      }
      events_.runUntilIdle();
      EXPECT_THAT(sentSubjects(), IsEmpty()) << keys;
      program().settings().hide();
    }
  }
}

TEST_F(KeysTest, NoAccessKeyHasTwoMeaningsInAWindowOrAMenu) {
  for (Form* form : program().forms()) {
    std::map<const Control*, std::set<char>> taken;
    for (const Control* each : form->controls()) {
      const auto key = accessKey(each->text());
      const bool inMenu = each->parent() != nullptr && each->parent()->kind() == ControlKind::kMenu;
      if (key && each->kind() != ControlKind::kTextBox) {
        const char letter = asciiLower(std::string(1, *key)).front();
        EXPECT_TRUE(taken[inMenu ? each->parent() : nullptr].insert(letter).second)
            << form->name() << "." << each->name();
      }
    }
  }
}

TEST_F(KeysTest, TheMenuEntriesForTestAndLogDoWhatTheButtonsDo) {
  click("frmRelaybird", "mnuViewLog");
  EXPECT_TRUE(program().log().visible());
  dialogs_.answer(BoxAnswer::kCancel);
  click("frmRelaybird", "mnuTest");
  ASSERT_FALSE(dialogs_.boxes.empty());
  EXPECT_EQ(dialogs_.boxes.back().title, "Test Explanation:");
}

TEST_F(KeysTest, TheMenuEntryForTheTestIsEnabledWithTheButton) {
  EXPECT_TRUE(main().mnuTest.enabled());
  switchOn();
  EXPECT_FALSE(main().cmdForwardNow.enabled());
  EXPECT_FALSE(main().mnuTest.enabled());
  click("frmRelaybird", "cmdStop");
  EXPECT_TRUE(main().mnuTest.enabled());
}

TEST_F(KeysTest, HelpOpensAtThePageAboutTheWindow) {
  files_.addFolder("/opt");
  files_.addFile("/opt/rbx.chm", "help");
  EXPECT_EQ(helpIn(main()), "/opt/rbx.chm");
  EXPECT_EQ(helpIn(program().log()), "/opt/rbx.chm#activity-log");
  EXPECT_EQ(helpIn(program().about()), "/opt/rbx.chm#licence");
  std::set<std::string> topics;
  Control& tabs = program().settings().tabPrefs;
  for (std::size_t tab = 0; tab < tabs.list().size(); ++tab) {
    tabs.setValue(static_cast<int>(tab));
    topics.insert(helpIn(program().settings()));
  }
  EXPECT_THAT(topics,
              UnorderedElementsAre("/opt/rbx.chm#settings-general", "/opt/rbx.chm#settings-size",
                                   "/opt/rbx.chm#settings-sender", "/opt/rbx.chm#settings-text",
                                   "/opt/rbx.chm#settings-cell-phone"));
}

TEST_F(KeysTest, EveryPageThatHelpOpensIsInTheManual) {
  files_.addFolder("/opt");
  files_.addFile("/opt/rbx.chm", "help");
  Control& tabs = program().settings().tabPrefs;
  for (int tab = 0; tab < 5; ++tab) {
    tabs.setValue(tab);
    for (Form* form : program().forms()) {
      const std::string shown = helpIn(*form);
      const std::size_t mark = shown.find('#');
      if (mark == std::string::npos) {
        continue;
      }
      const HelpTopic* topic = findHelpTopic(shown.substr(mark + 1));
      ASSERT_NE(topic, nullptr) << shown;
      EXPECT_EQ(topic->name, shown.substr(mark + 1));
    }
  }
}

}  // namespace
}  // namespace relaybird
