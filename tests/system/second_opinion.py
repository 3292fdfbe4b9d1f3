# SPDX-License-Identifier: MIT
"""second_opinion.py PROGRAM MAKE_MESSAGES FOLDER: what leaves, read by Python's email package.

The messages of the folder, and some of MAKE_MESSAGES, lie in a mailbox. relaybird-console forwards them
all, once as standard e-mail with attachments and once for a cell phone. Nothing here shares code or
libraries with the program: a forward that both read in the same wrong way is still found. Ends with
status 1, and with every finding, where a forward breaks RFC 5322, 2045 or 2047, or where something of a
well-formed message did not arrive with it.
"""

import email
import email.policy
import pathlib
import re
import subprocess
import sys
import tempfile

MADE = 150
PATIENCE = 300  # seconds for all forwards of one format

LONGEST_LINE = 998  # RFC 5322, 2.1.1
LONGEST_ENCODED_LINE = 76  # RFC 2045, 6.7 and 6.8
LONGEST_WORD = 75  # RFC 2047, 2
WORD = re.compile(rb"=\?[^?\s]+\?[bq]\?[^?\s]*\?=", re.IGNORECASE)
MESSAGE_ID = re.compile(r"<[^<>@\s]+@[^<>@\s]+>")
# Others' identifiers are carried as they are, also odd ones, so that threads are not torn.
ANY_ID = re.compile(r"<[!-;=?-~]+>")
IDENTIFIERS = ("Message-ID", "References", "In-Reply-To")
ONCE = ("From", "To", "Bcc", "Subject", "Date", "Message-ID", "References", "In-Reply-To", "Reply-To",
        "MIME-Version", "Content-Type", "Content-Transfer-Encoding", "Auto-Submitted")
NEEDED = ("From", "To", "Subject", "Date", "Message-ID", "MIME-Version", "Auto-Submitted")

PREFERENCES = """[default]
mstrFwdToAddress_num=1
mstrFwdToAddress_1=cell@phone.example
mlngMaxToForward=30000
mbolIncludeAttachments=1
mbolFormatForCellPhone={cell}
[mail]
maildir={home}/Maildir
address=me@here.example
name=Jörg, mine
"""
COMMANDS = f"answer OK Yes OK\ntest\nwait idle {PATIENCE}\nlog 30000\nquit\n"


def header_findings(head):
    """What is wrong with a header section, as bytes."""
    for field in re.split(rb"\n(?![ \t])", head):
        if field.partition(b":")[0].decode() in IDENTIFIERS:
            continue
        for line in field.split(b"\n"):
            if WORD.search(line) and len(line) > LONGEST_ENCODED_LINE:
                yield f"a line with an encoded word of {len(line)} characters"
        for word in WORD.findall(field):
            if len(word) > LONGEST_WORD:
                yield f"an encoded word of {len(word)} characters"
    if any(byte > 126 for byte in head):
        yield "eight bits in the header"


def byte_findings(text):
    """What is wrong with the bytes of a message, whatever they mean."""
    head = text.partition(b"\n\n")[0]
    yield from header_findings(head)
    if not text.endswith(b"\n"):
        yield "no line break at the end"
    if b"\0" in text:
        yield "a NUL"
    if re.search(rb"\r(?!\n)", text):
        yield "a CR alone"
    longest = max(len(line.rstrip(b"\r")) for line in text.split(b"\n"))
    if longest > LONGEST_LINE:
        yield f"a line of {longest} bytes"


def field_findings(message):
    for name in ONCE:
        if len(message.get_all(name, [])) > 1:
            yield f"{name} several times"
    for name in NEEDED:
        if message[name] is None:
            yield f"no {name}"
    for name, value in message.items():
        for defect in value.defects:
            yield f"{name}: {defect!r}"
    if not MESSAGE_ID.fullmatch(str(message["Message-ID"])):
        yield f"Message-ID: {message['Message-ID']}"
    for identifier in str(message["References"] or "").split():
        if not ANY_ID.fullmatch(identifier):
            yield f"References: {identifier!r}"
    if message["From"] and [a.addr_spec for a in message["From"].addresses] != ["me@here.example"]:
        yield f"From: {message['From']}"
    if message["To"] and [a.addr_spec for a in message["To"].addresses] != ["cell@phone.example"]:
        yield f"To: {message['To']}"


def part_findings(part):
    for defect in part.defects:
        yield f"{part.get_content_type()}: {defect!r}"
    if part.is_multipart():
        return
    coding = str(part["Content-Transfer-Encoding"] or "7bit").lower()
    body = part.get_payload()
    if coding in ("base64", "quoted-printable"):
        longest = max((len(line) for line in body.splitlines()), default=0)
        if longest > LONGEST_ENCODED_LINE:
            yield f"{coding} with a line of {longest} characters"
    elif coding in ("8bit", "binary"):
        yield f"{part.get_content_type()} in {coding}"
    elif not body.isascii():
        yield f"eight bits in {part.get_content_type()}"


