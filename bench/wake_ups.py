# SPDX-License-Identifier: MIT
"""Shared by the counts of how often the program wakes while nothing happens."""

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
