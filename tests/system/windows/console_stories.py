#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""console_stories.py CONSOLE DOUBLE SCRATCH: what users live through with the program CONSOLE and their mail
application, under Wine. The application is the double, whose programs are in the folder DOUBLE, in processes of its
own, and its mailbox is kept in a file: what was sent and marked is read from there, and not taken from anyone's word.
The caller sets Wine's variables, and ends its server afterwards; everything else is written to the folder SCRATCH.

Prints one line when all stories have passed. Returns 1 where one failed, and 2 where Wine itself has: a program that
is no part of a story did not end or could not be registered, or a signal ended one. Then the stories have shown
nothing."""

import os
import pathlib
import signal
import struct
import subprocess
import sys
import time
import traceback
import unittest
import urllib.parse

CONSOLE = pathlib.Path(sys.argv.pop(1)).resolve()
PARTS = pathlib.Path(sys.argv.pop(1)).resolve()
SCRATCH = pathlib.Path(sys.argv.pop(1)).resolve()
DOUBLE = PARTS / "outlook_double.exe"
LIBRARY = PARTS / "outlook_double.dll"
CONTROL = PARTS / "outlook_double_control.exe"
CLOCK = pathlib.Path(__file__).resolve().parent / "shifted_clock.cpp"
PROBE = pathlib.Path(__file__).resolve().parent / "desktop_probe.cpp"
DEADLINE = 60  # seconds; a loaded machine needs some

ONE_ADDRESS = "[default]\r\nmstrFwdToAddress_num=1\r\nmstrFwdToAddress_1=cell@phone.example\r\n"


WINE = dict(os.environ)  # the variables of what Wine runs


def windows_name(path):
    return "Z:" + str(path).replace("/", "\\")


class Result(unittest.TextTestResult):
    """Knows of a failure as soon as it has happened."""

    any_failed = False

    def addError(self, test, err):
        Result.any_failed = True
        super().addError(test, err)

    def addFailure(self, test, err):
        Result.any_failed = True
        super().addFailure(test, err)


def wine_failed(how):
    """Leaves at once: what comes later would meet the same. A story that has failed before has failed."""
    traceback.print_stack()
    print(f"console_stories: {how}", flush=True)
    os._exit(1 if Result.any_failed else 2)


def not_ended(what):
    wine_failed("this did not end: " + what)


def checked(status, what):
    """The exit status of a program. The faults of a program are exit codes, because Wine handles them as Windows does;
    a signal ends a process whose handler of signals, which is Wine's own, has failed."""
    if status < 0:
        wine_failed(f"{what} was ended by the signal {signal.Signals(-status).name}")
    return status


def exit_status(process, what):
    return checked(process.wait(timeout=DEADLINE), what)


def wine(*words, output="wine.log"):
    """Runs a program to its end. To a file: what COM starts inherits the output and keeps it open."""
    try:
        with open(SCRATCH / output, "wb") as log:
            done = subprocess.run(["wine", *map(str, words)], stdin=subprocess.DEVNULL, stdout=log,
                                  stderr=subprocess.STDOUT, timeout=DEADLINE, check=False, env=WINE)
    except subprocess.TimeoutExpired:
        not_ended(" ".join(map(str, words)))
    text = (SCRATCH / output).read_text(encoding="utf-8", errors="replace").replace("\r", "")
    return checked(done.returncode, " ".join(map(str, words))), text


def start_wine(**variables):
    """Ends all that Wine runs, and starts it anew, with these variables beside those of the caller."""
    WINE.clear()
    WINE.update(os.environ, **variables)
    for option in ("--kill", "--wait", "--persistent"):
        try:
            subprocess.run(["wineserver", option], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, timeout=DEADLINE, check=False, env=WINE)
        except subprocess.TimeoutExpired:
            not_ended("wineserver " + option)


def eventually(what, condition):
    end = time.monotonic() + DEADLINE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(what + " did not come")
        time.sleep(0.1)


