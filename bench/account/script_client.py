# SPDX-License-Identifier: MIT
"""script_client.py IMAP_PORT SMTP_PORT USER PASSWORD SENDER: a forwarder as a careful author writes one in
Python: headers and bodies in batches, one connection for sending, \\Seen in one command per batch.

Prints the time.monotonic() at which it began, after Python's own start and the imports."""

import email.generator
import email.message
import email.parser
import email.policy
import email.utils
import imaplib
import re
import smtplib
import sys
import time

BATCH = 100


def batches(items):
    return (items[at:at + BATCH] for at in range(0, len(items), BATCH))


def fetched(imap, uids, what):
    """The literal of each message by its UID."""
    verdict, parts = imap.uid("FETCH", b",".join(uids), what)
    assert verdict == "OK", parts
    return {re.search(rb"UID (\d+)", part[0])[1]: part[1] for part in parts if isinstance(part, tuple)}


def forward_of(source):
    message = email.message_from_bytes(source, policy=email.policy.SMTP)
    made = email.message.EmailMessage(policy=email.policy.SMTP)
    made["From"], made["To"] = "me@here.example", "cell@phone.example"
    made["Subject"] = "FW: " + message["Subject"]
    made["Message-ID"] = email.utils.make_msgid()
    made["Date"] = email.utils.formatdate()
    made.set_content(message.get_body(("plain",)).get_content())
    for part in message.iter_attachments():
        made.add_attachment(part.get_payload(decode=True), maintype="application", subtype="octet-stream",
                            filename=part.get_filename())
    return made.as_bytes()


def main():
    print(time.monotonic(), flush=True)
    imap_port, smtp_port, user, password, sender = sys.argv[1:]
    imap = imaplib.IMAP4("127.0.0.1", int(imap_port))
    imap.login(user, password)
    imap.select()
    uids = imap.uid("SEARCH", "UNSEEN")[1][0].split()
    with smtplib.SMTP("127.0.0.1", int(smtp_port)) as smtp:
        for batch in batches(uids):
            heads = fetched(imap, batch, "(UID BODY.PEEK[HEADER.FIELDS (FROM SUBJECT DATE)])")
            wanted = [uid for uid in batch if sender.encode() in heads[uid]]
            for uid, source in fetched(imap, wanted, "(UID BODY.PEEK[])").items():
                smtp.sendmail("me@here.example", ["cell@phone.example"], forward_of(source))
            imap.uid("STORE", b",".join(wanted), "+FLAGS.SILENT", r"(\Seen)")
    imap.logout()


if __name__ == "__main__":
    main()
