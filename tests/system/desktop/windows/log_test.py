# SPDX-License-Identifier: MIT
"""The log window: copying, saving and finding lines, following the newest line, and the hidden check
box for verbose lines."""

import sys

import desktop_case
from desktop_case import DesktopCase
from driver import clipboard_keeper

VERBOSE = "Verbose log"
MANY = 120


class LogCase(DesktopCase):
    def copied(self, log):
        """The lines that the copy button puts on the clipboard."""
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
        """Switches forwarding on and off; each time adds two lines to the log."""
        for _ in range(times):
            main.choose("File", "Start")
            self.answer("Please Confirm:", "Yes")
            main.find("Automation Status:", "text").wait_for_text("Running")
            main.choose("File", "Stop")
            main.find("Automation Status:", "text").wait_for_text("Stopped")

    def lines(self, log):
        return log.find("Activity Log", "list")

    def click_line(self, log, from_top=None, from_bottom=None, button=1):
        """Clicks in the list, some pixels below its top or above its bottom."""
        left, top, _, height = self.lines(log).extents
        y = top + from_top if from_top is not None else top + height - from_bottom
        self.desktop.click((left + 20, y), button)


class Copying(LogCase):
    def test_all_lines_are_copied_if_none_is_selected(self):
        main = self.start()
        self.switch_on_and_off(main)
        lines = self.copied(self.open_log())
        self.assertEqual(3, len(lines))
        self.assertRegex(lines[0], r"^--- Forwarding turned ON at \S+ \S+ ---$")
        self.assertIn("outbox", lines[1])  # nothing else takes the forwards
        self.assertRegex(lines[2], r"^--- Forwarding turned OFF at \S+ \S+ ---$")

    def test_only_selected_lines_are_copied_if_some_are(self):
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
        """Starts a clipboard manager, which takes the text over after `late` seconds."""
        keeper = self.desktop.run([sys.executable, clipboard_keeper.__file__, str(late)], self.home)
        self.wait_until("the clipboard manager", lambda: "ready" in keeper.output())

    def test_the_copied_text_outlives_the_program(self):
        self.keep_clipboard()
        main = self.start()
        self.switch_on_and_off(main)
        lines = self.copied(self.open_log())
        self.leave()
        self.assertEqual("\r\n".join([*lines, ""]), self.desktop.clipboard())

    def test_a_slow_clipboard_manager_does_not_keep_the_program_from_ending(self):
        self.keep_clipboard(late=1)
        main = self.start()
        self.switch_on_and_off(main)
        lines = self.copied(self.open_log())
        self.desktop.keys("ctrl+c", "ctrl+c", "ctrl+c")
        self.leave()
        self.assertEqual("\r\n".join([*lines, ""]), self.desktop.clipboard())

    def test_a_later_copy_of_another_program_is_kept(self):
        self.start()
        log = self.open_log()
        self.desktop.set_clipboard("before")
        log.find("Copy to Clipboard", "push button").click()
        self.wait_until("the program to have the clipboard",
                        lambda: self.desktop.clipboard() != "before")
        self.desktop.set_clipboard("copied elsewhere")
        self.leave()
        self.assertEqual("copied elsewhere", self.desktop.clipboard())

    def test_the_program_ends_while_the_lines_have_the_focus(self):
        main = self.start()
        self.switch_on_and_off(main)
        log = self.open_log()
        self.click_line(log, from_top=5)
        self.wait_until("the lines to have the keys", lambda: self.lines(log).has("focused"))
        main.choose("File", "Exit")
        self.assertEqual(0, self.program.wait(), self.program.output())


class ManyLines(LogCase):
    def open_long_log(self):
        """Returns the log, with one line for each of many messages, and the main window."""
        for number in range(MANY):
            self.home.deliver(f"Message {number}")
        main = self.start(mbolFwdUponStart=True)
        self.show_verbose(main)
        main.activate()
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.find("Number Forwarded:", "text").wait_for_text(str(MANY))
        # The window responds during the pause of a check, and more lines follow the pause.
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
        # Above the horizontal scroll bar, which a long line causes.
        self.click_line(log, from_bottom=30)
        (line,) = self.copied(log)
        self.assertIn(line, everything[-3:])

    def test_a_new_line_does_not_scroll_a_list_that_is_not_at_its_end(self):
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

    def test_a_letter_does_not_search_for_a_line(self):
        log, main = self.open_long_log()
        # One line begins with that letter.
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


