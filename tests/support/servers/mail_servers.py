# SPDX-License-Identifier: MIT
"""mail_servers.py FOLDER: private mail servers on loopback, for tests, the demonstration and benchmarks.

Starts a Dovecot (IMAP and submission), a sink to which it submits, and a token server, all in FOLDER and
on free ports, as root or as any other user. Then it reads commands from standard input, a line each, and
answers each with a line, "ok" and tab-separated values, or "error" and why. It ends, with everything that
it has started, at the end of its input, so also when the program that started it is killed.

    servers                       ADDRESS.SERVICE=PORT for each of Dovecot's; sink=, its port; and the paths
                                  ca=, log=, mail= (a Maildir for each user, ann, readonly, full, and
                                  box1 to box200; their passwords are in dovecot.py)
    sink [tls=starttls|tls] [certificate=KIND] [pipelining=no] [keep=no] [auth=yes] [size=BYTES] [address=ADDRESS]
                                  starts one more sink; name=, port=, folder=
    rules NAME [RULE; RULE...]    how that sink fails from now on; smtp_sink.py has the language
    proxy PORT [delay=MILLISECONDS] [edit=strip|refuse|inject] [stuck_at=PIECE [holding=request|answer]]
                                  a way to that port; name=, port=
    gate NAME open|closed|stuck   whether that proxy lets anything through
    delete USER SUBJECT           another mail program deletes the messages with that word in the subject
    counts NAME                   what the sink or proxy of that name has counted
"""

import asyncio
import imaplib
import pathlib
import signal
import ssl
import sys

import certificates
import dovecot
from proxy import Proxy
from smtp_sink import Rule, SmtpSink
from tokens import TokenServer


class Servers:
    def __init__(self, folder):
        self.folder = pathlib.Path(folder).resolve()
        self.named = {}
        self.dovecot = None

    async def start(self):
        certificates.make(self.folder)
        self.sink_port = (await self.sink())["port"]
        self.tokens = TokenServer()
        self.dovecot = dovecot.Dovecot(self.folder, self.sink_port, await self.tokens.start())

    def stop(self):
        if self.dovecot:
            self.dovecot.stop()

    async def servers(self):
        ports = {f"{address}.{service}": port for (address, service), port in self.dovecot.ports.items()}
        return {**ports, "sink": self.sink_port, "ca": self.folder / "ca.pem", "log": self.dovecot.log,
                "mail": self.dovecot.mail}

    async def sink(self, tls="", certificate="good", pipelining="yes", keep="yes", auth="no", size="30000000",
                   address="127.0.0.1"):
        context = None
        if tls:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(self.folder / f"{certificate}.pem", self.folder / "key.pem")
        name = f"sink{len(self.named) + 1}"
        sink = SmtpSink(self.folder / name, context, implicit_tls=tls == "tls", pipelining=pipelining == "yes",
                        keep=keep == "yes", auth=auth == "yes", size=int(size), address=address)
        self.named[name] = sink
        return {"name": name, "port": await sink.start(), "folder": sink.folder}

    async def rules(self, name, *words):
        self.named[name].rules = [Rule(each) for each in " ".join(words).split(";") if each.strip()]
        return {}

    async def proxy(self, port, delay="0", edit="", stuck_at="0", holding="request"):
        name = f"proxy{len(self.named) + 1}"
        self.named[name] = Proxy(int(port), float(delay) / 1000, edit, int(stuck_at), holding)
        return {"name": name, "port": await self.named[name].start()}

    async def gate(self, name, gate):
        self.named[name].set_gate(gate)
        return {}

    async def delete(self, user, subject):
        def run():
            with imaplib.IMAP4("127.0.0.1", self.dovecot.ports["plain", "imap"]) as imap:
                imap.login(user, dovecot.BOXES[user])
                imap.select()
                for number in imap.search(None, "SUBJECT", f'"{subject}"')[1][0].split():
                    imap.store(number, "+FLAGS", r"(\Deleted)")
                imap.expunge()

        # In a thread, as the connection may need the token server and proxies of this one.
        await asyncio.to_thread(run)
        return {}

    async def counts(self, name):
        return self.named[name].counts()

    async def obey(self, line):
        command, *words = line.split()
        if command not in ("servers", "sink", "rules", "proxy", "gate", "delete", "counts"):
            raise ValueError(f"no command {command}")
        # A rule may have "=" in its text.
        options = {} if command == "rules" else dict(word.split("=", 1) for word in words if "=" in word)
        plain = [word for word in words if word.split("=", 1)[0] not in options]
        return await getattr(self, command)(*plain, **options)


async def serve(servers):
    loop = asyncio.get_running_loop()
    commands = asyncio.StreamReader()
    await loop.connect_read_pipe(lambda: asyncio.StreamReaderProtocol(commands), sys.stdin)
    serving = asyncio.current_task()
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        loop.add_signal_handler(number, serving.cancel)
    try:
        while line := (await commands.readline()).decode():
            try:
                answer = await servers.obey(line)
                print("\t".join(["ok", *(f"{key}={value}" for key, value in answer.items())]), flush=True)
            except Exception as error:  # a wrong command is the caller's to see, and no reason to end
                print(f"error\t{error!r}", flush=True)
    except asyncio.CancelledError:
        pass


async def main():
    servers = Servers(sys.argv[1])
    try:
        await servers.start()
        await serve(servers)
    except (RuntimeError, OSError) as error:
        print(f"error\t{error}", flush=True)
        sys.exit(1)
    finally:
        servers.stop()


if __name__ == "__main__":
    asyncio.run(main())
