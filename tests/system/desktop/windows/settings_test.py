# SPDX-License-Identifier: MIT
"""The settings dialog: all settings of all tabs are stored, and refused values are reported."""

import desktop_case
from desktop_case import ADDRESS, MAIN, DesktopCase, show_tab

ADDRESSES = "Forward to the following address(es) (separate with semicolons):"
MINUTES = "How often to forward mail (minutes):"
MAXIMUM = "Maximum number of emails to forward:"
IGNORE_EXISTING = "Ignore existing unread messages"
BCC = 'Address using "BCC" instead of "To"'
ON_AT_START = "Automatically turn on Email Forwarding when program starts"
ONCE_AT_ONCE = "Forward Email once immediately upon turning on forwarding"
LIMIT = "Only forward items smaller than:"
ATTACHMENTS = "Include attachments when forward mail"
SENDERS = "List of Email Addresses or Names (separated with semicolons):"
TEXT_FILTER = "Only forward Email containing the following text:"
PHRASES = "Text/phrases to look for in emails (separate with semicolons): "


class SettingsCase(DesktopCase):
    def accept(self, settings):
        settings.find("OK", "push button").click()
        settings.wait_gone()

    def tick(self, settings, name, wanted=True):
        box = settings.find(name, "check box")
        self.assertNotEqual(wanted, box.has("checked"), name)
        box.click()
        box.wait_for_state("checked", wanted)

    def field(self, settings, name):
        return settings.find(name, "text")

    def assert_stored(self, **wanted):
        stored = self.home.preferences()
        self.assertEqual({k: str(v) for k, v in wanted.items()},
                         {k: stored.get(k) for k in wanted})


class EveryTab(SettingsCase):
    def test_general(self):
        self.start()
        settings = self.open_settings("General")
        self.field(settings, ADDRESSES).enter("ann@example.net; bea@example.net")
        self.field(settings, MINUTES).enter("90")
        settings.find("(1.5 hours)", "label")
        self.field(settings, MAXIMUM).enter("25")
        self.tick(settings, IGNORE_EXISTING)
        self.tick(settings, BCC)
        self.tick(settings, ONCE_AT_ONCE)
        self.accept(settings)
        self.assert_stored(mstrFwdToAddress_num=2, mstrFwdToAddress_1="ann@example.net",
                           mstrFwdToAddress_2="bea@example.net", mdblFwdToFrequency=90,
                           mlngMaxToForward=25, mbolIgnoreExistingUnread=1, mbolBcc=1,
                           mbolFwdUponStart=1, mbolTurnOnFwdOnStartup=0)
        main = self.program.window(MAIN)
        main.find("Forwards to [2 addresses]:", "label")
        settings = self.open_settings("General")
        self.assertEqual("ann@example.net; bea@example.net; ", self.field(settings, ADDRESSES).text)
        self.assertEqual("90", self.field(settings, MINUTES).text)
        self.assertEqual("25", self.field(settings, MAXIMUM).text)
        for name, wanted in ((IGNORE_EXISTING, True), (BCC, True), (ONCE_AT_ONCE, True),
                             (ON_AT_START, False)):
            self.assertEqual(wanted, settings.find(name, "check box").has("checked"), name)

    def test_general_on_at_start(self):
        self.start()
        settings = self.open_settings("General")
        self.tick(settings, ON_AT_START)
        self.accept(settings)
        self.assert_stored(mbolTurnOnFwdOnStartup=1)

    def test_size(self):
        self.start()
        settings = self.open_settings("Size")
        self.tick(settings, LIMIT)
        self.field(settings, LIMIT).enter("2.5")
        self.tick(settings, ATTACHMENTS, False)
        self.accept(settings)
        self.assert_stored(mbolMaxFwdSize=1, mdblMaxFwdSize=2.5, mbolIncludeAttachments=0)
        settings = self.open_settings("Size")
        self.assertTrue(settings.find(LIMIT, "check box").has("checked"))
        self.assertEqual("2.5", self.field(settings, LIMIT).text)
        self.assertFalse(settings.find(ATTACHMENTS, "check box").has("checked"))

    def test_sender(self):
        self.start()
        for option, code in (("Forward All Messages Except From ...", 502),
                             ("Only Forward Messages From ...", 501),
                             ("Forward Messages Received From Anyone", 500)):
            settings = self.open_settings("Sender")
            settings.find(option, "radio button").click()
            settings.find(option, "radio button").wait_for_state("checked")
            # The list can be edited and is kept even if it is greyed.
            self.field(settings, SENDERS).enter(f"bob{code}@example.com; Carol")
            self.accept(settings)
            self.assert_stored(mintSenderFilter=code, mcolSenderList_num=2,
                               mcolSenderList_1=f"bob{code}@example.com", mcolSenderList_2="Carol")
            settings = self.open_settings("Sender")
            self.assertTrue(settings.find(option, "radio button").has("checked"))
            self.assertEqual(f"bob{code}@example.com; Carol; ", self.field(settings, SENDERS).text)
            settings.find("Cancel").click()
            settings.wait_gone()

    def test_text(self):
        self.start()
        settings = self.open_settings("Text")
        self.tick(settings, TEXT_FILTER)
        self.choose_in_list(settings, "Text To Search:", "Message Body Text")
        self.choose_in_list(settings, "Type of Match:", "Contains Any of:")
        self.field(settings, PHRASES).enter("urgent; two words")
        self.accept(settings)
        self.assert_stored(mbolFilterText=1, mintTextToCheck=101, mintMatchType=201,
                           mstrTextToMatch_num=2, mstrTextToMatch_1="urgent",
                           mstrTextToMatch_2="two words")
        settings = self.open_settings("Text")
        self.assertTrue(settings.find(TEXT_FILTER, "check box").has("checked"))
        self.assertEqual("Message Body Text",
                         self.chosen(settings.find("Text To Search:", "combo box")))
        self.assertEqual("Contains Any of:",
                         self.chosen(settings.find("Type of Match:", "combo box")))
        self.assertEqual("urgent; two words; ", self.field(settings, PHRASES).text)

    def test_the_wheel_over_a_closed_list_chooses_nothing(self):
        self.start(mbolFilterText=True, mintTextToCheck=101)
        settings = self.open_settings("Text")
        box = settings.find("Text To Search:", "combo box")
        for wheel, ticked in ((4, False), (5, True)):
            self.desktop.click(box.point(), wheel)
            # A click that is handled after the wheel.
            self.tick(settings, TEXT_FILTER, ticked)
            self.assertEqual("Message Body Text", self.chosen(box))

    def test_cell_phone_by_its_options(self):
        self.start(mbolFormatForCellPhone=False)
        settings = self.open_settings("Cell Phone")
        settings.find("Cell phone format", "radio button").click()
        settings.find("Emails to be formatted to be received by cell phones", "label")
        self.accept(settings)
        self.assert_stored(mbolFormatForCellPhone=1)
        settings = self.open_settings("Cell Phone")
        self.assertTrue(settings.find("Cell phone format", "radio button").has("checked"))

    def test_cell_phone_by_its_pictures(self):
        self.start(mbolFormatForCellPhone=True)
        settings = self.open_settings("Cell Phone")
        settings.find("Standard format", "push button").click()
        settings.find("Emails to be forwarded using standard formatting", "label")
        settings.find("Standard format", "radio button").wait_for_state("checked")
        settings.find("Apply").click()
        self.wait_until("it to be stored", lambda: self.home.preferences().get(
            "mbolFormatForCellPhone") == "0")
        self.assertTrue(settings.is_showing())