class ShiftedClock:
    """The clock of everything that Wine runs from now on."""

    def __init__(self):
        self.minutes = 0
        self.file = SCRATCH / "clock"
        self.file.write_bytes(bytes(8))
        library = SCRATCH / "shifted_clock.so"
        subprocess.run(["g++", "-std=c++20", "-O1", "-shared", "-fPIC", "-o", library, CLOCK], check=True)
        start_wine(LD_PRELOAD=str(library), SHIFTED_CLOCK=str(self.file))

    def forward(self, minutes):
        """Lets so many minutes pass at once."""
        self.minutes += minutes
        with open(self.file, "r+b") as file:
            file.write(struct.pack("<q", self.minutes * 60 * 1_000_000_000))


def fields(line):
    """The fields of a line of the double; those that can be there several times as lists."""
    name, *rest = line.rstrip("\n").split("\t")
    found = {"": name}
    for part in rest:
        key, value = part.split("=", 1)
        found.setdefault(key, urllib.parse.unquote(value))
    return found


class Double:
    """The mail application. COM starts it by itself where it does not run."""

    def __init__(self, folder):
        self.folder = folder
        self.kept = folder / "mailbox.txt"
        self.process = None
        status, text = wine(DOUBLE, "/regserver", windows_name(folder))
        if status != 0:
            wine_failed(f"the double cannot be registered, status {status}: {text}")

    def stay(self):
        """Starts it, to be told what to do and to stay."""
        with open(SCRATCH / "double.log", "wb") as log:
            self.process = subprocess.Popen(["wine", str(DOUBLE), "/stay", windows_name(self.folder)],
                                            stdin=subprocess.DEVNULL, stdout=log, stderr=log, env=WINE)
        # COM would start a second one while this one is still on its way.
        end = time.monotonic() + DEADLINE
        while not (self.folder / "ready").exists():
            if time.monotonic() > end or self.process.poll() is not None:
                raise RuntimeError("the double does not start")
            time.sleep(0.05)
        (self.folder / "ready").unlink()

    def tell(self, command, **values):
        """Tells a running double something; one that dies of it does not answer."""
        return wine(CONTROL, command, *(f"{key}={value}" for key, value in values.items()))[1]

    def deliver(self, *subjects):
        """Into the file: for a double that does not run."""
        now = int(time.time() * 1_000_000)
        with open(self.kept, "a", encoding="utf-8") as kept:
            for number, subject in enumerate(subjects):
                kept.write(f"deliver\tid={subject}\tunread=1\tsubject={subject}\tbody=text of {subject}"
                           f"\tsender=Bob Example\taddress=bob@example.com"
                           f"\treceived={now + number}\tmodified={now + number}\n")

    def lines(self):
        return [fields(line) for line in self.kept.read_text(encoding="utf-8").splitlines()]

    def sent(self):
        return [line["subject"] for line in self.lines() if line[""] == "sent"]

    def unread(self):
        marks = {}
        for line in self.lines():
            if line[""] in ("deliver", "mark"):
                marks[line["id"]] = line["unread"] == "1"
        return sorted(identifier for identifier, unread in marks.items() if unread)

    def state(self):
        return fields(self.tell("state").splitlines()[0])

    def end(self):
        # Also one that COM has started: the next story must not meet it.
        self.tell("die")
        if self.process is not None:
            try:
                exit_status(self.process, "the double")
            except subprocess.TimeoutExpired:
                not_ended("the double")
            self.process = None
        wine(DOUBLE, "/unregserver")


