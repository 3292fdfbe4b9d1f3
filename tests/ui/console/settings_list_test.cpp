// SPDX-License-Identifier: MIT
#include "ui/console/program/settings_list.h"

#include <gtest/gtest.h>

#include "ui/console/console_fixture.h"
#include "ui/console/program/console_desktop.h"
#include "ui/forms/settings/prefs_controls.h"

namespace relaybird {
namespace {

const Setting* find(const std::vector<Setting>& settings, const std::string& name) {
  for (const Setting& setting : settings) {
    if (setting.name == name) {
      return &setting;
    }
  }
  return nullptr;
}

TEST(SettingsList, HoldsEveryFieldOfTheDialogWithItsTabAndMeaning) {
  PrefsControls dialog;
  dialog.txtMinutes.setText("15");
  dialog.chkBcc.setValue(1);
  dialog.cmbTextToCheck.setValue(1);
  const auto settings = settingsOf(dialog, dialog.tabPrefs);
  EXPECT_EQ(settings.size(), 20U);
  const Setting* minutes = find(settings, "txtMinutes");
  ASSERT_NE(minutes, nullptr);
  EXPECT_EQ(minutes->tab, "General");
  EXPECT_EQ(minutes->value, "15");
  EXPECT_EQ(minutes->meaning, "How often to forward mail (minutes):");
  EXPECT_EQ(find(settings, "chkBcc")->value, "on");
  EXPECT_EQ(find(settings, "opbFwdOnly")->value, "off");
  EXPECT_EQ(find(settings, "txtMaxFileSize")->meaning, "Only forward items smaller than:");
  EXPECT_EQ(find(settings, "cmbTextToCheck")->value, "Message Body Text");
  EXPECT_EQ(find(settings, "cmbTypeOfMatch")->value, "") << "nothing is chosen";
  EXPECT_EQ(find(settings, "cmdOK"), nullptr);
}

TEST(ConsoleClipboard, GivesTheTextToTheTerminalInBase64) {
  Transcript terminal;
  Transcript notes;
  ScriptOutput out(notes);
  ConsoleClipboard clipboard(&terminal, out);
  for (const auto& [text, digits] :
       std::vector<std::pair<std::string, std::string>>{{"", ""},
                                                        {"f", "Zg=="},
                                                        {"fo", "Zm8="},
                                                        {"foo", "Zm9v"},
                                                        {"foob", "Zm9vYg=="},
                                                        {"\xff\xfe\x00", "//4="}}) {
    EXPECT_TRUE(clipboard.setText(text));
    EXPECT_EQ(terminal.take(), "\x1b]52;c;" + digits + "\x07");
  }
}

TEST(ConsoleClipboard, SaysWhereThereIsNoneAndWhenTheTextIsTooLong) {
  Transcript terminal;
  ScriptOutput out(terminal);
  EXPECT_FALSE(ConsoleClipboard(nullptr, out).setText("x"));
  EXPECT_FALSE(ConsoleClipboard(&terminal, out).setText(std::string(80000, 'x')));
  EXPECT_EQ(terminal.take(), "");
}

TEST(ConsoleHelpViewer, PointsToTheTopicsThatCanBeReadHere) {
  Transcript transcript;
  ScriptOutput out(transcript);
  EXPECT_TRUE(ConsoleHelpViewer(out, {"rules  The rules"}).show("/usr/share/rbx.chm", ""));
  EXPECT_EQ(transcript.take(),
            "note: the manual is in /usr/share/rbx.chm; help TOPIC shows a topic of it here\n"
            "topic: rules  The rules\n");
}

}  // namespace
}  // namespace relaybird
