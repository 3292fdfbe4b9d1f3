# SPDX-License-Identifier: MIT
"""The log window: what it lists reaches the clipboard, it follows the newest line, and the hidden
switch for verbose lines appears by its keys."""

import sys

import desktop_case
from desktop_case import DesktopCase
from driver import clipboard_keeper

VERBOSE = "Verbose log"
MANY = 120


class LogCase(DesktopCase):
    def copied(self, log):
        """What the copy button puts on the clipboard, as lines without their ends."""
        self.desktop.clear_clipboard()
        log.find("Copy to Clipboard", "push button").click()
        text = self.wait_until("the clipboard", self.desktop.clipboard)
        self.assertTrue(text.endswith("\r\n"), repr(text))
        return text.split("\r\n")[:-1]

    def copied_by_keys(self):
        self.desktop.clear_clipboard()
        self.desktop.keys("ctrl+c")
        text = self.wait_until("the clipboard", self.desktop.clipboard)
        return text.split("\r\n")[:-1]

    def switch_on_and_off(self, main, times=1):
        """Writes two lines into the log each time."""
        for _ in range(times):
            main.choose("File", "Start")
            self.answer("Please Confirm:", "Yes")
            main.find("Automation Status:", "text").wait_for_text("Running")
            main.choose("File", "Stop")
            main.find("Automation Status:", "text").wait_for_text("Stopped")

    def lines(self, log):
        return log.find("Activity Log", "list")

    def click_line(self, log, from_top=None, from_bottom=None, button=1):
        """Clicks into the list, some pixels below its top or above its bottom."""
        left, top, _, height = self.lines(log).extents
        y = top + from_top if from_top is not None else top + height - from_bottom
        self.desktop.click((left + 20, y), button)


class Copying(LogCase):
    def test_all_lines_are_copied_where_none_is_selected(self):
        main = self.start()
        self.switch_on_and_off(main)
        lines = self.copied(self.open_log())
        self.assertEqual(3, len(lines))
        self.assertRegex(lines[0], r"^--- Forwarding turned ON at \S+ \S+ ---$")
        self.assertIn("outbox", lines[1])  # nothing else takes the forwards
        self.assertRegex(lines[2], r"^--- Forwarding turned OFF at \S+ \S+ ---$")

    def test_only_selected_lines_are_copied_where_some_are(self):
        main = self.start()
        self.switch_on_and_off(main, times=2)
        log = self.open_log()
        everything = self.copied(log)
        self.click_line(log, from_top=5)
        self.assertEqual(everything[:1], self.copied(log))
        self.desktop.keys("shift+Tab")  # from the button back to the lines
        self.wait_until("the lines to have the keys", lambda: self.lines(log).has("focused"))
        self.desktop.keys("shift+Down")
        self.assertEqual(everything[:2], self.copied(log))
        self.desktop.keys("shift+Tab", "shift+End")
        self.assertEqual(everything, self.copied(log))
        self.click_line(log, from_top=5)
        self.assertEqual(everything[:1], self.copied(log))
        self.desktop.keys("shift+Tab", "ctrl+a")
        self.assertEqual(everything, self.copied(log))

    def test_the_keys_copy_the_selected_lines(self):
        main = self.start()
        self.switch_on_and_off(main, times=2)
        log = self.open_log()
        everything = self.copied_by_keys()
        self.assertEqual(6, len(everything))
        self.click_line(log, from_top=5)
        self.wait_until("the lines to have the keys", lambda: self.lines(log).has("focused"))
        self.assertEqual(everything[:1], self.copied_by_keys())
        self.desktop.keys("shift+Down")
        self.assertEqual(everything[:2], self.copied_by_keys())


class Leaving(LogCase):
    def keep_clipboard(self, late=0):
        """Has a clipboard manager on the desktop, as most have one; perhaps one that is late."""
        keeper = self.desktop.run([sys.executable, clipboard_keeper.__file__, str(late)], self.home)
        self.wait_until("the clipboard manager", lambda: "ready" in keeper.output())

    def test_what_was_copied_outlives_the_program(self):
        self.keep_clipboard()
        main = self.start()
        self.switch_on_and_off(main)
        lines = self.copied(self.open_log())
        self.leave()
        self.assertEqual("\r\n".join([*lines, ""]), self.desktop.clipboard())

    def test_copies_beside_a_manager_that_is_late_do_not_keep_the_program_from_its_end(self):
        self.keep_clipboard(late=1)
        main = self.start()
        self.switch_on_and_off(main)
        lines = self.copied(self.open_log())
        self.desktop.keys("ctrl+c", "ctrl+c", "ctrl+c")
        self.leave()
        self.assertEqual("\r\n".join([*lines, ""]), self.desktop.clipboard())

    def test_what_was_copied_elsewhere_since_then_is_not_touched(self):
        self.start()
        log = self.open_log()
        self.desktop.set_clipboard("before")
        log.find("Copy to Clipboard", "push button").click()
        self.wait_until("the program to have the clipboard",
                        lambda: self.desktop.clipboard() != "before")
        self.desktop.set_clipboard("copied elsewhere")
        self.leave()
        self.assertEqual("copied elsewhere", self.desktop.clipboard())

    def test_the_program_ends_while_the_lines_have_the_keys(self):
        main = self.start()
        self.switch_on_and_off(main)
        log = self.open_log()
        self.click_line(log, from_top=5)
        self.wait_until("the lines to have the keys", lambda: self.lines(log).has("focused"))
        main.choose("File", "Exit")
        self.assertEqual(0, self.program.wait(), self.program.output())


