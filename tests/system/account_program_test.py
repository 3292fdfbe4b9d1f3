# SPDX-License-Identifier: MIT
"""account_program_test.py CONSOLE: the real program over a real account, seen from the servers.

relaybird-console forwards what lies in a Dovecot to a sink, in every combination of mailbox and delivery,
and is killed at every step of both protocols. What counts is what the sink has, and what is marked as read
on the server.
"""

import collections
import concurrent.futures
import email
import functools
import itertools
import os
import pathlib
import re
import selectors
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support/servers"))
import client  # noqa: E402
import dovecot  # noqa: E402
from client import taken  # noqa: E402

PATIENCE = 60  # seconds
NEVER = 60000  # calls; strace counts to 65,535
KILLED_MESSAGES = 3
TRIALS_AT_ONCE = 4  # they mostly wait
CALLS = ("fsync", "rename", "unlink", "mkdir")
CHECK = "answers clear\nanswer OK Yes OK\ntest\n"

DEFAULTS = {"address": "me@here.example", "name": "Me", "max_per_hour": "100000"}
FORWARDING = """[default]
mstrFwdToAddress_num=1
mstrFwdToAddress_1=cell@phone.example
mlngMaxToForward=30000
mintSenderFilter=501
mcolSenderList_num=1
mcolSenderList_1=@wanted.example
"""


def message(number, side="wanted"):
    return (f"From: Ann <ann@{side}.example>\nTo: me@here.example\nSubject: number {number}\n"
            f"Message-ID: <{number}@{side}.example>\n\nThe text of number {number}.\n").encode()


class Home:
    """Where the program has its settings and its state."""

    def __init__(self, folder, program):
        self.folder, self.program = folder, program
        (folder / "config/rbx").mkdir(parents=True)
        self.output = b""
        self.prefix = []
        self.environment = {"HOME": str(folder), "XDG_CONFIG_HOME": str(folder / "config"),
                            "XDG_STATE_HOME": str(folder / "state"), "LC_ALL": "C.UTF-8", "TZ": "UTC",
                            "PATH": "/usr/bin:/bin"}

    def settings(self, **mail):
        lines = [f"{key}={value}" for key, value in {**DEFAULTS, **mail}.items()]
        (self.folder / "config/rbx/rbx_prefs.ini").write_text(
            FORWARDING + "[mail]\n" + "\n".join(lines) + "\n", encoding="utf-8")

    def start(self):
        return subprocess.Popen(
            [*self.prefix, self.program], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, bufsize=0, env=self.environment)

    def run_until(self, reached):
        """Starts the program and has it check the mailbox, until `reached` returns true; then it quits."""
        with self.start() as process:
            process.stdin.write(CHECK.encode())
            self.watch(process, reached)
            process.stdin.write(b"quit\n")
            process.stdin.close()
            self.output += process.stdout.read()
            process.wait(PATIENCE)

    def kill_when(self, reached):
        """The same, but it is killed."""
        with self.start() as process:
            process.stdin.write(CHECK.encode())
            try:
                self.watch(process, reached)
            finally:
                process.kill()

    def is_killed_before(self, reached):
        """The same with a program that may be killed by somebody else; whether it was. Otherwise it quits."""
        with self.start() as process:
            try:
                process.stdin.write(CHECK.encode())
                self.watch(process, reached)
                process.stdin.write(b"quit\n")
            except (AssertionError, BrokenPipeError):
                if process.wait(PATIENCE) != -signal.SIGKILL:
                    raise
                return True
            process.stdin.close()
            process.stdout.read()
            return process.wait(PATIENCE) == -signal.SIGKILL

    def watch(self, process, reached):
        end = time.monotonic() + PATIENCE
        with selectors.DefaultSelector() as selector:
            selector.register(process.stdout, selectors.EVENT_READ)
            while not reached():
                if selector.select(0.02):
                    piece = os.read(process.stdout.fileno(), 65536)
                    self.output += piece
                    if not piece:
                        raise AssertionError(f"the program has ended:\n{self.text()}")
                if time.monotonic() > end:
                    raise AssertionError(f"the program does not get on:\n{self.text()}")

    def journal(self):
        """What the journal on the disk has: the Message-ID of each forward by its file, the files whose messages it
        holds, and those that it notes as delivered."""
        identifiers, held, delivered = {}, set(), set()
        journal = self.folder / "state/rbx/outbox/journal"
        for line in journal.read_text(encoding="ascii").splitlines() if journal.exists() else ():
            _, event, *fields = [*line.split(" "), "", ""]  # a line may be cut short by a kill
            if event in ("held", "intent") and len(fields) > 5:
                identifiers[fields[3]] = fields[2]
            if event == "held" and len(fields) > 6:
                held.add(fields[3])
            elif event == "text" and len(fields) > 3:
                held.add(fields[0])
            elif event in ("stored", "void", "delivered"):
                held.discard(fields[0])
                if event == "delivered":
                    delivered.add(fields[0])
        return identifiers, held, delivered

    def waiting(self):
        """How many forwards wait, held in the journal or as files of the outbox. Nearly all are held in the journal
        and never become files."""
        files = self.folder / "state/rbx/outbox/new"
        return len(self.journal()[1]) + (len(list(files.iterdir())) if files.is_dir() else 0)

    def noted(self):
        """The Message-IDs of the forwards that the journal notes as delivered."""
        identifiers, _, delivered = self.journal()
        return {f"<{identifiers[file]}>" for file in delivered}

    def text(self):
        return self.output.decode("utf-8", "replace")