class Size(SettingsCase):
    def test_lists_grow_with_the_dialog(self):
        self.start()
        settings = self.open_settings()
        for tab, name in (("General", ADDRESSES), ("Sender", SENDERS), ("Text", PHRASES)):
            show_tab(settings, tab)
            field = self.field(settings, name)
            before = field.extents
            width, height = settings.extents[2:]
            self.desktop.xdotool("windowsize", settings.window_id(), width + 90, height + 60)
            self.wait_until(f"{field} to grow", lambda: field.extents[2] >= before[2] + 90
                            and field.extents[3] >= before[3] + 60)


class Lists(SettingsCase):
    """Typing and pasting into fields that contain lists."""

    def empty_field(self, tab, name):
        self.start()
        settings = self.open_settings(tab)
        field = self.field(settings, name)
        field.enter("")
        return settings, field

    def paste(self, text):
        self.desktop.set_clipboard(text)
        self.desktop.keys("ctrl+v")

    def test_commas_and_enter_separate_addresses(self):
        settings, field = self.empty_field("General", ADDRESSES)
        self.desktop.type('a@b.example, "Doe, John" <john@d.example>,c@d.example')
        self.desktop.keys("Return", "Return")
        self.desktop.type("e@f.example")
        field.wait_for_text('a@b.example; "Doe, John" <john@d.example>; c@d.example; e@f.example')
        self.accept(settings)
        self.assert_stored(mstrFwdToAddress_num=4, mstrFwdToAddress_1="a@b.example",
                           mstrFwdToAddress_2='"Doe, John" <john@d.example>',
                           mstrFwdToAddress_3="c@d.example", mstrFwdToAddress_4="e@f.example")

    def test_pasted_lines_become_entries_and_the_caret_follows_them(self):
        _, field = self.empty_field("General", ADDRESSES)
        self.desktop.type("z@z.example")
        self.desktop.keys("Home")
        self.paste("a@b.example\r\nc@d.example\r\n")
        field.wait_for_text("a@b.example; c@d.example; z@z.example")
        self.desktop.type("x")
        field.wait_for_text("a@b.example; c@d.example; xz@z.example")
        self.desktop.keys("BackSpace", "Left", "Left", "Return")
        self.desktop.type("y")
        field.wait_for_text("a@b.example; c@d.example; yz@z.example")

    def test_text_from_an_assistive_tool_is_treated_alike(self):
        _, field = self.empty_field("General", ADDRESSES)
        field.accessible.set_text("a@b.example\nc@d.example")
        field.wait_for_text("a@b.example; c@d.example")

    def test_names_of_senders_keep_their_commas(self):
        _, field = self.empty_field("Sender", SENDERS)
        self.paste("Doe, John\nbob@example.com, Carol")
        field.wait_for_text("Doe, John; bob@example.com; Carol")

    def test_phrases_keep_their_commas_too(self):
        _, field = self.empty_field("Text", PHRASES)
        self.desktop.type("out of paper, again")
        self.desktop.keys("Return")
        self.desktop.type("urgent")
        field.wait_for_text("out of paper, again; urgent")

    def test_stored_entries_are_shown_as_they_are(self):
        self.start(mstrFwdToAddress_1="Doe, John")
        field = self.field(self.open_settings("General"), ADDRESSES)
        self.assertEqual("Doe, John; ", field.text)
        field.focus()
        self.desktop.keys("ctrl+End")
        self.desktop.type("a@b.example")
        field.wait_for_text("Doe, John; a@b.example")


