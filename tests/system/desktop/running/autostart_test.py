# SPDX-License-Identifier: MIT
"""The menu entry that makes the program start with the desktop."""

import os

import desktop_case
from desktop_case import DesktopCase

APPLICATION = "org.relaybird.Relaybird"


class Autostart(DesktopCase):
    def entry(self):
        return self.home.config / "autostart" / (APPLICATION + ".desktop")

    def mark(self, main):
        return main.find("File", "menu").find("Start with the desktop", "check menu item",
                                              hidden=True)

    def test_the_check_mark_in_the_file_menu_writes_and_removes_the_entry(self):
        main = self.start()
        self.assertFalse(self.mark(main).has("checked"))
        self.mark(main).press()
        self.wait_until("the entry", lambda: self.entry().exists())
        self.assertIn(f'\nExec="{os.path.realpath(self.program_file)}"\n',
                      self.entry().read_text(encoding="utf-8"))
        self.mark(main).wait_for_state("checked")
        self.leave()

        main = self.start_again()
        self.assertTrue(self.mark(main).has("checked"))
        self.mark(main).press()
        self.wait_until("the entry to go", lambda: not self.entry().exists())
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
