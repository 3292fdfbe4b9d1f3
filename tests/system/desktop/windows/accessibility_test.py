# SPDX-License-Identifier: MIT
"""Every control has an accessible name and role."""

import desktop_case
from desktop_case import ADDRESS, MAIN, DesktopCase
from every_window import every_window

# Containers need no name.
STRUCTURE = ("filler", "menu bar", "page tab list", "panel", "scroll bar", "scroll pane",
             "separator", "table", "tool bar", "tree table")
NO_ROLES = ("invalid", "unknown", "redundant object")
DIALOGS = ("alert", "dialog")


class Names(DesktopCase):
    def assert_named(self, word, window):
        nameless = [f"{each!r} at {each.extents}" for each in window.walk()
                    if each.role in NO_ROLES
                    or (each.role not in STRUCTURE and not each.name.strip())
                    or (each.has("focusable") and not each.name.strip()
                        and each.role not in ("page tab list", "menu bar", "panel"))]
        self.assertEqual([], nameless, word)

    def test_every_control_has_a_name(self):
        self.start()
        for word, window in every_window(self):
            with self.subTest(word):
                self.assert_named(word, window)

    def test_dialogs_and_boxes_differ_from_windows_by_role(self):
        self.start()
        for word, window in every_window(self):
            with self.subTest(word):
                self.assertEqual(word not in ("main", "log"), window.role in DIALOGS, window.role)

    def test_the_question_for_an_address_names_its_field(self):
        self.start(mstrFwdToAddress_num=0).choose("File", "Start")
        self.assert_named("question for an address", self.program.window("Invalid Email Address"))

    def test_the_manual_names_what_it_shows(self):
        self.start().choose("Help", "Help Index...")
        self.assert_named("manual", self.program.window("Help: ..."))

    def test_a_field_follows_a_change_of_its_label(self):
        main = self.start()
        self.assertEqual(ADDRESS, main.find("Forwards to [1 address]:", "text").text)


class States(DesktopCase):
    OFF = "Current Status - Automatic forwarding turned off"

    def test_running_and_stopped_can_be_read(self):
        main = self.start()
        status = main.find("Automation Status:", "text")
        self.assertEqual("Stopped", status.text)
        main.find(self.OFF, "label")
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        status.wait_for_text("Running")
        self.wait_until("the status line", lambda: not main.find_all(self.OFF, "label"))

    def test_the_chosen_format_can_be_read(self):
        self.start(mbolFormatForCellPhone=True)
        settings = self.open_settings("Cell Phone")
        self.assertTrue(settings.find("Cell phone format", "radio button").has("checked"))
        settings.find("Emails to be formatted to be received by cell phones", "label")

    def test_the_pictures_of_the_two_formats_have_different_names(self):
        names = []
        for cell in (False, True):
            main = self.start(mbolFormatForCellPhone=cell)
            names.append([icon.name for icon in main.find_all(role="icon")])
            self.leave()
        self.assertNotEqual(*names)

    def test_the_focused_line_of_the_log_can_be_read(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        log = self.open_log()
        lines = log.find("Activity Log", "list")
        left, top, _, _ = lines.extents
        self.desktop.xdotool("mousemove", left + 20, top + 5, "click", 1)
        self.wait_until("the description", lambda: lines.description.startswith(
            "--- Forwarding turned ON at "))
        self.program.window(MAIN)


if __name__ == "__main__":
    desktop_case.main()
