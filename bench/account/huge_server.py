# SPDX-License-Identifier: MIT
"""An IMAP server with one folder of any size, for measuring what a mailbox costs its client.

Making half a million files for a real server takes longer than everything that is measured. This one makes its
messages when they are asked for. Every other UID is read, so that no two unread ones adjoin: a list of them is as
long as it can be, four megabytes for half a million. Heads and structures have the size of those of real mail,
some 1.3 KB together.
"""

import base64
import re
import socketserver
import threading
import time

FIRST_UID = 1_000_001

HEAD = """Return-Path: <bounces+{uid}-me=here.example@mail.{side}.example>\r
Date: Sat, 21 Nov 2026 10:00:00 +0000\r
From: "Some Body of the {side} department" <some.body.{uid}@{side}.example>\r
Reply-To: "Some Body of the {side} department" <answers@{side}.example>\r
To: "Me Myself" <me@here.example>, "Somebody Else" <else@here.example>\r
Subject: Message {uid}: =?UTF-8?Q?what_there_is_to_say_about_the_m=C3=BCnster?=\r
Message-ID: <{uid}.20261121100000.0123456789ABCDEF@mail.{side}.example>\r
In-Reply-To: <{uid}.20261120100000.0123456789ABCDEF@here.example>\r
References: <{uid}.20261119100000.0123456789ABCDEF@mail.{side}.example>\r
 <{uid}.20261120100000.0123456789ABCDEF@here.example>\r
Content-Type: multipart/alternative; boundary="=_0123456789abcdef0123456789abcdef"\r
\r
"""
PART = ('("TEXT" "{kind}" ("CHARSET" "utf-8") NIL NIL "QUOTED-PRINTABLE" {size} 40 NIL NIL NIL NIL)')
ATTACHED = ('(' + PART.format(kind="PLAIN", size=1800) + '("APPLICATION" "OCTET-STREAM" ("NAME" "large.bin") NIL NIL '
            '"BASE64" {size} NIL ("ATTACHMENT" ("FILENAME" "large.bin")) NIL NIL) '
            '"MIXED" ("BOUNDARY" "=_0123456789abcdef0123456789abcdef") NIL NIL NIL)')
ATTACHED_BODY = """--=_0123456789abcdef0123456789abcdef\r
Content-Type: text/plain; charset=utf-8\r
\r
Here it is.\r
--=_0123456789abcdef0123456789abcdef\r
Content-Type: application/octet-stream; name=large.bin\r
Content-Disposition: attachment; filename=large.bin\r
Content-Transfer-Encoding: base64\r
\r
{attachment}--=_0123456789abcdef0123456789abcdef--\r
"""
STRUCTURE = "(" + PART.format(kind="PLAIN", size=1800) + PART.format(kind="HTML", size=9000) + \
    ' "ALTERNATIVE" ("BOUNDARY" "=_0123456789abcdef0123456789abcdef") NIL NIL NIL)'
BODY = """--=_0123456789abcdef0123456789abcdef\r
Content-Type: text/plain; charset=utf-8\r
\r
""" + ("0123456789 " * 6 + "\r\n") * 25 + """--=_0123456789abcdef0123456789abcdef\r
Content-Type: text/html; charset=utf-8\r
\r
""" + ("<p>0123456789 " * 5 + "\r\n") * 120 + """--=_0123456789abcdef0123456789abcdef--\r
"""


