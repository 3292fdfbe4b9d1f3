# SPDX-License-Identifier: MIT
"""A private Dovecot: IMAP and submission on free ports of the loopback addresses below.

Dovecot refuses to serve mail as root, so that root starts it as an unprivileged user; anybody else as
himself. The sockets are made here and handed over as systemd does, so that no other program can take a
port between the choice and the start.
"""

import fcntl
import grp
import os
import pathlib
import pwd
import shutil
import signal
import socket
import time

# What each address is like. Plain text counts as safe where both ends have the same address, which on
# Linux is true of 127.0.0.1 alone: the other addresses demand encryption before a password.
ADDRESSES = {
    "plain": "127.0.0.1",
    "demanding": "127.0.0.2",
    "expired": "127.0.0.3",
    "wrong-host": "127.0.0.4",
    "self-signed": "127.0.0.5",
    "unencrypted": "127.0.0.6",  # offers no STARTTLS
}
SERVICES = ("imap", "imaps", "submission", "submissions")
FIRST_DESCRIPTOR = 3  # SD_LISTEN_FDS_START

PASSWORD = 'p"a\\ss wörd'  # each character has to be quoted or encoded somewhere
PLAIN_PASSWORD = "secret"
CONFIGURATION = """
base_dir = {folder}/run
state_dir = {folder}/state
log_path = {folder}/dovecot.log
log_timestamp = ""
auth_verbose = yes
protocols = imap submission
default_internal_user = {user}
default_internal_group = {group}
default_login_user = {user}
first_valid_uid = 1
mail_location = maildir:~
mail_fsync = never
mail_max_userip_connections = 1000
auth_mechanisms = plain login xoauth2 oauthbearer
auth_failure_delay = 0
disable_plaintext_auth = yes
hostname = localhost
ssl = yes
ssl_cert = <{folder}/good.pem
ssl_key = <{folder}/key.pem
submission_relay_host = 127.0.0.1
submission_relay_port = {relay}
submission_max_mail_size = 30M
quota_full_tempfail = no
local 127.0.0.3 {{
  ssl_cert = <{folder}/expired.pem
}}
local 127.0.0.4 {{
  ssl_cert = <{folder}/wrong-host.pem
}}
local 127.0.0.5 {{
  ssl_cert = <{folder}/self-signed.pem
}}
local 127.0.0.6 {{
  ssl = no
  disable_plaintext_auth = no
}}
namespace inbox {{
  inbox = yes
  mailbox Sent {{
    special_use = \\Sent
    auto = create
  }}
}}
passdb {{
  driver = passwd-file
  args = scheme=PLAIN username_format=%u {folder}/users
  mechanisms = plain login
}}
passdb {{
  driver = oauth2
  args = {folder}/tokens.conf
  mechanisms = xoauth2 oauthbearer
}}
userdb {{
  driver = passwd-file
  args = username_format=%u {folder}/users
}}
mail_plugins = quota
protocol imap {{
  mail_plugins = quota imap_quota
}}
plugin {{
  quota = maildir:User quota
}}
service imap-login {{
  chroot =
  service_count = 0
  client_limit = 1000
  {imap_listeners}
}}
service submission-login {{
  chroot =
  service_count = 0
  client_limit = 1000
  {submission_listeners}
}}
service anvil {{
  chroot =
  # Without it no sign-in waits because others were refused before.
  unix_listener anvil-auth-penalty {{
    mode = 0
  }}
}}
service stats {{
  chroot =
}}
"""


def program(name):
    """The full path; an error that names the package if it is not installed."""
    path = shutil.which(name, path=os.environ.get("PATH", "") + ":/usr/sbin:/sbin")
    if not path:
        raise RuntimeError(f"{name} is not installed: run script/bootstrap test")
    return path


def listeners(addresses):
    """Sockets that listen, one for each service at each address, by both names. Dovecot knows a socket that
    it is given by the port alone, so no two have the same port, not even at different addresses."""
    made, ports = {}, set()
    for name, address in addresses.items():
        for service in SERVICES:
            while True:
                each = socket.socket()
                each.bind((address, 0))
                if each.getsockname()[1] not in ports:
                    break
                each.close()
            each.listen(128)
            ports.add(each.getsockname()[1])
            made[name, service] = each
    return made


TOKENS = """tokeninfo_url = http://127.0.0.1:{port}/?token=
username_attribute = user
active_attribute = active
active_value = yes
"""


BOXES = {
    "ann": PASSWORD,
    "readonly": PLAIN_PASSWORD,  # nobody may change this mailbox through the server
    "full": PLAIN_PASSWORD,  # over its quota with the first message
    **{f"box{number}": PLAIN_PASSWORD for number in range(1, 201)},
}