class Console:
    """The program, over pipes as a script drives it."""

    def __init__(self, name):
        self.output = SCRATCH / f"{name}.out"
        self.seen = 0
        with open(self.output, "wb") as output:
            self.process = subprocess.Popen(["wine", str(CONSOLE)], stdin=subprocess.PIPE, stdout=output,
                                            stderr=subprocess.STDOUT, env=WINE)

    def send(self, *lines):
        self.process.stdin.write("".join(line + "\n" for line in lines).encode())
        self.process.stdin.flush()

    def text(self):
        return self.output.read_text(encoding="utf-8", errors="replace").replace("\r", "")

    def expect(self, wanted):
        """Waits for the text behind what was expected before; returns what came up to there."""
        end = time.monotonic() + DEADLINE
        while True:
            text = self.text()
            place = text.find(wanted, self.seen)
            if place >= 0:
                before = text[self.seen:place + len(wanted)]
                self.seen = place + len(wanted)
                return before
            if time.monotonic() > end or self.process.poll() is not None:
                raise AssertionError(f"{wanted!r} did not come after:\n{text}")
            time.sleep(0.05)

    def start(self):
        """Switches forwarding on."""
        self.send("start")
        self.expect("box: Please Confirm:\n")
        self.send("Yes")
        self.expect("log: --- Forwarding turned ON at ")

    def fact(self, name):
        """What the status says of it."""
        self.send("status")
        self.expect(f"\n{name}: ")
        return self.expect("\n").strip()

    def test_cycle(self):
        """One test cycle with its questions answered; returns what was printed meanwhile."""
        self.send("answer OK Yes OK", "test")
        return self.expect("box: Test Complete\n")

    def quit(self):
        self.send("quit")
        self.process.stdin.close()
        return exit_status(self.process, "the program")

    def kill(self):
        if not self.process.stdin.closed:
            self.process.stdin.close()
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


def preference_file():
    users = pathlib.Path(os.environ["WINEPREFIX"]) / "drive_c/users"
    for user in users.iterdir():
        data = user / "AppData/Roaming"
        if user.name != "Public" and data.is_dir():
            return data / "rbx/rbx_prefs.ini"
    raise RuntimeError("the prefix has no user")


class Story(unittest.TestCase):
    def setUp(self):
        name = self.id().split(".")[-1]
        folder = SCRATCH / name
        folder.mkdir(parents=True)
        self.preferences(ONE_ADDRESS)
        self.double = Double(folder)
        self.addCleanup(self.double.end)
        self.name = name

    def preferences(self, text):
        file = preference_file()
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, newline="")

    def start(self):
        console = Console(self.name)
        self.addCleanup(console.kill)
        return console


