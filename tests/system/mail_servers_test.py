# SPDX-License-Identifier: MIT
"""The private mail servers do what the tests that use them rely on, seen by Python's own clients.

As root the servers are tried once as root and once as an ordinary user.
"""

import imaplib
import os
import pathlib
import shutil
import smtplib
import socket
import ssl
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / "support/servers"))
import client  # noqa: E402
import dovecot  # noqa: E402
from client import PATIENCE  # noqa: E402

MESSAGE = "Subject: Hello\r\n\r\n.A dot.\r\n..Two.\r\n"


def xoauth2(user, token):
    return lambda _: f"user={user}\1auth=Bearer {token}\1\1".encode()


class Servers(client.Servers):
    """Watched from outside."""

    def __init__(self, user=None):
        folder = tempfile.mkdtemp(prefix="relaybird-")
        before = []
        if user:
            shutil.chown(folder, user, user)
            before = ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups"]
        super().__init__(folder, before)
        self.trust = ssl.create_default_context(cafile=self.places["ca"])

    def port(self, address, service):
        return int(self.places[f"{address}.{service}"])

    def imap(self, address="plain"):
        return imaplib.IMAP4(dovecot.ADDRESSES[address], self.port(address, "imap"))

    def running(self):
        """The command lines of processes that name the folder, and of the children of those."""
        rows = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                state, parent = (process / "stat").read_text().rpartition(")")[2].split()[:2]
                rows.append((process.name, parent, state, (process / "cmdline").read_bytes().decode()))
            except (FileNotFoundError, ProcessLookupError):
                pass  # has ended meanwhile
        own = {number for number, _, _, words in rows if str(self.folder) in words and int(number) != os.getpid()}
        return [words for number, parent, state, words in rows
                if (number in own or parent in own) and state != "Z"]

    def await_end(self):
        end = time.monotonic() + PATIENCE
        while self.running() and time.monotonic() < end:
            time.sleep(0.01)
        left = self.running()
        shutil.rmtree(self.folder)
        return left


