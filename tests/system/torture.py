# SPDX-License-Identifier: MIT
"""torture.py PROGRAM MINUTES [SEED]: storms, kills and disk faults against the real relaybird-console.

Each round has a scratch Maildir, an outbox and a delivery command of its own and one kind of trouble.
While mail arrives the program checks the mailbox again and again; then the trouble ends, the program runs
until nothing is left to do, and every message is counted: each must have been handed over exactly once,
whole. What may happen is that the same forward, with the same Message-ID, is handed over again after the
program or the command was killed in the moment between hand-over and note; such copies are counted apart.

A forward that fails is told in the log and its message is marked as read. The round then does what a
reader of the log would: it marks the message as unread again when the trouble is over.

Ends with status 1 where anything but copies was counted, and keeps the folders of those rounds.
"""

import collections
import concurrent.futures
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

ROUND = 25  # seconds of trouble
LAST_RUNS = 15  # after the trouble, until nothing is left to do
PATIENCE = 180  # seconds without a line of a program's

# Each takes a message from its input and puts it into the folder beside it. PLAN says what goes wrong.
COMMAND = """#!/bin/sh
home=$(dirname "$0")
echo $$ >> "$home/commands"
file=$(mktemp "$home/delivered/.XXXXXXXX") || exit 75
read -r plan < "$home/plan"
case $plan in
  refuse) cat > /dev/null; rm "$file"; exit 75 ;;
  hang) rm "$file"; exec sleep 1000 ;;
  slow) sleep 0.3 ;;
esac
cat > "$file" || { rm "$file"; exit 75; }
mv "$file" "$home/delivered/$(basename "$file" | tr . m)"
case $plan in
  die) kill -9 $$ ;;
esac
exit 0
"""

PREFERENCES = """[default]
mstrFwdToAddress_num=1
mstrFwdToAddress_1=cell@phone.example
mlngMaxToForward=30000
mbolIncludeAttachments=1
[mail]
max_per_hour=1000000
maildir={home}/Maildir
address=me@here.example
name=Me
sendmail={home}/sendmail
"""

# One check, and whatever box comes is answered. The program does one after the other.
CHECK = "answers clear\nanswer OK Yes OK OK OK OK\ntest\nwait idle 100\n"

KINDS = ("storm", "kills", "disk full", "file in the way", "bad command", "two at once", "all at once")
# What a program says when a fault has met it.
MET = re.compile(r"No space left|File too large|Not a directory|Kept for a later try|is in use by")
COUNTED = ("lost", "doubled", "damaged", "crashed", "let in", "left over")


