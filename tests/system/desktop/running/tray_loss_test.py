# SPDX-License-Identifier: MIT
"""The panel goes away while the window is hidden behind its icon."""

import subprocess
import sys
import time

from gi.repository import GLib

import desktop_case
from desktop_case import MAIN
from driver.bus_service import BusService
from tray_case import TITLE, TrayCase

LOST = ("--> The System Tray has gone away, so Relaybird is back as a minimized window.  It "
        "continues operating.")

# In seconds. A panel that restarts takes less. The slack allows for the time before the measurement.
ABSENCE = 10
SLACK = 1

SCREEN_LOCK = """<node><interface name="org.gnome.ScreenSaver">
  <method name="GetActive"><arg type="b" direction="out"/></method>
</interface></node>"""

# An XEmbed tray: a process that owns a certain selection of the screen.
OLD_TRAY = """
import gi
gi.require_version("Gdk", "3.0")
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, Gtk
tray = Gtk.Invisible()
tray.realize()
selection = Gdk.Atom.intern("_NET_SYSTEM_TRAY_S0", False)
Gdk.selection_owner_set(tray.get_window(), selection, Gdk.CURRENT_TIME, False)
Gdk.Display.get_default().sync()
print("ready", flush=True)
Gtk.main()
"""


class TrayLossCase(TrayCase):
    def hide(self, main):
        """Moves the program into the tray, and returns the hidden window."""
        window = main.window_id()
        self.to_tray(main)
        self.assertTrue(self.is_hidden(window))
        return window

    def assert_back_after(self, window, gone):
        """Expects the window to come back, and not before the panel was away for the whole time."""
        self.wait_until("the window to be back", lambda: self.is_minimised(window))
        self.assertGreater(time.monotonic() - gone, ABSENCE - SLACK)

    def log_lines(self):
        self.program.window(MAIN).find("View Log ", "push button").click()
        log = self.program.window("Activity Log")
        self.desktop.clear_clipboard()
        log.find("Copy to Clipboard", "push button").click()
        lines = self.wait_until("the clipboard", self.desktop.clipboard).splitlines()
        log.find("Close", "push button").click()
        log.wait_gone()
        return lines


class Loss(TrayLossCase):
    def setUp(self):
        super().setUp()
        self.new_watcher()

    def test_the_window_comes_back_the_log_says_why_and_it_can_go_there_again(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        window = self.hide(main)
        gone = time.monotonic()
        self.panel.close()
        self.assert_back_after(window, gone)
        main = self.bring_back()
        self.assertEqual("Running", main.find("Automation Status:", "text").text)
        self.assertEqual(1, sum(line.endswith(LOST) for line in self.log_lines()))
        self.new_watcher()
        item = self.to_tray(self.program.window(MAIN))
        self.assertTrue(self.is_hidden(window))
        self.watcher.restore(item)
        self.program.window(MAIN)
        self.leave()

    def test_a_watcher_that_loses_its_host_brings_the_window_back(self):
        window = self.hide(self.start())
        lock = self.lock_screen(False)
        gone = time.monotonic()
        self.watcher.lose_host()
        self.assert_back_after(window, gone)
        self.assertTrue(lock.called("GetActive"))

    def test_a_watcher_that_hangs_brings_the_window_back(self):
        window = self.hide(self.start())
        gone = time.monotonic()
        self.watcher.silent = True
        self.watcher.lose_host()
        self.assert_back_after(window, gone)

    def test_a_restarted_panel_takes_the_icon_over(self):
        window = self.hide(self.start())
        self.panel.close()
        self.new_watcher()
        item = self.wait_until("the icon", lambda: self.watcher.items)[-1]
        self.assertTrue(self.is_hidden(window))
        self.watcher.restore(item)
        self.program.window(MAIN)
        self.leave()

    def lock_screen(self, locked):
        """A fake screen saver that says whether the screen is locked."""
        lock = BusService(self.desktop, "org.gnome.ScreenSaver",
                          {"/org/gnome/ScreenSaver": SCREEN_LOCK},
                          {"GetActive": GLib.Variant("(b)", (locked,))})
        return self.panel.enter_context(lock)

    def test_a_locked_screen_keeps_the_window_hidden(self):
        window = self.hide(self.start())
        lock = self.lock_screen(True)
        self.watcher.lose_host()
        self.wait_until("the question", lambda: lock.called("GetActive"))
        self.assertTrue(self.is_hidden(window))
        self.watcher.host = True
        self.watcher.restore(self.watcher.items[0])
        self.program.window(MAIN)
        self.leave()


class OldTray(TrayLossCase):
    """The XEmbed tray of the screen, without a watcher."""

    def setUp(self):
        super().setUp()
        # pylint: disable-next=consider-using-with
        self.tray = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", "--", sys.executable, "-c", OLD_TRAY],
            env=self.desktop.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            text=True)
        self.addCleanup(self.close_tray)
        self.assertEqual("ready\n", self.tray.stdout.readline())

    def close_tray(self):
        self.tray.terminate()
        self.tray.wait()
        self.tray.stdout.close()

    def to_tray(self, main):
        self.go_to_tray(main)
        main.wait_gone()

    def test_it_counts_until_it_goes(self):
        window = self.hide(self.start())
        self.assertFalse(self.program.has_window(TITLE))
        gone = time.monotonic()
        self.close_tray()
        self.assert_back_after(window, gone)
        self.bring_back()
        self.leave()

    def test_it_does_not_count_where_there_is_a_watcher(self):
        self.new_watcher(host=False)
        self.assert_no_tray(self.start())


if __name__ == "__main__":
    desktop_case.main()
