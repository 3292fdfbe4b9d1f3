# SPDX-License-Identifier: MIT
"""Settings that cannot be saved: a box and the log report it."""

import desktop_case
from desktop_case import MAIN, DesktopCase

MINUTES = "How often to forward mail (minutes):"


class Unsaved(DesktopCase):
    def start_and_block(self):
        """Puts a folder in the place of the preference file, which cannot be replaced then."""
        main = self.start(mdblFwdToFrequency=7)
        self.home.preference_file.unlink()
        (self.home.preference_file / "folder").mkdir(parents=True)
        return main

    def assert_logged(self):
        log = self.open_log()
        self.desktop.clear_clipboard()
        log.find("Copy to Clipboard", "push button").click()
        lines = self.wait_until("the clipboard", self.desktop.clipboard).split("\r\n")
        logged = [line for line in lines if "The preferences could not be saved: " in line]
        self.assertEqual(1, len(logged), lines)
        self.assertRegex(logged[0], r"^\S+ \S+--> The preferences could not be saved: .*"
                         + self.home.preference_file.name)

    def test_settings_that_are_accepted(self):
        self.start_and_block()
        settings = self.open_settings("General")
        settings.find(MINUTES, "text").enter("30")
        settings.find("OK", "push button").click()
        self.assertEqual("Error writing preferences to file", self.answer("Relaybird", "OK"))
        settings.wait_gone()
        self.assert_logged()

    def test_a_start(self):
        main = self.start_and_block()
        main.choose("File", "Start")
        self.assertEqual("Error occured: Error writing preferences to disk",
                         self.answer("Relaybird", "OK"))
        self.program.window(MAIN)
        self.assertEqual("Stopped", main.find("Automation Status:", "text").text)
        self.assert_logged()
        self.leave()
        self.assertEqual([], self.home.forwards())


if __name__ == "__main__":
    desktop_case.main()
