# SPDX-License-Identifier: MIT
"""A program on the desktop."""

import contextlib
import os
import re
import signal
import subprocess
import tempfile

from gi.repository import GLib

from .waiting import TooLate, wait_for
from .widgets import Widget, Window

_WINDOWS = ("alert", "dialog", "file chooser", "frame")

# The warnings of the toolkit and its libraries about wrong use by the program.
_COMPLAINT = re.compile(r"\S+-(?:CRITICAL|WARNING) \*\*: [0-9:.]+: (.*)")
# Warnings that GTK causes itself: it walks past the root of its tree when an assistive tool picks
# an entry of a closed menu, and removes a relation that does not exist yet when a tool asks for those of
# an option button.
_OF_ITSELF = (
    "gdk_window_get_window_type: assertion 'GDK_IS_WINDOW (window)' failed",
    "invalid cast from 'GtkToplevelAccessible' to 'GtkAccessible'",
    "gtk_accessible_get_widget: assertion 'GTK_IS_ACCESSIBLE (accessible)' failed",
    "atk_relation_get_relation_type: assertion 'ATK_IS_RELATION (relation)' failed",
)


class Program:
    """Starts when it is created. Its output goes to a file, so that it never waits for a reader."""

    def __init__(self, desktop, command, home, environment, scale):
        self.desktop = desktop
        self.home = home
        self.scale = scale
        # pylint: disable-next=consider-using-with
        self._output = tempfile.TemporaryFile()
        environment = {**desktop.environment, **home.environment(), **environment}
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", "--", *map(str, command)],
            env=environment,
            cwd=home.folder,
            stdin=subprocess.DEVNULL,
            stdout=self._output,
            stderr=subprocess.STDOUT,
        )

    def windows(self):
        """All windows that are on the screen now."""
        application = self.desktop.accessibility.application(self.process.pid)
        windows = [Window(self, each) for each in application.children()] if application else []
        return [each for each in windows if each.role in _WINDOWS and each.is_showing()]

    def window(self, title, timeout=None, role=None):
        """Waits for the window with that title, or with that beginning if the title ends in "...",
        then raises and focuses it. `role` distinguishes a box from the dialog with the same title."""
        found = wait_for(
            f"a window '{title}'",
            lambda: self._window(title, role),
            **({"timeout": timeout} if timeout else {}),
            otherwise=self.describe,
        )
        found.activate()
        return found

    def has_window(self, title):
        """Whether such a window is on the screen now."""
        try:
            return any(_is_titled(window, title) for window in self.windows())
        except GLib.Error:
            return False

    def wrap(self, accessible):
        """The control of this program for an accessibility.Accessible."""
        return Widget(self, accessible)

    def describe(self):
        """A text for failures: all windows with their content, and the output of the program."""
        try:
            trees = [window.tree() for window in self.windows()]
        except GLib.Error as error:
            trees = [f"(cannot be read: {error})"]
        status = self.process.poll()
        state = "runs" if status is None else f"ended with status {status}"
        return "\n".join([f"the program {state}; its output:", self.output(), *trees])

    def output(self):
        """The output so far."""
        return os.pread(self._output.fileno(), 1 << 20, 0).decode(errors="replace")

    def complaints(self):
        """The warnings of the toolkit so far, except those caused by GTK itself."""
        return [line for line in self.output().splitlines()
                if (found := _COMPLAINT.search(line)) and found[1] not in _OF_ITSELF]

    def running(self):
        return self.process.poll() is None

    def wait(self):
        """Waits for its end and returns the exit status."""
        wait_for("the end of the program", lambda: not self.running(), otherwise=self.describe)
        return self.process.returncode

    def leave(self):
        """Ends it by its menu, as a user does, and returns the exit status."""
        self.window("Relaybird v...").choose("File", "Exit")
        return self.wait()

    def terminate(self):
        """Sends SIGTERM, as a service manager or a log-out does."""
        self.process.send_signal(signal.SIGTERM)

    @contextlib.contextmanager
    def held(self):
        """Stops the process within a `with` block, as if it hung. Input waits meanwhile."""
        self.process.send_signal(signal.SIGSTOP)
        try:
            yield
        finally:
            self.process.send_signal(signal.SIGCONT)

    def kill(self):
        if self.running():
            self.process.kill()
        self.process.wait()
        self._output.close()

    def _window(self, title, role):
        if not self.running():
            raise TooLate("the program has ended")
        # If two windows have the same title, the newest one is in front.
        return next((w for w in reversed(self.windows())
                     if _is_titled(w, title) and role in (None, w.role)), None)


class StartedProgram(Program):
    """A program started by another process, found by its process id."""

    # pylint: disable-next=super-init-not-called
    def __init__(self, desktop, process, home):
        self.desktop = desktop
        self.home = home
        self.scale = 1
        self.process = _ForeignProcess(process)

    def output(self):
        return "(not known: it was started by somebody else)"

    def kill(self):
        if self.running():
            self.process.send_signal(signal.SIGKILL)


class _ForeignProcess:
    """The part of subprocess.Popen that is possible for a process that is not a child."""

    returncode = None

    def __init__(self, pid):
        self.pid = pid

    def poll(self):
        """None while it runs. The real exit status is unknown."""
        try:
            with open(f"/proc/{self.pid}/stat", encoding="ascii", errors="replace") as file:
                return 0 if file.read().rpartition(")")[2].split()[0] == "Z" else None
        except OSError:
            return 0

    def send_signal(self, number):
        os.kill(self.pid, number)


def _is_titled(window, title):
    name = window.name
    return name.startswith(title[:-3]) if title.endswith("...") else name == title
