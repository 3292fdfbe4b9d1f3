# SPDX-License-Identifier: MIT
"""Shared by the counts of how often the program wakes while nothing happens.

Two things are counted. The wake-ups of a thread: each time that it goes to sleep again (voluntary context
switches). And moments: what costs power is that the processor leaves its sleep, so threads that run together
wake it once. The program is looked at every tenth of a second (TICK). A tick in which any of its threads has
run, and the tick after it, are one moment.
"""

import pathlib

# The section of the preference file for an account at one of the tests' servers, for str.format().
ACCOUNT = """[mail]
store=account
address=me@here.example
imap_host=localhost
imap_port={port}
imap_security=none
imap_user={user}
imap_secret=command
imap_secret_command=/bin/echo secret
delivery=none
"""


def switches(process):
    """How often each thread of a process has gone to sleep until now (voluntary context switches), by its name
    and number."""
    counts = {}
    for status in pathlib.Path(f"/proc/{process}/task").glob("*/status"):
        fields = dict(line.split(":", 1) for line in status.read_text(encoding="ascii").splitlines())
        counts[f"{fields['Name'].strip()} {status.parent.name}"] = int(fields["voluntary_ctxt_switches"])
    return counts


def slept(before, after):
    """How often each thread has gone to sleep between two switches()."""
    return {thread: count - before.get(thread, 0) for thread, count in after.items()}


TICK = 0.1  # seconds


class Watch:
    """Counts from its creation on. sample() must be called every TICK."""

    def __init__(self, process):
        self.process = process
        self.moments = 0
        self._begin = self._last = switches(process)
        self._counted = False

    def sample(self):
        now = switches(self.process)
        ran = any(slept(self._last, now).values())
        self._counted = ran and not self._counted
        self.moments += self._counted
        self._last = now

    def threads(self):
        """The wake-ups of each thread."""
        return slept(self._begin, self._last)
