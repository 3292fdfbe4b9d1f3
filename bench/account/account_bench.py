# SPDX-License-Identifier: MIT
"""account_bench.py CONSOLE RAW_CLIENT SINK [PART...]: an account, measured against other ways.

"forward": 500 of 1,000 unread messages go from a Dovecot to a server that takes everything at once, by the
program, by a raw client that does the same network work and the same syncs, and by a careful script over
imaplib and smtplib. "classic": the same by imapfilter and fetchmail, driving a command for each message.
"send": 500 messages of an outbox over SMTP, by the program and by the raw client on one connection, at three
distances, and at two of them to a server without PIPELINING. "quiet": a check that finds nothing new among
10,000 decided messages. "large": messages with attachments of 25 MB. "crowded": headers of 100 KB. "huge": half
a million unread messages, at a server that makes them when they are asked for. "responsive": the longest time
in which the program reacts to nothing, during a check of a server far away. Without a part, all of them. The
clients take turns, and each figure is the median of its runs, from the client's start to the last accepted
message; that of the program begins with its command, when it has started, and that of the script when Python
has started and has its libraries. Nothing stands between the clients and the servers in these runs but the
distance, which a proxy makes; the round trips are counted by a proxy in a run of its own. Prints the rows of the
table in docs/performance.md, and ends with status 1 if a limit is exceeded.
"""

import base64
import imaplib
import os
import pathlib
import random
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "tests/support/servers"))
import client  # noqa: E402
from huge_server import HugeServer  # noqa: E402

ROUNDS = 5
UNREAD = 1000
WANTED = UNREAD // 2
PASSWORD = "secret"
MEMORY = 64  # MB, whatever the mailbox

LINE = "0123456789 " * 7 + "\n"
HEAD = """From: Some Body <some@{side}.example>
To: me@here.example
Subject: Message {number}
Date: Sat, 21 Nov 2026 10:00:00 +0000
Message-ID: <{number}@{side}.example>
MIME-Version: 1.0
"""
LARGE = """Content-Type: multipart/mixed; boundary=parts

--parts
Content-Type: text/plain

{text}
--parts
Content-Type: application/octet-stream; name=large.bin
Content-Disposition: attachment; filename=large.bin
Content-Transfer-Encoding: base64

{large}
--parts--
"""
ATTACHMENT = base64.encodebytes(random.Random(1).randbytes(1 << 20)).decode()


def message(number, side):
    """4 KB; one in twenty of each side has an attachment of 1 MB."""
    head = HEAD.format(number=number, side=side)
    text = LINE * 49
    if number // 2 % 20 == 0:
        return head + LARGE.format(text=text, large=ATTACHMENT)
    return head + "Content-Type: text/plain\n\n" + text


def fill(servers):
    """A user with UNREAD messages, every other one from wanted.example, which Dovecot has indexed."""
    user = servers.fresh_user()
    for number in range(UNREAD):
        servers.deliver(user, number, message(number, "wanted" if number % 2 else "other").encode())
    imap = imaplib.IMAP4("127.0.0.1", int(servers.places["plain.imap"]))
    imap.login(user, PASSWORD)
    imap.select()
    imap.fetch("1:*", "(BODYSTRUCTURE RFC822.SIZE)")
    imap.logout()
    return user


