# SPDX-License-Identifier: MIT
"""The private mail servers of a Python program: starts mail_servers.py, asks it, and ends it."""

import email
import itertools
import pathlib
import subprocess
import threading

TOOL = pathlib.Path(__file__).with_name("mail_servers.py")
PATIENCE = 20  # seconds


def taken(sink):
    """The messages that a sink has, parsed, in order."""
    files = sorted(pathlib.Path(sink["folder"]).glob("*.envelope"))  # written after the text
    return [email.message_from_bytes(file.with_suffix(".eml").read_bytes()) for file in files]


class Servers:
    def __init__(self, folder, before=()):
        """In an empty folder that all users can reach. `before` are words before the command."""
        self.folder = pathlib.Path(folder)
        self.lock = threading.Lock()
        self.process = subprocess.Popen([*before, "/usr/bin/python3", "-B", TOOL, folder], text=True,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.places = self.ask("servers")
        self.numbers = itertools.count(1)

    def ask(self, command):
        """The values of the answer by name. Any thread."""
        with self.lock:
            self.process.stdin.write(command + "\n")
            self.process.stdin.flush()
            verdict, *values = self.process.stdout.readline().rstrip("\n").split("\t")
        if verdict != "ok":
            raise RuntimeError(f"mail servers: {command}: {' '.join(values)}")
        return dict(value.split("=", 1) for value in values)

    def fresh_user(self):
        """A user with an empty mailbox; the password is "secret". Any thread."""
        return f"box{next(self.numbers)}"

    def maildir(self, user):
        return pathlib.Path(self.places["mail"]) / user

    def deliver(self, user, number, message):
        """Puts an unread message into the inbox; numbers sort the messages."""
        file = self.maildir(user) / "tmp" / f"{1800000000 + number}.M{number}P1.host"
        file.write_bytes(message)
        file.chmod(0o644)  # the servers may run as another user
        file.rename(self.maildir(user) / "new" / file.name)

    def close(self):
        self.process.stdin.close()
        self.process.wait(PATIENCE)
        self.process.stdout.close()
