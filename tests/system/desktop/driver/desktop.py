# SPDX-License-Identifier: MIT
"""A separate desktop: X server, window manager, session bus and accessibility bus."""

import os
import shutil
import signal
import subprocess
import tempfile

from gi.repository import Gio, GLib

from .accessibility import AccessibilityBus
from .program import Program
from .screen import Screen
from .waiting import wait_for

# The bus starts no services except those that a test offers (Desktop.offer_service), so only programs
# of the test answer on it.
_BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir={folder}</listen>
  <servicedir>{services}</servicedir>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""

# The settings of openbox. A copy without animations is used: a click would miss a window that moves.
_WINDOW_MANAGER = "/etc/xdg/openbox/rc.xml"

_ACCESSIBILITY_LAUNCHERS = (
    "/usr/libexec/at-spi-bus-launcher",
    "/usr/lib/at-spi2-core/at-spi-bus-launcher",
)

# Variables of the caller's desktop that the programs must not inherit.
_FOREIGN = (
    "AT_SPI_BUS_ADDRESS",
    "GDK_BACKEND",
    "GDK_DPI_SCALE",
    "GDK_SCALE",
    "GTK_MODULES",
    "GTK_THEME",
    "NO_AT_BRIDGE",
    "WAYLAND_DISPLAY",
    "XDG_CACHE_HOME",
    "XDG_CONFIG_HOME",
    "XDG_CURRENT_DESKTOP",
    "XDG_DATA_HOME",
    "XDG_SESSION_TYPE",
    "XDG_STATE_HOME",
)


