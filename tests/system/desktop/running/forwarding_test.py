# SPDX-License-Identifier: MIT
"""Forwarding: switching on and off, the test cycle, and stopping during a pass."""

import re

import desktop_case
from desktop_case import ADDRESS, DesktopCase

CONFIRM = "Please Confirm:"
COMPLETED = "Completed check of inbox"


class SwitchingOn(DesktopCase):
    def test_a_confirmed_start_forwards_the_unread_messages(self):
        self.home.deliver("Dinner at eight")
        main = self.start(mbolFwdUponStart=True)
        main.find("Start Forwarding Email", "push button").click()
        self.assertIn(f"( 1) {ADDRESS}", self.answer(CONFIRM, "Yes"))
        self.wait_until("one forward", lambda: len(self.home.forwards()) == 1)
        (forward,) = self.home.forwards()
        self.assertEqual(ADDRESS, forward["To"])
        self.assertIn("Dinner at eight", forward["Subject"])
        main.find("Number Forwarded:", "text").wait_for_text("1")
        main.find("Automation Status:", "text").wait_for_text("Running")
        self.leave()

    def test_the_window_answers_while_a_check_pauses(self):
        main = self.start(mbolFwdUponStart=True)
        # On a busy machine the click may come after the pause, so there are five tries.
        self.assertTrue(any(self.opens_log_in_pause(main) for _ in range(5)))
        self.leave()

    def opens_log_in_pause(self, main):
        """Runs a check, and returns whether the log opened during its pause."""
        self.home.deliver("Dinner at eight")
        view_log = main.find("View Log ", "push button")
        progress = main.find("Progress", hidden=True)
        main.choose("File", "Start")
        self.answer(CONFIRM, "Yes")
        action = self.wait_until("the pause", lambda: next(
            (label for label in main.find_all(role="label") if label.name == COMPLETED), None))
        view_log.click()
        log = self.program.window("Activity Log")
        in_pause = action.name == COMPLETED and progress.has("showing")
        log.find("Close", "push button").click()
        log.wait_gone()
        main.find("Stop Forwarding Email", "push button").click()
        main.find("Automation Status:", "text").wait_for_text("Stopped")
        return in_pause

    def test_input_that_may_open_a_box_waits_for_the_end_of_the_check(self):
        self.home.deliver("Dinner at eight")
        main = self.start(mbolFwdUponStart=True)
        tray = main.find("Minimize to System Tray", "push button")
        progress = main.find("Progress", hidden=True)
        main.choose("File", "Start")
        self.answer(CONFIRM, "Yes")
        action = self.wait_until("the pause", lambda: next(
            (label for label in main.find_all(role="label") if label.name == COMPLETED), None))
        tray.click()
        self.program.window("Minimize to System Tray")
        self.assertFalse(action.name == COMPLETED and progress.has("showing"))
        self.wait_until("the end of the synchronisation", lambda: not progress.is_showing())
        self.answer("Minimize to System Tray", "No")
        self.leave()

    def test_a_start_that_is_not_confirmed_leaves_it_stopped(self):
        self.home.deliver("Stays here")
        main = self.start(mbolFwdUponStart=True)
        main.choose("File", "Start")
        self.answer(CONFIRM, "No")
        self.assertEqual("Stopped", main.find("Automation Status:", "text").text)
        self.assertTrue(main.find("Start Forwarding Email").has("sensitive"))
        self.leave()
        self.assertEqual([], self.home.forwards())

    def test_stop_takes_back_what_start_showed(self):
        main = self.start()
        main.choose("File", "Start")
        self.answer(CONFIRM, "Yes")
        main.find("Automation Status:", "text").wait_for_text("Running")
        main.find("Minutes to Next Check:", "text").wait_for_text("15")
        self.assertNotEqual("-", main.find("Running Since:", "text").text)
        self.assertFalse(main.find("Start Forwarding Email").has("sensitive"))
        main.find("Stop Forwarding Email").click()
        main.find("Automation Status:", "text").wait_for_text("Stopped")
        self.assertEqual("-", main.find("Running Since:", "text").text)
        self.assertEqual("--", main.find("Minutes to Next Check:", "text").text)
        self.assertFalse(main.find("Stop Forwarding Email").has("sensitive"))

    def test_an_address_is_asked_for_until_it_is_valid(self):
        main = self.start(mstrFwdToAddress_num=0)
        main.choose("File", "Start")
        box = self.program.window("Invalid Email Address")
        box.find(role="text").enter("ann")
        box.find("OK").click()
        self.wait_until("the question again", lambda: any(
            label.name.startswith("ann is not a valid Email address.")
            for window in self.program.windows() for label in window.find_all(role="label")))
        box = self.program.window("Invalid Email Address")
        box.find(role="text").enter(ADDRESS)
        box.find("OK").click()
        self.assertIn(f"( 1) {ADDRESS}", self.answer(CONFIRM, "No"))
        self.assertEqual(ADDRESS, self.home.preferences()["mstrFwdToAddress_1"])

    def test_it_starts_by_itself_without_a_question_when_it_is_set_to(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        self.assertFalse(self.program.has_window(CONFIRM))


class TestCycle(DesktopCase):
    def test_it_forwards_once_and_says_what_it_did(self):
        self.home.deliver("For the test")
        main = self.start()
        main.find("Test (Forward Once)").click()
        self.assertIn("one cycle", self.answer("Test Explanation:", "OK"))
        self.assertIn("forward your messages once", self.answer(CONFIRM, "Yes"))
        words = self.answer("Test Complete", "OK")
        self.assertIn("1 unread message was looked at and 1 was forwarded.", words)
        self.assertEqual(["For the test"],
                         [each["Subject"].split(": ")[-1] for each in self.home.forwards()])
        self.assertEqual("Stopped", main.find("Automation Status:", "text").text)
        self.wait_until("the button again", lambda: main.find("Test (Forward Once)").has("sensitive"))

    def test_it_can_be_cancelled(self):
        self.home.deliver("Not yet")
        main = self.start()
        main.find("Test (Forward Once)").click()
        self.answer("Test Explanation:", "Cancel")
        self.wait_until("the button again", lambda: main.find("Test (Forward Once)").has("sensitive"))
        self.leave()
        self.assertEqual([], self.home.forwards())


class LongPass(DesktopCase):
    """So many messages that the pass still runs while the test examines it."""

    MESSAGES = 1500

    def start_full(self):
        for number in range(self.MESSAGES):
            self.home.deliver(f"Message {number}")
        return self.start(mbolFwdUponStart=True, mlngMaxToForward=2 * self.MESSAGES)

    def start_pass(self):
        """Starts a pass, and returns while it runs."""
        main = self.start_full()
        self.exit = main.find("Exit", "push button").point()
        self.stop = main.find("Stop Forwarding Email").point()
        self.gauge = main.find("Progress", hidden=True)
        self.action = main.find("Current Status - Automatic forwarding turned off", "label")
        main.choose("File", "Start")
        self.answer(CONFIRM, "Yes")
        self.wait_until("the pass to forward", self.home.forwards)
        return main


class EndingInAPass(LongPass):
    def assert_ended_in_the_midst(self):
        self.assertEqual(0, self.program.wait(), self.program.output())
        self.assertLess(len(self.home.forwards()), self.MESSAGES)

    def test_the_exit_button_ends_it_after_the_message_in_hand(self):
        self.start_pass()
        with self.program.held():
            self.desktop.click(self.exit)
        self.assert_ended_in_the_midst()

    def test_a_termination_ends_it_after_the_message_in_hand(self):
        self.start_pass()
        self.program.terminate()
        self.assert_ended_in_the_midst()

    def test_a_termination_ends_a_test_without_the_box_about_it(self):
        self.start_full().find("Test (Forward Once)").click()
        self.answer("Test Explanation:", "OK")
        self.answer(CONFIRM, "Yes")
        self.wait_until("the test to forward", self.home.forwards)
        self.program.terminate()
        self.assert_ended_in_the_midst()

    def test_stop_ends_the_pass_and_not_the_program(self):
        main = self.start_pass()
        with self.program.held():
            self.desktop.click(self.stop)
        main.find("Automation Status:", "text").wait_for_text("Stopped")
        self.wait_until("the end of the pass", lambda: "turned off" in main.tree())
        self.leave()
        self.assertLess(len(self.home.forwards()), self.MESSAGES)


class Progress(LongPass):
    def item(self):
        """The number of the current item in the status line."""
        words = self.action.name
        found = re.fullmatch(r"Checking unread item (\d+) of (\d+)", words)
        self.assertTrue(found, words)
        self.assertEqual(str(self.MESSAGES), found[2])
        return int(found[1])

    def checked(self):
        """The number of completed items that the gauge shows."""
        return round(self.gauge.value * self.MESSAGES)

    def test_the_gauge_and_the_status_line_advance(self):
        self.start_pass()
        begun = self.wait_until("the gauge to leave its beginning", self.checked)
        self.assertTrue(self.gauge.is_showing())
        self.wait_until("the gauge to go on", lambda: self.checked() > begun)
        # The status line counts the current item, the gauge the completed ones.
        before, done, after = self.item(), self.checked(), self.item()
        self.assertIn(done, range(before - 1, after))
        self.wait_until("the status line to go on", lambda: self.item() > after)
        self.desktop.click(self.stop)
        self.wait_until("the gauge to go", lambda: not self.gauge.is_showing())


if __name__ == "__main__":
    desktop_case.main()
