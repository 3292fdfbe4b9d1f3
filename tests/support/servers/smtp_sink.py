# SPDX-License-Identifier: MIT
"""An SMTP server that takes every message, or fails exactly where it is told to.

It answers at once and takes pipelined commands. A message becomes two files in the sink's folder:
NUMBER.eml, as it was sent, and NUMBER.envelope, with lines "from ADDRESS", "to ADDRESS" for each
recipient, "user NAME" where somebody signed in, "encrypted" where it was, and "connection NUMBER".

Rules make it fail. One is "VERB COUNT ACTION". VERB is CONNECT, EHLO, STARTTLS, AUTH, MAIL, RCPT, DATA,
END (the end of a text), RSET or QUIT; "RCPT~text" matches only lines with that text. COUNT is a number, or
"3+" for the third and all later ones, or "*"; it counts within one connection, but for CONNECT the open
connections. ACTION is a reply ("450 4.2.1 Try later"), a reply and " !close", "drop" (closes without an answer),
"taken drop" (keeps the message before that), "hang" (answers nothing more).
"""

import asyncio
import base64
import pathlib
import re
import time

LINE_LIMIT = 4096


class Rule:
    def __init__(self, text):
        verb, count, self.action = text.strip().split(" ", 2)
        self.verb, _, self.part = verb.partition("~")
        self.least = 1 if count == "*" else int(count.rstrip("+"))
        self.most = self.least if count.isdigit() else None

    def matches(self, verb, count, line):
        return (verb == self.verb and self.part in line and count >= self.least
                and (self.most is None or count <= self.most))


class SmtpSink:
    def __init__(self, folder, context=None, implicit_tls=False, pipelining=True, keep=True, auth=False,
                 size=30000000, address="127.0.0.1"):
        self.folder = pathlib.Path(folder)
        self.context, self.implicit_tls = context, implicit_tls
        self.pipelining, self.keep, self.auth, self.size = pipelining, keep, auth, size
        self.address = address
        self.rules = []
        self.messages = self.connections = self.open = self.most_open = 0
        self.last = 0.0  # when the last message was taken, on the monotonic clock
        self.folder.mkdir()

    async def start(self):
        """Returns its port."""
        loop = asyncio.get_running_loop()
        self.server = await loop.create_server(lambda: _Dialogue(self), self.address, 0, backlog=128,
                                               ssl=self.context if self.implicit_tls else None)
        return self.server.sockets[0].getsockname()[1]

    def take(self, envelope, text):
        self.messages += 1
        if self.keep:
            name = self.folder / f"{self.messages:06}"
            name.with_suffix(".eml").write_bytes(text)
            name.with_suffix(".envelope").write_text("".join(line + "\n" for line in envelope), encoding="utf-8")
        self.last = time.monotonic()

    def counts(self):
        return {"messages": self.messages, "connections": self.connections, "most": self.most_open,
                "last": f"{self.last:.6f}"}


