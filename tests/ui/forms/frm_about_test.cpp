// SPDX-License-Identifier: MIT
// The About window over the world in memory (fake_world.h): its texts, its link and its button.
#include "ui/forms/frm_about.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "ui/forms/fake_world.h"

namespace relaybird {
namespace {

constexpr const char* kUnavailable =
    "Relaybird|System Information Is Unavailable At This Time|none|OK";

std::string contentOf(const std::string& path) {
  std::ifstream file(std::string(SOURCES) + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

class FrmAbout : public testing::Test, protected FakeWorld {
 protected:
  const ProgramWorld world_ = world();
  Form owner_{"frmRelaybird", "Relaybird"};
  frmAbout about_{world_};
};

TEST_F(FrmAbout, HasItsControlsInTheirInitialState) {
  EXPECT_EQ(about_.name(), "frmAbout");
  EXPECT_FALSE(about_.visible());
  EXPECT_EQ(about_.controls(),
            (std::vector<Control*>{&about_.lblTitle, &about_.lblDescription, &about_.lblDisclaimer,
                                   &about_.cmdOk, &about_.cmdSysInfo, &about_.lblCopyright,
                                   &about_.lblVersion, &about_.txtVersion, &about_.lblHomepage,
                                   &about_.lnkHomepage}));
  EXPECT_EQ(about_.lblTitle.name(), "lblTitle");
  EXPECT_EQ(about_.lblTitle.kind(), ControlKind::kLabel);
  EXPECT_EQ(about_.lblTitle.text(), "Relaybird  vX.X.X");
  EXPECT_EQ(about_.lblDescription.name(), "lblDescription");
  EXPECT_EQ(about_.lblDescription.kind(), ControlKind::kLabel);
  EXPECT_EQ(about_.lblDisclaimer.name(), "lblDisclaimer");
  EXPECT_EQ(about_.lblDisclaimer.kind(), ControlKind::kLabel);
  EXPECT_EQ(about_.cmdOk.name(), "cmdOk");
  EXPECT_EQ(about_.cmdOk.kind(), ControlKind::kButton);
  EXPECT_EQ(about_.cmdOk.text(), "OK");
  EXPECT_EQ(about_.cmdSysInfo.name(), "cmdSysInfo");
  EXPECT_EQ(about_.cmdSysInfo.kind(), ControlKind::kButton);
  EXPECT_EQ(about_.cmdSysInfo.text(), "&System Info...");
}

TEST_F(FrmAbout, DescribesTheProgramAndThenItsMakers) {
  EXPECT_EQ(about_.lblDescription.text(),
            "This application monitors and selectively forwards your Microsoft Outlook Email.\r\n"
            "Relaybird is free software, made by its contributors.");
}

TEST_F(FrmAbout, DisclaimsGuarantees) {
  const std::string& text = about_.lblDisclaimer.text();
  EXPECT_NE(text.find("without guarantees"), std::string::npos);
  EXPECT_NE(text.find("MIT licence"), std::string::npos);
}

TEST_F(FrmAbout, SaysWhoseItIsSinceWhenAsTheLicenceDoes) {
  EXPECT_NE(about_.lblCopyright.text().find("2026"), std::string::npos);
  EXPECT_NE(contentOf("/LICENSE").find("\n" + about_.lblCopyright.text() + "\n"),
            std::string::npos);
}

TEST_F(FrmAbout, TheVersionCanBeCopiedAndNotChanged) {
  EXPECT_EQ(about_.txtVersion.kind(), ControlKind::kTextBox);
  EXPECT_EQ(about_.txtVersion.text(), "3.1.2");
  EXPECT_TRUE(about_.txtVersion.locked());
}

TEST_F(FrmAbout, TheLinkOpensThePageThatTheCataloguesName) {
  EXPECT_EQ(about_.lnkHomepage.kind(), ControlKind::kLink);
  EXPECT_NE(contentOf("/packaging/desktop/org.relaybird.Relaybird.metainfo.xml")
                .find("<url type=\"homepage\">" + about_.lnkHomepage.text() + "</url>"),
            std::string::npos);
  about_.open(owner_);
  about_.lnkHomepage.click();
  EXPECT_EQ(folderViewer_.browsed, std::vector<std::string>{about_.lnkHomepage.text()});
  EXPECT_TRUE(dialogs_.boxes.empty());
  EXPECT_TRUE(about_.visible());
}

TEST_F(FrmAbout, APageThatCannotBeOpenedIsToldWithItsAddress) {
  folderViewer_.broken = true;
  about_.lnkHomepage.click();
  ASSERT_EQ(dialogs_.boxes.size(), 1u);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]), "Error|Could not open the page " +
                                            about_.lnkHomepage.text() +
                                            ":\r\nNo browser|exclamation|OK");
}

TEST_F(FrmAbout, OpeningItFillsInTheVersionAndShowsItOverItsOwner) {
  owner_.show();
  about_.open(owner_);
  EXPECT_EQ(about_.lblTitle.text(), "Relaybird  v3.1.2");
  EXPECT_TRUE(about_.visible());
  EXPECT_EQ(owner_.modal(), &about_);
}

TEST_F(FrmAbout, OkClosesIt) {
  about_.open(owner_);
  about_.cmdOk.click();
  EXPECT_FALSE(about_.visible());
  EXPECT_EQ(owner_.modal(), nullptr);
}

TEST_F(FrmAbout, ItsCloseBoxClosesItToo) {
  about_.open(owner_);
  about_.closeBox();
  EXPECT_FALSE(about_.visible());
  EXPECT_EQ(owner_.modal(), nullptr);
}

TEST_F(FrmAbout, TheButtonStartsTheSystemInformationTool) {
  about_.open(owner_);
  about_.cmdSysInfo.click();
  EXPECT_EQ(systemInformation_.started, std::vector<std::string>{"/usr/bin/about-this-machine"});
  EXPECT_TRUE(dialogs_.boxes.empty());
  EXPECT_TRUE(about_.visible());
}

TEST_F(FrmAbout, ASystemWithoutTheToolSaysSo) {
  systemInformation_.tool.reset();
  about_.cmdSysInfo.click();
  EXPECT_TRUE(systemInformation_.started.empty());
  ASSERT_EQ(dialogs_.boxes.size(), 1u);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]), kUnavailable);
}

TEST_F(FrmAbout, AToolThatDoesNotStartIsUnavailable) {
  systemInformation_.broken = true;
  about_.StartSysInfo();
  EXPECT_EQ(systemInformation_.started.size(), 1u);
  ASSERT_EQ(dialogs_.boxes.size(), 1u);
  EXPECT_EQ(boxLine(dialogs_.boxes[0]), kUnavailable);
}

}  // namespace
}  // namespace relaybird