class Home:
    """A mailbox, and the programs that work on it."""

    def __init__(self, folder, program, rng):
        self.folder = folder
        self.program = program
        self.rng = rng
        self.sent = []
        self.counts = collections.Counter()
        self.told = set()
        self.outputs = 0
        self.state = folder / "state"
        self.outbox = self.state / "rbx" / "outbox"
        for part in ("Maildir/new", "Maildir/cur", "Maildir/tmp", "config/rbx", "delivered", "state", "output"):
            (folder / part).mkdir(parents=True)
        (folder / "config/rbx/rbx_prefs.ini").write_text(
            PREFERENCES.format(home=folder), encoding="ascii")
        command = folder / "sendmail"
        command.write_text(COMMAND, encoding="ascii")
        command.chmod(0o755)
        self.plan("work")

    def plan(self, word):
        """What the delivery command does from now on."""
        new = self.folder / "plan.new"
        new.write_text(word + "\n", encoding="ascii")
        new.rename(self.folder / "plan")

    def deliver(self):
        """One message, as a mail server delivers it."""
        number = len(self.sent) + 1
        token = f"t{number}x{self.rng.randrange(10**9)}"
        filler = "".join(self.rng.choices("abcdefgh \n", k=self.rng.choice((10, 200, 3000, 60000))))
        text = (f"From: Ann <ann@sender.example>\nTo: me@here.example\nSubject: {token}\n"
                f"Message-ID: <{token}@sender.example>\nDate: Fri, 20 Nov 2026 15:04:05 +0000\n\n"
                f"{filler}\nEND {token} END\n")
        name = f"{int(time.time())}.M{number}P{os.getpid()}.host.example"
        path = self.folder / "Maildir/tmp" / name
        path.write_text(text, encoding="ascii")
        path.rename(self.folder / "Maildir/new" / name)
        self.sent.append(token)

    def start(self, checks, state=None):
        self.outputs += 1
        output = self.folder / "output" / f"{self.outputs}.txt"
        environment = {
            "HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder / "config"),
            "XDG_STATE_HOME": str(state or self.state), "LC_ALL": "C.UTF-8", "TZ": "UTC",
            "PATH": "/usr/bin:/bin"}
        with open(output, "wb") as out:
            process = subprocess.Popen([self.program], stdin=subprocess.PIPE, stdout=out,
                                       stderr=subprocess.STDOUT, env=environment, start_new_session=True,
                                       restore_signals=False)  # A file that is too large: an error.
        process.output = output
        try:
            process.stdin.write((CHECK * checks).encode())
            process.stdin.close()
        except BrokenPipeError:
            pass  # It was refused, and has ended.
        return process

    def ended(self, process, may_refuse=False):
        """Waits for its end. A death that nobody ordered is counted, and so is a program that has nothing
        to say for long. As long as it says something it is slow, as programs are on a busy machine."""
        status = None
        while status is None:
            said = process.output.stat().st_size
            try:
                status = process.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                if process.output.stat().st_size == said:
                    kill(process)
                    self.counts["crashed"] += 1
                    return
        text = process.output.read_text(encoding="utf-8", errors="replace")
        refused = status == 1 and "is in use by" in text
        if not (status == 0 or (may_refuse and refused)):
            self.counts["crashed"] += 1

    def read_logs(self):
        """What the programs have told as failed, and how many lines tell of a fault."""
        self.counts["faults met"] = 0
        for output in (self.folder / "output").iterdir():
            text = output.read_text(encoding="utf-8", errors="replace")
            self.counts["faults met"] += len(MET.findall(text))
            self.told.update(re.findall(r"Tried but failed to forward (t\d+x\d+) at ", text))

    def delivered(self):
        """The Message-IDs of the forwards by token, and the tokens of those that are not whole."""
        ids = collections.defaultdict(list)
        damaged = set()
        for file in (self.folder / "delivered").iterdir():
            if file.name.startswith("."):
                continue  # Its command was killed before it had all.
            text = file.read_text(encoding="utf-8", errors="replace")
            token = re.search(r"^Subject: (?:FW: )?(t\d+x\d+)$", text, re.M)
            message_id = re.search(r"^Message-ID:\s*(\S+)", text, re.M | re.I)
            if not token or not message_id:
                damaged.add(file.name)
                continue
            ids[token[1]].append(message_id[1])
            if not re.search(rf"END {token[1]} END\s*$", text):
                damaged.add(token[1])
        return ids, damaged

    def waiting(self):
        return [each for part in ("new", "tmp") for each in files_in(self.outbox / part)]

    def unread(self):
        return (files_in(self.folder / "Maildir/new") +
                [each for each in files_in(self.folder / "Maildir/cur") if not is_read(each)])

    def mark_unread(self, tokens):
        for file in files_in(self.folder / "Maildir/cur"):
            if is_read(file) and any(f"\nSubject: {token}\n" in head(file) for token in tokens):
                file.rename(file.with_name(file.name.split(":2,")[0] + ":2,"))

    def end_commands(self):
        """Those that still hang after their program was killed."""
        commands = self.folder / "commands"
        for number in commands.read_text(encoding="ascii").split() if commands.exists() else ():
            try:
                if b"sleep\0001000" in pathlib.Path(f"/proc/{number}/cmdline").read_bytes():
                    os.kill(int(number), signal.SIGKILL)
            except (OSError, ProcessLookupError):
                pass

    def settle(self):
        """The trouble is over: runs the program until nothing is left to do."""
        self.plan("work")
        retried = set()
        for _ in range(LAST_RUNS):
            self.read_logs()
            ids, _ = self.delivered()
            queued = {token for token in self.sent
                      if any(token in head(file) for file in self.waiting())}
            missed = self.told - set(ids) - queued
            self.mark_unread(missed)
            retried |= missed
            if not missed and not self.unread() and not self.waiting():
                break
            self.ended(self.start(2))
        self.counts["told, and tried again"] = len(retried)

    def count(self):
        ids, damaged = self.delivered()
        self.counts["messages"] = len(self.sent)
        self.counts["lost"] = sum(token not in ids for token in self.sent)
        self.counts["doubled"] = sum(len(set(each)) > 1 for each in ids.values())
        self.counts["damaged"] = len(damaged)
        self.counts["copies"] = sum(len(each) - len(set(each)) for each in ids.values())
        self.counts["left over"] = (len(self.unread()) + len(self.waiting()) +
                                    len(files_in(self.outbox / "failed")))