class Connection(socketserver.StreamRequestHandler):
    """Commands are answered in order, each as soon as it has come."""

    def handle(self):
        self.mutex = threading.Lock()
        self.tag = ""
        self.say("* OK ready")
        while line := self.rfile.readline():
            self.tag, _, command = line.decode("ascii").strip().partition(" ")
            name = command.removeprefix("UID ").partition(" ")[0].lower()
            getattr(self, "do_" + name, self.do_noop)(command)

    def say(self, text):
        data = text.encode("ascii") + b"\r\n"
        with self.mutex:
            self.server.sent += len(data)
            self.wfile.write(data)

    def done(self):
        self.say(f"{self.tag} OK done")

    def do_noop(self, _):
        self.done()

    def do_capability(self, _):
        self.say(f"* CAPABILITY IMAP4rev1 AUTH=PLAIN SASL-IR IDLE{' ESEARCH' if self.server.extended else ''}")
        self.done()

    def do_authenticate(self, command):
        if command.count(" ") == 1:
            self.say("+ ")
            self.rfile.readline()
        self.done()

    def do_select(self, _):
        self.say(f"* {self.server.exists()} EXISTS\r\n* OK [UIDVALIDITY {self.server.validity}] numbered\r\n"
                 "* OK [PERMANENTFLAGS (\\Seen \\Deleted)] lasting")
        self.done()

    def do_search(self, _):
        uids = self.server.unread()
        if self.server.extended:
            self.say(f"* ESEARCH (TAG \"{self.tag}\") UID ALL {','.join(map(str, uids))}")
        else:
            self.say(f"* SEARCH {' '.join(map(str, uids))}")
        self.done()

    def do_fetch(self, command):
        numbers, _, items = command.removeprefix("UID FETCH ").partition(" ")
        for first, _, last in (each.partition(":") for each in numbers.split(",")):
            for uid in range(int(first), int(last or first) + 1):
                if self.server.has(uid):
                    self.say(self.fetched(uid, items))
        self.done()

    def fetched(self, uid, items):
        head = HEAD.format(uid=uid, side="wanted" if uid in self.server.wanted else "other")
        body, full = BODY, STRUCTURE
        if uid in self.server.attached:
            head = head.replace("multipart/alternative", "multipart/mixed")
            body, full = self.server.attached[uid], ATTACHED.format(size=self.server.attachment_size)
        number = (uid - FIRST_UID) + 1
        if "HEADER.FIELDS" in items:
            fields = re.search(r"HEADER\.FIELDS \([^)]*\)", items).group()
            structure = f" BODYSTRUCTURE {full}" if "BODYSTRUCTURE" in items else ""
            return (f"* {number} FETCH (UID {uid} INTERNALDATE \"{self.server.now(uid)}\" RFC822.SIZE "
                    f"{len(head) + len(body)}{structure} BODY[{fields}] {{{len(head)}}}\r\n{head})")
        whole, origin = head + body, ""
        if part := re.search(r"<(\d+)\.(\d+)>", items):
            first, most = map(int, part.groups())
            whole, origin = whole[first:first + most], f"<{first}>"
        return f"* {number} FETCH (UID {uid} BODY[]{origin} {{{len(whole)}}}\r\n{whole})"

    def do_store(self, command):
        numbers = command.split(" ")[2]
        for first, _, last in (each.partition(":") for each in numbers.split(",")):
            self.server.read.update(range(int(first), int(last or first) + 1))
        self.done()

    def do_idle(self, _):
        self.server.idle_connection = self
        self.say("+ idling")
        self.rfile.readline()
        self.server.idle_connection = None
        self.done()


class HugeServer(socketserver.ThreadingTCPServer):
    """`unread` messages on a port of its own. `extended`: lists are answered by ESEARCH."""

    allow_reuse_address = True
    daemon_threads = True

    def __init__(self, unread, extended=False):
        super().__init__(("127.0.0.1", 0), Connection)
        self.port = self.server_address[1]
        self.extended = extended
        self.validity = 17
        self.sent = 0
        self.count = 2 * unread
        self.first_new = FIRST_UID + self.count
        self.read = set()
        self.wanted = set()
        self.attached = {}
        self.attachment_size = 0
        self.idle_connection = None
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def exists(self):
        return self.count

    def has(self, uid):
        return FIRST_UID <= uid < FIRST_UID + self.count

    def now(self, uid):
        """When the message came: an old one, or just now."""
        return "21-Nov-2026 10:00:00 +0000" if uid < self.first_new else \
            time.strftime("%d-%b-%Y %H:%M:%S +0000", time.gmtime())

    def unread(self):
        return [uid for uid in range(FIRST_UID, FIRST_UID + self.count, 2) if uid not in self.read]

    def arrive(self, unread, wanted=False, attachment=b""):
        """So many unread messages come, and an idling client is told."""
        begin = FIRST_UID + self.count
        if wanted:
            self.wanted.update(range(begin, begin + 2 * unread, 2))
        if attachment:
            text = base64.encodebytes(attachment).decode().replace("\n", "\r\n")
            self.attachment_size = len(text)
            body = ATTACHED_BODY.format(attachment=text)
            self.attached.update((uid, body) for uid in range(begin, begin + 2 * unread, 2))
        self.count += 2 * unread
        if self.idle_connection:
            self.idle_connection.say(f"* {self.count} EXISTS")

    def close(self):
        self.shutdown()
        self.server_close()
