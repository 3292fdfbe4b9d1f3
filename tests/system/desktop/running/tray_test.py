# SPDX-License-Identifier: MIT
"""The icon in the notification area, as a panel finds it on the session bus, and desktops without
a notification area."""

import pathlib
import subprocess

from gi.repository import GLib

import desktop_case
from desktop_case import MAIN
from tray_case import TITLE, TrayCase

CONFIRM = "Please Confirm:"
PROGRAM_ICON = "org.relaybird.Relaybird"


class WithATray(TrayCase):
    def setUp(self):
        super().setUp()
        self.new_watcher()

    def icon_file(self, item):
        folder = self.watcher.item_property(item, "IconThemePath")
        return pathlib.Path(folder) / (self.watcher.item_property(item, "IconName") + ".png")

    def test_its_menu_restores_the_window(self):
        item = self.to_tray(self.start())
        self.assertEqual("Active", self.watcher.item_property(item, "Status"))
        self.assertEqual(["Restore"], list(self.watcher.menu_entries(item)))
        self.watcher.restore(item)
        self.program.window(MAIN)
        self.wait_until("the icon to go", lambda: self.gone(item))
        self.leave()

    def gone(self, item):
        try:
            return self.watcher.item_property(item, "Status") == "Passive"
        except GLib.Error:
            return True

    def test_it_and_the_window_warn_from_a_check_that_fails_to_one_that_succeeds(self):
        main = self.start(mbolFwdUponStart=True)
        inbox = self.home.maildir / "new"
        main.choose("File", "Start")
        self.program.window(CONFIRM)
        inbox.rmdir()
        inbox.touch()
        self.answer(CONFIRM, "Yes")
        label = self.wait_until("the warning", lambda: self.warning(main))
        self.assertIn(str(inbox), label.description)
        item = self.to_tray(main)
        self.assertEqual("NeedsAttention", self.watcher.item_property(item, "Status"))
        self.assertEqual("dialog-warning",
                         self.watcher.item_property(item, "AttentionIconName"))
        self.assertEqual(label.name,
                         self.watcher.item_property(item, "AttentionAccessibleDesc"))
        self.watcher.restore(item)
        main = self.program.window(MAIN)
        inbox.unlink()
        inbox.mkdir()
        main.find("Stop Forwarding Email", "push button").click()
        main.choose("File", "Start")
        self.answer(CONFIRM, "Yes")
        self.wait_until("the end of the warning", lambda: self.warning(main) is None)
        item = self.to_tray(main)
        self.assertEqual("Active", self.watcher.item_property(item, "Status"))

    def warning(self, main):
        """The window's label about failed checks, or None if the last one succeeded."""
        return next((label for label in main.find_all(role="label")
                     if label.name.startswith("Last check failed. None has succeeded since ")),
                    None)

    def test_its_icon_shows_whether_forwarding_is_on(self):
        main = self.start()
        item = self.to_tray(main)
        self.assertEqual("Relaybird (Automation Status: Not Running)",
                         self.watcher.item_property(item, "Title"))
        self.assertEqual("relaybird-stopped", self.watcher.item_property(item, "IconName"))
        stopped = self.icon_file(item).read_bytes()
        self.watcher.restore(item)
        main = self.program.window(MAIN)
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.find("Automation Status:", "text").wait_for_text("Running")
        item = self.to_tray(main)
        self.assertEqual("Relaybird (Automation Status: Running)",
                         self.watcher.item_property(item, "Title"))
        self.assertEqual("relaybird-running", self.watcher.item_property(item, "IconName"))
        running = self.icon_file(item).read_bytes()
        self.assertTrue(running.startswith(b"\x89PNG") and stopped.startswith(b"\x89PNG"))
        self.assertNotEqual(running, stopped)
        # The picture for panels that recolour icons.
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

    def test_it_continues_forwarding_and_a_second_start_brings_it_back(self):
        main = self.start(mbolTurnOnFwdOnStartup=True)
        main.find("Automation Status:", "text").wait_for_text("Running")
        self.to_tray(main)
        main = self.bring_back()
        self.assertEqual("Running", main.find("Automation Status:", "text").text)

    def test_it_can_be_moved_there_more_than_once(self):
        main = self.start()
        for _ in range(3):
            item = self.to_tray(main)
            self.watcher.restore(item)
            main = self.program.window(MAIN)
        self.leave()

    def test_a_termination_ends_it_there(self):
        self.to_tray(self.start())
        self.program.terminate()
        self.assertEqual(0, self.program.wait())