class Stories(Story):
    @classmethod
    def setUpClass(cls):
        # One that another test has left would answer in place of this one's.
        folder = SCRATCH / "before"
        folder.mkdir()
        Double(folder).end()

    def test_started_it_forwards_what_waits_and_stops(self):
        self.preferences(ONE_ADDRESS + "mbolFwdUponStart=1\r\n")
        self.double.deliver("one", "two", "three")
        console = self.start()
        console.start()
        console.expect("log: Completed Email Check at ")
        console.send("wait idle 60", "status")
        self.assertIn("automation: Running\n", console.expect("number-forwarded: 3\n"))
        console.send("stop")
        console.expect("log: --- Forwarding turned OFF at ")
        self.assertEqual(console.quit(), 0)
        self.assertEqual(sorted(self.double.sent()), ["FW: one", "FW: three", "FW: two"])
        self.assertEqual(self.double.unread(), [])

    def test_a_check_of_an_open_application_has_it_send_what_was_forwarded(self):
        self.double.stay()
        self.double.tell("deliver", subject="one", id="one", address="bob@example.com")
        console = self.start()
        console.test_cycle()
        console.send("wait idle 60", "status")
        console.expect("number-forwarded: ")
        state = self.double.state()
        self.assertEqual(state["running"], "0")
        self.assertEqual(state["starts"], "1")
        self.assertGreaterEqual(int(state["deliveries"]), 1)
        self.assertEqual(console.quit(), 0)
        self.assertEqual(self.double.sent(), ["FW: one"])

    def test_an_application_that_ends_in_the_middle_of_a_send_is_started_again(self):
        self.double.stay()
        for subject in ("one", "two", "three"):
            self.double.tell("deliver", subject=subject, id=subject, address="bob@example.com")
        self.double.tell("die", call="SafeItem.Send", skip=1)
        console = self.start()
        console.test_cycle()
        self.assertEqual(len(self.double.sent()), 1)
        self.assertEqual(exit_status(self.double.process, "the double"), 3)
        self.double.process = None
        console.test_cycle()
        console.send("wait idle 60")
        self.assertEqual(console.quit(), 0)
        self.assertEqual(sorted(self.double.sent()), ["FW: one", "FW: three", "FW: two"])

    def test_an_application_that_was_closed_between_two_checks_is_started_again(self):
        self.double.stay()
        self.double.tell("deliver", subject="one", id="one", address="bob@example.com")
        console = self.start()
        console.test_cycle()
        console.send("wait idle 60")
        self.double.tell("die")
        exit_status(self.double.process, "the double")
        self.double.process = None
        self.double.deliver("two")
        self.assertIn("forwarded two at ", console.test_cycle())
        self.assertEqual(console.quit(), 0)
        self.assertEqual(self.double.sent(), ["FW: one", "FW: two"])

    def test_an_application_that_is_busy_for_a_moment_is_waited_for(self):
        self.double.stay()
        self.double.tell("deliver", subject="one", id="one", address="bob@example.com")
        self.double.tell("return", call="Items.Restrict", code="8001010A", times=3)
        console = self.start()
        console.test_cycle()
        self.assertEqual(console.quit(), 0)
        self.assertEqual(self.double.sent(), ["FW: one"])

    def test_without_the_library_the_user_is_told_what_to_install(self):
        # By a double that runs: one that COM starts registers all its components again.
        self.double.stay()
        self.double.tell("deliver", subject="one", id="one", address="bob@example.com")
        for name in ("redemption.SafeMailItem", "Redemption.MAPIUtils"):
            self.double.tell("missing", component=name)
        console = self.start()
        console.send("answer OK OK Yes OK OK", "test", "wait idle 60", "log 50")
        console.expect("Install the 64-bit version of Redemption")
        console.expect("Tried but failed to forward one at ")
        console.expect("It is not installed on this computer (redemption.SafeMailItem, error 80040154)")
        self.assertEqual(console.quit(), 0)
        self.assertEqual(self.double.sent(), [])

    def test_without_an_application_the_user_is_told_which_one_is_needed(self):
        wine(DOUBLE, "/unregserver")
        console = self.start()
        console.send("answer OK OK Yes OK OK", "test", "wait idle 60", "log 50")
        console.expect("No Outlook was found that other programs can use.")
        console.expect("please verify that MS-Outlook is installed and configured correctly on this PC")
        self.assertEqual(console.quit(), 0)


class StoriesOfTheLibrary(Story):
    """The safe-item library is loaded into the program, and the application is not, as on a user's computer."""

    def setUp(self):
        super().setUp()
        status, text = wine("regsvr32", "/s", "/n", "/i", windows_name(LIBRARY))
        self.assertEqual(status, 0, text)
        self.double.stay()
        for subject in ("one", "two", "three"):
            self.double.tell("deliver", subject=subject, id=subject, body="text of " + subject, file="a.txt:abc",
                             sender="Bob", address="bob@example.com")

    def test_forwards_leave_through_the_loaded_library(self):
        console = self.start()
        self.assertIn("forwarded three at ", console.test_cycle())
        console.send("wait idle 60")
        self.assertEqual(console.quit(), 0)
        sent = [line for line in self.double.lines() if line[""] == "sent"]
        self.assertEqual(sorted(line["subject"] for line in sent), ["FW: one", "FW: three", "FW: two"])
        for line in sent:
            self.assertEqual(line["recipient"], "1:cell@phone.example")
            self.assertEqual(line["file"], "a.txt:abc")
            self.assertIn("text of " + line["subject"][4:], line["body"])
        self.assertEqual(self.double.unread(), [])

    def test_an_application_that_ends_under_the_library_in_the_middle_of_a_send_loses_nothing(self):
        self.double.tell("die", call="SafeItem.Send", skip=1)
        console = self.start()
        # The library's own error does not tell that the application has ended; the next call of the application does.
        self.assertIn("The mail application has been closed (UnRead, error 800706BA)", console.test_cycle())
        self.assertEqual(len(self.double.sent()), 1)
        self.assertEqual(exit_status(self.double.process, "the double"), 3)
        self.double.process = None
        console.test_cycle()
        console.send("wait idle 60")
        self.assertEqual(console.quit(), 0)
        self.assertEqual(sorted(self.double.sent()), ["FW: one", "FW: three", "FW: two"])


    def test_a_box_that_the_library_meets_in_the_middle_of_a_send_loses_nothing(self):
        # The library's own error does not tell that it was refused. The box is closed five seconds later.
        self.double.tell("return", call="SafeItem.Send", code="8001010A", skip=1, times=1)
        self.double.tell("return", call="MailItem.UnRead=", code="8001010A", skip=1, times=20)
        console = self.start()
        printed = console.test_cycle()
        self.assertIn("(UnRead, error 8001010A)", printed)
        self.assertNotIn("Tried but failed", printed)
        self.assertEqual(self.double.sent(), ["FW: three"])
        self.double.tell("calm")
        console.test_cycle()
        console.send("wait idle 60")
        self.assertEqual(console.quit(), 0)
        self.assertEqual(sorted(self.double.sent()), ["FW: one", "FW: three", "FW: two"])