def own_parts(message):
    """The parts of a message, without those of messages in it, which are as others wrote them."""
    yield message
    if message.get_content_maintype() == "multipart":
        for part in message.iter_parts():
            yield from own_parts(part)


def findings(text):
    message = email.message_from_bytes(text, policy=email.policy.default)
    yield from byte_findings(text)
    yield from field_findings(message)
    for part in own_parts(message):
        yield from part_findings(part)
    body = message.get_body(("plain",))
    if body is None or body.get_content_charset("us-ascii") not in ("utf-8", "us-ascii"):
        yield "no text of its own"
    elif any(ord(c) < 32 and c not in "\t\n\r" for c in body.get_content()):
        yield "a control character in its text"


def files_in(message):
    """What is in the files of a message; line breaks in a text are no part of it."""
    return [part.get_payload(decode=True).replace(b"\r\n", b"\n") for part in message.walk()
            if part.get_content_disposition() == "attachment" and not part.is_multipart()]


def losses(source, forward):
    """What of a sound message did not arrive with its forward."""
    subject = source["Subject"]
    # Python reads raw eight bits as U+FFFD, and leaves control characters in.
    readable = subject and subject.isprintable() and "\N{REPLACEMENT CHARACTER}" not in subject
    if readable and not subject.defects:
        if str(forward["Subject"]) not in (subject, f"FW: {subject}"):
            yield f"the subject {str(subject)!r} has become {str(forward['Subject'])!r}"
    arrived = files_in(forward)
    for content in files_in(source):
        if content not in arrived:
            yield f"a file of {len(content)} bytes is missing or changed"


class Comparison:
    """Finds the message that a forward was made of, by its Message-ID."""

    def __init__(self, sources):
        self.sources = {}
        for source in sources:
            message = email.message_from_bytes(source, policy=email.policy.default)
            if not any(part.defects for part in message.walk()):
                identifier = message.get("Message-ID", "")
                self.sources[identifier] = None if identifier in self.sources else message
        self.compared = self.files = 0

    def losses(self, text):
        forward = email.message_from_bytes(text, policy=email.policy.default)
        source = self.sources.get(forward.get("References", "").split(" ")[-1])
        if source is None:
            return []
        self.compared += 1
        self.files += len(files_in(source))
        return list(losses(source, forward))


class Mailbox:
    """A user's home with messages in it."""

    def __init__(self, folder, sources, cell):
        self.folder = folder
        for part in ("Maildir/new", "Maildir/cur", "Maildir/tmp", "config/rbx"):
            (folder / part).mkdir(parents=True)
        (folder / "config/rbx/rbx_prefs.ini").write_text(
            PREFERENCES.format(home=folder, cell=int(cell)), encoding="utf-8")
        for number, source in enumerate(sources):
            (folder / f"Maildir/new/{1700000000 + number}.M{number}P1.host").write_bytes(source)

    def forwards(self, program):
        """Has everything forwarded; the messages that then wait in the outbox, and the log."""
        run = subprocess.run(
            [program], input=COMMANDS.encode(), stdout=subprocess.PIPE, check=True, timeout=2 * PATIENCE,
            env={"HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder / "config"),
                 "XDG_STATE_HOME": str(self.folder / "state"), "LC_ALL": "C.UTF-8", "PATH": "/usr/bin:/bin"})
        outbox = self.folder / "state/rbx/outbox/new"
        files = sorted(outbox.iterdir()) if outbox.is_dir() else []
        return [file.read_bytes() for file in files], run.stdout.decode(errors="replace")


def made_messages(maker, folder):
    subprocess.run([maker, str(folder), str(MADE)], check=True)
    return [file.read_bytes() for file in sorted((folder / "message").iterdir())]


def main():
    program, maker, folder = sys.argv[1:]
    wrong = 0
    with tempfile.TemporaryDirectory() as scratch:
        scratch = pathlib.Path(scratch)
        sources = [file.read_bytes() for file in sorted(pathlib.Path(folder).glob("*.eml"))]
        # The made ones break every rule of headers, and Python reads those in its own way.
        comparison = Comparison(sources)
        sources += made_messages(maker, scratch / "made")
        for cell in (False, True):
            forwards, log = Mailbox(scratch / f"home{int(cell)}", sources, cell).forwards(program)
            said = [line for line in log.splitlines() if "Tried but failed" in line]
            for forward in forwards:
                subject = email.message_from_bytes(forward)["Subject"]
                said += [f"{subject!r}: {finding}"
                         for finding in [*findings(forward), *comparison.losses(forward)]]
            print("\n".join(said))
            wrong += len(said)
            print(f"{len(sources)} messages, {len(forwards)} forwards, {len(said)} findings")
            if len(forwards) < 0.9 * len(sources):
                print("too few were forwarded")
                wrong += 1
    print(f"{comparison.compared} forwards and {comparison.files} files compared with their sources")
    if not comparison.files:
        wrong += 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
