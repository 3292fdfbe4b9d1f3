# SPDX-License-Identifier: MIT
"""The manual in its window, also when it has to be looked for, and the about box."""

import os
import shutil
import unittest

import desktop_case
from desktop_case import MAIN, DesktopCase, show_tab

NOT_FOUND = "Help file (rbx.chm) not found:"
HELP = "Help: ..."
TOOLS = ("gnome-control-center", "kinfocenter", "hardinfo2", "hardinfo")


class Help(DesktopCase):
    def open_help(self):
        self.program.window(MAIN).choose("Help", "Help Index...")
        return self.program.window(HELP)

    def start_without_manual(self):
        """A program that stands alone finds none beside itself."""
        self.program_file = shutil.copy(self.program_file, self.home.folder)
        self.home.write_remembered_help("/nowhere/rbx.chm")
        return self.start()

    def wait_for_page(self, window, title):
        """The window has the title of the page that it has read."""
        self.wait_until(f"the page '{title}'", lambda: window.name == "Help: " + title)

    def test_it_opens_without_a_question_at_the_first_page(self):
        self.start()
        window = self.open_help()
        self.wait_for_page(window, "Welcome to Relaybird")
        window.find("Contents", "page tab").wait_for_state("selected")
        window.close()
        self.leave()

    def test_the_index_leads_to_a_page(self):
        self.start()
        window = self.open_help()
        index = show_tab(window, "Index")
        index.find(role="text").enter("Warranty")
        index.find("Find", "push button").click()
        self.wait_for_page(window, "About and licence")

    def test_the_search_leads_to_a_page(self):
        self.start()
        window = self.open_help()
        show_tab(window, "Index").find(role="text").focus()
        self.desktop.keys("ctrl+Next")
        search = window.find("Search", "page tab")
        search.wait_for_state("selected")
        search.find(role="text").enter("merchantability")
        search.find("Search", "push button").click()
        self.wait_for_page(window, "About and licence")

    def test_it_opens_again_and_leaving_closes_it(self):
        self.start()
        window = self.open_help()
        window.close()
        self.open_help()
        self.leave()

    def test_a_manual_that_is_not_there_is_told_and_cancel_ends_it(self):
        self.start_without_manual().choose("Help", "Help Index...")
        self.assertIn("The help file could not be found.", self.answer(NOT_FOUND, "Cancel"))
        self.leave()
        self.assertIn("/nowhere", self.home.remembered_help_file.read_text())

    def test_a_chosen_manual_is_used_and_remembered(self):
        moved = self.home.folder / "moved.chm"
        os.symlink(self.help_file, moved)
        self.start_without_manual().choose("Help", "Help Index...")
        self.answer(NOT_FOUND, "OK")
        chooser = self.program.window('"Please locate help file (rbx.chm)"')
        self.desktop.type(str(moved))  # the slash opens the field for a path
        self.wait_until("the path", lambda: any(
            each.text == str(moved) for each in chooser.find_all(role="text")))
        self.desktop.keys("Return")
        self.program.window(HELP)
        self.leave()
        self.assertIn(str(moved), self.home.remembered_help_file.read_text())


class About(DesktopCase):
    def open_about(self):
        self.program.window(MAIN).choose("Help", "About...")
        return self.program.window("About Relaybird")

    def test_it_names_the_program_and_closes(self):
        main = self.start()
        about = self.open_about()
        labels = [label.name for label in about.find_all(role="label")]
        self.assertRegex(labels[0], r"^Relaybird  v\d+\.\d+\.\d+$")
        self.assertEqual([], [label for label in labels if "\r" in label])
        self.assertIn("without guarantees", labels[2])
        about.find("OK").click()
        about.wait_gone()
        self.assertTrue(main.is_showing())

    @unittest.skipIf(any(os.path.exists("/usr/bin/" + tool) for tool in TOOLS),
                     "this machine has a tool, which would open")
    def test_a_desktop_without_a_tool_says_that_there_is_no_information(self):
        self.start()
        about = self.open_about()
        about.find("System Info...").click()
        self.assertEqual("System Information Is Unavailable At This Time",
                         self.answer("Relaybird", "OK"))
        about.find("OK").click()
        about.wait_gone()


if __name__ == "__main__":
    desktop_case.main()