def kill(process):
    """The program and all that it has started, at once."""
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


def files_in(folder):
    try:
        return [each for each in folder.iterdir() if each.is_file() and not each.name.startswith(".")]
    except (FileNotFoundError, NotADirectoryError):
        return []


def is_read(file):
    return "S" in file.name.partition(":2,")[2]


def head(file):
    try:
        with open(file, "rb") as stream:
            return stream.read(4000).decode("utf-8", errors="replace")
    except FileNotFoundError:
        return ""


class Mail(threading.Thread):
    """Delivers to a home as long as its trouble lasts."""

    def __init__(self, home, until, pause):
        super().__init__()
        self.home, self.until, self.pause = home, until, pause

    def run(self):
        while time.monotonic() < self.until:
            self.home.deliver()
            time.sleep(self.home.rng.uniform(0, 2 * self.pause))


def storm(home, until):
    while time.monotonic() < until:
        home.ended(home.start(3))


def kills(home, until):
    """The kill may fall into the start, the pass, the pause after it or a delivery."""
    while time.monotonic() < until:
        process = home.start(5)
        time.sleep(home.rng.choice((0.02, 0.1, 0.3, 1, 3)) * home.rng.uniform(0.2, 2))
        kill(process)
        home.counts["killed"] += 1


def disk_full(home, until):
    """The disk of the outbox is small and fills up again and again. Where no file system can be made for
    that, no file of the program may grow beyond a bound instead."""
    ballast = home.state / "ballast"
    ballast.touch()
    while time.monotonic() < until:
        process = home.start(1)
        while process.poll() is None and time.monotonic() < until + 30:
            if MOUNTS:
                fill(ballast)
            else:
                limit_files(process, home.rng.choice((0, 500, 20000)))
            time.sleep(home.rng.uniform(0.05, 0.7))
            if MOUNTS:
                os.truncate(ballast, 0)
            else:
                limit_files(process, resource.RLIM_INFINITY)
            time.sleep(home.rng.uniform(0.05, 1.5))
        home.ended(process)


def fill(ballast):
    """Takes all the room that is left on a disk, whatever the size of its blocks."""
    with open(ballast, "ab", buffering=0) as file:
        for size in (65536, 4096, 512, 1):
            try:
                while True:
                    file.write(b"\0" * size)
            except OSError:
                pass


def limit_files(process, size):
    try:
        resource.prlimit(process.pid, resource.RLIMIT_FSIZE, (size, resource.RLIM_INFINITY))
    except (ProcessLookupError, PermissionError):
        pass


def file_in_the_way(home, until):
    """A folder of the outbox is away for a while, with a file in its place: no rename succeeds."""
    while time.monotonic() < until:
        process = home.start(1)
        while process.poll() is None:
            time.sleep(home.rng.uniform(0.05, 0.7))
            folder = home.outbox / home.rng.choice(("new", "tmp"))
            aside = home.outbox / "aside"
            try:
                folder.rename(aside)
            except FileNotFoundError:
                continue  # It has not been made yet.
            folder.write_bytes(b"")
            time.sleep(home.rng.uniform(0.05, 0.7))
            folder.unlink()
            aside.rename(folder)
        home.ended(process)


def bad_command(home, until):
    """Refuses for now, hangs, is slow, or dies after it has taken the message."""
    while time.monotonic() < until:
        process = home.start(2)
        end = time.monotonic() + home.rng.uniform(3, 10)
        while process.poll() is None and time.monotonic() < end:
            home.plan(home.rng.choice(("work", "work", "slow", "refuse", "hang", "die")))
            time.sleep(home.rng.uniform(0.05, 1))
        home.plan("work")
        if process.poll() is None:
            process.terminate()  # As a service manager ends it, also while the command hangs.
        home.ended(process)


def two_at_once(home, until):
    """Further programs try to get at the mailbox, with the same state folder or with another one. While
    the first one has it, none may."""
    other = home.folder / "other-state"
    while time.monotonic() < until:
        first = home.start(3)
        has_it = wait_for_words(first, "program: ")
        while has_it and first.poll() is None:
            second = home.start(1, home.rng.choice((home.state, other)))
            home.ended(second, may_refuse=True)
            if second.returncode == 0 and first.poll() is None:
                home.counts["let in"] += 1
            time.sleep(home.rng.uniform(0, 0.5))
        home.ended(first)
    shutil.rmtree(other, ignore_errors=True)


