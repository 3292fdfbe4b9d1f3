#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""console_stories.py BUILD SCRATCH: what users live through with relaybird-console.exe and their mail
application, under Wine. The application is the double, in processes of its own, whose mailbox is kept in a
file: what was sent and marked is read from there, and not taken from anyone's word. The caller sets Wine's
variables; everything else is written to the folder SCRATCH.

Prints one line when all stories have passed. Returns 1 where one failed, and 2 where a program that is no part of a
story did not end: Wine may hang, and then the stories have shown nothing."""

import os
import pathlib
import subprocess
import sys
import time
import traceback
import unittest
import urllib.parse

BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
SCRATCH = pathlib.Path(sys.argv.pop(1)).resolve()
DOUBLE = BUILD / "tests/outlook_double/outlook_double.exe"
CONTROL = BUILD / "tests/outlook_double/outlook_double_control.exe"
CONSOLE = BUILD / "src/app/relaybird-console.exe"
DEADLINE = 60  # seconds; a loaded machine needs some

ONE_ADDRESS = "[default]\r\nmstrFwdToAddress_num=1\r\nmstrFwdToAddress_1=cell@phone.example\r\n"


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


def not_ended(what):
    """Leaves at once: everything that comes later would wait too. A story that has failed before has failed."""
    traceback.print_stack()
    print(f"console_stories: this did not end: {what}", flush=True)
    os._exit(1 if Result.any_failed else 2)


def wine(*words, output="wine.log"):
    """Runs a program to its end. To a file: what COM starts inherits the output and keeps it open."""
    try:
        with open(SCRATCH / output, "wb") as log:
            done = subprocess.run(["wine", *map(str, words)], stdin=subprocess.DEVNULL, stdout=log,
                                  stderr=subprocess.STDOUT, timeout=DEADLINE, check=False)
    except subprocess.TimeoutExpired:
        not_ended(" ".join(map(str, words)))
    text = (SCRATCH / output).read_text(encoding="utf-8", errors="replace").replace("\r", "")
    return done.returncode, text


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
            raise RuntimeError("the double cannot be registered: " + text)

    def stay(self):
        """Starts it, to be told what to do and to stay."""
        with open(SCRATCH / "double.log", "wb") as log:
            self.process = subprocess.Popen(["wine", str(DOUBLE), "/stay", windows_name(self.folder)],
                                            stdin=subprocess.DEVNULL, stdout=log, stderr=log)
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

    def end(self):
        # Also one that COM has started: the next story must not meet it.
        self.tell("die")
        if self.process is not None:
            try:
                self.process.wait(timeout=DEADLINE)
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
                                            stderr=subprocess.STDOUT)

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

    def test_cycle(self):
        """One test cycle with its questions answered; returns what was printed meanwhile."""
        self.send("answer OK Yes OK", "test")
        return self.expect("box: Test Complete\n")

    def quit(self):
        self.send("quit")
        self.process.stdin.close()
        return self.process.wait(timeout=DEADLINE)

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


class Stories(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # One that another test has left would answer in place of this one's.
        folder = SCRATCH / "before"
        folder.mkdir()
        Double(folder).end()

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

    def test_started_it_forwards_what_waits_and_stops(self):
        self.preferences(ONE_ADDRESS + "mbolFwdUponStart=1\r\n")
        self.double.deliver("one", "two", "three")
        console = self.start()
        console.send("start")
        console.expect("box: Please Confirm:\n")
        console.send("Yes")
        console.expect("log: --- Forwarding turned ON at ")
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
        state = fields(self.double.tell("state").splitlines()[0])
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
        self.assertEqual(self.double.process.wait(timeout=DEADLINE), 3)
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
        self.double.process.wait(timeout=DEADLINE)
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
        self.double.deliver("one")
        for name in ("redemption.SafeMailItem", "Redemption.MAPIUtils"):
            wine("reg", "delete", "HKLM\\Software\\Classes\\" + name, "/f")
        console = self.start()
        console.send("answer OK OK Yes OK OK", "test", "wait idle 60", "log 50", "quit")
        console.expect("Install the 64-bit version of Redemption")
        self.assertEqual(self.double.sent(), [])

    def test_without_an_application_the_user_is_told_which_one_is_needed(self):
        wine(DOUBLE, "/unregserver")
        console = self.start()
        console.send("answer OK OK Yes OK OK", "test", "wait idle 60", "log 50", "quit")
        console.expect("No Outlook was found that other programs can use.")
        console.expect("please verify that MS-Outlook is installed and configured correctly on this PC")


if __name__ == "__main__":
    runner = unittest.TextTestRunner(verbosity=2, resultclass=Result)
    result = unittest.main(argv=[sys.argv[0], *sys.argv[1:]], exit=False, testRunner=runner).result
    if not result.wasSuccessful() or result.testsRun == 0:
        sys.exit(1)
    print(f"console_stories: {result.testsRun} passed")
