# SPDX-License-Identifier: MIT
"""Use without a mouse: access keys, shortcuts, the order of Tab, Enter and Escape."""

import collections
import re

import desktop_case
from desktop_case import MAIN, DesktopCase, show_tab
from every_window import every_window

CONFIRM = "Please Confirm:"


def line_of(widget):
    """The extents of a widget; for a notebook those of its row of tabs."""
    return widget.children()[0].extents if widget.role == "page tab list" else widget.extents


def in_reading_order(widgets):
    """Sorts from top to bottom, and each row from left to right."""
    rows = []
    for widget in sorted(widgets, key=lambda each: line_of(each)[1] + line_of(each)[3] / 2):
        left, top, _, height = line_of(widget)
        middle = top + height / 2
        if rows and rows[-1][0] < middle < rows[-1][1]:
            rows[-1][2].append((left, widget))
        else:
            rows.append((top, top + height, [(left, widget)]))
    return [widget for _, _, row in rows for _, widget in sorted(row, key=lambda each: each[0])]


def answer_the_start(case, no, yes):
    """Starts forwarding twice, and answers the question by the keys for no and yes."""
    main = case.start()
    for key, status in ((no, "Stopped"), (yes, "Running")):
        main.choose("File", "Start")
        box = case.program.window(CONFIRM)
        case.desktop.keys(key)
        box.wait_gone()
        main.activate()
        main.find("Automation Status:", "text").wait_for_text(status)


class AccessKeys(DesktopCase):
    def test_no_key_has_two_meanings_in_a_window(self):
        self.start()
        for word, window in every_window(self):
            with self.subTest(word):
                owners = collections.defaultdict(list)
                for widget in window.walk():
                    keys = {key for _, bound in widget.actions()
                            for key in re.findall(r"<Alt>\w", bound)}
                    for key in keys:
                        owners[key.lower()].append(repr(widget))
                self.assertEqual({}, {k: v for k, v in owners.items() if len(v) > 1})

    def test_no_key_has_two_meanings_in_a_menu(self):
        for running in (False, True):
            with self.subTest(running=running):
                main = self.start(mbolTurnOnFwdOnStartup=running)
                main.find("Automation Status:", "text").wait_for_text(
                    "Running" if running else "Stopped")
                self.assert_keys_of_menus(main)
                self.leave()

    def assert_keys_of_menus(self, main):
        for menu in main.find_all(role="menu"):
            # A disabled entry has no key.
            keys = [entry.actions()[0][1].split(";")[0].lower() for entry in menu.walk(hidden=True)
                    if entry != menu and entry.name and entry.has("sensitive")]
            self.assertNotEqual([], keys)
            self.assertEqual(len(keys), len(set(keys)), f"{menu}: {keys}")
            self.assertNotIn("", keys, f"{menu}")

    def test_the_menus_open_and_their_entries_are_picked(self):
        self.start()
        for menu, entry, window in (("alt+e", "t", "Settings"), ("alt+h", "a", "About Relaybird"),
                                    ("alt+h", "h", "Help: ..."), ("alt+f", "s", CONFIRM)):
            main = self.program.window(MAIN)
            self.desktop.keys(menu)
            self.wait_until("the menu", lambda: any(
                each.is_showing() for each in main.find_all(role="menu item", hidden=True)))
            self.desktop.keys(entry)
            opened = self.program.window(window)
            opened.close()

    def test_the_buttons_of_the_main_window_are_pressed(self):
        self.start()
        main = self.program.window(MAIN)
        self.desktop.keys("alt+s")
        self.program.window(CONFIRM)
        self.desktop.keys("alt+y")
        main.find("Automation Status:", "text").wait_for_text("Running")
        main.activate()
        self.desktop.keys(self.key_of(main.find("Stop Forwarding Email")))
        main.find("Automation Status:", "text").wait_for_text("Stopped")
        self.desktop.keys(self.key_of(main.find("Settings", "push button")))
        self.program.window("Settings")

    def key_of(self, button):
        """The access key in xdotool's notation. Another test checks that it is unique."""
        return button.actions()[0][1].split(";")[0].lower().replace("<alt>", "alt+")

    def test_the_buttons_of_a_box_are_pressed(self):
        answer_the_start(self, no="alt+n", yes="alt+y")