class Refusals(SettingsCase):
    def refused(self, tab, name, value, words):
        settings = self.open_settings(tab)
        self.field(settings, name).enter(value)
        settings.find("OK", "push button").click()
        self.assertEqual("Problem - " + words, self.answer("Relaybird", "OK"))
        settings.wait_gone()

    def test_invalid_values_are_reported_and_not_stored(self):
        self.start(mdblFwdToFrequency=7, mlngMaxToForward=9, mbolMaxFwdSize=True)
        self.refused("General", MINUTES, "1.9",
                     "Not allowed to check mail more often than 2 minutes.")
        self.refused("General", MINUTES, "abc", "Invalid value for how often to forward mail.")
        self.refused("General", MAXIMUM, "0",
                     "Entry for maximum emails to forward must be greater than zero.")
        self.refused("Size", LIMIT, "0", "Invalid maximum message size entered.")
        settings = self.open_settings("General")
        self.assertEqual("7", self.field(settings, MINUTES).text)
        self.assertEqual("9", self.field(settings, MAXIMUM).text)
        settings.find("Cancel").click()
        settings.wait_gone()
        self.leave()
        self.assert_stored(mdblFwdToFrequency=7, mlngMaxToForward=9)

    def test_apply_keeps_the_dialog_and_corrects_the_minutes(self):
        self.start()
        settings = self.open_settings("General")
        self.field(settings, MINUTES).enter("1")
        settings.find("Apply").click()
        self.answer("Relaybird", "OK")
        settings.activate()
        self.field(settings, MINUTES).wait_for_text("2")

    def test_the_two_start_options_exclude_one_another(self):
        self.start()
        settings = self.open_settings("General")
        self.tick(settings, ON_AT_START)
        settings.find(ONCE_AT_ONCE, "check box").click()
        words = self.answer("Invalid Option Combination", "OK")
        self.assertIn(f"'{ON_AT_START}' and '{ONCE_AT_ONCE}'", words)
        settings.find(ONCE_AT_ONCE, "check box").wait_for_state("checked", False)
        self.assertTrue(settings.find(ON_AT_START, "check box").has("checked"))

    def test_cancel_stores_nothing_and_forgets_the_edits(self):
        self.start(mdblFwdToFrequency=7)
        settings = self.open_settings("General")
        self.field(settings, MINUTES).enter("30")
        settings.find("Cancel").click()
        settings.wait_gone()
        settings = self.open_settings("General")
        self.assertEqual("7", self.field(settings, MINUTES).text)
        self.desktop.keys("Escape")
        settings.wait_gone()
        self.leave()
        self.assertEqual("7", self.home.preferences()["mdblFwdToFrequency"])


class AddressCheck(SettingsCase):
    def test_good_addresses_are_all_ok(self):
        self.start()
        settings = self.open_settings("General")
        settings.find("Check validity of addresses", "push button").click()
        self.answer("Emails all OK", "OK")

    def test_after_a_failed_check_ok_asks_and_no_keeps_the_dialog(self):
        self.start()
        settings = self.open_settings("General")
        self.field(settings, ADDRESSES).enter("")
        settings.find("Check validity of addresses", "push button").click()
        self.answer("Problem with your address list:", "OK")
        settings.find("OK", "push button").click()
        self.answer("Warning: ", "No")
        self.field(settings, ADDRESSES).wait_for_text(ADDRESS + "; ")
        self.assertTrue(settings.is_showing())


class WaysIn(SettingsCase):
    def test_the_pictures_of_the_format_open_its_tab(self):
        main = self.start()
        pictures = main.find_all(role="icon")
        self.assertEqual(2, len(pictures))
        for picture in pictures:
            picture.click()
            settings = self.program.window("Settings")
            settings.find("Cell Phone", "page tab").wait_for_state("selected")
            show_tab(settings, "Size")
            self.desktop.keys("Escape")
            settings.wait_gone()
            main.activate()

    def test_a_click_on_the_addresses_opens_theirs(self):
        self.start()
        settings = self.open_settings("Text")
        settings.find("Cancel").click()
        settings.wait_gone()
        main = self.program.window(MAIN)
        main.find(role="scroll pane").click()
        settings = self.program.window("Settings")
        settings.find("General", "page tab").wait_for_state("selected")


if __name__ == "__main__":
    desktop_case.main()
