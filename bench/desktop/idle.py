# SPDX-License-Identifier: MIT
"""How often the program wakes while nothing happens: idle.py PROGRAM [SECONDS]. Counts the wake-ups of all
its threads, and the moments in which any of them ran (wake_ups.py). The limit of a state with an account is one
for moments, the others are for wake-ups. Ten minutes unless told otherwise, because an account renews IDLE every
eight or nine. Exit status 1 when a limit is exceeded."""

import pathlib
import sys
import tempfile

from gi.repository import GLib

BENCH = pathlib.Path(__file__).resolve().parents[1]
TESTS = BENCH.parent / "tests"
sys.path[:0] = [str(TESTS / "system/desktop"), str(TESTS / "support/servers"), str(BENCH)]

# pylint: disable=wrong-import-position
import client
from driver import Desktop, Home, wait_for
from tray_case import Watcher
from wake_ups import ACCOUNT, TICK, Watch

MAIN = "Relaybird v..."
# The toolkit keeps threads that have nothing to do for fifteen seconds, and what is known about the messages
# of an account is written a minute after the check.
QUIET_SECONDS = 75
SECONDS = 600


def rest(seconds, watches=()):
    """Lets time go by, and answers what is asked on the bus meanwhile."""
    def sample():
        for watch in watches:
            watch.sample()
        return True
    loop = GLib.MainLoop()
    sampling = GLib.timeout_add(int(TICK * 1000), sample)
    GLib.timeout_add_seconds(seconds, loop.quit)
    loop.run()
    GLib.source_remove(sampling)


def hidden(_desktop, main):
    """The window in the notification area."""
    main.find("Minimize to System Tray", "push button").click()
    box = main.program.window("Minimize to System Tray")
    box.find("Yes", "push button").click()
    main.wait_gone()


def minimised(desktop, main):
    number = main.window_id()
    desktop.xdotool("windowminimize", "--sync", number)


def running(_desktop, main):
    main.choose("File", "Start")
    box = main.program.window("Please Confirm:")
    box.find("Yes", "push button").click()
    wait_for("the end of the check", lambda: "Currently Idle" in main.tree(),
             otherwise=main.program.describe)


def running_hidden(desktop, main):
    running(desktop, main)
    hidden(desktop, main)


# The limits are for a second. Between two checks the program wakes once a minute, to count it down. The server
# of the account says every two minutes that it is still there, which must wake nobody.
STATES = (
    ("stopped, on the screen", None, 1, False),
    ("stopped, minimised", minimised, 0, False),
    ("stopped, in the notification area", hidden, 0, False),
    ("running, between two checks", running, 1, False),
    ("account with IDLE, notification area", running_hidden, 1 / 60, True),
)


def start(desktop, command, prepare, servers):
    home = Home(desktop.new_folder())
    home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1="5550100@sms.example.net",
                           mbolFwdUponStart=True)
    if servers:
        with home.preference_file.open("a", encoding="utf-8") as file:
            file.write(ACCOUNT.format(port=servers.places["plain.imap"], user=servers.fresh_user()))
    program = desktop.run([command], home)
    window = program.window(MAIN)
    if prepare:
        prepare(desktop, window)
    return program.process.pid


def watched(processes, seconds):
    """Each of the processes, after it was watched for so long."""
    rest(QUIET_SECONDS)
    watches = [Watch(process) for process in processes]
    # A little less, because a whole number of minutes may hold one tick of the countdown more.
    rest(seconds - 1, watches)
    return watches


def main():
    command = sys.argv[1]
    seconds = int(sys.argv[2]) if len(sys.argv) > 2 else SECONDS
    good = True
    with tempfile.TemporaryDirectory(prefix="relaybird-idle-") as folder, Desktop() as desktop, Watcher(desktop):
        pathlib.Path(folder).chmod(0o711)
        servers = client.Servers(pathlib.Path(folder))
        processes = [start(desktop, command, prepare, servers if account else None)
                     for _, prepare, _, account in STATES]
        for (state, _, limit, account), watch in zip(STATES, watched(processes, seconds)):
            wakes, moments = sum(watch.threads().values()) / seconds, watch.moments / seconds
            held = (moments if account else wakes) <= limit
            good = good and held
            print(f"wake-ups a second, {state:<36} {wakes:7.3f}  moments {moments:7.3f}  limit {limit:.3f}"
                  f"{'' if held else '  EXCEEDED'}", flush=True)
        servers.close()
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
