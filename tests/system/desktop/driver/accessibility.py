# SPDX-License-Identifier: MIT
"""AT-SPI, spoken on its bus without the client library: nothing is cached, every answer is the
program's own of this moment, and a program that hangs makes a call fail instead of hang too."""

import enum

from gi.repository import Gio, GLib

_ROOT = "/org/a11y/atspi/accessible/root"
_NOTHING = "/org/a11y/atspi/null"
_PATIENCE = 10_000  # milliseconds


class State(enum.IntEnum):
    """Positions in a state set: AtspiStateType."""

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
    """AtspiRelationType."""

    LABEL_FOR = 1
    LABELLED_BY = 2


class AccessibilityBus:
    """A connection to the bus of an address."""

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
        """The root of what that process shows, or None as long as it has not registered."""
        root = Accessible(self, "org.a11y.atspi.Registry", _ROOT)
        return next((each for each in root.children() if self._process_of(each) == process), None)

    def call(self, name, path, interface, method, arguments, answer):
        return self._bus.call_sync(
            name, path, interface, method, arguments,
            GLib.VariantType(answer) if answer else None,
            Gio.DBusCallFlags.NONE, _PATIENCE, None,
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
            return None  # It has ended meanwhile.


class Accessible:
    """One thing that a program shows. Calls raise GLib.Error once it is gone."""

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
        """What it is to others in that way: all of them."""
        (found,) = self._call("Accessible", "GetRelationSet", None, "(a(ua(so)))")
        return [Accessible(self._bus, owner, path) for kind, others in found if kind == relation
                for owner, path in others]

    def extents(self):
        """On the screen: left, top, width, height."""
        (box,) = self._call("Component", "GetExtents", GLib.Variant("(u)", (0,)), "((iiii))")
        return box

    def text(self):
        (text,) = self._call("Text", "GetText", GLib.Variant("(ii)", (0, -1)), "(s)")
        return text

    def set_text(self, text):
        """Puts a text into a field, in the place of what stands there."""
        self._call("EditableText", "SetTextContents", GLib.Variant("(s)", (text,)), "(b)")

    def letter_extents(self, position):
        """Where a letter of its text is on the screen."""
        return self._call("Text", "GetCharacterExtents", GLib.Variant("(iu)", (position, 0)),
                          "(iiii)")

    def selected(self):
        """The first of its children that is selected, or None."""
        owner, path = self._call("Selection", "GetSelectedChild", GLib.Variant("(i)", (0,)),
                                 "((so))")[0]
        return None if path == _NOTHING else Accessible(self._bus, owner, path)

    def actions(self):
        """Pairs of an action's name and the keys that it is bound to."""
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
