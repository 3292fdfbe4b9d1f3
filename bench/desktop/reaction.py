# SPDX-License-Identifier: MIT
"""The longest time for which the window does not react while a check waits for a server that is 300 ms away:
reaction.py PROGRAM WATCH, where WATCH is relaybird_reaction_bench. Exit status 1 where it exceeds the limit.
Nothing is forwarded, as a forward waits for the disk."""

import pathlib
import subprocess
import sys
import tempfile

BENCH = pathlib.Path(__file__).resolve().parents[1]
TESTS = BENCH.parent / "tests"
sys.path[:0] = [str(TESTS / "system/desktop"), str(TESTS / "support/servers"), str(BENCH)]

# pylint: disable=wrong-import-position
import client
from driver import Desktop, Home, wait_for
from tray_case import Watcher
from wake_ups import ACCOUNT

MESSAGES = 1000
LIMIT = 0.1
# In this many answers the whole check is seen; fewer, and it was over before it was watched.
ANSWERS = 100


def start(desktop, command, servers):
    user = servers.fresh_user()
    for number in range(MESSAGES):
        servers.deliver(user, number, f"From: a{number}@other.example\nSubject: {number}\n\ntext\n".encode())
    way = servers.ask(f"proxy {servers.places['plain.imap']} delay=300")
    home = Home(desktop.new_folder())
    home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1="5550100@sms.example.net",
                           mintSenderFilter=501, mcolSenderList_num=1, mcolSenderList_1="boss@work.example",
                           mbolFwdUponStart=True)
    with home.preference_file.open("a", encoding="utf-8") as file:
        file.write(ACCOUNT.format(port=way["port"], user=user))
    return desktop.run([command], home)


def watched_check(program, watch, display):
    """How many answers came during a check, and the longest time that one took, in seconds."""
    main = program.window("Relaybird v...")
    with subprocess.Popen([watch, str(program.process.pid)], env={"DISPLAY": display}, stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE, text=True) as watching:
        if watching.stdout.readline() != "watching\n":
            raise RuntimeError("the window cannot be watched")
        main.choose("File", "Start")
        program.window("Please Confirm:").find("Yes", "push button").click()
        wait_for("the end of the check", lambda: "Currently Idle" in main.tree(), otherwise=program.describe)
        answers, longest = watching.communicate("", timeout=20)[0].split()
    return int(answers), float(longest)


def main():
    command, watch = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="relaybird-reaction-") as folder, Desktop() as desktop, Watcher(desktop):
        pathlib.Path(folder).chmod(0o711)
        servers = client.Servers(pathlib.Path(folder))
        program = start(desktop, command, servers)
        answers, longest = watched_check(program, watch, desktop.environment["DISPLAY"])
        servers.close()
    if answers < ANSWERS:
        raise RuntimeError(f"the check was over after {answers} answers")
    held = longest <= LIMIT
    print(f"the longest time without a reaction of the window during a check at 300 ms, in seconds"
          f" {longest:7.3f}  limit {LIMIT:.3f}  ({answers} answers){'' if held else '  EXCEEDED'}", flush=True)
    return 0 if held else 1


if __name__ == "__main__":
    sys.exit(main())