class MailServersTest(unittest.TestCase):
    user = None

    @classmethod
    def setUpClass(cls):
        cls.servers = Servers(cls.user)

    @classmethod
    def tearDownClass(cls):
        assert len(cls.servers.running()) > 4
        cls.servers.close()
        left = cls.servers.await_end()
        assert not left, left

    def test_each_mechanism_signs_in_who_may(self):
        password = dovecot.PASSWORD
        for mechanism, answer in (("PLAIN", lambda _: b"\0ann\0" + password.encode()),
                                  ("XOAUTH2", xoauth2("ann", "token-of-ann"))):
            self.assertEqual(self.servers.imap().authenticate(mechanism, answer)[0], "OK")
        for mechanism, answer in (("PLAIN", lambda _: b"\0ann\0wrong"),
                                  ("XOAUTH2", xoauth2("ann", "token-of-box1")),
                                  ("XOAUTH2", xoauth2("ann", "stale"))):
            with self.assertRaises(imaplib.IMAP4.error, msg=mechanism):
                self.servers.imap().authenticate(mechanism, answer)

    def test_demanding_server_takes_no_password_in_plain_text(self):
        imap = self.servers.imap("demanding")
        self.assertIn("LOGINDISABLED", imap.capabilities)
        imap.starttls(self.servers.trust)
        self.assertEqual(imap.login("box1", "secret")[0], "OK")

    def test_unencrypted_server_offers_no_starttls(self):
        self.assertNotIn("STARTTLS", self.servers.imap("unencrypted").capabilities)
        smtp = smtplib.SMTP(dovecot.ADDRESSES["unencrypted"], self.servers.port("unencrypted", "submission"))
        smtp.ehlo()
        self.assertNotIn("starttls", smtp.esmtp_features)
        smtp.close()

    def test_each_certificate_is_wrong_in_its_way(self):
        for kind, words in (("expired", "has expired"), ("wrong-host", "mismatch"),
                            ("self-signed", "self-signed")):
            host = dovecot.ADDRESSES[kind]
            with self.assertRaisesRegex(ssl.SSLError, words):
                imaplib.IMAP4_SSL(host, self.servers.port(kind, "imaps"), ssl_context=self.servers.trust)
            with self.assertRaisesRegex(ssl.SSLError, words):
                self.servers.imap(kind).starttls(self.servers.trust)
            with self.assertRaisesRegex(ssl.SSLError, words):
                smtplib.SMTP_SSL(host, self.servers.port(kind, "submissions"), context=self.servers.trust)
        port = self.servers.port("plain", "imaps")
        self.assertTrue(imaplib.IMAP4_SSL("localhost", port, ssl_context=self.servers.trust))
        with self.assertRaisesRegex(ssl.SSLError, "local issuer"):
            imaplib.IMAP4_SSL("localhost", port, ssl_context=ssl.create_default_context())

    def test_read_only_and_full_mailboxes_refuse_changes(self):
        self.servers.deliver("readonly", 1, MESSAGE.encode())
        imap = self.servers.imap()
        imap.login("readonly", "secret")
        self.assertEqual(imap.select(readonly=True), ("OK", [b"1"]))
        self.assertIn("READ-ONLY", imap.untagged_responses)
        imap = self.servers.imap()
        imap.login("full", "secret")
        verdict, words = imap.append("INBOX", None, None, MESSAGE.encode() + b"x" * 2000)
        self.assertEqual(verdict, "NO")
        self.assertIn(b"OVERQUOTA", words[0])

    def test_submission_reaches_the_sink(self):
        with smtplib.SMTP("localhost", self.servers.port("plain", "submission")) as smtp:
            smtp.starttls(context=self.servers.trust)
            smtp.login("box1", "secret")
            smtp.sendmail("me@here.example", ["one@there.example", "two@there.example"], MESSAGE)
        sink = self.servers.folder / "sink1"
        self.assertTrue((sink / "000001.eml").read_bytes().endswith(MESSAGE.encode()))
        self.assertEqual((sink / "000001.envelope").read_text().splitlines()[:3],
                         ["from me@here.example", "to one@there.example", "to two@there.example"])

    def test_sink_encrypts_signs_in_and_obeys_its_rules(self):
        for tls, connect in (("starttls", smtplib.SMTP), ("tls", smtplib.SMTP_SSL)):
            sink = self.servers.ask(f"sink tls={tls} auth=yes pipelining=no")
            self.servers.ask(f"rules {sink['name']} RCPT~bad 1+ 550 5.1.1 No such user; MAIL 3+ 421 Enough !close; "
                             "CONNECT 2 421 One is enough !close")
            context = {"context": self.servers.trust} if tls == "tls" else {}
            smtp = connect("localhost", int(sink["port"]), **context)
            if tls == "starttls":
                smtp.starttls(context=self.servers.trust)
            with self.assertRaises(smtplib.SMTPAuthenticationError):
                smtp.login("me", "wrong")
            smtp.login("me", "secret")
            self.assertNotIn("pipelining", smtp.esmtp_features)
            refused = smtp.sendmail("a@x.example", ["b@x.example", "bad@x.example"], MESSAGE * 20000)
            self.assertEqual(refused, {"bad@x.example": (550, b"5.1.1 No such user")})
            smtp.sendmail("a@x.example", ["b@x.example"], "")
            with self.assertRaises(smtplib.SMTPSenderRefused):
                smtp.sendmail("a@x.example", ["b@x.example"], MESSAGE)
            folder = pathlib.Path(sink["folder"])
            self.assertEqual((folder / "000001.eml").read_bytes(), MESSAGE.encode() * 20000)
            self.assertEqual((folder / "000001.envelope").read_text().splitlines(),
                             ["from a@x.example", "to b@x.example", "user me", "encrypted", "connection 1"])
            self.assertEqual(self.servers.ask(f"counts {sink['name']}")["messages"], "2")

    def test_sink_takes_a_message_and_loses_the_answer(self):
        sink = self.servers.ask("sink")
        self.servers.ask(f"rules {sink['name']} END 1 taken drop; CONNECT 2 421 One is enough !close")
        with self.assertRaises(smtplib.SMTPServerDisconnected):
            smtplib.SMTP("localhost", int(sink["port"])).sendmail("a@x.example", ["b@x.example"], MESSAGE)
        self.assertEqual(self.servers.ask(f"counts {sink['name']}")["messages"], "1")
        with smtplib.SMTP("localhost", int(sink["port"])):
            with self.assertRaises(smtplib.SMTPConnectError):
                smtplib.SMTP("localhost", int(sink["port"]))

    def test_sink_answers_a_pipelined_group_in_order(self):
        sink = self.servers.ask("sink")
        with socket.create_connection(("localhost", int(sink["port"])), timeout=PATIENCE) as client:
            client.sendall(b"EHLO x\r\nMAIL FROM:<a@x>\r\nRCPT TO:<b@x>\r\nDATA\r\nhi\r\n.\r\nRSET\r\n"
                           b"MAIL FROM:<a@x>\r\nRCPT TO:<>\r\nRCPT TO:<c@x>\r\nDATA\r\n.\r\nQUIT\r\n")
            answers = b""
            while piece := client.recv(65536):
                answers += piece
        codes = [line[:3] for line in answers.decode().splitlines() if line[3] == " "]
        self.assertEqual(codes, "220 250 250 250 354 250 250 250 501 250 354 250 221".split())

    def test_proxy_holds_back_and_counts(self):
        way = self.servers.ask(f"proxy {self.servers.port('plain', 'imap')} delay=40")
        begin = time.monotonic()
        imap = imaplib.IMAP4("127.0.0.1", int(way["port"]))
        imap.login("box2", "secret")
        imap.select()
        # The greeting, and a round trip each for CAPABILITY, LOGIN and SELECT.
        self.assertGreater(time.monotonic() - begin, 0.14)
        counts = self.servers.ask(f"counts {way['name']}")
        self.assertEqual(counts["turns"], "3")
        self.assertEqual(int(counts["up"]), sum(len(line) + 8 for line in (
            "CAPABILITY", 'LOGIN box2 "secret"', "SELECT INBOX")))

    def test_proxy_meddles_with_starttls(self):
        def way(service, edit):
            return int(self.servers.ask(f"proxy {self.servers.port('plain', service)} edit={edit}")["port"])
        self.assertNotIn("STARTTLS", imaplib.IMAP4("127.0.0.1", way("imap", "strip")).capabilities)
        with smtplib.SMTP("127.0.0.1", way("submission", "strip")) as smtp:
            smtp.ehlo()
            self.assertNotIn("starttls", smtp.esmtp_features)
        with self.assertRaises(imaplib.IMAP4.error):
            imaplib.IMAP4("127.0.0.1", way("imap", "refuse")).starttls(self.servers.trust)
        with self.assertRaises(smtplib.SMTPResponseException):
            smtplib.SMTP("127.0.0.1", way("submission", "refuse")).starttls(context=self.servers.trust)
        for service, command, injected in (("imap", b"a STARTTLS\r\n", b"* OK injected\r\n"),
                                           ("submission", b"STARTTLS\r\n", b"250 injected\r\n")):
            with socket.create_connection(("127.0.0.1", way(service, "inject")), timeout=PATIENCE) as client:
                client.recv(4096)
                client.sendall(command)
                self.assertTrue(client.recv(4096).endswith(injected))

    def test_proxy_cuts_and_holds_connections(self):
        way = self.servers.ask(f"proxy {self.servers.port('plain', 'imap')}")

        def connect():
            client = socket.create_connection(("127.0.0.1", int(way["port"])), timeout=PATIENCE)
            self.addCleanup(client.close)
            return client

        first = connect()
        self.assertTrue(first.recv(4096).startswith(b"* OK"))
        self.servers.ask(f"gate {way['name']} stuck")
        first.sendall(b"a NOOP\r\n")
        first.settimeout(0.2)
        with self.assertRaises(TimeoutError):
            first.recv(4096)
        self.servers.ask(f"gate {way['name']} open")
        first.settimeout(PATIENCE)
        self.assertIn(b"a ", first.recv(4096))
        self.servers.ask(f"gate {way['name']} closed")
        for client in (first, connect()):
            try:
                self.assertEqual(client.recv(4096), b"")
            except ConnectionResetError:
                pass  # an end too

    def test_proxy_gets_stuck_at_a_piece(self):
        for holding, taken in (("request", "0"), ("answer", "1")):
            sink = self.servers.ask("sink")
            way = self.servers.ask(f"proxy {sink['port']} stuck_at=3 holding={holding}")
            with socket.create_connection(("127.0.0.1", int(way["port"])), timeout=PATIENCE) as client:
                for piece in (b"EHLO x\r\n", b"MAIL FROM:<a@x>\r\nRCPT TO:<b@x>\r\nDATA\r\n", b"hi\r\n.\r\n"):
                    client.recv(4096)
                    client.sendall(piece)
                client.settimeout(0.2)
                with self.assertRaises(TimeoutError):
                    while True:
                        client.recv(4096)
            self.assertEqual(self.servers.ask(f"counts {way['name']}")["gate"], "stuck")
            self.assertEqual(self.servers.ask(f"counts {sink['name']}")["messages"], taken)

    def test_wrong_command_is_an_error_and_no_end(self):
        with self.assertRaises(RuntimeError):
            self.servers.ask("dance")
        self.assertIn("ca", self.servers.ask("servers"))


@unittest.skipUnless(os.geteuid() == 0, "this is an ordinary user already")
class AsOrdinaryUserTest(MailServersTest):
    user = "games"


class ListenersTest(unittest.TestCase):
    def test_no_port_is_given_twice_though_addresses_differ(self):
        # So many that equal ports are certain if nobody prevents them.
        made = dovecot.listeners({f"at{number}": f"127.0.1.{number}" for number in range(1, 201)})
        ports = [each.getsockname()[1] for each in made.values()]
        for each in made.values():
            each.close()
        self.assertEqual(len(set(ports)), len(ports))


class EndTest(unittest.TestCase):
    def test_nothing_is_left_when_the_servers_are_killed(self):
        servers = Servers()
        servers.imap()  # greets when it is all up
        self.assertGreater(len(servers.running()), 4)
        servers.process.kill()
        servers.close()
        self.assertEqual(servers.await_end(), [])

    def test_missing_program_is_told(self):
        with self.assertRaisesRegex(RuntimeError, "no-such-server is not installed: run script/bootstrap test"):
            dovecot.program("no-such-server")


if __name__ == "__main__":
    unittest.main()
