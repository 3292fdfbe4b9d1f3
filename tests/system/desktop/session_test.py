# SPDX-License-Identifier: MIT
"""The program among the others of a session: a second start, notifications, log-out, autostart."""

import os
import signal

import desktop_case
from desktop_case import MAIN, DesktopCase
from driver import Home, wait_for
from driver.bus_service import BusService
from gi.repository import GLib

APPLICATION = "org.relaybird.Relaybird"

NOTIFICATIONS = """<node><interface name="org.freedesktop.Notifications">
  <method name="GetCapabilities"><arg type="as" direction="out"/></method>
  <method name="GetServerInformation"><arg type="s" direction="out"/><arg type="s" direction="out"/>
    <arg type="s" direction="out"/><arg type="s" direction="out"/></method>
  <method name="Notify"><arg type="s" direction="in"/><arg type="u" direction="in"/>
    <arg type="s" direction="in"/><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="as" direction="in"/><arg type="a{sv}" direction="in"/><arg type="i" direction="in"/>
    <arg type="u" direction="out"/></method>
  <method name="CloseNotification"><arg type="u" direction="in"/></method>
  <signal name="ActionInvoked"><arg type="u"/><arg type="s"/></signal>
</interface></node>"""
NOTIFICATIONS_PATH = "/org/freedesktop/Notifications"

MANAGER = """<node><interface name="org.gnome.SessionManager">
  <method name="RegisterClient"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="o" direction="out"/></method>
</interface></node>"""
CLIENT = """<node><interface name="org.gnome.SessionManager.ClientPrivate">
  <method name="EndSessionResponse"><arg type="b" direction="in"/><arg type="s" direction="in"/>
  </method>
</interface></node>"""
CLIENT_PATH = "/org/gnome/SessionManager/Client1"
CLIENT_INTERFACE = "org.gnome.SessionManager.ClientPrivate"

# sysexits.h: the addressee is not known, which no later try can change.
REFUSAL = "echo 'no such user' >&2; exit 67"


def client_path(arguments):
    """Others on the bus register too: each is told of the log-out under a path of its own."""
    ours = arguments[0] == APPLICATION
    return GLib.Variant("(o)", (CLIENT_PATH if ours else CLIENT_PATH + "0",))


def registered(manager):
    return any(name == APPLICATION for name, _ in manager.called("RegisterClient"))


class SecondStart(DesktopCase):
    def second(self):
        """Starts the program once more: it has to hand over and end."""
        other = self.run_program()
        self.assertEqual(0, other.wait(), other.output())

    def refusal(self, other):
        """What the box of a program says that cannot start, which then ends."""
        box = other.window("Relaybird")
        words = " ".join(label.name for label in box.find_all(role="label"))
        box.find("OK", "push button").click()
        self.assertEqual(1, other.wait())
        return " ".join(words.split())

    def other_in_front(self):
        """A program of the same kind with a mailbox of its own, which does not have the name."""
        other = self.desktop.run([self.program_file], Home(self.desktop.new_folder()))
        other.window(MAIN)
        return other

    def test_it_does_not_hand_over_to_one_with_another_mailbox(self):
        self.start()
        other = self.other_in_front()
        second = self.desktop.run([self.program_file], other.home)
        self.assertIn(str(other.process.pid), self.refusal(second))
        other.terminate()
        self.assertEqual(0, other.wait())
        self.leave()

    def test_one_with_another_mailbox_does_not_wait_for_one_that_hangs(self):
        self.start()
        self.program.process.send_signal(signal.SIGSTOP)
        other = self.desktop.run([self.program_file], Home(self.desktop.new_folder()))
        # The bus waits for 25 s.
        other.window(MAIN, patience=20)
        other.terminate()
        self.assertEqual(0, other.wait())
        self.program.process.send_signal(signal.SIGCONT)
        self.leave()

    def test_it_brings_a_minimised_window_back(self):
        main = self.start()
        window = main.window_id()
        self.desktop.xdotool("windowminimize", "--sync", window)
        self.second()
        wait_for("the window to be in front", lambda: main.has("active"))
        self.leave()

    def test_it_leaves_a_question_on_top(self):
        main = self.start()
        main.choose("File", "Start")
        box = self.program.window("Please Confirm:")
        other = self.other_in_front()
        wait_for("the question to be behind", lambda: not box.has("active"))
        self.second()
        wait_for("the question to be in front", lambda: box.has("active"))
        other.terminate()
        self.assertEqual(0, other.wait())
        box.find("No", "push button").click()
        self.leave()

    def test_it_brings_a_minimised_window_back_with_its_question(self):
        main = self.start()
        main.choose("File", "Start")
        box = self.program.window("Please Confirm:")
        self.desktop.xdotool("windowminimize", "--sync", main.window_id())
        wait_for("the windows to be left", lambda: not main.has("active") and not box.has("active"))
        self.second()
        wait_for("the question to be in front", lambda: box.has("active"))
        wait_for("the window to be back", lambda: main.window_id() is not None)
        box.find("No", "push button").click()
        wait_for("the window to be in front", lambda: main.has("active"))
        self.leave()

    def test_it_says_so_where_the_first_one_does_not_answer(self):
        self.start()
        self.program.process.send_signal(signal.SIGSTOP)
        other = self.run_program()
        words = self.refusal(other)
        self.assertIn("It does not answer just now.", words)
        self.program.process.send_signal(signal.SIGCONT)
        self.leave()

    def test_it_says_so_where_nobody_can_be_found(self):
        self.start()
        other = self.run_program({"DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"})
        self.assertIn("is in use by relaybird", self.refusal(other))
        self.leave()


