# SPDX-License-Identifier: MIT
"""A fake service on the session bus, which records calls and answers them."""

import threading

from gi.repository import Gio, GLib


class BusService:
    """Owns `name` on the bus within a `with` block.

    `interfaces` maps object paths to their description in D-Bus introspection XML. Each call is
    recorded in `calls` as (member, arguments). The reply is the entry of `answers` for that member:
    a GLib.Variant, or a function that makes one from the arguments; it is empty if there is no
    entry. The service runs on a thread of its own, so that a test can wait for the program.
    """

    def __init__(self, desktop, name, interfaces, answers=None):
        self.calls = []
        self._address = desktop.environment["DBUS_SESSION_BUS_ADDRESS"]
        self._name = name
        self._interfaces = interfaces
        self._answers = answers or {}
        self._context = GLib.MainContext()
        self._loop = GLib.MainLoop.new(self._context, False)
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._ready = threading.Event()
        self._bus = None

    def __enter__(self):
        self._thread.start()
        self._ready.wait()
        if self._bus is None:
            raise RuntimeError(f"{self._name} could not be had on the bus")
        return self

    def __exit__(self, *_):
        self._loop.quit()
        self._thread.join()
        if self._bus is not None:
            self._bus.close_sync(None)

    def called(self, member):
        """The arguments of all calls of that member so far, the oldest first."""
        return [arguments for name, arguments in list(self.calls) if name == member]

    def emit(self, path, interface, signal, arguments=None):
        self._bus.emit_signal(None, path, interface, signal, arguments)

    def wait_until_handled(self, name):
        """Waits until the GApplication with that bus name has handled the replies sent so far. It
        handles messages in their order, so a reply to a new call shows that."""
        path = "/" + name.replace(".", "/")
        self._bus.call_sync(name, path, "org.gtk.Actions", "List", None, None,
                            Gio.DBusCallFlags.NONE, 30_000, None)

    def _serve(self):
        self._context.push_thread_default()
        try:
            self._bus = self._connect()
        finally:
            self._ready.set()
        self._loop.run()
        self._context.pop_thread_default()

    def _connect(self):
        bus = Gio.DBusConnection.new_for_address_sync(
            self._address,
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
            None,
            None,
        )
        bus.set_exit_on_close(False)
        for path, xml in self._interfaces.items():
            for interface in Gio.DBusNodeInfo.new_for_xml(xml).interfaces:
                bus.register_object(path, interface, self._call, None, None)
        bus.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
            GLib.Variant("(su)", (self._name, 0)), None, Gio.DBusCallFlags.NONE, -1, None)
        return bus

    def _call(self, _bus, _sender, _path, _interface, member, arguments, invocation):
        values = arguments.unpack()
        self.calls.append((member, values))
        answer = self._answers.get(member)
        invocation.return_value(answer(values) if callable(answer) else answer)