class Sink:
    """The server that takes everything at once."""

    def __init__(self, program, pipelining=True):
        self.process = subprocess.Popen([program, *([] if pipelining else ["lockstep"])], text=True, bufsize=1,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.port = self.process.stdout.readline().strip()

    def ask(self, command):
        self.process.stdin.write(command + "\n")
        return self.process.stdout.readline().split()

    def counts(self):
        """How many messages have come, and when the last one did."""
        messages, last = self.ask("counts")
        return int(messages), float(last)

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


class Run:
    """One client against a sink of its own. Its folder is for what the client keeps."""

    def __init__(self, sink, folder, port):
        self.sink, self.folder, self.port = sink, folder, port
        folder.mkdir()
        self.begun = 0.0

    def run(self, *command, **more):
        self.begun = time.monotonic()
        return subprocess.run([str(word) for word in command], check=True, cwd=self.folder, **more)

    def taken(self):
        return self.sink.counts()[0]

    def seconds(self, expected):
        """From the start of the client's work to the last message."""
        messages, last = self.sink.counts()
        if messages != expected:
            raise RuntimeError(f"{messages} messages of {expected} have arrived")
        return last - self.begun

    def close(self):
        self.sink.close()
        shutil.rmtree(self.folder)


def raw_forward(run, imap_port, user, raw):
    run.run(raw, "forward", imap_port, run.port, user, PASSWORD, "@wanted.example", run.folder / "outbox")


# The program runs already when it is told to forward, so the start of Python does not count either.
def script_forward(run, imap_port, user, _):
    done = run.run("/usr/bin/python3", HERE / "script_client.py", imap_port, run.port, user, PASSWORD,
                   "@wanted.example", stdout=subprocess.PIPE)
    run.begun = float(done.stdout)


# The command of the two classic programs: sends what it gets, if the sender is wanted.
def delivery_script(run):
    script = run.folder / "deliver"
    script.write_text(
        "#!/bin/sh\nmessage=$(mktemp)\ncat >$message\n"
        "if sed '/^\\r*$/q' $message | grep -q '^From:.*@wanted.example'; then\n"
        f"  msmtp --host=127.0.0.1 --port={run.port} --auth=off --tls=off --from=me@here.example "
        "cell@phone.example <$message\nfi\nrm $message\n", encoding="ascii")
    script.chmod(0o755)
    return script


def imapfilter_forward(run, imap_port, user, _):
    (run.folder / "config.lua").write_text(f"""
options.timeout = 120
options.starttls = false
account = IMAP {{ server = '127.0.0.1', port = {imap_port}, username = '{user}', password = '{PASSWORD}' }}
wanted = account.INBOX:is_unseen() * account.INBOX:contain_from('@wanted.example')
for _, message in ipairs(wanted) do
  mailbox, uid = table.unpack(message)
  pipe_to('{delivery_script(run)}', mailbox[uid]:fetch_message())
end
wanted:mark_seen()
""", encoding="ascii")
    run.run("imapfilter", "-c", run.folder / "config.lua", stdout=subprocess.DEVNULL,
            env={**os.environ, "HOME": str(run.folder)})


def fetchmail_forward(run, imap_port, user, _):
    settings = run.folder / "fetchmailrc"
    settings.write_text(f"poll 127.0.0.1 service {imap_port} protocol imap auth password username {user} "
                        f"password {PASSWORD} sslproto '' keep mda {delivery_script(run)}\n", encoding="ascii")
    settings.chmod(0o600)
    run.run("fetchmail", "-f", settings, "--pidfile", run.folder / "pid", "--silent",
            env={**os.environ, "FETCHMAILHOME": str(run.folder)})


# What the program is told: forward everything from wanted.example to one address.
PREFERENCES = """[default]
mstrFwdToAddress_num=1
mstrFwdToAddress_1=cell@phone.example
mlngMaxToForward=30000
mdblFwdToFrequency=2
mbolFwdUponStart=1
mintSenderFilter=501
mcolSenderList_num=1
mcolSenderList_1=@wanted.example
[mail]
address=me@here.example
name=Me
max_per_hour=1000000
delivery=smtp
smtp_host=127.0.0.1
smtp_security=none
smtp_sign_in=none
smtp_port={port}
{mailbox}
"""
ACCOUNT = """store=account
imap_host=127.0.0.1
imap_security=none
imap_port={port}
imap_user={user}
imap_secret=command
imap_secret_command=/bin/echo secret
"""


class Program:
    """The console with a home in the run's folder."""

    def __init__(self, console, run, mailbox):
        self.run = run
        settings = run.folder / "config/rbx"
        settings.mkdir(parents=True)
        (settings / "rbx_prefs.ini").write_text(PREFERENCES.format(port=run.port, mailbox=mailbox), encoding="ascii")
        self.output = run.folder / "output"
        self.process = subprocess.Popen(
            [console], stdin=subprocess.PIPE, stdout=open(self.output, "wb"), bufsize=0,
            env={"HOME": str(run.folder), "XDG_CONFIG_HOME": str(run.folder / "config"), "LC_ALL": "C.UTF-8",
                 "XDG_STATE_HOME": str(run.folder / "state"), "PATH": "/usr/bin:/bin"})
        self.wait_for(lambda: b"refused: 0" in self.output.read_bytes())

    def command(self, text):
        self.run.begun = time.monotonic()
        self.process.stdin.write(text.encode())

    def wait_for(self, reached, patience=300, pause=0.005):
        end = time.monotonic() + patience
        while not reached():
            if time.monotonic() > end or self.process.poll() is not None:
                raise RuntimeError(f"the program does not get on:\n{self.output.read_text()[-2000:]}")
            time.sleep(pause)

    def peak(self):
        """Its peak memory so far, in MB."""
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="ascii")
        return int(status.partition("VmHWM:")[2].split()[0]) / 1000

    def close(self):
        """Its peak memory in MB."""
        peak = self.peak()
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        return peak


