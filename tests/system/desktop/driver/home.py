# SPDX-License-Identifier: MIT
"""A user's folders: the inbox, the preferences, the outbox."""

import configparser
import email
import itertools
import os
import pathlib
import time


class Home:
    """Folders below `folder`. At first they contain only an empty inbox."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.config = self.folder / "config"
        self.state = self.folder / "state"
        self.maildir = self.folder / "Maildir"
        self.preference_file = self.config / "rbx" / "rbx_prefs.ini"
        self.remembered_help_file = self.config / "rbx.ini"
        self._numbers = itertools.count(1)
        for part in ("cur", "new", "tmp"):
            (self.maildir / part).mkdir(parents=True)
        # No animations: menus and tabs are in place as soon as they are shown.
        settings = self.config / "gtk-3.0" / "settings.ini"
        settings.parent.mkdir(parents=True)
        settings.write_text("[Settings]\ngtk-enable-animations=false\n", encoding="ascii")

    def environment(self):
        """The environment variables that make a program use these folders."""
        return {
            "HOME": str(self.folder),
            "XDG_CONFIG_HOME": str(self.config),
            "XDG_STATE_HOME": str(self.state),
            "XDG_CACHE_HOME": str(self.folder / "cache"),
            "XDG_DATA_HOME": str(self.folder / "data"),
        }

    def write_preferences(self, **values):
        """Writes settings before the program starts. True and False are written as the program does."""
        self.preference_file.parent.mkdir(parents=True, exist_ok=True)
        lines = [f"{key}={int(value)}" if isinstance(value, bool) else f"{key}={value}"
                 for key, value in values.items()]
        self.preference_file.write_text("\n".join(["[default]", *lines, ""]), encoding="utf-8")

    def write_remembered_help(self, file):
        """Writes the path of the manual as the program remembers it."""
        self.remembered_help_file.write_text(f"[default]\nstrHelpFileLocation={file}\n",
                                             encoding="utf-8")

    def preferences(self, section="default"):
        """The present content of a section of the preference file: texts by key."""
        parser = configparser.RawConfigParser(delimiters=("=",), strict=False)
        parser.optionxform = str
        parser.read(self.preference_file, encoding="utf-8")
        return dict(parser[section]) if parser.has_section(section) else {}

    def deliver(self, subject, sender="Bob <bob@example.com>", text="text"):
        """Delivers a new message to the inbox, as a delivery agent does."""
        name = f"{int(time.time())}.M{next(self._numbers)}P{os.getpid()}.example"
        message = f"From: {sender}\nTo: ann@example.org\nSubject: {subject}\n\n{text}\n"
        (self.maildir / "tmp" / name).write_text(message, encoding="utf-8")
        (self.maildir / "tmp" / name).rename(self.maildir / "new" / name)

    def forwards(self):
        """The waiting messages of the outbox, the oldest first."""
        outbox = self.state / "rbx" / "outbox" / "new"
        files = sorted(outbox.iterdir(), key=lambda file: file.stat().st_mtime_ns) \
            if outbox.is_dir() else []
        return [email.message_from_bytes(file.read_bytes()) for file in files]