class Shortcuts(DesktopCase):
    def test_the_menus_show_them(self):
        main = self.start()
        for menu, entry, keys in (("Edit", "Settings...", "<Primary>comma"),
                                  ("Diagnostics", "Test (Forward Once)", "<Primary>t"),
                                  ("Diagnostics", "View Log", "<Primary>l"),
                                  ("Help", "Help Index...", "F1"),
                                  ("File", "Exit", "<Primary>q")):
            (_, bound) = main.menu_entry(menu, entry).actions()[0]
            self.assertEqual(keys, bound.split(";")[-1], entry)

    def test_they_open_their_windows_and_ctrl_w_closes_them(self):
        main = self.start()
        for keys, window in (("ctrl+l", "Activity Log"), ("ctrl+comma", "Settings"),
                             ("F1", "Help: Welcome to Relaybird")):
            main.activate()
            self.desktop.keys(keys)
            opened = self.program.window(window)
            self.desktop.keys("ctrl+w")
            opened.wait_gone()
        main.activate()
        main.choose("Help", "About...")
        about = self.program.window("About Relaybird")
        self.desktop.keys("ctrl+w")
        about.wait_gone()
        main.activate()
        self.desktop.keys("ctrl+t")
        self.answer("Test Explanation:", "Cancel")
        main.activate()
        self.desktop.keys("ctrl+w")  # which would end the program here
        self.desktop.keys("ctrl+l")
        self.program.window("Activity Log")
        main.activate()
        self.desktop.keys("ctrl+q")
        self.assertEqual(0, self.program.wait())

    def test_the_test_cannot_be_picked_while_forwarding_is_on(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        self.assertFalse(main.menu_entry("Diagnostics", "Test (Forward Once)").has("sensitive"))
        main.activate()
        self.desktop.keys("ctrl+t", "ctrl+l")
        self.program.window("Activity Log")
        self.assertFalse(self.program.has_window("Test Explanation:"))
        main.activate()
        main.choose("File", "Stop")
        entry = main.menu_entry("Diagnostics", "Test (Forward Once)")
        entry.wait_for_state("sensitive")


class HelpKey(DesktopCase):
    def help_from(self, window, title):
        """Presses F1 in a window, expects that page in the manual, and closes the manual."""
        window.activate()
        self.desktop.keys("F1")
        help_window = self.program.window("Help: " + title)
        help_window.find("Contents", "page tab").wait_for_state("selected")
        self.desktop.keys("ctrl+w")
        help_window.wait_gone()
        window.activate()

    def test_it_opens_the_page_about_the_window(self):
        main = self.start()
        self.help_from(main, "Welcome to Relaybird")
        self.help_from(self.open_log(), "The activity log")
        main.activate()
        main.choose("Edit", "Set Up Mail...")
        setup = self.program.window("Set Up Mail")
        self.help_from(setup, "Setting up mail")
        self.desktop.keys("Escape")
        setup.wait_gone()
        main.choose("Help", "About...")
        self.help_from(self.program.window("About Relaybird"), "About and licence")

    def test_it_opens_the_page_about_the_tab_in_view(self):
        self.start()
        for tab in ("General", "Text"):
            settings = self.open_settings(tab)
            self.help_from(settings, tab + " settings")
            self.desktop.keys("Escape")
            settings.wait_gone()

    def test_the_manual_can_be_used_beside_the_settings(self):
        self.start()
        self.open_settings("General")
        self.desktop.keys("F1")
        help_window = self.program.window("Help: General settings")
        show_tab(help_window, "Search").find("Search for", "text").enter("merchantability")
        self.desktop.keys("Return")
        self.wait_until("the page", lambda: help_window.name == "Help: About and licence")
        help_window.close()
        settings = self.program.window("Settings")
        settings.find("Cancel", "push button").click()
        settings.wait_gone()
        self.leave()


class Tabs(DesktopCase):
    def test_ctrl_page_down_and_up_turn_them_from_anywhere(self):
        self.start()
        settings = self.open_settings("General")
        address = settings.find("Forward to the following address(es) (separate with semicolons):",
                                "text")
        address.focus()
        for key, tab in (("ctrl+Next", "Size"), ("ctrl+Next", "Sender"), ("ctrl+Next", "Text"),
                         ("ctrl+Next", "Cell Phone"), ("ctrl+Next", "General"),
                         ("ctrl+Prior", "Cell Phone"), ("ctrl+Prior", "Text")):
            self.desktop.keys(key)
            settings.find(tab, "page tab").wait_for_state("selected")
            self.wait_until("the keys to be in sight", lambda: settings.focused() or any(
                each.role == "combo box" for each in settings.walk()))
        cancel = settings.find("Cancel", "push button")
        for _ in range(12):
            if not cancel.has("focused"):
                self.desktop.keys("Tab")
        cancel.wait_for_state("focused")
        self.desktop.keys("ctrl+Next")
        settings.find("Cell Phone", "page tab").wait_for_state("selected")
        cancel.wait_for_state("focused")


class TabOrder(DesktopCase):
    def assert_in_order(self, word, window):
        """Tab visits all controls that take keys, in reading order, and returns to the first."""
        wanted = in_reading_order([
            each for each in window.walk()
            if each.has("sensitive") and self.is_stop(each)])
        self.wait_until(f"the keys to be in {word}", lambda: window.focused() in wanted)
        start = wanted.index(window.focused())
        wanted = wanted[start:] + wanted[:start]
        visited = [wanted[0]]
        for each in wanted[1:]:
            self.desktop.keys("Tab")
            if each.role == "combo box":
                # The focused part of it is not in the accessibility tree.
                self.wait_until(f"{each} to have the keys", lambda: window.focused() is None)
                visited.append(each)
            else:
                self.wait_until("Tab to move the keys",
                                lambda: window.focused() not in (None, visited[-1]))
                visited.append(window.focused())
        self.assertEqual(wanted, visited, word)

    def is_stop(self, widget):
        """Whether Tab stops at the widget: in a group of options at the chosen one only."""
        if widget.role == "radio button":
            return widget.has("checked")
        return widget.role in ("check box", "combo box", "link", "list", "page tab list",
                               "password text", "push button", "text")

    def test_it_is_the_reading_order(self):
        self.start()
        for word, window in every_window(self):
            if word == "main":
                window.find("Start Forwarding Email").press()
                self.answer(CONFIRM, "No")
                window.activate()
            with self.subTest(word):
                self.assert_in_order(word, window)

    def test_the_settings_open_at_the_first_field(self):
        self.start()
        settings = self.open_settings()
        self.wait_until("the first field to have the keys", lambda: settings.focused() and
                        settings.focused().name.startswith("Forward to the following address"))


class EnterAndEscape(DesktopCase):
    def test_enter_accepts_the_settings_and_escape_does_not(self):
        self.start(mdblFwdToFrequency=7)
        for key, stored in (("Escape", "7"), ("Return", "30")):
            settings = self.open_settings("General")
            settings.find("How often to forward mail (minutes):", "text").enter("30")
            self.desktop.keys(key)
            settings.wait_gone()
            self.assertEqual(stored, self.home.preferences()["mdblFwdToFrequency"])

    def test_enter_says_yes_to_a_question_and_escape_no(self):
        answer_the_start(self, no="Escape", yes="Return")

    def test_both_close_the_about_box(self):
        main = self.start()
        for key in ("Return", "Escape"):
            main.choose("Help", "About...")
            about = self.program.window("About Relaybird")
            self.desktop.keys(key)
            about.wait_gone()
            main.activate()

    def test_enter_begins_a_new_entry_in_a_list(self):
        self.start()
        settings = self.open_settings("General")
        field = settings.find("Forward to the following address(es) (separate with semicolons):",
                              "text")
        field.enter("a@b.c;")
        self.desktop.keys("Return")
        self.desktop.type("d@e.f")
        field.wait_for_text("a@b.c; d@e.f")
        self.assertTrue(settings.is_showing())


class FocusOfButtons(DesktopCase):
    def test_it_goes_from_start_to_stop_and_back(self):
        """A button that becomes disabled does not keep the focus."""
        main = self.start()
        start, stop = (main.find(word + " Forwarding Email") for word in ("Start", "Stop"))
        self.wait_until("the keys to be in the window", main.focused)
        for _ in range(len(main.find_all(role="push button"))):
            if not start.has("focused"):
                before = main.focused()
                self.desktop.keys("Tab")
                self.wait_until("Tab to move the keys",
                                lambda: main.focused() not in (None, before))
        for key in ("space", "Return"):
            start.wait_for_state("focused")
            self.desktop.keys(key)
            self.program.window(CONFIRM)
            self.desktop.keys("Return")
            main.find("Automation Status:", "text").wait_for_text("Running")
            stop.wait_for_state("focused")
            self.desktop.keys(key)
            main.find("Automation Status:", "text").wait_for_text("Stopped")
        start.wait_for_state("focused")


class Impatience(DesktopCase):
    """The program hangs, and the user clicks again and again."""

    def test_clicks_that_waited_open_one_box(self):
        main = self.start()
        button = main.find("Minimize to System Tray", "push button")
        point = button.point()
        with self.program.held():
            for _ in range(3):
                self.desktop.click(point)
        box = self.program.window("Minimize to System Tray")
        box.find("No", "push button").click()
        box.wait_gone()
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
