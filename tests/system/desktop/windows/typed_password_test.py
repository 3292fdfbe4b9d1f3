# SPDX-License-Identifier: MIT
"""A password that is typed into a window, in the memory of the program."""

import secrets

import desktop_case
from core_dump import in_core_dump
from desktop_case import MAIN, DesktopCase


class TypedPassword(DesktopCase):
    def is_in_memory(self, password):
        """Whether it is there as a whole: freed memory of the toolkit may have pieces."""
        return any(password.encode() in text for _, text in in_core_dump(self.program.process.pid))

    def test_no_copy_outlives_the_dialog(self):
        self.start()
        self.program.window(MAIN).choose("Edit", "Set Up Mail...")
        setup = self.program.window("Set Up Mail")
        field = setup.find("Password:", "password text")
        field.click()
        password = secrets.token_hex(24)
        self.desktop.type(password)
        self.wait_until("the password", lambda: len(field.text) == len(password))
        self.assertTrue(self.is_in_memory(password), "the search does not find it in the field")
        setup.find("Cancel", "push button").click()
        setup.wait_gone()
        self.assertFalse(self.is_in_memory(password))
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
