# SPDX-License-Identifier: MIT
"""The toolkit prints no warnings. DesktopCase.end checks that after every test; this file has the
cases in which there was a warning once, and some in which one is likely."""

import desktop_case
from desktop_case import MAIN, DesktopCase, show_tab
from driver.theme import ThemeSetting
from every_window import every_window

ADDRESSES = "Forward to the following address(es) (separate with semicolons):"
LINES = 3
MANY = {"mstrFwdToAddress_num": 60,
        **{f"mstrFwdToAddress_{number}": f"friend{number}@sms.example.net"
           for number in range(1, 61)}}


class Complaints(DesktopCase):
    SCREEN = "2600x2000"

    def assert_no_complaint(self):
        self.assertEqual([], self.program.complaints())

    def test_a_warning_is_noticed(self):
        said = "(relaybird:1): Gtk-CRITICAL **: 12:00:00.000: gtk_widget_show: assertion 'x' failed"
        self.program = self.desktop.run(["/bin/sh", "-c", 'echo "$0" >&2', said], self.home)
        self.program.wait()
        self.assertRaises(AssertionError, self.end)

    def test_none_while_every_window_has_large_letters(self):
        self.start({"GDK_DPI_SCALE": "2", "GTK_THEME": "Adwaita:dark"}, **MANY)
        for word, _ in every_window(self):
            with self.subTest(word):
                self.assert_no_complaint()

    def test_none_while_the_theme_changes(self):
        with ThemeSetting(self.desktop, "Adwaita") as setting:
            self.start()
            self.open_log()
            settings = self.open_settings("Sender")
            for theme in ("HighContrastInverse", "Adwaita"):
                setting.change(theme)
                show_tab(settings, "Text")
                show_tab(settings, "General")
            self.assert_no_complaint()

    def test_none_when_the_manual_is_opened_again_and_again(self):
        """It was laid out in a window of a few pixels before it was shown."""
        main = self.start()
        for _ in range(6):
            main.choose("Help", "Help Index...")
            self.program.window("Help: ...").close()
        self.assert_no_complaint()

    def test_none_with_more_addresses_than_a_field_shows(self):
        """The field had no room for its scroll bar."""
        main = self.start(**MANY)
        self.assert_lines(main.find("Forwards to [60 addresses]:", "text"))
        self.assert_lines(self.open_settings("General").find(ADDRESSES, "text"))
        self.assert_no_complaint()

    def test_none_with_texts_on_pages_not_yet_shown(self):
        """Their fields had no room for their scroll bars."""
        self.start(mcolSenderList_num=1, mcolSenderList_1="offers.example",
                   mstrTextToMatch_num=1, mstrTextToMatch_1="boarding pass")
        self.open_settings()
        self.assert_no_complaint()

    def assert_lines(self, field):
        """Several lines are completely visible."""
        top, height = field.extents[1], field.extents[3]
        tops = sorted({field.accessible.letter_extents(position)[1]
                       for position in range(0, len(field.text), 10)})
        letter = field.accessible.letter_extents(0)[3]
        self.assertGreaterEqual(len([each for each in tops
                                     if top <= each and each + letter <= top + height]), LINES)

    def test_none_with_an_address_longer_than_its_field(self):
        """It is also not broken with a hyphen."""
        address = "a-name-that-goes-on." + "andon" * 20 + "@example.net"
        self.start(mstrFwdToAddress_1="ann@example.net; " + address)
        self.program.window(MAIN)
        field = self.open_settings("General").find(ADDRESSES, "text")
        begin = field.text.index("andon")
        tops = {field.accessible.letter_extents(position)[1]
                for position in range(begin, field.text.index("@example.net; ", begin))}
        self.assertEqual(1, len(tops))
        self.assert_no_complaint()


if __name__ == "__main__":
    desktop_case.main()
