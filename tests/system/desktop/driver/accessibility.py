# SPDX-License-Identifier: MIT
"""A client for AT-SPI that uses its D-Bus interface directly. Unlike the client library it caches
nothing, so every answer is current, and a call to a program that hangs fails after a timeout."""

import enum

from gi.repository import Gio, GLib

_ROOT = "/org/a11y/atspi/accessible/root"
_NOTHING = "/org/a11y/atspi/null"
_TIMEOUT = 10_000  # milliseconds


class State(enum.IntEnum):
    """Bit positions in a state set (AtspiStateType)."""

    ACTIVE = 1
    CHECKED = 4
    EDITABLE = 7
    ENABLED = 8
    EXPANDED = 10
    FOCUSABLE = 11
    FOCUSED = 12
    ICONIFIED = 15
    MODAL = 16
    MULTI_LINE = 17
    SELECTED = 23
    SENSITIVE = 24
    SHOWING = 25
    VISIBLE = 30
    INDETERMINATE = 32
    IS_DEFAULT = 39


class Relation(enum.IntEnum):
    """The types of relations (AtspiRelationType)."""

    LABEL_FOR = 1
    LABELLED_BY = 2


class AccessibilityBus:
    """A connection to the accessibility bus at that address."""

    def __init__(self, address):
        self._bus = Gio.DBusConnection.new_for_address_sync(
            address,
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
            None,
            None,
        )
        self._bus.set_exit_on_close(False)

    def application(self, process):
        """The root object of that process, or None until it has registered."""
        root = Accessible(self, "org.a11y.atspi.Registry", _ROOT)
        return next((each for each in root.children() if self._process_of(each) == process), None)

    def call(self, name, path, interface, method, arguments, answer):
        return self._bus.call_sync(
            name, path, interface, method, arguments,
            GLib.VariantType(answer) if answer else None,
            Gio.DBusCallFlags.NONE, _TIMEOUT, None,
        ).unpack()

    def close(self):
        self._bus.close_sync(None)

    def _process_of(self, accessible):
        try:
            (process,) = self.call("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "GetConnectionUnixProcessID",
                                   GLib.Variant("(s)", (accessible.owner,)), "(u)")
            return process
        except GLib.Error:
            return None  # The process has ended in the meantime.


class Accessible:
    """An accessible object of a program. Calls raise GLib.Error after it was destroyed."""

    def __init__(self, bus, owner, path):
        self._bus = bus
        self.owner = owner
        self.path = path

    def __eq__(self, other):
        return isinstance(other, Accessible) and (self.owner, self.path) == (other.owner, other.path)

    def __hash__(self):
        return hash((self.owner, self.path))

    def name(self):
        return self._property("Accessible", "Name")

    def description(self):
        return self._property("Accessible", "Description")

    def value(self):
        return self._property("Value", "CurrentValue")

    def role(self):
        (role,) = self._call("Accessible", "GetRoleName", None, "(s)")
        return role

    def states(self):
        (words,) = self._call("Accessible", "GetState", None, "(au)")
        bits = words[0] | words[1] << 32
        return {state for state in State if bits >> state & 1}

    def interfaces(self):
        (names,) = self._call("Accessible", "GetInterfaces", None, "(as)")
        return {name.rpartition(".")[2] for name in names}

    def children(self):
        (found,) = self._call("Accessible", "GetChildren", None, "(a(so))")
        return [Accessible(self._bus, owner, path) for owner, path in found
                if path != _NOTHING]

    def related(self, relation):
        """All objects to which this one has that relation."""
        (found,) = self._call("Accessible", "GetRelationSet", None, "(a(ua(so)))")
        return [Accessible(self._bus, owner, path) for kind, others in found if kind == relation
                for owner, path in others]

    def extents(self):
        """Left, top, width and height on the screen."""
        (box,) = self._call("Component", "GetExtents", GLib.Variant("(u)", (0,)), "((iiii))")
        return box

    def text(self):
        (text,) = self._call("Text", "GetText", GLib.Variant("(ii)", (0, -1)), "(s)")
        return text

    def set_text(self, text):
        """Replaces the text of a field."""
        self._call("EditableText", "SetTextContents", GLib.Variant("(s)", (text,)), "(b)")

    def letter_extents(self, position):
        """The extents of one letter of its text, on the screen."""
        return self._call("Text", "GetCharacterExtents", GLib.Variant("(iu)", (position, 0)),
                          "(iiii)")

    def selected(self):
        """The first selected child, or None."""
        owner, path = self._call("Selection", "GetSelectedChild", GLib.Variant("(i)", (0,)),
                                 "((so))")[0]
        return None if path == _NOTHING else Accessible(self._bus, owner, path)

    def actions(self):
        """Pairs of the name and the key binding of each action."""
        (actions,) = self._call("Action", "GetActions", None, "(a(sss))")
        return [(name, keys) for name, _, keys in actions]

    def act(self, number):
        self._call("Action", "DoAction", GLib.Variant("(i)", (number,)), "(b)")

    def _call(self, interface, method, arguments, answer):
        return self._bus.call(self.owner, self.path, "org.a11y.atspi." + interface, method,
                              arguments, answer)

    def _property(self, interface, name):
        (value,) = self._bus.call(
            self.owner, self.path, "org.freedesktop.DBus.Properties", "Get",
            GLib.Variant("(ss)", ("org.a11y.atspi." + interface, name)), "(v)")
        return value
