# SPDX-License-Identifier: MIT
"""The end of the program by the user, by signals and without a bus; its standard streams."""

import os
import pathlib
import signal

import desktop_case
from desktop_case import ADDRESS, MAIN, DesktopCase
from driver import wait_for

CONFIRM = "Please Confirm:"


class Ending(DesktopCase):
    def start_running(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        return main

    def assert_ended(self):
        self.assertEqual(0, self.program.wait(), self.program.output())

    def test_the_menu_ends_it_while_forwarding_is_on(self):
        self.start_running()
        self.leave()

    def test_the_exit_button_ends_it(self):
        self.start().find("Exit", "push button").click()
        self.assert_ended()

    def test_the_close_box_ends_it(self):
        self.start().close()
        self.assert_ended()

    def test_the_signals_that_ask_for_an_end_end_it_while_forwarding_is_on(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number.name):
                self.start_running()
                self.program.process.send_signal(number)
                self.assert_ended()

    def test_a_termination_ends_it_with_a_question_on_the_screen(self):
        self.start().choose("File", "Start")
        self.program.window(CONFIRM)
        self.program.terminate()
        self.assert_ended()
        self.assertEqual([], self.home.forwards())


class EndingInABox(DesktopCase):
    """A box is answered and SIGTERM arrives at the same time."""

    def terminate_at(self, box, button):
        """Stops the program, so that the click and the signal arrive together."""
        point = box.find(button, "push button").point()
        with self.program.held():
            self.desktop.click(point)
            self.program.terminate()
        self.assertEqual(0, self.program.wait(), self.program.output())

    def test_an_accepted_explanation_and_a_termination_end_it(self):
        self.start().find("Test (Forward Once)").click()
        self.terminate_at(self.program.window("Test Explanation:"), "OK")
        self.assertEqual([], self.home.forwards())

    def test_a_refused_address_and_a_termination_end_it(self):
        self.start(mstrFwdToAddress_num=0).choose("File", "Start")
        box = self.program.window("Invalid Email Address")
        box.find(role="text").enter("ann")
        self.terminate_at(box, "OK")

    def test_a_box_over_the_settings_closes_with_them(self):
        self.start(mdblFwdToFrequency=7)
        settings = self.open_settings("General")
        settings.find("How often to forward mail (minutes):", "text").enter("0")
        settings.find("OK", "push button").click()
        self.program.window("Relaybird")
        self.program.terminate()
        self.assertEqual(0, self.program.wait(), self.program.output())
        self.assertEqual("7", self.home.preferences()["mdblFwdToFrequency"])


class WithoutBus(DesktopCase):
    """Without the session bus there is no accessibility tree; keys and xdotool still work."""

    def has_settings(self):
        return self.desktop.xdotool("search", "--onlyvisible", "--name", "^Settings$").strip()

    def test_the_end_of_the_sessions_bus_is_not_the_programs(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        self.desktop.end_bus()
        self.desktop.keys("alt+g")
        wait_for("the settings", self.has_settings)
        self.assertTrue(self.program.running(), self.program.output())
        self.program.terminate()
        self.assertEqual(0, self.program.wait(), self.program.output())


class StandardStreams(DesktopCase):
    def test_closed_streams_are_replaced_by_the_null_device(self):
        self.home.deliver("Dinner at eight")
        self.home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1=ADDRESS,
                                    mbolFwdUponStart=True)
        self.program = self.desktop.run(
            ["bash", "-c", 'exec "$0" <&- >&- 2>&-', self.program_file], self.home)
        main = self.program.window(MAIN)
        main.choose("File", "Start")
        self.answer(CONFIRM, "Yes")
        main.find("Number Forwarded:", "text").wait_for_text("1")
        self.open_log()
        folder = pathlib.Path("/proc", str(self.program.process.pid), "fd")
        self.assertEqual(["/dev/null"] * 3,
                         [os.readlink(folder / str(number)) for number in range(3)])
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
