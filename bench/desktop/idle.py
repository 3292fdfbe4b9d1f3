# SPDX-License-Identifier: MIT
"""How often the program wakes while nothing happens: idle.py PROGRAM [SECONDS]. Counts each time that
a thread of it goes to sleep again (voluntary context switches of all its threads). Exit status 1 when a
limit is exceeded."""

import pathlib
import sys

from gi.repository import GLib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests/system/desktop"))

# pylint: disable=wrong-import-position
from driver import Desktop, Home, wait_for
from tray_case import Watcher

MAIN = "Relaybird v..."
# The toolkit keeps threads that have nothing to do for fifteen seconds.
QUIET_SECONDS = 20


def switches(process):
    """How often each of its threads has gone to sleep until now."""
    counts = {}
    for status in pathlib.Path(f"/proc/{process}/task").glob("*/status"):
        lines = status.read_text(encoding="ascii").splitlines()
        counts[status.parent.name] = next(
            int(line.split()[1]) for line in lines if line.startswith("voluntary_ctxt"))
    return counts


def rest(seconds):
    """Lets time go by, and answers what is asked on the bus meanwhile."""
    loop = GLib.MainLoop()
    GLib.timeout_add_seconds(seconds, loop.quit)
    loop.run()


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


STATES = (
    ("stopped, on the screen", None, 1),
    ("stopped, minimised", minimised, 0),
    ("stopped, in the notification area", hidden, 0),
    ("running, between two checks", running, 1),
)


def start(desktop, command, prepare):
    home = Home(desktop.new_folder())
    home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1="5550100@sms.example.net",
                           mbolFwdUponStart=True)
    program = desktop.run([command], home)
    window = program.window(MAIN)
    if prepare:
        prepare(desktop, window)
    return program.process.pid


def wakes(processes, seconds):
    """How often each of the processes wakes in a second."""
    rest(QUIET_SECONDS)
    before = [switches(process) for process in processes]
    rest(seconds)
    after = [switches(process) for process in processes]
    return [sum(count - earlier.get(thread, 0) for thread, count in later.items()) / seconds
            for earlier, later in zip(before, after)]


def main():
    command = sys.argv[1]
    seconds = int(sys.argv[2]) if len(sys.argv) > 2 else 30
    good = True
    with Desktop() as desktop, Watcher(desktop):
        processes = [start(desktop, command, prepare) for _, prepare, _ in STATES]
        for (state, _, limit), count in zip(STATES, wakes(processes, seconds)):
            good = good and count <= limit
            words = "" if count <= limit else "  EXCEEDED"
            print(f"wake-ups a second, {state:<36} {count:6.2f}  limit {limit}{words}", flush=True)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