def subjects(messages):
    return sorted(str(each["Subject"]).removeprefix("FW: ") for each in messages)


# `killed` at the place, or `passed` the whole way without coming to it. `noted` as delivered when it was killed.
Trial = collections.namedtuple("Trial", "place killed passed noted arrived")


class AccountProgramTest(unittest.TestCase):
    program = None

    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="relaybird-")
        cls.folder = pathlib.Path(cls.scratch.name)
        cls.folder.chmod(0o711)
        (cls.folder / "servers").mkdir()
        cls.servers = client.Servers(cls.folder / "servers")
        cls.numbers = itertools.count(1)

    @classmethod
    def tearDownClass(cls):
        cls.servers.close()
        cls.scratch.cleanup()

    def home(self):
        return Home(self.folder / f"home{next(self.numbers)}", self.program)

    def account(self, user, port=None, **more):
        return {"store": "account", "imap_host": "localhost", "imap_security": "none", "imap_user": user,
                "imap_port": port or self.servers.places["plain.imap"], "imap_secret": "command",
                "imap_secret_command": "/bin/echo secret", **more}

    @staticmethod
    def smtp(port, **more):
        return {"delivery": "smtp", "smtp_host": "localhost", "smtp_port": port, "smtp_security": "none",
                "smtp_sign_in": "none", **more}

    def unread(self, user):
        folder = self.servers.maildir(user)
        return sorted(re.search(r"\.M(\d+)P", file.name)[1] for part in ("new", "cur")
                      for file in (folder / part).iterdir() if "S" not in file.name.partition(":2,")[2])

    def counts(self, name):
        return {key: value if key == "gate" else float(value)
                for key, value in self.servers.ask(f"counts {name}").items()}

    def test_forwards_from_an_account_and_submits_to_it_encrypted(self):
        for number in range(20):
            self.servers.deliver("ann", number, message(number, "wanted" if number % 2 else "other"))
        home = self.home()
        secret = home.folder / "print-secret"
        secret.write_text(f"#!/bin/sh\ncat <<'END'\n{dovecot.PASSWORD}\nEND\n", encoding="utf-8")
        secret.chmod(0o700)
        ca = self.servers.places["ca"]
        home.settings(**self.account("ann", imap_security="starttls", imap_ca_file=ca, imap_secret_command=secret),
                      **self.smtp(self.servers.places["plain.submissions"], smtp_security="tls", smtp_ca_file=ca,
                                  smtp_user="ann", smtp_secret="same", smtp_sign_in="password"))
        sink = {"folder": self.servers.folder / "sink1"}
        odd = [f"number {number}" for number in range(1, 20, 2)]
        home.run_until(lambda: len(taken(sink)) == 10)
        self.assertEqual(subjects(taken(sink)), sorted(odd))
        self.assertEqual(self.unread("ann"), sorted(str(number) for number in range(0, 20, 2)))
        for each in taken(sink):
            self.assertIn("cell@phone.example", each["To"])
            self.assertIn("The text of number", each.get_payload())

        # Nothing is forwarded twice, and the secret is nowhere.
        home.run_until(lambda: "Completed check of inbox" in home.text().partition("quit")[2] or
                       home.text().count("Completed check of inbox") == 2)
        self.assertEqual(len(taken(sink)), 10)
        secret.unlink()
        needle = dovecot.PASSWORD.encode()
        for file in home.folder.rglob("*"):
            if file.is_file():
                self.assertNotIn(needle, file.read_bytes(), file)
        self.assertNotIn(needle, home.output)

    def test_a_service_signs_in_with_the_credential_that_it_was_given(self):
        home, user = self.home(), self.servers.fresh_user()
        self.servers.deliver(user, 1, message(1))
        given = home.folder / "given"
        given.mkdir()
        (given / "relaybird.imap").write_text("secret\n", encoding="utf-8")
        (given / "relaybird.imap").chmod(0o400)  # as systemd gives it
        home.environment["CREDENTIALS_DIRECTORY"] = str(given)
        home.settings(**self.account(user, imap_secret="credential", imap_secret_command=""))
        home.kill_when(lambda: "log: forwarded number 1 at" in home.text() and not self.unread(user))

    def test_a_service_whose_password_is_refused_is_not_started_again(self):
        """The service manager starts a program that ends with status 1 every half a minute, and the server would get
        the refused password each time."""
        silent = socket.socket()
        self.addCleanup(silent.close)
        silent.bind(("127.0.0.1", 0))  # nobody listens there
        outcomes = {}
        for case, more in (("refused", {"imap_secret_command": "/bin/echo wrong"}),
                           ("not reached", {"port": silent.getsockname()[1]}),
                           ("no keyring yet", {"imap_secret": "keyring"})):
            home = self.home()
            home.settings(**self.account(self.servers.fresh_user(), **more))
            preferences = home.folder / "config/rbx/rbx_prefs.ini"
            preferences.write_text(preferences.read_text(encoding="utf-8").replace(
                "[default]", "[default]\nmbolTurnOnFwdOnStartup=1"), encoding="utf-8")
            ended = subprocess.run([self.program], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=PATIENCE,
                                   env=home.environment, check=False)
            outcomes[case] = ended.returncode, ended.stdout.decode().splitlines()[-1]
        self.assertEqual(outcomes["refused"][0], 2, outcomes)
        self.assertIn("note: the sign-in was refused", outcomes["refused"][1])
        for case in ("not reached", "no keyring yet"):
            self.assertEqual(outcomes[case], (1, "note: there is no input and forwarding is off: the program ends"))

    def test_a_corrected_password_is_tried_as_soon_as_the_user_asks(self):
        home, user, sink = self.home(), self.servers.fresh_user(), self.servers.ask("sink")
        self.servers.deliver(user, 1, message(1))
        password = home.folder / "password"
        password.write_text("wrong\n", encoding="ascii")
        home.settings(**self.account(user, imap_secret_command=f"/bin/cat {password}"), **self.smtp(sink["port"]))
        with home.start() as process:
            for refused in (1, 2):  # the second time the same password is not sent to the server
                process.stdin.write(CHECK.encode())
                home.watch(process, lambda times=refused: home.text().count("the test was not run") == times)
            password.write_text("secret\n", encoding="ascii")
            process.stdin.write(CHECK.encode())
            home.watch(process, lambda: len(taken(sink)) == 1)
            process.kill()
        self.assertIn("refused", home.text())

    def test_mailbox_and_delivery_are_independent(self):
        home = self.home()
        maildir = home.folder / "Maildir"
        for part in ("new", "cur", "tmp"):
            (maildir / part).mkdir(parents=True)
        for number in range(5):
            (maildir / "new" / f"{1800000000 + number}.M{number}P1.host").write_bytes(message(number))
        sink = self.servers.ask("sink")
        home.settings(store="maildir", maildir=maildir, **self.smtp(sink["port"]))
        home.run_until(lambda: len(taken(sink)) == 5)
        self.assertEqual(subjects(taken(sink)), [f"number {number}" for number in range(5)])

        home, user = self.home(), self.servers.fresh_user()
        for number in range(5):
            self.servers.deliver(user, number, message(number))
        delivered = home.folder / "delivered"
        delivered.mkdir()
        command = home.folder / "sendmail"
        command.write_text(f"#!/bin/sh\nfile=$(mktemp {delivered}/.XXXXXX) && cat >$file && mv $file {delivered}/$$\n",
                           encoding="ascii")
        command.chmod(0o755)
        home.settings(**self.account(user), delivery="sendmail", sendmail=command)
        home.run_until(lambda: sum(not file.name.startswith(".") for file in delivered.iterdir()) == 5)
        self.assertEqual(subjects(email.message_from_bytes(file.read_bytes()) for file in delivered.iterdir()),
                         [f"number {number}" for number in range(5)])

    def test_killed_at_any_step_of_a_protocol_loses_nothing(self):
        steps = self.steps_of("smtp") + self.steps_of("imap")
        trials = self.check_trials("of a protocol", self.kill_at, steps)
        self.assertTrue(any(trial.noted for trial in trials))

    def test_killed_while_copies_for_the_sent_folder_are_kept_loses_nothing(self):
        kill = functools.partial(self.kill_at, keep_sent_copy="yes")
        steps = self.steps_of("imap", kill)
        self.assertGreater(len(steps), len(self.steps_of("imap")), "no copy was stored")
        self.check_trials("of IMAP with copies", kill, steps)

    def steps_of(self, protocol, kill=None):
        """Each piece of the protocol, held up on either side, of a program that is not killed before its end."""
        pieces = (kill or self.kill_at)(protocol, "answer", 0).passed
        self.assertGreater(pieces, 3)
        return [(protocol, holding, step) for holding in ("request", "answer") for step in range(1, pieces + 1)]

    @unittest.skipUnless(shutil.which("strace"), "strace is missing")
    def test_killed_at_a_call_that_changes_the_disk_loses_nothing(self):
        # Counted for each thread, so that the same number is another moment in each run.
        places = [(call, number) for call in CALLS for number in range(1, self.kill_at_call(call, NEVER).passed + 1)]
        self.check_trials("for the disk", self.kill_at_call, places)

    def check_trials(self, of_what, kill, places):
        with concurrent.futures.ThreadPoolExecutor(TRIALS_AT_ONCE) as pool:
            trials = list(pool.map(lambda place: kill(*place), places))
        for trial in trials:
            with self.subTest(trial=trial):
                # How long the way is depends on the load of the machine.
                self.assertTrue(trial.killed or trial.passed < trial.place[-1], "it was not killed where it came by")
                self.assertEqual(sorted(set(subjects(trial.arrived))),
                                 [f"number {number}" for number in range(KILLED_MESSAGES)], "one was lost")
                arrivals = collections.Counter(each["Message-ID"] for each in trial.arrived)
                self.assertEqual(len(arrivals), KILLED_MESSAGES, "a copy has another Message-ID")
                # Only a message goes out again that the server has taken and whose acceptance was not noted yet.
                # Delivery and inbox work side by side, so one can be at any step of the other.
                twice = {identifier for identifier, times in arrivals.items() if times > 1}
                self.assertEqual(twice & trial.noted, set(), "its acceptance was known")
                self.assertLessEqual(trial.noted, arrivals.keys())
                self.assertLessEqual(sum(arrivals.values()), KILLED_MESSAGES + 1)
        killed = sum(trial.killed for trial in trials)
        copies = sum(len(trial.arrived) - KILLED_MESSAGES for trial in trials)
        print(f"killed at {killed} of {len(places)} steps {of_what}; the others were not reached. {copies} messages "
              "arrived twice with the same Message-ID, as their acceptance was not noted yet")
        self.assertGreater(killed, len(places) / 2)
        return trials

    def kill_at_call(self, call, number):
        """Kills the program before a thread of it makes such a call for that time, and starts it again."""
        home, user, sink = self.home(), self.servers.fresh_user(), self.servers.ask("sink")
        for each in range(KILLED_MESSAGES):
            self.servers.deliver(user, each, message(each))
        home.settings(**self.account(user), **self.smtp(sink["port"]))

        def done():
            return self.is_done(home, user, sink)

        record = home.folder / "calls"
        home.prefix = ["strace", "-f", "-qq", "-o", record, "-e", f"trace=/^({call})",
                       "-e", f"inject=/^({call}):signal=SIGKILL:when={number}"]
        killed = home.is_killed_before(done)
        home.prefix = []
        noted = home.noted()
        home.kill_when(done)
        made = collections.Counter(re.findall(rf"^\d+ +{call}\w*\(", record.read_text(encoding="utf-8"), re.MULTILINE))
        return Trial((call, number), killed, max(made.values(), default=0), noted, taken(sink))

    def is_done(self, home, user, sink):
        return (len(set(subjects(taken(sink)))) == KILLED_MESSAGES and not self.unread(user)
                and home.waiting() == 0)

    def kill_at(self, protocol, holding, step, **settings):
        """Kills the program at that piece of the protocol, starts it again and lets it do its work."""
        home, user, sink = self.home(), self.servers.fresh_user(), self.servers.ask("sink")
        for number in range(KILLED_MESSAGES):
            self.servers.deliver(user, number, message(number))
        target = sink["port"] if protocol == "smtp" else self.servers.places["plain.imap"]
        way = self.servers.ask(f"proxy {target} stuck_at={step} holding={holding}")

        def done():
            return self.is_done(home, user, sink)

        home.settings(**self.account(user, way["port"] if protocol == "imap" else None),
                      **self.smtp(way["port"] if protocol == "smtp" else sink["port"]), **settings)
        home.kill_when(lambda: self.counts(way["name"])["gate"] == "stuck" or done())
        noted = home.noted()
        counts = self.counts(way["name"])
        # Through the same ports: on this computer another port is another account.
        self.servers.ask(f"gate {way['name']} closed")
        self.servers.ask(f"gate {way['name']} open")
        home.kill_when(done)
        return Trial((protocol, holding, step), counts["gate"] == "stuck", int(counts["pieces"]), noted, taken(sink))


if __name__ == "__main__":
    AccountProgramTest.program = sys.argv.pop(1)
    unittest.main()