def wait_for_words(process, words):
    for _ in range(600):
        if words in process.output.read_text(encoding="utf-8", errors="replace"):
            return True
        if process.poll() is not None:
            return False
        time.sleep(0.05)
    return False


def all_at_once(home, until):
    """Kills while the command is bad and second programs with the same state folder take turns."""
    running = []
    while time.monotonic() < until:
        home.plan(home.rng.choice(("work", "slow", "refuse", "hang", "die")))
        running.append(home.start(3))
        time.sleep(home.rng.uniform(0.05, 2))
        if len(running) == 3:
            kill(running.pop(home.rng.randrange(3)))
            home.counts["killed"] += 1
    for process in running:
        kill(process)


TROUBLE = dict(zip(KINDS, (storm, kills, disk_full, file_in_the_way, bad_command, two_at_once, all_at_once)))


def mount_small_disk(folder):
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4m,mode=700", "relaybird-torture", str(folder)],
                   check=True)


def one_round(program, kind, seed):
    rng = random.Random(seed)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="relaybird-torture-"))
    home = Home(folder, program, rng)
    mounted = MOUNTS and kind == "disk full"
    if mounted:
        mount_small_disk(home.state)
    until = time.monotonic() + ROUND
    mail = Mail(home, until, 0.05 if kind == "storm" else 0.3)
    mail.start()
    try:
        TROUBLE[kind](home, until)
        mail.join()
        home.settle()
        home.count()
    finally:
        home.end_commands()
        if mounted:
            subprocess.run(["umount", "--lazy", str(home.state)], check=False)
    bad = any(home.counts[each] for each in COUNTED)
    if bad:
        print(f"round of {kind!r}, seed {seed}: {describe(home.counts)}; see {folder}", flush=True)
    else:
        shutil.rmtree(folder, ignore_errors=True)
    return kind, home.counts


def describe(counts):
    names = ("messages", *COUNTED, "copies", "told, and tried again", "killed", "faults met")
    return ", ".join(f"{name} {counts[name]}" for name in names)


def rounds(program, minutes, seed, kinds):
    """One after the other of every kind, some at a time, until the time is up."""
    end = time.monotonic() + 60 * minutes
    rng = random.Random(seed)
    total = collections.defaultdict(collections.Counter)
    at_once = (os.cpu_count() or 1) + 1
    with concurrent.futures.ThreadPoolExecutor(at_once) as pool:
        under_way = set()
        number = 0
        while under_way or time.monotonic() < end:
            while len(under_way) < at_once and time.monotonic() + ROUND < end:
                under_way.add(pool.submit(one_round, program, kinds[number % len(kinds)], rng.random()))
                number += 1
            if not under_way:
                break
            done, under_way = concurrent.futures.wait(
                under_way, return_when=concurrent.futures.FIRST_COMPLETED)
            for each in done:
                kind, counts = each.result()
                total[kind]["rounds"] += 1
                total[kind].update(counts)
    return total


def main(arguments):
    program = str(pathlib.Path(arguments[0]).resolve())
    minutes = float(arguments[1])
    seed = int(arguments[2]) if len(arguments) > 2 else random.randrange(10**9)
    kinds = [each for each in KINDS if not arguments[3:] or each in arguments[3:]]
    print(f"seed {seed}, {minutes:g} minutes; disk full by "
          f"{'a small file system' if MOUNTS else 'a bound on the size of files'}", flush=True)
    total = rounds(program, minutes, seed, kinds)
    everything = collections.Counter()
    for kind in kinds:
        print(f"{kind} (rounds {total[kind]['rounds']}): {describe(total[kind])}")
        everything.update(total[kind])
    print(f"in all (rounds {everything['rounds']}): {describe(everything)}")
    none_tried = any(not total[kind]["messages"] for kind in kinds)
    if none_tried:
        print("too short: not every kind of trouble had a round")
    return 1 if none_tried or any(everything[each] for each in COUNTED) else 0


def can_mount():
    folder = tempfile.mkdtemp(prefix="relaybird-torture-")
    try:
        mount_small_disk(folder)
        subprocess.run(["umount", folder], check=True)
        return True
    except (subprocess.CalledProcessError, FileNotFoundError):
        return False
    finally:
        os.rmdir(folder)


MOUNTS = can_mount()

if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
