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

# What the toolkit and its libraries say of a program that misuses them.
_COMPLAINT = re.compile(r"\S+-(?:CRITICAL|WARNING) \*\*: [0-9:.]+: (.*)")
# What GTK says of itself whatever the program does: it walks past the top of its own tree when an
# assistive tool picks an entry of a closed menu, and drops a relation that it has not yet made when
# one asks for those of an option button.
_OF_ITSELF = (
    "gdk_window_get_window_type: assertion 'GDK_IS_WINDOW (window)' failed",
    "invalid cast from 'GtkToplevelAccessible' to 'GtkAccessible'",
    "gtk_accessible_get_widget: assertion 'GTK_IS_ACCESSIBLE (accessible)' failed",
    "atk_relation_get_relation_type: assertion 'ATK_IS_RELATION (relation)' failed",
)


class Program:
    """Runs from its making on. Its output goes to a file, so that it never waits for a reader."""

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
        """Every window that is on the screen now."""
        application = self.desktop.accessibility.application(self.process.pid)
        windows = [Window(self, each) for each in application.children()] if application else []
        return [each for each in windows if each.role in _WINDOWS and each.is_showing()]

    def window(self, title, patience=None):
        """Waits for the window of that title, or whose title begins with what stands before "...",
        brings it to the front and gives it the keys."""
        found = wait_for(
            f"a window '{title}'",
            lambda: self._window(title),
            **({"patience": patience} if patience else {}),
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
        """What accessibility.Accessible names, as a control of this program."""
        return Widget(self, accessible)

    def describe(self):
        """Every window with all that is in it, and what the program said: words for a failure."""
        try:
            trees = [window.tree() for window in self.windows()]
        except GLib.Error as error:
            trees = [f"(cannot be read: {error})"]
        status = self.process.poll()
        state = "runs" if status is None else f"ended with status {status}"
        return "\n".join([f"the program {state}; its output:", self.output(), *trees])

    def output(self):
        """All that it has written so far."""
        return os.pread(self._output.fileno(), 1 << 20, 0).decode(errors="replace")

    def complaints(self):
        """What the toolkit had to say of it so far, but for what it says of itself."""
        return [line for line in self.output().splitlines()
                if (found := _COMPLAINT.search(line)) and found[1] not in _OF_ITSELF]

    def running(self):
        return self.process.poll() is None

    def wait(self):
        """Waits for its end and answers its exit status."""
        wait_for("the end of the program", lambda: not self.running(), otherwise=self.describe)
        return self.process.returncode

    def leave(self):
        """Ends it by its menu, as a user does, and answers its exit status."""
        self.window("Relaybird v...").choose("File", "Exit")
        return self.wait()

    def terminate(self):
        """Asks it to end, as a service manager or a log-out does."""
        self.process.send_signal(signal.SIGTERM)

    @contextlib.contextmanager
    def held(self):
        """Stands still for a block, as if it hung; what is done to it meanwhile waits for it."""
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

    def _window(self, title):
        if not self.running():
            raise TooLate("the program has ended")
        # The newest is the one in front, where two have one title.
        return next((w for w in reversed(self.windows()) if _is_titled(w, title)), None)


class StartedProgram(Program):
    """One that somebody else has started, by its process."""

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
    """As much of a subprocess.Popen as can be had of a process that is no child."""

    returncode = None

    def __init__(self, pid):
        self.pid = pid

    def poll(self):
        """None while it runs; what it ended with is not known."""
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