class Desktop:
    """Runs within a `with` block. At its end all processes that were started are ended."""

    def __init__(self, screen="1280x1024"):
        self.screen = screen
        self.environment = {k: v for k, v in os.environ.items() if k not in _FOREIGN}
        self._servants = []
        self.programs = []
        self._folder = None
        self._services = None
        self._pixels = None
        self._session_bus = None
        self.bus = None
        self.accessibility = None

    def __enter__(self):
        self._folder = tempfile.mkdtemp(prefix="relaybird-desktop.")
        try:
            self._set_up()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        self.end_programs()
        for servant in reversed(self._servants):
            _end(servant)
        self._servants.clear()
        shutil.rmtree(self._folder, ignore_errors=True)

    def new_folder(self):
        """A new empty folder, which is deleted with the desktop."""
        return tempfile.mkdtemp(dir=self._folder)

    def run(self, command, home, environment=None, scale=1):
        """Starts a program with that home. `scale` is the value of GDK_SCALE in `environment`."""
        program = Program(self, command, home, environment or {}, scale)
        self.programs.append(program)
        return program

    def end_programs(self):
        """Ends all running programs, by force if necessary."""
        for program in self.programs:
            program.kill()
        self.programs.clear()

    def xdotool(self, *arguments):
        """Runs an xdotool command and returns its output."""
        done = subprocess.run(
            ["xdotool", *map(str, arguments)],
            env=self.environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
            timeout=60,
            check=False,
        )
        return done.stdout

    def offer_service(self, name, program, home):
        """Lets the bus start the program, with that home, when its name is called."""
        with open(os.path.join(self._services, name + ".service"), "w", encoding="utf-8") as file:
            file.write(f'[D-BUS Service]\nName={name}\nExec="{program}"\n')
        self._call_bus("ReloadConfig", None)
        # As at the start of a session.
        self._call_bus("UpdateActivationEnvironment", GLib.Variant(
            "(a{ss})", ({**self.environment, **home.environment()},)))

    def process_of(self, name):
        """The id of the process that owns a bus name; GLib.Error if there is none."""
        return self._call_bus("GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)))[0]

    def _call_bus(self, method, arguments):
        return self.bus.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
            arguments, None, Gio.DBusCallFlags.NONE, -1, None).unpack()

    def click(self, point, button=1):
        """Clicks at a point in the screen's pixels, as returned by Widget.point()."""
        self.xdotool("mousemove", *point, "click", button)

    def pixels(self, box):
        """The colours of a box of the screen (see screen.Screen.pixels), even if a program hangs."""
        return self._pixels.pixels(box)

    def keys(self, *keys):
        """Presses keys one after the other in the focused window: "ctrl+a", "Tab"."""
        self.xdotool("key", "--clearmodifiers", *keys)

    def type(self, text):
        """Types a text into the focused control."""
        self.xdotool("type", "--clearmodifiers", "--delay", "5", "--", text)

    def clipboard(self):
        """The text on the clipboard, or None."""
        done = subprocess.run(
            ["xclip", "-o", "-selection", "clipboard"],
            env=self.environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            timeout=60,
            check=False,
        )
        return done.stdout.decode() if done.returncode == 0 else None

    def clear_clipboard(self):
        """Empties the clipboard."""
        self.set_clipboard("")

    def set_clipboard(self, text):
        """Puts a text on the clipboard, as another program would."""
        subprocess.run(["xclip", "-i", "-selection", "clipboard"], input=text, text=True,
                       env=self.environment, stdout=subprocess.DEVNULL, timeout=60, check=True)
        # xclip continues in the background and may not own the clipboard yet.
        wait_for(f"the clipboard to hold '{text}'", lambda: self.clipboard() == text)

    def end_bus(self):
        """Ends the session bus permanently."""
        _end(self._session_bus)

    def _set_up(self):
        runtime = os.path.join(self._folder, "run")
        os.mkdir(runtime, 0o700)
        self.environment.update(XDG_RUNTIME_DIR=runtime, GSETTINGS_BACKEND="memory",
                                LC_ALL="C.UTF-8", TZ="UTC")
        self._start_screen()
        self._start_bus(runtime)
        self._start_accessibility()
        self._start_window_manager()

    def _start_servant(self, command, env=None, **options):
        """Starts a process that is ended by the system when this one ends for any reason."""
        servant = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", "--", *command],
            env={**self.environment, **(env or {})},
            stdin=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            **{"stdout": subprocess.DEVNULL, **options},
        )
        self._servants.append(servant)
        return servant

    def _start_screen(self):
        reading, writing = os.pipe()
        self._start_servant(
            ["Xvfb", "-displayfd", str(writing), "-screen", "0", self.screen + "x24",
             "-fbdir", self._folder, "-nolisten", "tcp", "-noreset"],
            pass_fds=(writing,),
        )
        os.close(writing)
        with open(reading, encoding="ascii") as answer:
            number = answer.readline().strip()
        if not number:
            raise RuntimeError("Xvfb did not start")
        self.environment.update(DISPLAY=":" + number)
        self._pixels = Screen(os.path.join(self._folder, "Xvfb_screen0"))

    def _start_window_manager(self):
        with open(_WINDOW_MANAGER, encoding="utf-8") as file:
            settings = file.read()
        calm = settings.replace("<animateIconify>yes<", "<animateIconify>no<")
        if calm == settings:
            raise RuntimeError(_WINDOW_MANAGER + " has no animation to turn off")
        configuration = os.path.join(self._folder, "openbox.xml")
        with open(configuration, "w", encoding="utf-8") as file:
            file.write(calm)
        self._start_servant(["openbox", "--sm-disable", "--config-file", configuration],
                      env={"HOME": self.new_folder()})
        wait_for("the window manager", lambda: self.xdotool("get_num_desktops").strip())

    def _start_bus(self, runtime):
        configuration = os.path.join(self._folder, "bus.conf")
        self._services = self.new_folder()
        with open(configuration, "w", encoding="ascii") as file:
            file.write(_BUS_CONFIGURATION.format(folder=runtime, services=self._services))
        bus = self._start_servant(
            ["dbus-daemon", "--config-file=" + configuration, "--nofork", "--print-address"],
            stdout=subprocess.PIPE,
        )
        self._session_bus = bus
        address = bus.stdout.readline().decode().strip()
        bus.stdout.close()
        if not address:
            raise RuntimeError("dbus-daemon did not start")
        self.environment.update(DBUS_SESSION_BUS_ADDRESS=address)
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address,
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
            None,
            None,
        )
        self.bus.set_exit_on_close(False)

    def _start_accessibility(self):
        launcher = next(path for path in _ACCESSIBILITY_LAUNCHERS if os.path.exists(path))
        self._start_servant([launcher, "--launch-immediately"])
        self.accessibility = AccessibilityBus(
            wait_for("the accessibility bus", self._accessibility_address))

    def _accessibility_address(self):
        (address,) = self.bus.call_sync(
            "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None,
            GLib.VariantType("(s)"), Gio.DBusCallFlags.NONE, -1, None,
        )
        return address


def _end(process):
    process.send_signal(signal.SIGTERM)
    try:
        process.wait(10)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