class ManyLines(LogCase):
    def open_long_log(self):
        """Answers the log with a line for each of many messages, and the main window."""
        for number in range(MANY):
            self.home.deliver(f"Message {number}")
        main = self.start(mbolFwdUponStart=True)
        self.show_verbose(main)
        main.activate()
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.find("Number Forwarded:", "text").wait_for_text(str(MANY))
        # The window answers while a check pauses at its end, and lines follow the pause.
        self.wait_until("the check to be over",
                        lambda: "Currently Idle" in main.tree())
        return self.open_log(), main

    def line_at_top(self, log):
        self.click_line(log, from_top=5)
        (line,) = self.copied(log)
        return line

    def test_it_shows_the_newest_of_them(self):
        log, _ = self.open_long_log()
        everything = self.copied(log)
        self.assertGreater(len(everything), MANY)
        # Above the scroll bar that a long line brings along.
        self.click_line(log, from_bottom=30)
        (line,) = self.copied(log)
        self.assertIn(line, everything[-3:])

    def test_a_new_line_leaves_alone_who_reads_above(self):
        log, main = self.open_long_log()
        everything = self.copied(log)
        for _ in range(5):
            self.click_line(log, from_top=50, button=4)  # the wheel
        before = self.line_at_top(log)
        self.assertIn(before, everything[1:-20])
        main.choose("File", "Stop")
        main.find("Automation Status:", "text").wait_for_text("Stopped")
        log.activate()
        self.assertEqual(before, self.line_at_top(log))
        self.click_line(log, from_top=5)
        self.desktop.keys("ctrl+a")
        self.assertEqual(len(everything) + 1, len(self.copied(log)))

    def test_a_letter_seeks_no_line(self):
        log, main = self.open_long_log()
        # There is one that begins with it.
        main.choose("File", "Stop")
        main.find("Automation Status:", "text").wait_for_text("Stopped")
        log.activate()
        self.click_line(log, from_top=5)
        before = self.copied_by_keys()
        self.assertFalse(before[0].startswith("-"), before)
        self.desktop.type("---")
        self.assertEqual(before, self.copied_by_keys())

    def show_verbose(self, main):
        main.find("View Log ").click()
        log = self.program.window("Activity Log")
        Verbose.reveal(self, log)
        log.find(VERBOSE, "check box").click()
        log.find(VERBOSE, "check box").wait_for_state("checked")
        log.find("Close").click()
        log.wait_gone()


class Verbose(LogCase):
    def reveal(self, log):
        self.assertEqual([], log.find_all(VERBOSE))
        self.click_line(log, from_top=5)
        self.wait_until("the lines to have the keys", lambda: self.lines(log).has("focused"))
        self.desktop.keys("ctrl+shift+alt+v")
        log.find(VERBOSE, "check box")

    def test_the_switch_appears_by_its_keys_and_adds_verbose_lines(self):
        main = self.start()
        log = self.open_log()
        self.reveal(log)
        log.find(VERBOSE, "check box").click()
        log.find(VERBOSE, "check box").wait_for_state("checked")
        main.activate()
        main.find("Test (Forward Once)").click()
        self.answer("Test Explanation:", "Cancel")
        log.activate()
        lines = self.copied(log)
        self.assertRegex(lines[0], r"^\S+ \S+ \[v\]-->CmdForwardNow Entered$")
        self.assertRegex(lines[-1], r"^\S+ \S+ \[v\]-->CmdForwardNow Cancelled$")

    def test_without_it_no_verbose_line_is_listed(self):
        main = self.start()
        main.find("Test (Forward Once)").click()
        self.answer("Test Explanation:", "Cancel")
        self.switch_on_and_off(main)
        self.assertEqual([], [line for line in self.copied(self.open_log()) if "[v]" in line])


class Closing(LogCase):
    def test_escape_closes_it_and_its_lines_stay(self):
        main = self.start()
        self.switch_on_and_off(main)
        log = self.open_log()
        before = self.copied(log)
        self.desktop.keys("Escape")
        log.wait_gone()
        self.assertEqual(before, self.copied(self.open_log()))

    def test_its_close_box_hides_it(self):
        self.start()
        log = self.open_log()
        log.close()
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
