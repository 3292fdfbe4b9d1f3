# SPDX-License-Identifier: MIT
"""What the main window shows about undelivered mail, and the commands for it."""

import desktop_case
from desktop_case import DesktopCase

ENTRIES = ("Try Again Now", "Open Folder of Waiting Messages", "Open Folder of Refused Messages")
NO_COMMAND = "No delivery command is set: forwards wait in the outbox "
KEPT = "1 message was refused for now and kept for a later try."
# EX_TEMPFAIL, a temporary failure, and EX_NOUSER, a permanent one (sysexits.h).
LATER, NEVER = 75, 67


class Outbox(DesktopCase):
    def setUp(self):
        super().setUp()
        self.outbox = self.home.state / "rbx" / "outbox"
        self.opened = self.home.folder / "opened"

    def offer_file_manager(self):
        """Installs a file manager for the user that records what it is asked to open."""
        manager = self.home.folder / "manager"
        manager.write_text(f'#!/bin/sh\necho "$1" >> "{self.opened}"\n', encoding="utf-8")
        manager.chmod(0o755)
        entries = self.home.folder / "data" / "applications"
        entries.mkdir(parents=True)
        (entries / "manager.desktop").write_text(
            "[Desktop Entry]\nType=Application\nName=Manager\nMimeType=inode/directory;\n"
            f"Exec={manager} %f\n", encoding="utf-8")
        (self.home.config / "mimeapps.list").write_text(
            "[Default Applications]\ninode/directory=manager.desktop\n", encoding="utf-8")

    def deliver_by(self, status):
        """Makes deliveries end with that status from now on."""
        script = self.home.folder / "sendmail"
        replacement = self.home.folder / "sendmail.new"
        replacement.write_text(f"#!/bin/sh\ncat >/dev/null\nexit {status}\n", encoding="utf-8")
        replacement.chmod(0o755)
        replacement.rename(script)
        return script

    def start_with_command(self, status):
        self.home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1="ann@example.net",
                                    mbolFwdUponStart=True)
        with open(self.home.preference_file, "a", encoding="utf-8") as file:
            file.write(f"[mail]\nsendmail={self.deliver_by(status)}\n")
        return self.start_again()

    def forward(self, main):
        """Forwards one message by switching forwarding on."""
        self.home.deliver("Dinner at eight")
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.find("Number Forwarded:", "text").wait_for_text("1")

    def labels(self, main):
        return [" ".join(label.name.split()) for label in main.find_all(role="label")]

    def wait_for_label(self, main, words):
        self.wait_until(f"the word '{words}'", lambda: words in self.labels(main))

    def log_lines(self):
        """The text of the log, by way of the clipboard."""
        log = self.open_log()
        self.desktop.clear_clipboard()
        log.find("Copy to Clipboard", "push button").click()
        text = self.wait_until("the log", self.desktop.clipboard)
        log.find("Close", "push button").click()
        log.wait_gone()
        return text

    def wait_until_opened(self, folder):
        self.wait_until(f"{folder} to be opened", lambda: self.opened.exists() and
                        self.opened.read_text(encoding="utf-8").split() == [str(folder)])
        self.opened.unlink()

    def test_its_menu_has_its_entries(self):
        menu = self.start().find("Outbox", "menu")
        self.assertEqual(list(ENTRIES),
                         [each.name for each in menu.find_all(role="menu item", hidden=True)])

    def test_its_folders_are_opened_in_the_users_file_manager(self):
        self.offer_file_manager()
        main = self.start_with_command(NEVER)
        self.forward(main)
        self.wait_until("the refusal", lambda: list((self.outbox / "failed").glob("*.txt")))
        for entry, folder in zip(ENTRIES[1:], ("new", "failed")):
            main.choose("Outbox", entry)
            self.wait_until_opened(self.outbox / folder)

    def test_a_missing_folder_is_reported(self):
        main = self.start()
        main.choose("Outbox", ENTRIES[2])
        self.assertIn(f"Could not open the folder {self.outbox}/failed: ", self.answer("Error", "OK"))

    def test_try_again_delivers_the_waiting_messages(self):
        main = self.start_with_command(LATER)
        self.assertNotIn(KEPT, self.labels(main))
        self.forward(main)
        self.wait_for_label(main, KEPT)
        self.deliver_by(0)
        main.choose("Outbox", ENTRIES[0])
        self.wait_until("the outbox to be empty", lambda: not self.home.forwards())
        self.wait_until("the word of it to go", lambda: KEPT not in self.labels(main))
        lines = self.log_lines()
        self.assertIn("--> Trying again now: 1 message waits in the outbox.", lines)
        self.assertIn("--> Tried again: 1 message has left this computer, and none waits.", lines)

    def test_try_again_says_when_there_is_nothing_to_try(self):
        main = self.start_with_command(0)
        main.choose("Outbox", ENTRIES[0])
        self.wait_for_label(main, "Nothing waits in the outbox.")

    def test_without_a_command_it_says_where_forwards_wait(self):
        main = self.start()
        words = f"{NO_COMMAND}{self.outbox}."
        self.wait_for_label(main, words)
        main.choose("Outbox", ENTRIES[0])
        self.wait_until("the log to tell it",
                        lambda: "--> " + words in self.log_lines())


if __name__ == "__main__":
    desktop_case.main()