TEST = "answer OK Yes OK\ntest\n"


def program_forward(run, imap_port, user, console):
    program = Program(console, run, ACCOUNT.format(port=imap_port, user=user))
    program.command(TEST)
    # Seldom: who asks the sink keeps it from its work. It knows itself when the last message came.
    program.wait_for(lambda: run.taken() >= WANTED, pause=0.1)
    run.memory = program.close()


class Bench:
    def __init__(self, servers, folder, console, raw, sink):
        self.servers, self.folder, self.console, self.raw, self.sink = servers, folder, console, raw, sink
        self.runs = 0
        self.rows = []
        self.failed = False
        self.program_seconds = []

    def new_run(self, delay=0, pipelining=True):
        self.runs += 1
        sink = Sink(self.sink, pipelining)
        port = self.servers.ask(f"proxy {sink.port} delay={delay}")["port"] if delay else sink.port
        return Run(sink, self.folder / f"run{self.runs}", port)

    def claim(self, what, figure, limit, *, measured="", against="", at_least=False):
        """A row of the table; `figure` is what the limit is for."""
        holds = figure >= limit if at_least else figure <= limit
        self.failed |= not holds
        print(f"{what}: {figure:.3g}{'' if holds else '   EXCEEDED'}", flush=True)
        self.rows.append(f"| {what} | {measured} | {against} | {figure:.3g} | "
                         f"{'at least ' if at_least else ''}{limit:g}{'' if holds else ' EXCEEDED'} |")

    def compare(self, what, one, other, limit, at_least=False):
        self.claim(what, one / other, limit, measured=f"{one:.2f} s", against=f"{other:.2f} s", at_least=at_least)

    def forward_once(self, forward, helper):
        user, run = fill(self.servers), self.new_run()
        forward(run, self.servers.places["plain.imap"], user, helper)
        seconds = run.seconds(WANTED)
        run.close()
        return seconds

    def forward(self):
        clients = {"program": (program_forward, self.console), "raw": (raw_forward, self.raw),
                   "script": (script_forward, None)}
        times = {name: [] for name in clients}
        for _ in range(ROUNDS):
            for name, (forward, helper) in clients.items():
                times[name].append(self.forward_once(forward, helper))
        self.program_seconds = times["program"]
        program, raw, script = (statistics.median(each) for each in times.values())
        self.compare(f"forwarding {WANTED} of {UNREAD} messages, against the raw client", program, raw, 2)
        self.compare("the careful script, against that forwarding", script, program, 4, True)
        self.round_trips()

    def round_trips(self):
        user, run = fill(self.servers), self.new_run()
        way = self.servers.ask(f"proxy {self.servers.places['plain.imap']}")
        program_forward(run, way["port"], user, self.console)
        turns = float(self.servers.ask(f"counts {way['name']}")["turns"])
        self.claim("IMAP round trips a forwarded message", turns / WANTED, 0.2, measured=f"{turns:g}")
        self.claim("peak memory of that, in MB", run.memory, MEMORY)
        run.close()

    def classic(self):
        if not self.program_seconds:
            self.program_seconds = [self.forward_once(program_forward, self.console) for _ in range(ROUNDS)]
        program = statistics.median(self.program_seconds)
        for name, forward in (("imapfilter", imapfilter_forward), ("fetchmail", fetchmail_forward)):
            self.compare(f"{name} with a command for each message, against that forwarding",
                         self.forward_once(forward, None), program, 20, True)

    def waiting_outbox(self, run):
        """Forwards of the wanted messages as they wait in an outbox, for the raw client."""
        folder = run.folder / "messages"
        folder.mkdir()
        for number in range(1, UNREAD, 2):
            (folder / f"{number:05}").write_bytes(message(number, "wanted").replace("\n", "\r\n").encode())
        return folder

    def program_send(self, run):
        """The messages wait already, as the program was told to forward while no server answered."""
        maildir = run.folder / "Maildir"
        for part in ("new", "cur", "tmp"):
            (maildir / part).mkdir(parents=True)
        for number in range(1, UNREAD, 2):
            (maildir / "new" / f"{1800000000 + number}.M{number}P1.host").write_text(
                message(number, "wanted"), encoding="ascii")
        run.sink.ask("close")
        program = Program(self.console, run, f"store=maildir\nmaildir={maildir}")
        program.command(TEST + "wait idle 300\n")
        program.wait_for(lambda: b"Test Complete" in program.output.read_bytes())
        run.sink.ask("open")
        program.command("retry\n")
        program.wait_for(lambda: run.taken() >= WANTED)
        program.close()

    def raw_send(self, run):
        run.run(self.raw, "send", run.port, self.waiting_outbox(run))

    def send(self):
        for delay, pipelining, limit in ((0, True, 1.5), (20, True, 0.4), (80, True, 0.4), (20, False, 1.45),
                                         (80, False, 1.45)):
            times = {"program": [], "raw": []}
            for _ in range(ROUNDS if delay == 0 else 1):
                for name in times:
                    # The raw client always has one round trip a message.
                    run = self.new_run(delay, pipelining or name == "raw")
                    if name == "raw":
                        self.raw_send(run)
                    else:
                        self.program_send(run)
                    times[name].append(run.seconds(WANTED))
                    run.close()
            program, raw = (statistics.median(each) for each in times.values())
            words = f"at {delay} ms" if delay else "at once"
            self.compare(f"sending {WANTED} messages {words}{'' if pipelining else ' without PIPELINING'}, "
                         "against the raw client on one connection", program, raw, limit)

    def quiet(self):
        """The checks are two minutes apart, the shortest time that can be set."""
        user, many = self.servers.fresh_user(), 10000
        for number in range(many):
            self.servers.deliver(user, number, message(2 * number + 3, "other").encode()[:600])
        run = self.new_run()
        way = self.servers.ask(f"proxy {self.servers.places['plain.imap']}")
        program = Program(self.console, run, ACCOUNT.format(port=way["port"], user=user))
        program.command("answer Yes OK OK\nstart\n")
        figures = []
        for checks in (1, 2):
            program.wait_for(lambda: program.output.read_bytes().count(b"Completed Email Check") == checks)
            time.sleep(5)  # what follows a check
            figures.append(self.servers.ask(f"counts {way['name']}"))
        memory = program.close()
        run.close()
        turns, octets = (sum(float(figures[1][key]) - float(figures[0][key]) for key in keys)
                         for keys in (("turns",), ("up", "down")))
        self.claim(f"a check that finds nothing new among {many:,} decided messages: round trips", turns, 3)
        self.claim("the same: bytes", octets, 2048)
        self.claim("the same: peak memory in MB", memory, MEMORY)

    def large(self):
        user, run, many = self.servers.fresh_user(), self.new_run(), 4
        attachment = base64.encodebytes(random.Random(2).randbytes(25 << 20)).decode()
        for number in range(many):
            head = HEAD.format(number=number, side="wanted")
            self.servers.deliver(user, number, (head + LARGE.format(text=LINE, large=attachment)).encode())
        program = Program(self.console, run, ACCOUNT.format(port=self.servers.places["plain.imap"], user=user))
        program.command(TEST)
        program.wait_for(lambda: run.taken() >= many)
        self.claim(f"peak memory with {many} attachments of 25 MB, in MB", program.close(), MEMORY)
        run.close()


    def crowded(self):
        """Messages to a whole town: 100 KB of addressees in each header."""
        user, run, many = self.servers.fresh_user(), self.new_run(), 1000
        town = ",\n ".join(f"Neighbour {i:04} <neighbour{i:04}@town.example>" for i in range(2200))
        for number in range(many):
            side = "wanted" if number % 50 == 1 else "other"
            self.servers.deliver(user, number, f"Cc: {town}\n{message(number, side)}".encode())
        program = Program(self.console, run, ACCOUNT.format(port=self.servers.places["plain.imap"], user=user))
        program.command(TEST)
        program.wait_for(lambda: run.taken() >= many // 50)
        self.claim(f"peak memory with {many:,} headers of 100 KB, in MB", program.close(), MEMORY)
        run.close()


    def huge(self):
        """The first check, one that finds nothing new, one that forwards, and one that forwards large attachments.
        No two unread messages adjoin."""
        many, new, large = 500000, 20, 4
        server, run = HugeServer(many), self.new_run()
        program = Program(self.console, run, ACCOUNT.format(port=server.port, user="me"))
        program.command("answer Yes OK OK\nstart\n")
        for checks in (1, 2):
            program.wait_for(lambda: program.output.read_bytes().count(b"Completed Email Check") == checks)
            if checks == 1:
                self.claim(f"the first check of {many:,} unread messages, in seconds",
                           time.monotonic() - run.begun, 30)
        server.arrive(new, wanted=True)
        program.wait_for(lambda: run.taken() >= new)
        self.claim(f"peak memory with {many:,} unread messages, in MB", program.peak(), MEMORY)
        server.arrive(large, wanted=True, attachment=random.Random(2).randbytes(25 << 20))
        program.wait_for(lambda: run.taken() >= new + large)
        self.claim(f"the same with {large} attachments of 25 MB among them, in MB", program.close(), MEMORY)
        server.close()
        run.close()

    def responsive(self):
        """How long the program does not react while a check waits for a server far away: to the signal to read its
        preferences again, which any loop of events serves. Nothing is forwarded, as that waits for the disk. Until
        the check is over: the console runs no events in the three seconds after it."""
        user, run = self.servers.fresh_user(), self.new_run()
        for number in range(UNREAD):
            self.servers.deliver(user, number, message(number, "other").encode())
        way = self.servers.ask(f"proxy {self.servers.places['plain.imap']} delay=300")
        ours = signal.signal(signal.SIGHUP, signal.SIG_DFL)  # under nohup the program would ignore it
        program = Program(self.console, run, ACCOUNT.format(port=way["port"], user=user))
        signal.signal(signal.SIGHUP, ours)
        program.command("answer Yes OK OK\nstart\n")
        times = []
        while True:
            said = program.output.read_bytes()
            begun = time.monotonic()
            program.process.send_signal(signal.SIGHUP)
            program.wait_for(lambda: any(program.output.read_bytes().count(word) > said.count(word)
                                         for word in (b"have been read again", b"Completed Email Check")))
            if b"Completed Email Check" in program.output.read_bytes():
                break
            times.append(time.monotonic() - begun)
        if len(times) < 20:
            raise RuntimeError(f"the check was over after {len(times)} signals")
        program.close()
        run.close()
        self.claim("the longest time without a reaction during a check at 300 ms, in seconds", max(times), 0.1,
                   measured=f"{len(times)} signals")


PARTS = ("forward", "classic", "send", "quiet", "large", "crowded", "huge", "responsive")


def main():
    *programs, parts = *sys.argv[1:4], sys.argv[4:] or PARTS
    if not set(parts) <= set(PARTS):
        sys.exit(f"the parts are: {' '.join(PARTS)}")
    with tempfile.TemporaryDirectory(prefix="relaybird-") as folder:
        folder = pathlib.Path(folder)
        folder.chmod(0o711)
        (folder / "servers").mkdir()
        servers = client.Servers(folder / "servers")
        bench = Bench(servers, folder, *(pathlib.Path(each).resolve() for each in programs))
        try:
            for part in parts:
                getattr(bench, part)()
        finally:
            servers.close()
    print("\n| Claim | Measured | Against | Ratio or figure | Limit |\n|---|---:|---:|---:|---:|")
    print("\n".join(bench.rows))
    return 1 if bench.failed else 0


if __name__ == "__main__":
    sys.exit(main())