class _Dialogue(asyncio.Protocol):
    """One connection."""

    def __init__(self, sink):
        self.sink = sink
        self.buffer = bytearray()
        self.text = None  # the parts of the message that is being sent
        self.counts = {}
        self.silent = self.closed = False
        self.user = self.answers = None
        self.encrypted = sink.implicit_tls
        self._reset()

    def connection_made(self, transport):
        self.transport = transport
        self.sink.connections += 1
        self.sink.open += 1
        self.sink.most_open = max(self.sink.most_open, self.sink.open)
        self.number = self.sink.connections
        if not self._fails("CONNECT", "", self.sink.open):
            self._say("220 sink.example ESMTP")

    def connection_lost(self, reason):
        self.sink.open -= 1
        self.closed = True

    def data_received(self, data):
        self.buffer += data
        while not self.silent and not self.closed and self._next():
            pass

    def _next(self):
        if self.text is not None:
            return self._read_text()
        end = self.buffer.find(b"\n")
        if end < 0:
            if len(self.buffer) > LINE_LIMIT:
                self._close()
            return False
        line = bytes(self.buffer[:end]).rstrip(b"\r").decode("utf-8", "replace")
        del self.buffer[:end + 1]
        if self.answers is not None:
            self._sign_in_answer(line)
        else:
            verb = line.split(" ")[0].split(":")[0].upper()
            verb = "EHLO" if verb == "HELO" else verb
            if not self._fails(verb, line):
                getattr(self, "_" + verb.lower(), self._unknown)(line)
        return True

    def _read_text(self):
        # A text that begins with the final dot is empty.
        if self.buffer.startswith(b".\r\n"):
            end, rest = 0, 3
        else:
            end = self.buffer.find(b"\r\n.\r\n", self.searched)
            if end < 0:
                self.searched = max(0, len(self.buffer) - 4)
                return False
            end, rest = end + 2, end + 5
        text = bytes(self.buffer[:end])
        del self.buffer[:rest]
        self.text = None
        if text.startswith(b"."):
            text = text[1:]
        text = text.replace(b"\r\n..", b"\r\n.")
        if self._fails("END", "", taken=lambda: self.sink.take(self._envelope(), text)):
            self._reset()
            return True
        self.sink.take(self._envelope(), text)
        self._reset()
        self._say(f"250 2.0.0 Taken as {self.sink.messages}")
        return True

    def _envelope(self):
        lines = ["from " + self.sender, *("to " + each for each in self.recipients)]
        lines += [f"user {self.user}"] if self.user is not None else []
        lines += ["encrypted"] if self.encrypted else []
        return lines + [f"connection {self.number}"]

    def _fails(self, verb, line, count=None, taken=lambda: None):
        """Whether a rule has answered this instead."""
        if count is None:
            count = self.counts[verb] = self.counts.get(verb, 0) + 1
        rule = next((each for each in self.sink.rules if each.matches(verb, count, line)), None)
        if rule is None:
            return False
        if rule.action == "taken drop":
            taken()
        if rule.action in ("drop", "taken drop"):
            self._close()
        elif rule.action == "hang":
            self.silent = True
        else:
            self._say(rule.action.removesuffix(" !close"))
            if rule.action.endswith(" !close"):
                self._close()
        return True

    def _say(self, *lines):
        self.transport.write("".join(line + "\r\n" for line in lines).encode())

    def _close(self):
        self.closed = True
        self.transport.close()

    def _reset(self):
        self.sender, self.recipients = None, []

    def _unknown(self, line):
        self._say("500 5.5.2 Unknown command")

    def _ehlo(self, line):
        self._reset()
        words = ["sink.example", f"SIZE {self.sink.size}", "ENHANCEDSTATUSCODES", "SMTPUTF8", "8BITMIME"]
        words += ["PIPELINING"] if self.sink.pipelining else []
        words += ["STARTTLS"] if self.sink.context and not self.encrypted else []
        words += ["AUTH PLAIN LOGIN"] if self.sink.auth else []
        self._say(*("250-" + word for word in words[:-1]), "250 " + words[-1])

    def _starttls(self, line):
        if not self.sink.context or self.encrypted:
            self._unknown(line)
            return
        self._say("220 2.0.0 Go ahead")
        self.buffer.clear()  # what came before the encryption is nobody's word
        self._reset()
        self.encrypted = True
        asyncio.ensure_future(self._encrypt())

    async def _encrypt(self):
        try:
            self.transport = await asyncio.get_running_loop().start_tls(
                self.transport, self, self.sink.context, server_side=True)
        except (OSError, asyncio.CancelledError):
            self.closed = True

    def _auth(self, line):
        words = line.split(" ")
        self.mechanism = words[1].upper() if len(words) > 1 else ""
        if not self.sink.auth or self.mechanism not in ("PLAIN", "LOGIN"):
            self._say("504 5.5.4 Unknown mechanism")
            return
        self.answers = []
        if len(words) > 2:
            self._sign_in_answer(words[2])
        else:
            self._say("334 " if self.mechanism == "PLAIN" else "334 VXNlcm5hbWU6")

    def _sign_in_answer(self, line):
        self.answers.append(base64.b64decode(line).decode("utf-8", "replace"))
        if self.mechanism == "LOGIN" and len(self.answers) == 1:
            self._say("334 UGFzc3dvcmQ6")
            return
        user, password = self.answers if self.mechanism == "LOGIN" else self.answers[0].split("\0")[1:]
        self.answers = None
        if password == "wrong":
            self._say("535 5.7.8 Authentication credentials invalid")
        else:
            self.user = user
            self._say("235 2.7.0 Signed in")

    def _mail(self, line):
        address = re.match(r"MAIL FROM:<([^>]*)>", line, re.IGNORECASE)
        size = re.search(r" SIZE=(\d+)", line, re.IGNORECASE)
        if self.sender is not None or not address:
            self._say("503 5.5.1 A message is open already" if address else "501 5.5.4 What sender?")
        elif size and int(size[1]) > self.sink.size:
            self._say("552 5.3.4 Too big")
        else:
            self.sender = address[1]
            self._say("250 2.1.0 OK")

    def _rcpt(self, line):
        address = re.match(r"RCPT TO:<([^>]+)>", line, re.IGNORECASE)
        if self.sender is None or not address:
            self._say("503 5.5.1 MAIL first" if address else "501 5.5.4 What recipient?")
        else:
            self.recipients.append(address[1])
            self._say("250 2.1.5 OK")

    def _data(self, line):
        if not self.recipients:
            self._say("503 5.5.1 RCPT first")
        else:
            self._say("354 Go on")
            self.text, self.searched = [], 0

    def _rset(self, line):
        self._reset()
        self._say("250 2.0.0 OK")

    def _noop(self, line):
        self._say("250 2.0.0 OK")

    def _quit(self, line):
        self._say("221 2.0.0 Bye")
        self._close()
