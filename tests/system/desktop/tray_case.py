# SPDX-License-Identifier: MIT
"""Shared by the tests of the notification area: a fake panel, and checks of the hidden window."""

import contextlib
import subprocess

from gi.repository import Gio, GLib

from desktop_case import DesktopCase
from driver.bus_service import BusService

TITLE = "Minimize to System Tray"

_NAME = "org.kde.StatusNotifierWatcher"
_PATH = "/StatusNotifierWatcher"
_WATCHER = """<node><interface name="org.kde.StatusNotifierWatcher">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
  <method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
  <signal name="StatusNotifierHostRegistered"/>
  <signal name="StatusNotifierHostUnregistered"/>
</interface></node>"""


class Watcher(BusService):
    """A fake StatusNotifierWatcher, with which programs register their icons. `items` are the
    registered icons as (bus name, path). `host` is whether a host shows icons; None makes that
    query fail. While `silent`, queries get no answer."""

    def __init__(self, desktop, host=True):
        super().__init__(desktop, _NAME, {_PATH: _WATCHER})
        self.bus = desktop.bus
        self.items = []
        self.host = host
        self.silent = False
        self._left_open = []

    def lose_host(self):
        """Removes the host that shows icons; the watcher stays."""
        self.host = False
        self.emit(_PATH, _NAME, "StatusNotifierHostUnregistered")

    def call(self, item, path, interface, method, arguments, answer):
        return self.bus.call_sync(item, path, interface, method, arguments,
                                  GLib.VariantType(answer) if answer else None,
                                  Gio.DBusCallFlags.NONE, 10_000, None).unpack()

    def item_property(self, item, name):
        owner, path = item
        (value,) = self.call(owner, path, "org.freedesktop.DBus.Properties", "Get",
                             GLib.Variant("(ss)", ("org.kde.StatusNotifierItem", name)), "(v)")
        return value

    def menu_entries(self, item):
        """The ids of the menu's entries by label."""
        menu = self.item_property(item, "Menu")
        _, (_, _, entries) = self.call(item[0], menu, "com.canonical.dbusmenu", "GetLayout",
                                       GLib.Variant("(iias)", (0, -1, [])), "(u(ia{sv}av))")
        return {properties["label"]: number for number, properties, _ in entries}

    def pick(self, item, number):
        self.call(item[0], self.item_property(item, "Menu"), "com.canonical.dbusmenu", "Event",
                  GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("i", 0), 0)), None)

    def restore(self, item):
        self.pick(item, self.menu_entries(item)["Restore"])

    def _call(self, bus, sender, path, interface, member, arguments, invocation):
        if member == "Get":
            self._answer_property(arguments.unpack()[1], invocation)
            return
        if member == "RegisterStatusNotifierItem":
            service = arguments.unpack()[0]
            self.items.append((sender, service) if service.startswith("/") else
                              (service, "/StatusNotifierItem"))
        super()._call(bus, sender, path, interface, member, arguments, invocation)

    def _answer_property(self, name, invocation):
        if self.silent:
            self._left_open.append(invocation)
            return
        value = {"RegisteredStatusNotifierItems": GLib.Variant("as", []),
                 "ProtocolVersion": GLib.Variant("i", 0)}.get(name)
        if name == "IsStatusNotifierHostRegistered" and self.host is not None:
            value = GLib.Variant("b", self.host)
        if value is None:
            invocation.return_dbus_error("org.freedesktop.DBus.Error.UnknownProperty", name)
        else:
            invocation.return_value(GLib.Variant("(v)", (value,)))


class TrayCase(DesktopCase):
    """The services in `panel` end with the test, or earlier by panel.close()."""

    def setUp(self):
        super().setUp()
        self.panel = contextlib.ExitStack()
        self.addCleanup(self.panel.close)
        self.watcher = None

    def new_watcher(self, host=True):
        """Starts a watcher. No other one may own the name at that time."""
        self.watcher = self.panel.enter_context(Watcher(self.desktop, host))

    def go_to_tray(self, main):
        """Presses the button for the tray and answers the question with Yes."""
        main.find(TITLE, "push button").click()
        self.assertIn("RIGHT-CLICK on the Relaybird icon", self.answer(TITLE, "Yes"))

    def to_tray(self, main):
        """Moves the program into the tray, and returns its icon."""
        known = len(self.watcher.items)
        self.go_to_tray(main)
        main.wait_gone()
        self.wait_until("the icon", lambda: len(self.watcher.items) > known)
        return self.watcher.items[-1]

    def assert_no_tray(self, main):
        """Presses the button, and expects the message that there is no tray, and a minimised window."""
        window = main.window_id()
        main.find(TITLE, "push button").click()
        self.program.window(TITLE).find("Yes").click()
        words = self.wait_until("the word that there is none", self.no_tray_box)
        self.desktop.keys("Return")
        self.wait_until("the box to go", lambda: not self.no_tray_box())
        self.assertEqual("There is no System Tray here, so Relaybird has been minimized instead. "
                         "It continues operating in the background.", words)
        self.wait_until("the window to be minimised", lambda: self.is_minimised(window))

    def is_minimised(self, window):
        """Whether the X window is in the task bar only: neither on the screen nor hidden."""
        return self._window_state(window) == "Iconic"

    def is_hidden(self, window):
        return self._window_state(window) in ("", "Withdrawn")

    def bring_back(self):
        """Shows the window by a second start of the program."""
        second = self.run_program()
        self.assertEqual(0, second.wait(), second.output())
        return self.program.window("Relaybird v...")

    def _window_state(self, window):
        """The WM_STATE property of the window (ICCCM 4.1.3.1)."""
        said = subprocess.run(["xprop", "-id", str(window), "WM_STATE"],
                              env=self.desktop.environment, stdout=subprocess.PIPE, text=True,
                              timeout=60, check=True).stdout
        return said.partition("window state: ")[2].partition("\n")[0].strip()

    def no_tray_box(self):
        """The text of the box, as soon as the box has the focus; otherwise None."""
        for window in self.program.windows():
            for label in window.find_all(role="label"):
                if label.name.startswith("There is no System Tray here") and window.has("active"):
                    return " ".join(label.name.split())
        return None