class Finding(LogCase):
    def open_log_of(self, times):
        main = self.start()
        self.switch_on_and_off(main, times)
        return self.open_log()

    def seek(self, log, words):
        self.desktop.keys("ctrl+f")
        field = log.find("Find:", "text")
        field.wait_for_state("focused")
        self.desktop.type(words)
        field.wait_for_text(words)
        return field

    def test_typed_text_is_found_shown_and_selected(self):
        log = self.open_log_of(times=2)
        everything = self.copied(log)
        field = self.seek(log, "turned off")
        log.find("Line 3 of 6", "label")
        self.wait_until("the description", lambda: field.description == "Line 3 of 6")
        self.assertEqual(everything[2:3], self.copied(log))

    def test_the_keys_go_from_hit_to_hit(self):
        log = self.open_log_of(times=2)
        everything = self.copied(log)
        self.seek(log, "OFF")
        for key, hit in (("Return", "Line 6 of 6"), ("F3", "Line 3 of 6, from the top again"),
                         ("shift+Return", "Line 6 of 6, from the end again"),
                         ("shift+F3", "Line 3 of 6"), ("alt+n", "Line 6 of 6")):
            self.desktop.keys(key)
            log.find(hit, "label")
        self.assertEqual(everything[5:], self.copied(log))

    def test_no_hit_is_reported_and_escape_leaves_the_field_first(self):
        log = self.open_log_of(times=1)
        field = self.seek(log, "zebra")
        log.find("Nothing found", "label")
        self.desktop.keys("Escape")
        field.wait_for_text("")
        self.lines(log).wait_for_state("focused")
        self.assertTrue(log.is_showing())
        self.desktop.keys("Escape")
        log.wait_gone()

    def test_the_keys_that_copy_leave_the_field_its_own_text(self):
        log = self.open_log_of(times=1)
        self.seek(log, "zebra")
        self.desktop.keys("ctrl+a", "ctrl+c")
        self.wait_until("the clipboard", lambda: self.desktop.clipboard() == "zebra")


class Menu(LogCase):
    def pick(self, key):
        self.desktop.clear_clipboard()
        self.desktop.keys(key)
        return self.wait_until("the clipboard", self.desktop.clipboard).split("\r\n")[:-1]

    def test_it_opens_by_a_click_and_by_both_keys(self):
        main = self.start()
        self.switch_on_and_off(main)
        log = self.open_log()
        everything = self.copied(log)
        self.click_line(log, from_top=5, button=3)
        self.assertEqual(everything[:1], self.pick("c"))
        self.wait_until("the lines to have the keys", lambda: self.lines(log).has("focused"))
        for key in ("Menu", "shift+F10"):
            self.desktop.keys(key)
            self.assertEqual(everything, self.pick("a"))
        self.leave()


class Saving(LogCase):
    CHOOSER = "Save the Activity Log"

    def choose(self, path):
        chooser = self.program.window(self.CHOOSER)
        self.desktop.keys("ctrl+a")
        self.desktop.type(str(path))
        self.wait_until("the path", lambda: any(
            each.text == str(path) for each in chooser.find_all(role="text")))
        # Keys and a click may go to the list of completions.
        chooser.find("Save", "push button").press()
        chooser.wait_gone()

    def test_all_lines_are_saved_and_an_existing_file_is_asked_about(self):
        main = self.start()
        self.switch_on_and_off(main)
        log = self.open_log()
        everything = self.copied(log)
        file = self.home.folder / "my.txt"
        self.desktop.keys("ctrl+s")
        self.choose(file)
        self.wait_until("the file", file.exists)
        self.assertEqual(everything, file.read_text(encoding="utf-8").splitlines())
        file.write_text("mine", encoding="utf-8")
        log.find("Save As...", "push button").click()
        self.choose(file)
        self.assertIn("Do you want to replace it?", self.answer(self.CHOOSER, "No"))
        self.assertEqual("mine", file.read_text(encoding="utf-8"))
        self.leave()

    def test_a_file_that_cannot_be_written_is_reported(self):
        self.start()
        log = self.open_log()
        log.find("Save As...", "push button").click()
        self.choose("/proc/relaybird.txt")
        self.assertIn("The log could not be saved as /proc/relaybird.txt.",
                      self.answer("Error", "OK"))
        self.leave()


class LongLines(LogCase):
    def test_a_line_wider_than_the_window_has_a_tool_tip(self):
        self.home.deliver("a subject of many words, " * 20)
        main = self.start(mbolFwdUponStart=True)
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.find("Number Forwarded:", "text").wait_for_text("1")
        self.wait_until("the check to be over", lambda: "Currently Idle" in main.tree())
        log = self.open_log()
        self.desktop.keys("ctrl+f")
        self.desktop.type("many words")
        found = self.wait_until("the line to be selected", lambda: self.selected_row(log))
        self.point_at(log, found)
        self.wait_until("the whole line", lambda: self.has_tool_tip(log))
        self.point_at(log, 0)
        self.wait_until("it to go", lambda: not self.has_tool_tip(log))

    def selected_row(self, log):
        """The distance of the selected line from the top of the list."""
        left, top, _, height = self.lines(log).extents
        rows = self.desktop.pixels((left + 3, top, 1, height - 20))
        return next((y for y, ((red, _, blue),) in enumerate(rows) if blue > red + 60), None)

    def point_at(self, log, row):
        """Moves the pointer to a line, and a little further on it."""
        left, top, _, _ = self.lines(log).extents
        for x in (24, 25):
            self.desktop.xdotool("mousemove", "--sync", left + x, top + row + 6)

    def has_tool_tip(self, log):
        """Whether there are dark pixels in the empty area below the lines."""
        left, top, _, height = self.lines(log).extents
        below = self.desktop.pixels((left + 4, top + height // 2, 100, 10))
        return min(sum(colour) for line in below for colour in line) < 180


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
