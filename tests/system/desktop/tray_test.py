# SPDX-License-Identifier: MIT
"""The icon in the notification area, as the desktop's own panel would find it on the session bus,
and a desktop that has none."""

import pathlib

from gi.repository import Gio, GLib

import desktop_case
from desktop_case import MAIN, DesktopCase

TITLE = "Minimize to System Tray"

WATCHER = """<node><interface name="org.kde.StatusNotifierWatcher">
  <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
  <method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>
  <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
  <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
  <property name="ProtocolVersion" type="i" access="read"/>
</interface></node>"""


class Watcher:
    """The part of a desktop's panel that programs hand their icons to. Keeps what it was handed."""

    def __init__(self, bus):
        self.bus = bus
        self.items = []
        interface = Gio.DBusNodeInfo.new_for_xml(WATCHER).interfaces[0]
        self._object = bus.register_object(
            "/StatusNotifierWatcher", interface, self._called, self._read, None)
        self._name = Gio.bus_own_name_on_connection(
            bus, "org.kde.StatusNotifierWatcher", Gio.BusNameOwnerFlags.NONE, None, None)

    def away(self):
        Gio.bus_unown_name(self._name)
        self.bus.unregister_object(self._object)

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
        """Numbers of the entries of its menu by their labels."""
        menu = self.item_property(item, "Menu")
        _, (_, _, entries) = self.call(item[0], menu, "com.canonical.dbusmenu", "GetLayout",
                                       GLib.Variant("(iias)", (0, -1, [])), "(u(ia{sv}av))")
        return {properties["label"]: number for number, properties, _ in entries}

    def pick(self, item, number):
        self.call(item[0], self.item_property(item, "Menu"), "com.canonical.dbusmenu", "Event",
                  GLib.Variant("(isvu)", (number, "clicked", GLib.Variant("i", 0), 0)), None)

    def _called(self, _, sender, __, ___, method, arguments, invocation):
        if method == "RegisterStatusNotifierItem":
            service = arguments.unpack()[0]
            self.items.append((sender, service) if service.startswith("/") else
                              (service, "/StatusNotifierItem"))
        invocation.return_value(None)

    def _read(self, _, __, ___, ____, name):
        return {"RegisteredStatusNotifierItems": GLib.Variant("as", []),
                "IsStatusNotifierHostRegistered": GLib.Variant("b", True),
                "ProtocolVersion": GLib.Variant("i", 0)}[name]


class WithATray(DesktopCase):
    def setUp(self):
        super().setUp()
        self.watcher = Watcher(self.desktop.bus)
        self.addCleanup(self.watcher.away)

    def to_tray(self, main):
        """Moves the program into the tray, and answers its icon as (name on the bus, path)."""
        known = len(self.watcher.items)
        main.find(TITLE, "push button").click()
        self.assertIn("RIGHT-CLICK on the Relaybird icon", self.answer(TITLE, "Yes"))
        main.wait_gone()
        self.wait_until("the icon", lambda: len(self.watcher.items) > known)
        return self.watcher.items[-1]

    def icon_file(self, item):
        folder = self.watcher.item_property(item, "IconThemePath")
        return pathlib.Path(folder) / (self.watcher.item_property(item, "IconName") + ".png")

    def test_its_menu_restores_the_window(self):
        item = self.to_tray(self.start())
        self.assertEqual("Active", self.watcher.item_property(item, "Status"))
        entries = self.watcher.menu_entries(item)
        self.assertEqual(["Restore"], list(entries))
        self.watcher.pick(item, entries["Restore"])
        self.program.window(MAIN)
        self.wait_until("the icon to go", lambda: self.gone(item))
        self.leave()

    def gone(self, item):
        try:
            return self.watcher.item_property(item, "Status") == "Passive"
        except GLib.Error:
            return True

    def test_it_tells_whether_forwarding_is_on(self):
        main = self.start()
        item = self.to_tray(main)
        self.assertEqual("Relaybird (Automation Status: Not Running)",
                         self.watcher.item_property(item, "Title"))
        stopped = self.icon_file(item).read_bytes()
        self.watcher.pick(item, self.watcher.menu_entries(item)["Restore"])
        main = self.program.window(MAIN)
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.find("Automation Status:", "text").wait_for_text("Running")
        item = self.to_tray(main)
        self.assertEqual("Relaybird (Automation Status: Running)",
                         self.watcher.item_property(item, "Title"))
        running = self.icon_file(item).read_bytes()
        self.assertTrue(running.startswith(b"\x89PNG") and stopped.startswith(b"\x89PNG"))
        self.assertNotEqual(running, stopped)
        # What a panel takes that gives its icons one colour.
        drawing = self.icon_file(item).with_suffix("")
        symbolic = drawing.with_name(drawing.name + "-symbolic.svg").read_text(encoding="utf-8")
        self.assertIn("<svg", symbolic)

    def test_no_and_cancel_leave_the_window_where_it_is(self):
        main = self.start()
        for button in ("No", "Cancel"):
            main.find(TITLE, "push button").click()
            self.answer(TITLE, button)
            main.activate()
        self.assertEqual([], self.watcher.items)

    def test_it_goes_on_forwarding_and_a_second_start_brings_it_back(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        self.to_tray(main)
        second = self.run_program()
        self.assertEqual(0, second.wait(), second.output())
        main = self.program.window(MAIN)
        self.assertEqual("Running", main.find("Automation Status:", "text").text)

    def test_it_can_be_moved_there_more_than_once(self):
        main = self.start()
        for _ in range(3):
            item = self.to_tray(main)
            self.watcher.pick(item, self.watcher.menu_entries(item)["Restore"])
            main = self.program.window(MAIN)
        self.leave()

    def test_a_termination_ends_it_there(self):
        self.to_tray(self.start())
        self.program.terminate()
        self.assertEqual(0, self.program.wait())


class WithoutATray(DesktopCase):
    def test_it_says_so_and_minimises(self):
        main = self.start()
        main.find(TITLE, "push button").click()
        self.program.window(TITLE).find("Yes").click()
        words = self.wait_until("the word that there is none", self.no_tray_box)
        self.desktop.keys("Return")
        self.wait_until("the box to go", lambda: not self.no_tray_box())
        self.assertIn("It continues operating in the background.", words)
        self.wait_until("the window to be minimised", lambda: main.window_id() is None)
        self.assertTrue(self.program.running())
        second = self.run_program()
        self.assertEqual(0, second.wait(), second.output())
        self.program.window(MAIN)
        self.leave()

    def no_tray_box(self):
        """What it says, once it has the keys."""
        for window in self.program.windows():
            for label in window.find_all(role="label"):
                if label.name.startswith("There is no System Tray here") and window.has("active"):
                    return " ".join(label.name.split())
        return None


if __name__ == "__main__":
    desktop_case.main()
