# SPDX-License-Identifier: MIT
"""account_idle.py CONSOLE [SECONDS]: how often the program wakes while an account is quiet, in whole minutes.

The console forwards from a Dovecot that reports new mail by itself (IDLE), between two checks. It wakes once a
minute, to count it down; every eight or nine minutes it renews IDLE in the same moment, so it is watched for ten
minutes unless told otherwise. What the server says meanwhile must not wake it: this one says every two minutes
that it is still there. wake_ups.py tells what a moment is. The wake-ups of each thread are printed too. Exit
status 1 if the limit is exceeded.
"""

import pathlib
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parent.parent / "tests/support/servers"), str(HERE.parent)]
import client  # noqa: E402
from wake_ups import ACCOUNT, TICK, Watch  # noqa: E402

LIMIT = 1  # moments a minute
SECONDS = 600
# Until then the text about the check has gone, and what is known about the messages is on the disk.
QUIET = 75
SETTINGS = """[default]
mstrFwdToAddress_num=1
mstrFwdToAddress_1=cell@phone.example
mbolFwdUponStart=1
mlngMaxToForward=1000
"""


def measure(servers, folder, command, seconds):
    user = servers.fresh_user()
    servers.deliver(user, 1, b"From: Ann <ann@x.example>\nSubject: one\n\nText\n")
    (folder / "config/rbx").mkdir(parents=True)
    (folder / "config/rbx/rbx_prefs.ini").write_text(
        SETTINGS + ACCOUNT.format(port=servers.places["plain.imap"], user=user), encoding="utf-8")
    with subprocess.Popen(
            [command], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
            env={"HOME": str(folder), "XDG_CONFIG_HOME": str(folder / "config"),
                 "XDG_STATE_HOME": str(folder / "state"), "LC_ALL": "C.UTF-8", "TZ": "UTC",
                 "PATH": "/usr/bin:/bin"}) as process:
        try:
            process.stdin.write(b"answers clear\nanswer Yes\nstart\n")
            process.stdin.flush()
            time.sleep(QUIET)
            watch = Watch(process.pid)
            # A little less, because a whole number of minutes may hold one tick of the countdown more.
            end = time.monotonic() + seconds - 1
            while time.monotonic() < end:
                time.sleep(TICK)
                watch.sample()
        finally:
            process.kill()
    log = next((folder / "state").rglob("outbox"), None)
    if log is None:
        raise AssertionError("the program did not start forwarding")
    return watch


def main():
    seconds = int(sys.argv[2]) if len(sys.argv) > 2 else SECONDS
    with tempfile.TemporaryDirectory(prefix="relaybird-idle-") as name:
        folder = pathlib.Path(name)
        folder.chmod(0o711)
        (folder / "servers").mkdir()
        servers = client.Servers(folder / "servers")
        try:
            watch = measure(servers, folder / "home", sys.argv[1], seconds)
        finally:
            servers.close()
    counts = watch.threads()
    for thread, count in counts.items():
        print(f"  {thread:<30} {count}")
    minutes = seconds / 60
    print(f"wake-ups a minute of all threads together                {sum(counts.values()) / minutes:6.2f}")
    moments = watch.moments / minutes
    words = "" if moments <= LIMIT else "  EXCEEDED"
    print(f"moments a minute, account with IDLE, between two checks  {moments:6.2f}  limit {LIMIT}{words}", flush=True)
    return 0 if moments <= LIMIT else 1


if __name__ == "__main__":
    sys.exit(main())