class WithoutItsPictures(TrayCase):
    """A file is in the place of the folder for the pictures."""

    def setUp(self):
        super().setUp()
        self.new_watcher()
        blocked = self.home.state / "rbx" / "icons"
        blocked.parent.mkdir(parents=True)
        blocked.write_text("in the way", encoding="ascii")
        # An installation of the program on this machine must not count.
        self.nothing_installed = {"XDG_DATA_DIRS": str(self.home.folder / "nothing")}

    def test_the_installed_program_icon_stands_in(self):
        theme = self.home.folder / "data" / "icons" / "hicolor"
        (theme / "scalable" / "apps").mkdir(parents=True)
        (theme / "scalable" / "apps" / (PROGRAM_ICON + ".svg")).write_text(
            '<svg xmlns="http://www.w3.org/2000/svg" width="16" height="16"/>', encoding="ascii")
        (theme / "index.theme").write_text(
            "[Icon Theme]\nName=Hicolor\nDirectories=scalable/apps\n"
            "[scalable/apps]\nSize=16\nMinSize=1\nMaxSize=512\nType=Scalable\n", encoding="ascii")
        item = self.to_tray(self.start(self.nothing_installed))
        self.assertEqual(PROGRAM_ICON, self.watcher.item_property(item, "IconName"))
        self.assertEqual("", self.watcher.item_property(item, "IconThemePath"))
        self.watcher.restore(item)
        self.program.window(MAIN)
        self.leave()

    def test_an_icon_without_any_picture_does_not_count(self):
        self.assert_no_tray(self.start(self.nothing_installed))
        self.assertEqual([], self.watcher.items)


class WithoutATray(TrayCase):
    def test_it_says_so_and_minimises(self):
        self.assert_no_tray(self.start())
        self.bring_back()
        self.leave()

    def test_a_watcher_without_a_host_does_not_count(self):
        self.new_watcher(host=False)
        self.assert_no_tray(self.start())
        self.assertEqual([], self.watcher.items)

    def test_a_watcher_that_answers_with_an_error_does_not_count(self):
        self.new_watcher(host=None)
        self.assert_no_tray(self.start())
        self.assertEqual([], self.watcher.items)

    def test_a_watcher_that_does_not_answer_does_not_count(self):
        self.new_watcher()
        self.watcher.silent = True
        self.assert_no_tray(self.start())
        self.assertEqual([], self.watcher.items)


class WithoutATrayAndATaskBar(TrayCase):
    """The window manager does not announce that it can minimise windows."""

    def test_a_window_that_cannot_be_minimised_is_kept(self):
        self.wait_until("the window manager to say what it can",
                        lambda: "_NET_WM_ACTION_MINIMIZE" in self.xprop("_NET_SUPPORTED"))
        self.xprop("-f", "_NET_SUPPORTED", "32a", "-set", "_NET_SUPPORTED", "_NET_ACTIVE_WINDOW")
        self.start().find(TITLE, "push button").click()
        self.program.window(TITLE).find("Yes").click()
        self.assertEqual("There is no System Tray here, so Relaybird keeps its window. It continues "
                         "operating.", self.wait_until("the word", self.no_tray_box))

    def xprop(self, *arguments):
        return subprocess.run(["xprop", "-root", *arguments], env=self.desktop.environment,
                              stdout=subprocess.PIPE, text=True, timeout=60, check=True).stdout


if __name__ == "__main__":
    desktop_case.main()