def _user_lines(owner, folder):
    """The lines of the password file."""
    more = {"readonly": f"userdb_mail_plugins=acl userdb_acl=vfile:{folder}/rights",
            "full": "userdb_quota_rule=*:storage=1"}
    for name, password in BOXES.items():
        yield (f"{name}:{{PLAIN}}{password}:{owner[0]}:{owner[1]}::{folder}/mail/{name}::"
               f"{more.get(name, '')}\n")


class Dovecot:
    def __init__(self, folder, relay, token_port):
        """Starts it with the certificates in `folder`; it submits to the port `relay` of this machine, and
        asks the port `token_port` whose a token is."""
        self.folder = pathlib.Path(folder)
        self.mail = self.folder / "mail"
        self.log = self.folder / "dovecot.log"
        command = [program("sh"), "-c", 'LISTEN_PID=$$ exec "$@"', "sh", program("setpriv"), "--pdeathsig", "TERM"]
        account = pwd.getpwuid(os.geteuid())
        if os.geteuid() == 0:
            account = pwd.getpwnam("nobody")
            command += ["--reuid", str(account.pw_uid), "--regid", str(account.pw_gid), "--clear-groups"]
        command += [program("dovecot"), "-F", "-c", str(self.folder / "dovecot.conf")]
        sockets = listeners(ADDRESSES)
        self.ports = {names: each.getsockname()[1] for names, each in sockets.items()}
        self._write_files(account, relay, token_port)
        self.process = self._spawn(command, list(sockets.values()))

    def _listeners(self, service):
        """The configuration's lines for the sockets of a service. Dovecot knows each by its port."""
        lines = []
        for (address, name), port in self.ports.items():
            if name in (service, service + "s"):
                ssl = "yes" if name.endswith("s") else "no"
                lines.append(f"inet_listener {name}-{address} {{\n    address = {ADDRESSES[address]}\n"
                             f"    port = {port}\n    ssl = {ssl}\n  }}")
        # Those that Dovecot has by itself are off.
        lines += [f"inet_listener {name} {{\n    port = 0\n  }}" for name in (service, service + "s")]
        return "\n  ".join(lines)

    def _write_files(self, account, relay, token_port):
        owner = (account.pw_uid, account.pw_gid)
        (self.folder / "users").write_text("".join(_user_lines(owner, self.folder)), encoding="utf-8")
        (self.folder / "tokens.conf").write_text(TOKENS.format(port=token_port), encoding="ascii")
        (self.folder / "dovecot.conf").write_text(CONFIGURATION.format(
            folder=self.folder, user=account.pw_name,
            group=grp.getgrgid(account.pw_gid).gr_name, relay=relay,
            imap_listeners=self._listeners("imap"), submission_listeners=self._listeners("submission")),
            encoding="utf-8")
        self.log.touch()
        (self.folder / "rights").write_text("* owner lr\n", encoding="ascii")
        made = [self.mail]
        for name in BOXES:
            made += [self.mail / name, *(self.mail / name / part for part in ("cur", "new", "tmp"))]
        for path in made:
            path.mkdir()
        if os.geteuid() == 0:
            for path in (*made, self.folder, self.log, self.folder / "key.pem"):
                os.chown(path, *owner)
        # Others must not read the mailboxes, but the servers' user has to get to them.
        self.folder.chmod(0o711)

    def _spawn(self, command, sockets):
        # Moved up first, as a target could be a source that is still needed.
        high = [fcntl.fcntl(each, fcntl.F_DUPFD_CLOEXEC, 200) for each in sockets]
        errors = os.open(self.folder / "dovecot.err", os.O_WRONLY | os.O_CREAT | os.O_CLOEXEC, 0o644)
        null = os.open(os.devnull, os.O_RDWR | os.O_CLOEXEC)
        moves = [(null, 0), (null, 1), (errors, 2)]
        moves += [(each, FIRST_DESCRIPTOR + number) for number, each in enumerate(high)]
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LISTEN_FDS": str(len(sockets))}
        process = os.posix_spawn(command[0], command, environment, setsid=True,
                                 file_actions=[(os.POSIX_SPAWN_DUP2, *move) for move in moves])
        for each in (*high, errors, null):
            os.close(each)
        for each in sockets:
            each.close()
        return process

    def stop(self):
        """Ends it and everything that it has started, and waits for that."""
        os.killpg(self.process, signal.SIGTERM)
        end = time.monotonic() + 5
        while time.monotonic() < end and not os.waitpid(self.process, os.WNOHANG)[0]:
            time.sleep(0.005)
        try:
            os.killpg(self.process, signal.SIGKILL)
        except ProcessLookupError:
            pass  # as it should be
