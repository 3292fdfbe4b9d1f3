# SPDX-License-Identifier: MIT
"""A desktop of its own: X server, window manager, session bus and accessibility bus."""

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

# No service starts by itself on this bus, unless a test has offered it (Desktop.offer_service): what
# answers there is what a test put there.
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

# What its windows do while they fly to the task bar and back, and where a click would miss them, is
# not ours to test.
_WINDOW_MANAGER = "/etc/xdg/openbox/rc.xml"

_ACCESSIBILITY_LAUNCHERS = (
    "/usr/libexec/at-spi-bus-launcher",
    "/usr/lib/at-spi2-core/at-spi-bus-launcher",
)

# What the caller's own desktop would hand down to the programs.
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
    """Stands from `with` to the end of its block, and takes everything away that it started."""

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
        """An empty folder that goes with the desktop."""
        return tempfile.mkdtemp(dir=self._folder)

    def run(self, command, home, environment=None, scale=1):
        """Starts a program at that home. `scale` is what the environment sets GDK_SCALE to."""
        program = Program(self, command, home, environment or {}, scale)
        self.programs.append(program)
        return program

    def end_programs(self):
        """Ends whatever still runs, by force if it has to be."""
        for program in self.programs:
            program.kill()
        self.programs.clear()

    def xdotool(self, *arguments):
        """Runs one xdotool command line and answers what it printed."""
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
        """Has the bus start a program when somebody wants something of that name, at that home."""
        with open(os.path.join(self._services, name + ".service"), "w", encoding="utf-8") as file:
            file.write(f'[D-BUS Service]\nName={name}\nExec="{program}"\n')
        self._call_bus("ReloadConfig", None)
        # As the start of a session does.
        self._call_bus("UpdateActivationEnvironment", GLib.Variant(
            "(a{ss})", ({**self.environment, **home.environment()},)))

    def process_of(self, name):
        """The process that has a name on the bus."""
        return self._call_bus("GetConnectionUnixProcessID", GLib.Variant("(s)", (name,)))[0]

    def _call_bus(self, method, arguments):
        return self.bus.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
            arguments, None, Gio.DBusCallFlags.NONE, -1, None).unpack()

    def click(self, point, button=1):
        """Clicks there: a point in the screen's pixels, as Widget.point() answers it."""
        self.xdotool("mousemove", *point, "click", button)

    def pixels(self, box):
        """The colours of a box of the screen: see screen.Screen.pixels. Also what hangs is seen."""
        return self._pixels.pixels(box)

    def keys(self, *keys):
        """Presses keys one after the other in whichever window has the focus: "ctrl+a", "Tab"."""
        self.xdotool("key", "--clearmodifiers", *keys)

    def type(self, text):
        """Types a text into whatever has the focus."""
        self.xdotool("type", "--clearmodifiers", "--delay", "5", "--", text)

    def clipboard(self):
        """The text on the clipboard, or None where there is none."""
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
        """Takes the clipboard from whoever has it."""
        self.set_clipboard("")

    def set_clipboard(self, text):
        """Puts a text on the clipboard, as another program does."""
        subprocess.run(["xclip", "-i", "-selection", "clipboard"], input=text, text=True,
                       env=self.environment, stdout=subprocess.DEVNULL, timeout=60, check=True)
        # It goes on in the background, and may have only begun.
        wait_for(f"the clipboard to hold '{text}'", lambda: self.clipboard() == text)

    def end_bus(self):
        """Takes the session's bus from everybody, for good."""
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

    def _servant(self, command, env=None, **options):
        """Starts a process that ends with this one, whatever happens to it."""
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
        self._servant(
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
        self._servant(["openbox", "--sm-disable", "--config-file", configuration],
                      env={"HOME": self.new_folder()})
        wait_for("the window manager", lambda: self.xdotool("get_num_desktops").strip())

    def _start_bus(self, runtime):
        configuration = os.path.join(self._folder, "bus.conf")
        self._services = self.new_folder()
        with open(configuration, "w", encoding="ascii") as file:
            file.write(_BUS_CONFIGURATION.format(folder=runtime, services=self._services))
        bus = self._servant(
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
        self._servant([launcher, "--launch-immediately"])
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
