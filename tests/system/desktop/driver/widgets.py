# SPDX-License-Identifier: MIT
"""Windows and their controls, as assistive tools see them."""

import re

from gi.repository import GLib

from .accessibility import Relation, State
from .waiting import TooLate, wait_for


class Widget:
    """A control. Two objects are equal if they refer to the same control of the program."""

    def __init__(self, program, accessible):
        self.program = program
        self.desktop = program.desktop
        self.accessible = accessible

    def __eq__(self, other):
        return isinstance(other, Widget) and self.accessible == other.accessible

    def __hash__(self):
        return hash(self.accessible)

    def __repr__(self):
        return f"{self.role} '{self.name}'"

    # Properties.

    @property
    def name(self):
        return self.accessible.name()

    @property
    def role(self):
        return self.accessible.role()

    @property
    def description(self):
        return self.accessible.description()

    @property
    def labels(self):
        """The controls that label this one."""
        return [Widget(self.program, each)
                for each in self.accessible.related(Relation.LABELLED_BY)]

    @property
    def labelled(self):
        """The controls that this one labels."""
        return [Widget(self.program, each) for each in self.accessible.related(Relation.LABEL_FOR)]

    @property
    def text(self):
        """The text of a field or a label."""
        return self.accessible.text() if "Text" in self.accessible.interfaces() else ""

    @property
    def extents(self):
        """Left, top, width and height on the screen, in the program's own pixels."""
        return self.accessible.extents()

    @property
    def value(self):
        """The value of a gauge, from 0 to 1."""
        return self.accessible.value()

    def has(self, state):
        """Whether it has that state of accessibility.State: "checked", "focused", "showing"."""
        return State[state.upper()] in self.accessible.states()

    def is_showing(self):
        return {State.SHOWING, State.VISIBLE} <= self.accessible.states()

    def actions(self):
        """The names of its actions, with their keys in GTK's notation."""
        return self.accessible.actions() if "Action" in self.accessible.interfaces() else []

    # Descendants.

    def children(self):
        return [Widget(self.program, each) for each in self.accessible.children()]

    def walk(self, hidden=False):
        """Itself and its descendants in the order of the tree; invisible ones only if `hidden`."""
        yield self
        for child in self.children():
            if hidden or child.is_showing():
                yield from child.walk(hidden)

    def find_all(self, name=None, role=None, hidden=False):
        return [each for each in self.walk(hidden)
                if (name is None or each.name == name) and (role is None or each.role == role)]

    def find(self, name=None, role=None, hidden=False):
        """Waits for the first descendant with that accessible name and role."""
        return wait_for(
            f"a {role or 'control'} '{name or ''}' in {self}",
            lambda: next(iter(self.find_all(name, role, hidden)), None),
            otherwise=self.program.describe,
        )

    def tree(self, depth=0):
        """The whole tree as lines of text."""
        states = " ".join(s for s in ("focused", "checked", "selected") if self.has(s))
        line = f"{'  ' * depth}{self!r} {self.text!r} {self.extents} {states}".rstrip()
        return "\n".join([line, *(c.tree(depth + 1) for c in self.children() if c.is_showing())])

    # Input.

    def click(self, button=1):
        """Clicks at its centre."""
        self.desktop.click(self.point(), button)

    def point(self):
        """Its centre in the screen's pixels, as soon as it no longer moves."""
        seen = []

        def still():
            seen.append(self.extents)
            return seen[-2:-1] == seen[-1:]

        wait_for(f"{self} to stand still", still, otherwise=self.program.describe)
        left, top, width, height = seen[-1]
        scale = self.program.scale
        return (left + width // 2) * scale, (top + height // 2) * scale

    def press(self, action=None):
        """Runs an action that it offers to assistive tools: the first one, or the one of that name."""
        names = [name for name, _ in self.actions()]
        self.accessible.act(names.index(action) if action else 0)

    def focus(self):
        """Focuses it by a click."""
        self.click()
        self.wait_for_state("focused")

    def enter(self, text):
        """Replaces the text of a field by typing."""
        self.focus()
        self.desktop.keys("ctrl+a")
        if text:
            self.desktop.type(text)
        else:
            self.desktop.keys("Delete")
        self.wait_for_text(text)

    def wait_for_state(self, state, wanted=True):
        wait_for(f"{self} to be {'' if wanted else 'not '}{state}",
                 lambda: self.has(state) == wanted, otherwise=self.program.describe)

    def wait_for_text(self, text):
        wait_for(f"{self} to read {text!r}", lambda: self.text == text,
                 otherwise=self.program.describe)


class Window(Widget):
    """A window on the screen."""

    def window_id(self):
        """The id of its X window, for tools that need one. Searches the windows of this program only,
        since another one may have a window with the same title."""
        ids = self.desktop.xdotool("search", "--all", "--onlyvisible",
                                   "--pid", self.program.process.pid,
                                   "--name", "^" + re.escape(self.name) + "$").split()
        return ids[-1] if ids else None

    def activate(self):
        """Raises and focuses it."""
        wait_for(f"{self} to be in front", self._activate, otherwise=self.program.describe)

    def _activate(self):
        if not self.has("active"):
            window = self.window_id()
            if window:
                self.desktop.xdotool("windowactivate", window)
        return self.has("active")

    def focused(self):
        """The focused control of this window, or None."""
        return next((each for each in self.walk() if each.has("focused")), None)

    def menu_entry(self, menu, entry):
        """An entry of the menu bar, even while its menu is closed."""
        return self.find(menu, "menu").find(entry, "menu item", hidden=True)

    def choose(self, menu, entry):
        """Picks an entry of the menu bar by the entry's accessible action."""
        self.menu_entry(menu, entry).press()

    def close(self):
        """Closes it by the window manager's keys. The keys may have to be pressed again: a window is
        shown shortly before the window manager focuses it."""
        wait_for("the window to be closed", self._close, otherwise=self.program.describe)

    def _close(self):
        if not self._is_gone() and self._activate():
            self.desktop.keys("alt+F4")
        try:
            wait_for("the window to go", self._is_gone, timeout=5)
        except TooLate:
            return False
        return True

    def wait_gone(self):
        wait_for("the window to go", self._is_gone, otherwise=self.program.describe)

    def _is_gone(self):
        if not self.program.running():
            return True
        try:
            return not self.is_showing()
        except GLib.Error:
            return True