class RefusedForwards(DesktopCase):
    """Deliveries that hang until they are refused."""

    def refuse(self):
        """Lets deliveries fail for good once the file "now" is there."""
        script = self.home.folder / "sendmail"
        script.write_text("#!/bin/sh\n"
                          f"while ! [ -e '{self.home.folder}/now' ]; do sleep 0.05; done\n"
                          f"cat >/dev/null; {REFUSAL}\n", encoding="utf-8")
        script.chmod(0o755)
        with open(self.home.preference_file, "a", encoding="utf-8") as file:
            file.write(f"[mail]\nsendmail={script}\n")

    def start_forwarding(self):
        self.home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1="ann@example.net",
                                    mbolFwdUponStart=True)
        self.refuse()
        main = self.start_again()
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.find("Number Forwarded:", "text").wait_for_text("2")
        return main

    def service(self):
        return BusService(self.desktop, "org.freedesktop.Notifications",
                          {NOTIFICATIONS_PATH: NOTIFICATIONS},
                          {"GetCapabilities": GLib.Variant("(as)", (["body", "actions"],)),
                           "GetServerInformation": GLib.Variant("(ssss)", ("test", "", "1", "1.2")),
                           "Notify": GLib.Variant("(u)", (7,))})

    def failed(self):
        folder = self.home.state / "rbx" / "outbox" / "failed"
        return len(list(folder.glob("*.txt"))) if folder.is_dir() else 0


class Notifications(RefusedForwards):
    def click_on_it(self, service, main):
        """A click on the notification brings the window back."""
        service.emit(NOTIFICATIONS_PATH, "org.freedesktop.Notifications", "ActionInvoked",
                     GLib.Variant("(us)", (7, "default")))
        wait_for("the window to be back", lambda: main.has("active"))

    def test_a_hidden_window_tells_once_of_messages_that_are_refused(self):
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

    def test_a_hidden_window_tells_that_no_more_is_forwarded(self):
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
            self.program.terminate()
            self.assertEqual(0, self.program.wait(), self.program.output())
            self.assertEqual([(7,)], service.called("CloseNotification"))

    def test_a_window_that_is_looked_at_tells_it_itself(self):
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


class HungDelivery(RefusedForwards):
    """The command that takes forwards off the machine hangs."""

    def test_the_window_answers_and_the_program_ends_at_once(self):
        for subject in ("First", "Second"):
            self.home.deliver(subject)
        self.start_forwarding()
        settings = self.open_settings()
        settings.find("Cancel", "push button").click()
        settings.wait_gone()
        self.leave()
        self.assertEqual(2, len(self.home.forwards()))


class LogOut(DesktopCase):
    def manager(self):
        return BusService(self.desktop, "org.gnome.SessionManager",
                          {"/org/gnome/SessionManager": MANAGER, CLIENT_PATH: CLIENT},
                          {"RegisterClient": client_path})

    def say(self, manager, signal):
        manager.emit(CLIENT_PATH, CLIENT_INTERFACE, signal, GLib.Variant("(u)", (0,)))

    def test_the_session_waits_for_a_clean_end(self):
        with self.manager() as manager:
            self.start(mbolTurnOnFwdOnStartup=True)
            self.wait_until("the program to register", lambda: registered(manager))
            self.say(manager, "QueryEndSession")
            self.wait_until("leave to log out", lambda: manager.called("EndSessionResponse"))
            self.assertTrue(self.program.running())
            self.say(manager, "EndSession")
            self.assertEqual(0, self.program.wait(), self.program.output())
            self.assertEqual([(True, ""), (True, "")], manager.called("EndSessionResponse"))

    def test_a_log_out_in_a_question_answers_it_with_no(self):
        with self.manager() as manager:
            main = self.start()
            self.wait_until("the program to register", lambda: registered(manager))
            main.choose("File", "Start")
            self.program.window("Please Confirm:")
            self.say(manager, "EndSession")
            self.assertEqual(0, self.program.wait(), self.program.output())
            self.assertEqual([(True, "")], manager.called("EndSessionResponse"))


class Autostart(DesktopCase):
    def entry(self):
        return self.home.config / "autostart" / (APPLICATION + ".desktop")

    def mark(self, main):
        return main.find("File", "menu").find("Start with the desktop", "check menu item",
                                              hidden=True)

    def test_the_mark_in_the_file_menu_writes_and_removes_the_entry(self):
        main = self.start()
        self.assertFalse(self.mark(main).has("checked"))
        self.mark(main).press()
        self.wait_until("the entry", lambda: self.entry().exists())
        self.assertIn(f'\nExec="{os.path.realpath(self.program_file)}"\n',
                      self.entry().read_text(encoding="utf-8"))
        self.mark(main).wait_for_state("checked")
        self.leave()

        main = self.start_again()
        self.assertTrue(self.mark(main).has("checked"))
        self.mark(main).press()
        self.wait_until("the entry to go", lambda: not self.entry().exists())
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
