# SPDX-License-Identifier: MIT
"""A start while the program is already running, with the same mailbox or another one."""

import fcntl
import os

import desktop_case
from desktop_case import MAIN, DesktopCase
from driver import Home, wait_for


class SecondStart(DesktopCase):
    def second(self):
        """Starts the program again and expects it to activate the first one and end."""
        other = self.run_program()
        self.assertEqual(0, other.wait(), other.output())

    def refusal(self, other):
        """Answers the box of a program that cannot start, waits for its end, and returns the text."""
        box = other.window("Relaybird")
        words = " ".join(label.name for label in box.find_all(role="label"))
        box.find("OK", "push button").click()
        self.assertEqual(1, other.wait())
        return " ".join(words.split())

    def other_in_front(self):
        """Starts an instance with another mailbox, which does not own the bus name."""
        other = self.desktop.run([self.program_file], Home(self.desktop.new_folder()))
        other.window(MAIN)
        return other

    def test_it_hands_over_also_with_another_state_folder(self):
        main = self.start()
        self.desktop.xdotool("windowminimize", "--sync", main.window_id())
        other = self.run_program({"XDG_STATE_HOME": str(self.desktop.new_folder())})
        self.assertEqual(0, other.wait(), other.output())
        wait_for("the window to be in front", lambda: main.has("active"))
        self.leave()

    def test_it_does_not_hand_over_to_one_with_another_mailbox(self):
        self.start()
        other = self.other_in_front()
        second = self.desktop.run([self.program_file], other.home)
        self.assertIn(str(other.process.pid), self.refusal(second))
        other.terminate()
        self.assertEqual(0, other.wait())
        self.leave()

    def test_one_with_another_mailbox_does_not_wait_for_one_that_hangs(self):
        self.start()
        with self.program.held():
            other = self.desktop.run([self.program_file], Home(self.desktop.new_folder()))
            # Less than the timeout of D-Bus calls, which is 25 s.
            other.window(MAIN, timeout=20)
            other.terminate()
            self.assertEqual(0, other.wait())
        self.leave()

    def test_it_brings_a_minimised_window_back(self):
        main = self.start()
        window = main.window_id()
        self.desktop.xdotool("windowminimize", "--sync", window)
        self.second()
        wait_for("the window to be in front", lambda: main.has("active"))
        self.leave()

    def test_it_leaves_a_question_on_top(self):
        main = self.start()
        main.choose("File", "Start")
        box = self.program.window("Please Confirm:")
        other = self.other_in_front()
        wait_for("the question to be behind", lambda: not box.has("active"))
        self.second()
        wait_for("the question to be in front", lambda: box.has("active"))
        other.terminate()
        self.assertEqual(0, other.wait())
        box.find("No", "push button").click()
        self.leave()

    def test_it_brings_a_minimised_window_back_with_its_question(self):
        main = self.start()
        main.choose("File", "Start")
        box = self.program.window("Please Confirm:")
        self.desktop.xdotool("windowminimize", "--sync", main.window_id())
        wait_for("the windows to be left", lambda: not main.has("active") and not box.has("active"))
        self.second()
        wait_for("the question to be in front", lambda: box.has("active"))
        wait_for("the window to be back", lambda: main.window_id() is not None)
        box.find("No", "push button").click()
        wait_for("the window to be in front", lambda: main.has("active"))
        self.leave()

    def test_it_reports_a_first_instance_that_does_not_answer(self):
        self.start()
        with self.program.held():
            words = self.refusal(self.run_program())
        self.assertIn("It does not answer just now.", words)
        self.leave()

    def test_it_reports_a_holder_that_cannot_be_found(self):
        self.start()
        other = self.run_program({"DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"})
        self.assertIn("is in use by relaybird", self.refusal(other))
        self.leave()


class EndOfTheFirst(DesktopCase):
    """The first instance is ending or has ended."""

    def lock_folder(self):
        (folder,) = (self.home.state / "rbx" / "locks").iterdir()
        return folder.resolve()

    def has_open(self, program, folder):
        """Whether a program has that folder open, as it does while it waits for the lock."""
        opened = f"/proc/{program.process.pid}/fd"
        try:
            return any(os.readlink(os.path.join(opened, each)) == str(folder)
                       for each in os.listdir(opened))
        except OSError:
            return False  # Closed in the meantime.

    def test_a_second_start_takes_over_from_one_that_is_just_ending(self):
        self.start()
        self.leave()
        # Like an instance that has released its bus name but still holds the mailbox.
        ending = os.open(self.lock_folder(), os.O_RDONLY | os.O_DIRECTORY)
        self.addCleanup(os.close, ending)
        fcntl.flock(ending, fcntl.LOCK_EX)
        self.program = self.run_program()
        self.wait_until("it to look for the mailbox",
                        lambda: self.has_open(self.program, self.lock_folder()))
        fcntl.flock(ending, fcntl.LOCK_UN)
        self.program.window(MAIN)
        self.leave()

    def test_the_next_instance_with_another_mailbox_is_raised(self):
        self.start()
        self.leave()
        self.home = Home(self.desktop.new_folder())
        main = self.start()
        self.desktop.xdotool("windowminimize", "--sync", main.window_id())
        second = self.run_program()
        self.assertEqual(0, second.wait(), second.output())
        wait_for("the window to be in front", lambda: main.has("active"))
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
