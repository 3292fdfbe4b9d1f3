# SPDX-License-Identifier: MIT
"""The notifications of the program, and when they are not shown."""

from gi.repository import GLib

import desktop_case
from delivery_case import NOTIFICATIONS_PATH, RefusedForwards
from driver import wait_for

APPLICATION = "org.relaybird.Relaybird"


class Notifications(RefusedForwards):
    def click_on_it(self, service, main):
        """Clicks the notification, which shows the window."""
        service.emit(NOTIFICATIONS_PATH, "org.freedesktop.Notifications", "ActionInvoked",
                     GLib.Variant("(us)", (7, "default")))
        wait_for("the window to be back", lambda: main.has("active"))

    def test_a_hidden_window_notifies_once_of_refused_messages(self):
        for subject in ("First", "Second"):
            self.home.deliver(subject)
        with self.service() as service:
            main = self.start_forwarding()
            self.desktop.xdotool("windowminimize", "--sync", main.window_id())
            wait_for("the window to be left", lambda: not main.has("active"))
            (self.home.folder / "now").touch()
            self.wait_until("both to be refused", lambda: self.failed() == 2)
            shown = self.wait_until("a notification", lambda: service.called("Notify"))
            self.assertEqual("A message could not be forwarded", shown[0][3])
            self.assertIn("no such user", shown[0][4])
            self.assertIn("default", shown[0][5])
            self.click_on_it(service, main)
            self.assertEqual(1, len(service.called("Notify")))
            self.leave()

    def test_a_hidden_window_notifies_of_the_end_of_forwarding(self):
        for subject in ("First", "Second"):
            self.home.deliver(subject)
        with self.service() as service:
            main = self.start(mbolFwdUponStart=True, mlngMaxToForward=1)
            main.choose("File", "Start")
            box = self.program.window("Please Confirm:")
            yes = box.find("Yes", "push button")
            self.desktop.xdotool("windowminimize", "--sync", main.window_id())
            wait_for("the windows to be left",
                     lambda: not main.has("active") and not box.has("active"))
            yes.press()
            shown = self.wait_until("a notification", lambda: service.called("Notify"))
            self.assertEqual("The maximum number of messages was forwarded", shown[0][3])
            self.click_on_it(service, main)
            self.leave()
            self.assertEqual(1, len(service.called("Notify")))
            self.assertEqual(1, len(self.home.forwards()))

    def test_the_notification_goes_with_the_program(self):
        self.home.deliver("First")
        self.home.deliver("Second")
        with self.service() as service:
            main = self.start_forwarding()
            self.desktop.xdotool("windowminimize", "--sync", main.window_id())
            wait_for("the window to be left", lambda: not main.has("active"))
            (self.home.folder / "now").touch()
            self.wait_until("a notification", lambda: service.called("Notify"))
            service.wait_until_handled(APPLICATION)
            self.program.terminate()
            self.assertEqual(0, self.program.wait(), self.program.output())
            self.wait_until("it to be taken back", lambda: service.called("CloseNotification"))
            self.assertEqual([(7,)], service.called("CloseNotification"))

    def test_an_active_window_shows_it_without_a_notification(self):
        for subject in ("First", "Second"):
            self.home.deliver(subject)
        with self.service() as service:
            main = self.start_forwarding()
            main.activate()
            (self.home.folder / "now").touch()
            log = self.open_log()
            self.wait_until("both to be refused", lambda: self.failed() == 2)
            log.find("Close", "push button").click()
            self.leave()
            self.assertEqual([], service.called("Notify"))


if __name__ == "__main__":
    desktop_case.main()
