#!/usr/bin/python3
"""Looks for a password or token where it must not be.

A unique secret is put into each place that the program takes secrets from. A process gets it from
there and signs in to a server of this test, over TLS. Then the test searches for the secret in what a
core dump of that process would hold, its command line and those of its commands, its log, its output,
and every file in its home.

The same is done with the program itself, which reads an account and delivers a forward over SMTP, and
with what is typed into it.

secret_leaks.py KEEPER CONSOLE DOUBLES SERVERS [CLASS.test]
"""
import base64
import binascii
import os
import pathlib
import pty
import secrets
import select
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import unittest

from core_dump import in_core_dump

KEEPER = os.path.abspath(sys.argv.pop(1))
CONSOLE = os.path.abspath(sys.argv.pop(1))
DOUBLES = os.path.abspath(sys.argv.pop(1))
SERVERS = os.path.abspath(sys.argv.pop(1))
PIECE = 12  # bytes: what a secret may leave behind is often without its beginning


def forms(secret):
    """What to search for: pieces of the secret, as they are and in base64 at each alignment."""
    found = {}
    for start in range(0, len(secret) - PIECE + 1, PIECE):
        piece = secret[start:start + PIECE]
        found[piece] = f"bytes {start} to {start + PIECE}"
        for shift in range(3):
            # The characters at both ends depend on the neighbours.
            code = base64.b64encode(b"\0" * shift + piece)
            found[code[4 if shift else 0:len(piece) * 4 // 3 // 4 * 4]] = f"base64 of bytes from {start}"
    return found


class Server(threading.Thread):
    """A server over TLS for one connection, which accepts the sign-in or refuses it."""

    def __init__(self, folder, accepts=True):
        super().__init__(daemon=True)
        self.accepts, self.seen = accepts, b""
        self.done = threading.Event()  # a message was taken
        self.certificate = str(folder / "certificate.pem")
        key = str(folder / "key.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                        "-nodes", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
                        "-keyout", key, "-out", self.certificate], check=True, capture_output=True)
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(self.certificate, key)
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.start()

    def run(self):
        with self.listener:
            connection, _ = self.listener.accept()
        with self.context.wrap_socket(connection, server_side=True) as stream:
            lines = stream.makefile("rwb", 0)
            lines.write(self.GREETING)
            for line in lines:
                self.seen += line
                lines.write(self.answer(line.strip()))

    def was_given(self, secret):
        """Whether it has seen the secret, alone or within one word in base64."""
        seen = [self.seen]
        for word in self.seen.split():
            try:
                seen.append(base64.b64decode(word, validate=True))
            except binascii.Error:
                pass
        return any(secret in text for text in seen)


class ImapServer(Server):
    GREETING = b"* OK [CAPABILITY IMAP4rev1 SASL-IR AUTH=PLAIN AUTH=XOAUTH2] ready\r\n"
    waiting = b""  # the tag of a sign-in under way

    def answer(self, line):
        tag, _, rest = line.partition(b" ")
        if self.waiting:
            tag, rest, self.waiting = self.waiting, b"AUTHENTICATED", b""
        words = rest.upper().split()
        if words[0] == b"CAPABILITY":
            return b"* CAPABILITY IMAP4rev1 SASL-IR AUTH=PLAIN AUTH=XOAUTH2\r\n" + tag + b" OK\r\n"
        if words[0] == b"AUTHENTICATE" and len(words) < 3:
            self.waiting = tag
            return b"+ \r\n"
        if words[0].startswith(b"AUTHENTICATE") and not self.accepts:
            return tag + b" NO [AUTHENTICATIONFAILED] wrong\r\n"
        return tag + b" OK done\r\n"


class SmtpServer(Server):
    GREETING = b"220 ready\r\n"
    in_text = signing_in = False

    def answer(self, line):
        if self.signing_in:
            self.signing_in = False
            return self.verdict()
        if self.in_text:
            if line != b".":
                return b""
            self.in_text = False
            self.done.set()
            return b"250 taken\r\n"
        verb = line.upper().split(b" ")[0]
        if verb == b"EHLO":
            return b"250-localhost\r\n250 AUTH PLAIN XOAUTH2\r\n"
        if verb == b"AUTH":
            self.signing_in = len(line.split()) < 3
            return b"334 \r\n" if self.signing_in else self.verdict()
        if verb == b"DATA":
            self.in_text = True
            return b"354 go on\r\n"
        return b"250 fine\r\n"

    def verdict(self):
        return b"235 welcome\r\n" if self.accepts else b"535 5.7.8 wrong\r\n"


class LeakTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.home = self.folder / "home"
        self.outside = self.folder / "outside"  # where the secret may be
        self.home.mkdir()
        self.outside.mkdir()
        self.log = self.home / "log"
        self.preferences = self.home / "rbx_prefs.ini"
        self.secret = secrets.token_hex(30).encode()
        self.environment = dict(os.environ, HOME=str(self.home), XDG_RUNTIME_DIR=str(self.folder))
        for name in ("DISPLAY", "XDG_DATA_HOME", "DBUS_SESSION_BUS_ADDRESS"):
            self.environment.pop(name, None)
        self.output = b""

    # The programs.

    def start(self, *arguments, **more):
        program = subprocess.Popen(arguments, env=self.environment, stdout=subprocess.PIPE, bufsize=0, **more)
        self.addCleanup(lambda: (program.kill(), program.communicate()))
        return program

    def start_bus(self):
        bus = self.start("dbus-daemon", "--session", "--nofork", "--print-address", f"--address=unix:path={self.folder}/bus",
                         stderr=subprocess.DEVNULL)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().decode().strip()

    def start_keyring(self):
        self.start_bus()
        keyring = self.start("gnome-keyring-daemon", "--unlock", "--components=secrets", "--foreground",
                             stdin=subprocess.PIPE, stderr=subprocess.DEVNULL)
        keyring.stdin.write(b"passphrase\n")
        keyring.stdin.close()
        keyring.stdin = None
        subprocess.run(["/usr/bin/python3", "-c", """
from gi.repository import Gio, GLib
loop = GLib.MainLoop()
Gio.bus_watch_name(Gio.BusType.SESSION, 'org.freedesktop.secrets', 0, lambda *_: loop.quit(), None)
loop.run()"""], env=self.environment, check=True)

    def start_online_accounts(self):
        """Account 1 has the secret as its token, account 2 a password that begins with it."""
        self.start_bus()
        double = self.start("/usr/bin/python3", DOUBLES, "accounts", "good", self.secret)
        self.assertEqual(double.stdout.readline(), b"ready\n")

    def keep_in_keyring(self, what="store"):
        """Under the server of the preference file."""
        storing = self.start(KEEPER, what, str(self.preferences), str(self.log), stdin=subprocess.PIPE)
        storing.stdin.write(self.secret + b"\n")
        storing.stdin.flush()
        self.expect(storing, "stored")
        self.assertEqual(self.leaks(storing), [], "after it was stored")

    def expect(self, keeper, words):
        line = keeper.stdout.readline()
        self.output += line
        self.assertTrue(line.decode().startswith(words), f"{line} instead of {words}")

    def go_on(self, keeper):
        keeper.stdin.write(b"\n")
        keeper.stdin.flush()

    # The search.

    def leaks(self, program):
        places = [("memory " + name, text) for name, text in in_core_dump(program.pid)]
        self.assertGreater(len(places), 20)
        places.append(("command line", pathlib.Path(f"/proc/{program.pid}/cmdline").read_bytes()))
        places.append(("environment", pathlib.Path(f"/proc/{program.pid}/environ").read_bytes()))
        return self.leaks_in(places) + self.leaks_on_disk()

    def leaks_on_disk(self):
        places = [("output", self.output)]
        for file in self.home.rglob("*"):
            if file.is_file():
                places.append((str(file.relative_to(self.home)), file.read_bytes()))
        return self.leaks_in(places)

    def leaks_in(self, places):
        wanted = forms(self.secret)
        return sorted({f"{form} in {place}" for place, text in places
                       for needle, form in wanted.items() if needle in text})

    def password_command(self):
        (self.outside / "password").write_bytes(self.secret + b"\nmore\n")
        command = self.outside / "print-password"
        command.write_text(f"#!/bin/sh\ntr '\\0' ' ' < /proc/$$/cmdline > {self.home}/children\n"
                           f"cat {self.outside}/password\n")
        command.chmod(0o700)
        return command


class SignInLeaks(LeakTest):
    """The parts of the programs that find a secret and sign in with it."""

    def write_preferences(self, server, **more):
        values = {"store": "account", "address": "ann@example.org", "imap_host": "localhost",
                  "imap_port": server.port, "imap_security": "tls", "imap_ca_file": server.certificate,
                  "imap_user": "ann", **more}
        self.preferences.write_text("[mail]\n" + "".join(f"{key}={value}\n" for key, value in values.items()))

    def keeper(self, what):
        return self.start(KEEPER, what, str(self.preferences), str(self.log), stdin=subprocess.PIPE)

    def check(self, server, what="sign-in", result="signed in"):
        keeper = self.keeper(what)
        self.expect(keeper, result)
        self.assertTrue(server.was_given(self.secret), "the server was given another secret")
        self.assertEqual(self.leaks(keeper), [], "while the connection is open")
        self.go_on(keeper)
        self.expect(keeper, "closed")
        self.assertEqual(self.leaks(keeper), [], "after it has closed")
        self.assertIn(b"AUTHENTICATE", self.log.read_bytes().upper())

    # The places.

    def test_command(self):
        server = ImapServer(self.folder)
        self.write_preferences(server, imap_secret="command", imap_secret_command=self.password_command())
        self.check(server)
        self.assertIn(b"print-password", (self.home / "children").read_bytes())

    def test_token_command(self):
        server = ImapServer(self.folder)
        self.write_preferences(server, imap_secret="token-command", imap_secret_command=self.password_command())
        self.check(server)

    def test_refused_password(self):
        server = ImapServer(self.folder, accepts=False)
        self.write_preferences(server, imap_secret="command", imap_secret_command=self.password_command())
        self.check(server, "refused", "refused: ")

    def test_credential(self):
        server = ImapServer(self.folder)
        (self.outside / "imap").write_bytes(self.secret + b"\n")
        self.environment["CREDENTIALS_DIRECTORY"] = str(self.outside)
        self.write_preferences(server, imap_secret="credential", imap_secret_name="imap")
        self.check(server)

    def test_online_account(self):
        for account in ("account_1", "account_2"):
            with self.subTest(account=account):
                server = ImapServer(self.folder)
                self.start_online_accounts()
                self.write_preferences(server, imap_secret="online-account", imap_secret_name=account)
                self.check(server)

    def test_keyring(self):
        server = ImapServer(self.folder)
        self.start_keyring()
        self.write_preferences(server, imap_secret="keyring")
        self.keep_in_keyring()
        self.check(server)

    # What the search itself finds.

    def test_a_copy_in_ordinary_memory_would_be_found(self):
        server = ImapServer(self.folder)
        self.write_preferences(server, imap_secret="command", imap_secret_command=self.password_command())
        keeper = self.keeper("leak")
        self.expect(keeper, "signed in")
        self.assertIn("bytes 0 to 12 in memory [heap]", self.leaks(keeper))

    def test_every_alignment_of_base64_would_be_found(self):
        for before in range(3):
            code = base64.b64encode(b"x" * before + self.secret + b"yz")
            found = [needle for needle in forms(self.secret) if needle in code]
            self.assertGreaterEqual(len(found), 5, before)
        self.assertTrue(all(len(needle) >= 10 for needle in forms(self.secret)))

    def test_a_secret_in_a_file_of_the_home_would_be_found(self):
        server = ImapServer(self.folder)
        self.write_preferences(server, imap_secret="command", imap_secret_command=self.password_command())
        keeper = self.keeper("sign-in")
        self.expect(keeper, "signed in")
        (self.home / "deep").mkdir()
        (self.home / "deep" / "note").write_bytes(base64.b64encode(self.secret))
        self.assertTrue(all(leak.endswith("in deep/note") for leak in self.leaks(keeper)))
        self.assertTrue(self.leaks(keeper))


class ProgramLeaks(LeakTest):
    """The program at a terminal, while it checks its mailbox and delivers a forward."""

    MESSAGE = "From: Bob <bob@example.com>\nTo: ann@example.org\nSubject: Hello\n\ntext\n"

    def setUp(self):
        super().setUp()
        self.environment.update(XDG_CONFIG_HOME=str(self.home / "config"), XDG_STATE_HOME=str(self.home / "state"))
        self.preferences = self.home / "config/rbx/rbx_prefs.ini"
        self.preferences.parent.mkdir(parents=True)
        # The trace of each step.
        (self.home / "state/rbx/rbxkey").mkdir(parents=True)
        (self.home / "state/rbx/rbxkey/db").touch()

    def write_preferences(self, settings):
        self.preferences.write_text("[mail]\naddress=ann@example.org\n" + "".join(
            f"{key}={value}\n" for key, value in settings.items()))

    def check(self, settings, words):
        """One test cycle, with everything logged; `words` have to be in the log."""
        self.write_preferences(settings)
        program = self.start(CONSOLE, stdin=subprocess.PIPE)
        program.stdin.write(b"settings txtAddress 5550100@sms.example.net\nclick frmRelaybird.cmdViewLog\n"
                            b"key frmLog.lstLog Ctrl+Shift+Alt+V\nset frmLog.chkVerboseLog on\n"
                            b"answer OK Yes OK OK\ntest\nwait idle 60\nlog 500\nshow the-end\n")
        while b"the-end" not in self.output:
            line = program.stdout.readline()
            self.assertTrue(line, f"the program has ended early: {self.output}")
            self.output += line
        self.assertEqual(self.leaks(program), [], "while it runs")
        self.output += program.communicate(b"quit\n", 60)[0]
        self.assertEqual(program.returncode, 0)
        for word in words:
            self.assertIn(word, self.output)
        self.assertEqual(self.leaks_on_disk(), [], "after its end")

    # A Maildir, and a server of this test for delivery.

    @staticmethod
    def delivery(server, **secret):
        return {"delivery": "smtp", "smtp_host": "localhost", "smtp_port": server.port, "smtp_security": "tls",
                "smtp_ca_file": server.certificate, "smtp_user": "ann", **secret}

    def check_delivery(self, server, words, **secret):
        for folder in ("new", "cur", "tmp"):
            (self.home / "Maildir" / folder).mkdir(parents=True)
        (self.home / "Maildir/new/1795000001.test.example").write_text(self.MESSAGE)
        self.check(self.delivery(server, **secret), [b"SMTP > AUTH", *words])
        self.assertTrue(server.was_given(self.secret), "the server was given another secret")

    def test_delivery_by_password(self):
        self.check_delivery(SmtpServer(self.folder), [b"1 message has left this computer"],
                            smtp_secret="command", smtp_secret_command=self.password_command())

    def test_delivery_by_token(self):
        self.check_delivery(SmtpServer(self.folder), [b"1 message has left this computer"],
                            smtp_secret="token-command", smtp_secret_command=self.password_command())

    def test_delivery_by_keyring(self):
        server = SmtpServer(self.folder)
        self.start_keyring()
        self.write_preferences(self.delivery(server, smtp_secret="keyring"))
        self.keep_in_keyring("store-for-sending")
        self.check_delivery(server, [b"1 message has left this computer"], smtp_secret="keyring")

    def test_delivery_by_token_of_an_online_account(self):
        self.start_online_accounts()
        self.check_delivery(SmtpServer(self.folder), [b"AUTH XOAUTH2", b"1 message has left this computer"],
                            smtp_secret="online-account", smtp_secret_name="account_1")

    def test_delivery_by_password_of_an_online_account(self):
        self.start_online_accounts()
        self.check_delivery(SmtpServer(self.folder), [b"AUTH PLAIN", b"1 message has left this computer"],
                            smtp_secret="online-account", smtp_secret_name="account_2")

    def test_refused_delivery_by_keyring(self):
        server = SmtpServer(self.folder, accepts=False)
        self.start_keyring()
        self.write_preferences(self.delivery(server, smtp_secret="keyring"))
        self.keep_in_keyring("store-for-sending")
        self.check_delivery(server, [b"535 5.7.8 wrong"], smtp_secret="keyring")

    def test_refused_delivery(self):
        self.check_delivery(SmtpServer(self.folder, accepts=False), [b"535 5.7.8 wrong"],
                            smtp_secret="command", smtp_secret_command=self.password_command())

    # An account at a real server, which also delivers.

    def start_servers(self, accepts=True):
        """Servers with a message for the user box1, whose password the secret is. Returns the settings."""
        self.folder.chmod(0o711)  # root's server runs as another user
        folder = self.folder / "servers"
        folder.mkdir()
        servers = self.start("/usr/bin/python3", SERVERS, str(folder), stdin=subprocess.PIPE)
        self.addCleanup(servers.communicate)  # the end of its input ends it with all that it has started
        servers.stdin.write(b"servers\n")
        servers.stdin.flush()
        found = dict(word.split("=", 1) for word in servers.stdout.readline().decode().strip().split("\t")[1:])
        users = folder / "users"
        if accepts:
            users.write_text(users.read_text().replace("box1:{PLAIN}secret", f"box1:{{PLAIN}}{self.secret.decode()}"))
        message = pathlib.Path(found["mail"]) / "box1/new/1795000001.test.example"
        message.write_text(self.MESSAGE)
        if os.geteuid() == 0:
            owner = message.parent.stat()
            os.chown(message, owner.st_uid, owner.st_gid)
        self.sink = folder / "sink1"
        return {"store": "account", "imap_host": "localhost", "imap_port": found["plain.imaps"],
                    "imap_security": "tls", "imap_ca_file": found["ca"], "imap_user": "box1", "delivery": "smtp",
                    "smtp_host": "localhost", "smtp_port": found["plain.submissions"], "smtp_security": "tls",
                    "smtp_ca_file": found["ca"], "smtp_user": "box1", "smtp_secret": "same"}

    def check_account(self, settings, words, accepts=True):
        self.check(settings, [b"AUTHENTICATE", *words])
        self.assertEqual(any(self.sink.glob("*")), accepts)

    def test_account_by_command(self):
        settings = {**self.start_servers(), "imap_secret": "command", "imap_secret_command": self.password_command()}
        self.check_account(settings, [b"1 message has left this computer"])

    def test_refused_account(self):
        settings = {**self.start_servers(accepts=False), "imap_secret": "command",
                    "imap_secret_command": self.password_command()}
        self.check_account(settings, [b"AUTHENTICATIONFAILED"], accepts=False)

    def test_account_by_keyring(self):
        settings = {**self.start_servers(), "imap_secret": "keyring"}
        self.start_keyring()
        self.write_preferences(settings)
        self.keep_in_keyring()
        self.check_account(settings, [b"1 message has left this computer"])

    def test_account_by_online_account(self):
        self.secret = b"token-of-box1-" + self.secret
        settings = {**self.start_servers(), "imap_secret": "online-account", "imap_secret_name": "account_1"}
        self.start_online_accounts()
        self.check_account(settings, [b"AUTHENTICATE XOAUTH2", b"1 message has left this computer"])

    def test_refused_online_account(self):
        settings = {**self.start_servers(accepts=False), "imap_secret": "online-account",
                    "imap_secret_name": "account_1"}
        self.start_online_accounts()
        self.check_account(settings, [b"AUTHENTICATE XOAUTH2", b"does not accept"], accepts=False)


class TypingLeaks(LeakTest):
    """The program while a password is typed into its set-up."""

    # To the end of the questions about an account at a host that no provider is known for.
    UP_TO_PASSWORD = [b"1", b"ann@firm.example", b"1", b"", b"1", b"localhost", b"1", b"993", b"", b"", b""]
    TO_THE_END = [b"1", b"localhost", b"1", b"465", b"", b""]

    def setUp(self):
        super().setUp()
        self.environment.update(XDG_CONFIG_HOME=str(self.home / "config"), XDG_STATE_HOME=str(self.home / "state"),
                                TERM="xterm")
        self.preferences = self.home / "config/rbx/rbx_prefs.ini"

    # A short text is kept within a string, a long one in a block of its own, which may have grown.
    LENGTHS = (14, 60, 600)

    def new_secret(self, length):
        self.secret = secrets.token_hex(length // 2).encode()
        return self.subTest(length=length)

    def leaks_beside_field(self, program):
        """The field of the open dialog has a copy on the heap, by right."""
        return [leak for leak in self.leaks(program) if not leak.endswith("[heap]")]

    # At a terminal.

    def start_at_terminal(self):
        self.terminal, inner = pty.openpty()
        self.addCleanup(os.close, self.terminal)
        program = subprocess.Popen([CONSOLE], env=self.environment, stdin=inner, stdout=inner, start_new_session=True)
        os.close(inner)
        self.addCleanup(lambda: (program.kill(), program.wait()))
        self.wait_for(b"relaybird> ")
        return program

    def wait_for(self, text):
        """Reads the terminal up to a text behind what was read before."""
        fresh = b""
        while text not in fresh:
            ready, _, _ = select.select([self.terminal], [], [], 60)
            self.assertTrue(ready, f"no {text}: {fresh}")
            fresh += os.read(self.terminal, 4096)
        self.output += fresh

    def type(self, text, prompt):
        os.write(self.terminal, text + b"\r")
        self.wait_for(prompt)

    def type_set_up(self):
        self.type(b"setup", b"answer> ")
        for answer in self.UP_TO_PASSWORD[:-1]:
            self.type(answer, b"answer> ")
        self.type(self.UP_TO_PASSWORD[-1], b"password> ")

    def quit(self, program):
        os.write(self.terminal, b"quit\r")
        self.assertEqual(program.wait(60), 0)
        self.assertEqual(self.leaks_on_disk(), [], "after its end")

    def test_set_up_that_changes_nothing(self):
        program = self.start_at_terminal()
        for length in self.LENGTHS:
            with self.new_secret(length):
                self.type_set_up()
                self.type(b"x\x15" + self.secret + b"xy\x7f\x7f", b"answer> ")
                self.assertEqual(self.leaks_beside_field(program), [], "while the set-up is open")
                self.type(b".", b"relaybird> ")
                self.assertIn(b"nothing was changed", self.output)
                self.assertEqual(self.leaks(program), [])
        self.quit(program)

    def test_completed_set_up(self):
        self.start_keyring()
        program = self.start_at_terminal()
        for length in self.LENGTHS:
            with self.new_secret(length):
                self.type_set_up()
                self.type(self.secret, b"answer> ")
                for answer in self.TO_THE_END:
                    self.type(answer, b"answer> ")
                self.type(b"1", b"[Set Up Mail is closed]")
                stored = self.preferences.read_text()
                self.preferences.unlink()  # for the same questions again
                self.assertIn("store=account", stored)
                self.assertEqual(self.leaks(program), [])
        self.quit(program)

    # In a script.

    def run_script(self, program, script):
        program.stdin.write(script.replace(b"SECRET", self.secret) + b"show the-end\n")
        while b"the-end" not in (line := program.stdout.readline()):
            self.assertTrue(line, f"the program has ended early: {self.output}")
            self.output += line

    def check_script(self, script, closing):
        program = self.start(CONSOLE, stdin=subprocess.PIPE)
        for length in self.LENGTHS:
            with self.new_secret(length):
                self.run_script(program, script)
                self.assertEqual(self.leaks_beside_field(program), [], "while the set-up may be open")
                self.run_script(program, closing)
                self.assertEqual(self.leaks(program), [])
        self.output += program.communicate(b"quit\n", 60)[0]
        self.assertEqual(program.returncode, 0)
        self.assertEqual(self.leaks_on_disk(), [], "after its end")

    def test_field_that_is_set(self):
        self.check_script(b"click frmRelaybird.mnuSetUpMail\nset frmSetup.txtPassword SECRET\n"
                          b"set frmSetup.txtPassword \"SECRET\"\nshow frmSetup.txtPassword\n", b"click frmSetup.cmdCancel\n")
        self.assertIn(b'text "(hidden)"', self.output)

    def test_answer_ahead(self):
        answers = b" ".join(answer or b'""' for answer in self.UP_TO_PASSWORD)
        self.check_script(b"answer " + answers + b" SECRET .\nsetup\nanswer " + answers + b' "SECRET" .\nsetup\n',
                          b'answer SECRET "SECRET"\nanswers clear\n')
        self.assertEqual(self.output.count(b"(hidden)"), 6)


if __name__ == "__main__":
    unittest.main()
