# SPDX-License-Identifier: MIT
"""Base class of the window tests: one desktop for each class, a home and a program for each test."""

import atexit
import signal
import sys
import unittest

from driver import Desktop, Home, wait_for

ADDRESS = "5550100@sms.example.net"
MAIN = "Relaybird v..."


class DesktopCase(unittest.TestCase):
    """Tests the program given as first argument of the command line, with the manual given as
    second."""

    SCREEN = "1280x1024"
    longMessage = True
    program_file = None
    help_file = None

    @classmethod
    def setUpClass(cls):
        cls.desktop = Desktop(cls.SCREEN)
        cls.desktop.__enter__()
        cls.addClassCleanup(cls.desktop.__exit__)
        atexit.register(cls.desktop.__exit__)

    def setUp(self):
        self.home = Home(self.desktop.new_folder())
        self.home.write_remembered_help(self.help_file)
        self.program = None
        self.addCleanup(self.end)

    def start(self, environment=None, scale=1, **preferences):
        """Starts the program with one address and these preferences, and returns its window."""
        self.home.write_preferences(**{"mstrFwdToAddress_num": 1, "mstrFwdToAddress_1": ADDRESS,
                                       **preferences})
        return self.start_again(environment, scale)

    def start_again(self, environment=None, scale=1):
        """Starts the program with the present content of the home."""
        self.program = self.run_program(environment, scale)
        return self.program.window(MAIN)

    def run_program(self, environment=None, scale=1):
        return self.desktop.run([self.program_file], self.home, environment, scale)

    def end(self):
        """Ends the programs. Fails if their output has a message of a sanitizer or of a failed
        assertion, or a warning of the toolkit."""
        said = "".join(program.output() for program in self.desktop.programs)
        complaints = [line for program in self.desktop.programs for line in program.complaints()]
        self.desktop.end_programs()
        self.assertEqual([], complaints)
        for word in ("AddressSanitizer", "runtime error:", "assertion failed:", "unexpected:"):
            self.assertNotIn(word, said)

    def leave(self):
        self.assertEqual(0, self.program.leave(), self.program.output())

    def open_settings(self, tab=None):
        self.program.window(MAIN).choose("Edit", "Settings...")
        settings = self.program.window("Settings")
        if tab:
            show_tab(settings, tab)
        return settings

    def open_log(self):
        self.program.window(MAIN).find("View Log ", "push button").click()
        return self.program.window("Activity Log")

    def answer(self, title, button):
        """Waits for a box, clicks one of its buttons, and returns the text of the box as one line."""
        box = self.program.window(title, role="alert")
        words = " ".join(" ".join(label.name for label in box.find_all(role="label")).split())
        box.find(button, "push button").click()
        box.wait_gone()
        return words

    def choose_in_list(self, settings, name, entry):
        box = settings.find(name, "combo box")
        box.click()
        self.wait_until("the list to drop down", lambda: self.list_entry(entry)).click()
        self.wait_until(f"'{entry}' to be chosen", lambda: self.chosen(box) == entry)

    def list_entry(self, name):
        for window in self.desktop.accessibility.application(self.program.process.pid).children():
            if window.role() == "window":
                entries = self.program.wrap(window).find_all(name, "menu item")
                if entries:
                    return entries[0]
        return None

    def chosen(self, box):
        entry = box.accessible.selected()
        return entry.name() if entry else None

    def wait_for_line(self, text):
        """Waits until the line at the top of the main window, which wraps, begins with that text."""
        main = self.program.window(MAIN)
        self.wait_until(f"the line '{text}'",
                        lambda: any(" ".join(each.name.split()).startswith(text)
                                    for each in main.find_all(role="label")))

    def wait_until(self, what, look):
        return wait_for(what, look, otherwise=self.program.describe if self.program else None)


def show_tab(window, tab):
    """Shows a tab by a click."""
    page = window.find(tab, "page tab")
    page.click()
    page.wait_for_state("selected")
    return page


def main():
    """Runs the tests of a file. Arguments: PROGRAM HELP_FILE [names of tests]."""
    DesktopCase.program_file, DesktopCase.help_file = sys.argv[1:3]
    del sys.argv[1:3]
    # SIGTERM raises KeyboardInterrupt, so that the clean-up runs.
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    unittest.main(verbosity=2)
