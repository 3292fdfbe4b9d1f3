# SPDX-License-Identifier: MIT
"""A clipboard manager as on a real desktop (freedesktop.org, Clipboard Manager). It runs as a process
on the display of its environment: clipboard_keeper.py [SECONDS]. SECONDS delays each transfer."""

import sys
import time

import gi


def main():
    gi.require_version("Gdk", "3.0")
    gi.require_version("Gtk", "3.0")
    # Not at the top of the module: importing it must work without a display.
    from gi.repository import Gdk, Gtk  # pylint: disable=import-outside-toplevel

    late = float(sys.argv[1]) if len(sys.argv) > 1 else 0
    clipboard = Gtk.Clipboard.get(Gdk.SELECTION_CLIPBOARD)
    save, utf8 = (Gdk.Atom.intern(name, False) for name in ("SAVE_TARGETS", "UTF8_STRING"))

    def keep(_, request):
        """Called by GTK when the text has arrived; keeps its line ends as they are."""
        if request.target == save:
            time.sleep(late)
        data = clipboard.wait_for_contents(utf8) if request.target == save else None
        if data is not None:
            clipboard.set_text(data.get_data().decode(), -1)
        return False

    owner = Gtk.Invisible()
    owner.connect("selection-request-event", keep)
    Gtk.selection_owner_set(owner, Gdk.Atom.intern("CLIPBOARD_MANAGER", False), 0)
    print("ready", flush=True)
    Gtk.main()


if __name__ == "__main__":
    main()