class StoriesOfTheSession(Story):
    """The user logs off. That is announced to a window, so that Wine has a screen here."""

    @classmethod
    def setUpClass(cls):
        cls.probe = SCRATCH / "desktop_probe.exe"
        subprocess.run(["x86_64-w64-mingw32-g++-posix", "-std=c++20", "-O1", "-static", "-municode",
                        "-D_WIN32_WINNT=0x0A00", "-DNTDDI_VERSION=0x0A000006", "-o", cls.probe, PROBE], check=True)
        reading, writing = os.pipe()
        with open(SCRATCH / "screen.log", "wb") as log:
            screen = subprocess.Popen(["Xvfb", "-displayfd", str(writing), "-nolisten", "tcp"], pass_fds=[writing],
                                      stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        cls.addClassCleanup(screen.wait)
        cls.addClassCleanup(screen.kill)
        # Before the screen goes; the next stories have none.
        cls.addClassCleanup(start_wine)
        os.close(writing)
        with open(reading, encoding="ascii") as number:
            start_wine(DISPLAY=":" + number.readline().strip())

    def test_the_forward_in_hand_is_finished_before_the_session_ends(self):
        subjects = ["one", "two", "three"]
        self.double.stay()
        for subject in subjects:
            self.double.tell("deliver", subject=subject, id=subject, address="bob@example.com")
        self.double.tell("wait", call="SafeItem.Send", skip=1, times=1, milliseconds=4000)
        console = self.start()
        console.send("answer OK Yes OK", "test")
        eventually("the first forward", self.double.sent)
        self.assertEqual(wine(self.probe, "end-session", "RelaybirdSessionEnd")[0], 0)
        # Windows may end the process at once when that was answered.
        sent = self.double.sent()
        self.assertEqual(len(sent), 2)
        # Sent and not marked as read, it would be sent again.
        left = [subject for subject in subjects if f"FW: {subject}" not in sent]
        self.assertEqual(self.double.unread(), left)
        self.assertEqual(exit_status(console.process, "the console"), 0)
        again = self.start()
        again.test_cycle()
        self.assertEqual(again.quit(), 0)
        self.assertEqual(sorted(self.double.sent()), ["FW: one", "FW: three", "FW: two"])


class StoriesOfTime(Story):
    """Minutes pass at once for Wine and all that it runs; the program has no part in it."""

    @classmethod
    def setUpClass(cls):
        cls.clock = ShiftedClock()

    @classmethod
    def tearDownClass(cls):
        start_wine()

    def started(self):
        """The program, with forwarding switched on: it checks every two minutes, the least that it takes."""
        self.preferences(ONE_ADDRESS + "mdblFwdToFrequency=2\r\n")
        self.double.stay()
        console = self.start()
        console.start()
        return console

    def until_the_check(self, console):
        # A check whose minute comes while a synchronisation runs waits for another minute.
        eventually("the end of what sends", lambda: self.double.state()["running"] == "0")
        for left in ("2", "1"):
            eventually(f"{left} minutes to the check",
                       lambda left=left: console.fact("minutes-to-next-check") == left)
            self.clock.forward(1)

    def another_application(self):
        """The application is closed, and opened again by its user."""
        self.double.tell("die")
        exit_status(self.double.process, "the double")
        self.double.stay()

    def deliver(self, *subjects):
        for subject in subjects:
            self.double.tell("deliver", subject=subject, id=subject, address="bob@example.com")

    def synchronisations(self, count):
        eventually(f"synchronisation {count}", lambda: self.double.state()["starts"] == str(count))

    def test_checks_come_when_their_minutes_are_over(self):
        console = self.started()
        for subject in ("one", "two"):
            self.deliver(subject)
            self.until_the_check(console)
            console.expect("log: Completed Email Check at ")
            self.assertIn("FW: " + subject, self.double.sent())
        self.assertEqual(console.quit(), 0)
        self.assertEqual(self.double.sent(), ["FW: one", "FW: two"])

    def test_a_synchronisation_comes_before_the_check_and_one_after_it(self):
        console = self.started()
        self.another_application()
        self.double.tell("syncs", end="told")
        self.until_the_check(console)
        self.synchronisations(1)
        self.deliver("fetched")
        self.assertEqual(console.fact("number-forwarded"), "0")
        self.double.tell("end")
        console.expect("log: Completed Email Check at ")
        self.assertEqual(self.double.sent(), ["FW: fetched"])
        self.synchronisations(2)
        self.double.tell("end")
        console.send("wait idle 60", "stop")
        console.expect("log: --- Forwarding turned OFF at ")
        self.assertEqual(self.double.state()["running"], "0")
        self.assertEqual(console.quit(), 0)

    def test_a_synchronisation_that_never_ends_is_given_up_after_15_minutes(self):
        console = self.started()
        self.another_application()
        self.double.tell("syncs", end="told")
        self.deliver("one")
        self.until_the_check(console)
        self.synchronisations(1)
        self.clock.forward(14)
        console.fact("action")
        self.assertEqual(self.double.state()["running"], "1")
        self.assertNotIn("timed out", console.text())
        self.assertEqual(self.double.sent(), [])
        self.clock.forward(1)
        console.expect("--> Inbox synchronization timed out.\n")
        console.expect("log: Completed Email Check at ")
        self.assertEqual(self.double.sent(), ["FW: one"])
        self.assertEqual(console.quit(), 0)

    def test_a_check_that_is_stopped_in_the_middle_leaves_the_rest_for_the_next_one(self):
        subjects = [f"item {number}" for number in range(5)]
        console = self.started()
        self.deliver(*subjects)
        self.double.tell("wait", call="SafeItem.Send", milliseconds=2000)
        self.until_the_check(console)
        eventually("the first forward", lambda: self.double.sent())
        console.send("stop")
        console.expect("log: --- Forwarding turned OFF at ")
        console.send("wait idle 60", "status")
        console.expect("\nautomation: Stopped\n")
        sent = self.double.sent()
        self.assertLess(len(sent), len(subjects))
        left = [subject for subject in subjects if f"FW: {subject}" not in sent]
        self.assertEqual(self.double.unread(), left)
        self.double.tell("calm")
        console.start()
        self.until_the_check(console)
        console.expect("log: Completed Email Check at ")
        self.assertEqual(console.quit(), 0)
        self.assertEqual(sorted(self.double.sent()), [f"FW: {subject}" for subject in subjects])


if __name__ == "__main__":
    runner = unittest.TextTestRunner(verbosity=2, resultclass=Result)
    result = unittest.main(argv=[sys.argv[0], *sys.argv[1:]], exit=False, testRunner=runner).result
    if not result.wasSuccessful() or result.testsRun == 0:
        sys.exit(1)
    print(f"console_stories: {result.testsRun} passed")
