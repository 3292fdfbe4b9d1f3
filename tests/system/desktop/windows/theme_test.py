# SPDX-License-Identifier: MIT
"""Light and dark themes: the windows follow the theme at the start and later, and text in the forms'
own colours is readable in all of them."""

import desktop_case
from desktop_case import DesktopCase, show_tab
from driver import wait_for
from driver.theme import ThemeSetting, contrast_of_text, ground, luminance

# WCAG 2.1, 1.4.3.
READABLE = 4.5
FIELDS = ("Automation Status:", "Number Forwarded:", "Forwards to [1 address]:")
# Settings with which these fields are gray and contain a text.
GRAYED = {"mbolFormatForCellPhone": True, "mbolMaxFwdSize": False, "mintSenderFilter": 500,
          "mcolSenderList_num": 1, "mcolSenderList_1": "offers.example", "mbolFilterText": False,
          "mstrTextToMatch_num": 1, "mstrTextToMatch_1": "boarding pass"}
NOT_TAKEN = (("Size", "Only forward items smaller than:", "text"),
             ("Sender", "List of Email Addresses or Names (separated with semicolons):", "text"),
             ("Text", "Text To Search:", "combo box"),
             ("Text", "Type of Match:", "combo box"),
             ("Text", "Text/phrases to look for in emails (separate with semicolons): ", "text"))


class Themes(DesktopCase):
    def assert_ground(self, main, dark):
        wait_for(f"the window to be {'dark' if dark else 'light'}",
                 lambda: (luminance(ground(self.desktop, main.extents)) < 0.2) == dark)

    def assert_readable(self, main):
        for name in FIELDS:
            self.assert_contrast(main.find(name, "text"), READABLE)

    def assert_contrast(self, widget, wanted):
        """Waits, since painting is later than the change of the accessibility tree."""
        wait_for(f"{widget} {widget.text!r} to be readable",
                 lambda: self.contrast(widget) >= wanted,
                 otherwise=lambda: f"a contrast of {self.contrast(widget)}")

    def contrast(self, widget):
        return contrast_of_text(self.desktop, widget.extents)

    def assert_status_line_readable(self, main):
        self.assert_contrast(main.find("Current Status - Automatic forwarding turned off", "label"),
                             READABLE)

    def assert_options_not_chosen_readable(self):
        settings = self.open_settings("Cell Phone")
        self.assert_contrast(settings.find("Standard format", "label"), READABLE)
        self.assert_contrast(settings.find("This will forward the entire message, including CC list "
                                           "of email, etc.", "label"), READABLE)
        for tab, name, role in NOT_TAKEN:
            show_tab(settings, tab)
            self.assert_contrast(settings.find(name, role), READABLE)
        self.desktop.keys("Escape")
        settings.wait_gone()

    def test_an_option_that_is_not_chosen_is_readable(self):
        for theme in ("Adwaita", "Adwaita:dark", "HighContrast", "HighContrastInverse"):
            with self.subTest(theme):
                self.start({"GTK_THEME": theme}, **GRAYED)
                self.assert_options_not_chosen_readable()
                self.leave()

    def test_the_link_of_the_about_box_is_readable(self):
        for theme in ("Adwaita", "Adwaita:dark", "HighContrast", "HighContrastInverse"):
            with self.subTest(theme):
                self.start({"GTK_THEME": theme}).choose("Help", "About...")
                about = self.program.window("About Relaybird")
                self.assert_contrast(about.find("https://relaybird.org/"), READABLE)
                self.desktop.keys("Escape")
                about.wait_gone()
                self.leave()

    def switch_on(self, main):
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.activate()
        main.find("Automation Status:", "text").wait_for_text("Running")

    def test_it_starts_in_the_theme_of_the_desktop(self):
        for theme, dark in (("Adwaita", False), ("Adwaita:dark", True)):
            with self.subTest(theme):
                main = self.start({"GTK_THEME": theme})
                self.assert_ground(main, dark)
                self.assert_readable(main)
                self.assert_status_line_readable(main)
                self.switch_on(main)
                self.assert_readable(main)
                self.leave()

    def test_it_follows_a_change_of_the_theme(self):
        with ThemeSetting(self.desktop, "HighContrast") as setting:
            main = self.start()
            self.assert_ground(main, dark=False)
            for theme, dark in (("HighContrastInverse", True), ("HighContrast", False)):
                setting.change(theme)
                self.assert_ground(main, dark)
                self.assert_readable(main)
                self.assert_status_line_readable(main)
            self.switch_on(main)
            setting.change("HighContrastInverse")
            self.assert_ground(main, dark=True)
            self.assert_readable(main)


if __name__ == "__main__":
    desktop_case.main()
