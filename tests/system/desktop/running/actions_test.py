# SPDX-License-Identifier: MIT
"""The actions of the desktop entry, activated over the bus while the program runs, and to start it."""

import pathlib
import re

from gi.repository import Gio, GLib

import desktop_case
from desktop_case import MAIN, DesktopCase
from driver import StartedProgram

NAME = "org.relaybird.Relaybird"
ENTRY = pathlib.Path(__file__).parents[4] / "packaging" / "desktop" / (NAME + ".desktop")
WINDOWS = {"view-log": "Activity Log", "test": "Test Explanation:", "settings": "Settings"}


class ActionsCase(DesktopCase):
    def ask(self, method, *arguments):
        """Calls the program by its bus name, as a desktop does (org.freedesktop.Application)."""
        signature = {"Activate": "(a{sv})", "ActivateAction": "(sava{sv})"}[method]
        self.desktop.bus.call_sync(
            NAME, "/" + NAME.replace(".", "/"), "org.freedesktop.Application", method,
            GLib.Variant(signature, arguments), None, Gio.DBusCallFlags.NONE, 60_000, None)

    def act(self, action):
        self.ask("ActivateAction", action, [], {})


class WhileItRuns(ActionsCase):
    def test_every_action_of_the_desktop_entry_does_what_it_says(self):
        entry = ENTRY.read_text(encoding="utf-8")
        offered = re.search(r"^Actions=(.*);$", entry, re.MULTILINE)[1].split(";")
        self.assertEqual(sorted(WINDOWS), sorted(offered))
        self.assertIn("\nDBusActivatable=true\n", entry)
        self.start()
        for action in offered:
            self.assertIn(f"[Desktop Action {action}]\n"
                          f"Exec=gapplication action {NAME} {action}\nName=", entry)
            self.act(action)
            window = self.program.window(WINDOWS[action])
            self.desktop.keys("Escape")
            window.wait_gone()
        self.leave()

    def test_a_minimised_window_comes_back(self):
        main = self.start()
        self.desktop.xdotool("windowminimize", "--sync", main.window_id())
        self.act("settings")
        self.program.window("Settings")
        self.wait_until("the window to be back", main.window_id)

    def test_nothing_happens_behind_a_question(self):
        main = self.start()
        main.choose("File", "Start")
        box = self.program.window("Please Confirm:")
        for action in WINDOWS:
            self.act(action)
        box.find("No", "push button").click()
        box.wait_gone()
        # Calls are handled in order: when this one is answered, the earlier ones have been handled.
        self.ask("Activate", {})
        for title in WINDOWS.values():
            self.assertFalse(self.program.has_window(title), title)
        self.leave()

    def test_nothing_opens_twice_behind_the_settings(self):
        self.start()
        settings = self.open_settings()
        self.act("test")
        self.act("settings")
        settings.find("Cancel", "push button").click()
        settings.wait_gone()
        self.assertFalse(self.program.has_window("Test Explanation:"))
        self.leave()

    def test_the_test_does_not_begin_while_forwarding_is_on(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        self.act("test")
        self.act("view-log")
        self.program.window("Activity Log")
        self.assertFalse(self.program.has_window("Test Explanation:"))
        self.leave()


class WhileItDoesNotRun(ActionsCase):
    def setUp(self):
        super().setUp()
        self.home.write_preferences(mstrFwdToAddress_num=1,
                                    mstrFwdToAddress_1=desktop_case.ADDRESS)
        self.desktop.offer_service(NAME, self.program_file, self.home)

    def started(self):
        """Waits for the program that the bus starts, and returns it."""
        process = self.wait_until("the program to have its name",
                                  lambda: self.desktop.process_of(NAME))
        self.program = StartedProgram(self.desktop, process, self.home)
        self.addCleanup(self.program.kill)
        return self.program

    def end_it(self):
        self.program.window(MAIN).choose("File", "Exit")
        self.wait_until("its end", lambda: not self.program.running())

    def test_the_program_starts_and_then_runs_the_action(self):
        for action, window in WINDOWS.items():
            self.act(action)
            self.started().window(window)
            self.assertTrue(self.program.has_window(MAIN))
            self.desktop.keys("Escape")
            self.end_it()

    def test_a_plain_start_shows_the_window_alone(self):
        self.ask("Activate", {})
        main = self.started().window(MAIN)
        main.find("Automation Status:", "text").wait_for_text("Stopped")
        for title in WINDOWS.values():
            self.assertFalse(self.program.has_window(title), title)
        self.end_it()

    def test_a_start_that_asks_is_answered_first(self):
        self.home.write_preferences(mstrFwdToAddress_num=0, mbolTurnOnFwdOnStartup=True)
        self.act("view-log")
        box = self.started().window("Invalid Email Address")
        self.assertFalse(self.program.has_window("Activity Log"))
        box.find("Cancel", "push button").click()
        self.program.window("Activity Log")
        self.end_it()


if __name__ == "__main__":
    desktop_case.main()
