# SPDX-License-Identifier: MIT
"""Boxes: texts too long for the screen, invalid UTF-8, and repeated questions."""

import os

import desktop_case
from desktop_case import MAIN, DesktopCase
from driver import Home
from layout_test import is_inside

CONFIRM = "Please Confirm:"
INVALID = "Invalid Email Address"


class LongQuestion(DesktopCase):
    SCREEN = "1024x768"
    ADDRESSES = 100

    def ask(self):
        """Returns a question with more addresses than fit on the screen, and its label."""
        addresses = {f"mstrFwdToAddress_{number}": f"friend{number}@sms.example.net"
                     for number in range(1, self.ADDRESSES + 1)}
        self.start(mstrFwdToAddress_num=self.ADDRESSES, **addresses).choose("File", "Start")
        box = self.program.window(CONFIRM)
        label = next(each for each in box.find_all(role="label") if "friend1@" in each.name)
        self.assertIn(f"friend{self.ADDRESSES}@", label.name)
        return box, label

    def test_it_fits_the_screen_with_its_buttons(self):
        box, label = self.ask()
        self.assertTrue(is_inside(box.extents, (0, 0, 1024, 768)), box.extents)
        buttons = box.find_all(role="push button")
        self.assertEqual(["Yes", "No"], [each.name for each in buttons])
        for button in buttons:
            self.assertTrue(is_inside(button.extents, box.extents), button.extents)
        self.assertGreater(label.extents[3], box.extents[3])

    def test_the_keys_scroll_it(self):
        box, label = self.ask()
        frame = box.find(role="scroll pane").extents
        first = label.extents
        self.assertGreaterEqual(first[1], frame[1])
        for key in ("Next", "Down"):
            before = label.extents[1]
            self.desktop.keys(key)
            self.wait_until(f"{key} to scroll", lambda: label.extents[1] < before)
        self.desktop.keys("End")
        self.wait_until("the end to be seen", lambda: label.extents[1] + label.extents[3]
                        <= frame[1] + frame[3])
        for key in ("Prior", "Up"):
            before = label.extents[1]
            self.desktop.keys(key)
            self.wait_until(f"{key} to scroll back", lambda: label.extents[1] > before)
        self.desktop.keys("Home")
        self.wait_until("the beginning to be seen", lambda: label.extents == first)
        self.assertTrue(box.find("Yes", "push button").has("focused"))

    def test_escape_says_no(self):
        box, _ = self.ask()
        self.desktop.keys("Next", "Escape")
        box.wait_gone()
        main = self.program.window(MAIN)
        main.find("Start Forwarding Email").wait_for_state("sensitive")
        self.assertEqual("Stopped", main.find("Automation Status:", "text").text)


class QuestionForAnAddress(DesktopCase):
    def ask(self, button):
        main = self.start(mstrFwdToAddress_num=0)
        main.find(button, "push button").click()
        if button.startswith("Test"):
            self.answer("Test Explanation:", "OK")
        return main, self.program.window(INVALID)

    def refuse(self, box):
        """Enters an invalid address, and answers the box about it."""
        box.find(role="text").enter("ann")
        self.desktop.keys("Return")
        box.wait_gone()
        return self.program.window(INVALID)

    def test_a_refused_entry_can_be_corrected(self):
        _, box = self.ask("Start Forwarding Email")
        box = self.refuse(box)
        field = box.find(role="text")
        self.assertEqual("ann", field.text)
        field.wait_for_state("focused")
        self.desktop.keys("End")
        self.desktop.type("@example.net")
        field.wait_for_text("ann@example.net")
        self.desktop.keys("Return")
        self.assertIn("( 1) ann@example.net", self.answer(CONFIRM, "No"))

    def test_a_test_asks_too(self):
        _, box = self.ask("Test (Forward Once)")
        self.assertEqual("ann", self.refuse(box).find(role="text").text)

    def test_escape_leaves(self):
        for button in ("Start Forwarding Email", "Test (Forward Once)"):
            with self.subTest(button):
                main, box = self.ask(button)
                box = self.refuse(box)
                self.desktop.keys("Escape")
                box.wait_gone()
                self.wait_until("the button again",
                                lambda: main.find(button, "push button").has("sensitive"))
                self.assertEqual([], [each for each in self.program.windows() if each != main])
                self.leave()
                self.assertEqual("0", self.home.preferences()["mstrFwdToAddress_num"])


class OddNames(DesktopCase):
    def test_invalid_utf8_is_shown_in_octal(self):
        self.home = Home(os.path.join(self.desktop.new_folder(), "caf\udce9"))
        self.home.write_remembered_help(self.help_file)
        self.start()
        other = self.run_program({"DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"})
        words = " ".join(each.name for each in other.window("Relaybird").find_all(role="label"))
        self.assertIn("caf\\351/Maildir is in use by relaybird", " ".join(words.split()))
        self.desktop.keys("Return")
        self.assertEqual(1, other.wait())
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
