# SPDX-License-Identifier: MIT
"""The end of the session, announced by a session manager or by signals."""

from gi.repository import GLib

import desktop_case
from desktop_case import DesktopCase
from driver.bus_service import BusService

APPLICATION = "org.relaybird.Relaybird"

# The names of the clients, below the path of the manager.
OURS, OTHERS = "Client1", "Client0"


# The bus name, the interface of the manager, and that of its clients. MATE and Cinnamon use GNOME's.
MANAGERS = (("org.gnome.SessionManager", "org.gnome.SessionManager",
             "org.gnome.SessionManager.ClientPrivate"),
            ("org.xfce.SessionManager", "org.xfce.Session.Manager", "org.xfce.Session.Client"))

MANAGER = """<node><interface name="{}">
  <method name="RegisterClient"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="o" direction="out"/></method>
</interface></node>"""
CLIENT = """<node><interface name="{}">
  <method name="EndSessionResponse"><arg type="b" direction="in"/><arg type="s" direction="in"/>
  </method>
</interface></node>"""


class SessionManager(BusService):
    def __init__(self, desktop, name, interface, client_interface):
        self._path = "/" + name.replace(".", "/")
        self._client_path = self._path + "/Client1"
        self._client_interface = client_interface
        super().__init__(desktop, name, {self._path: MANAGER.format(interface),
                                         self._client_path: CLIENT.format(client_interface)},
                         {"RegisterClient": self._register})

    def say(self, signal):
        self.emit(self._client_path, self._client_interface, signal, GLib.Variant("(u)", (0,)))

    def responses(self):
        return self.called("EndSessionResponse")

    def knows_us(self):
        return any(name == APPLICATION for name, _ in self.called("RegisterClient"))

    def _register(self, arguments):
        """Gives other clients on the bus another path: signals are for the program only."""
        ours = arguments[0] == APPLICATION
        return GLib.Variant("(o)", (self._client_path if ours else self._path + "/Client0",))


class LogOut(DesktopCase):
    def with_each_manager(self, check, **preferences):
        """Runs check(manager, main window) with each session manager and a started program."""
        for names in MANAGERS:
            with self.subTest(names[0]), SessionManager(self.desktop, *names) as manager:
                main = self.start(**preferences)
                self.wait_until("the program to register", manager.knows_us)
                check(manager, main)

    def wait_running(self, main):
        main.find("Automation Status:", "text").wait_for_text("Running")

    def assert_ended(self):
        self.assertEqual(0, self.program.wait(), self.program.output())

    def assert_responses(self, manager, count):
        """Waits, since the last response may arrive after the program has ended."""
        self.wait_until("the responses", lambda: len(manager.responses()) >= count)
        self.assertEqual([(True, "")] * count, manager.responses())

    def test_the_session_waits_for_a_clean_end(self):
        def check(manager, main):
            self.wait_running(main)
            manager.say("QueryEndSession")
            self.wait_until("leave to log out", manager.responses)
            self.assertTrue(self.program.running())
            manager.say("EndSession")
            self.assert_ended()
            self.assert_responses(manager, 2)

        self.with_each_manager(check, mbolTurnOnFwdOnStartup=True)

    def test_a_log_out_in_a_question_answers_it_with_no(self):
        def check(manager, main):
            main.choose("File", "Start")
            self.program.window("Please Confirm:")
            manager.say("EndSession")
            self.assert_ended()
            self.assert_responses(manager, 1)

        self.with_each_manager(check)

    def test_a_cancelled_log_out_leaves_it_running(self):
        def check(manager, main):
            self.wait_running(main)
            manager.say("QueryEndSession")
            self.wait_until("leave to log out", manager.responses)
            manager.say("CancelEndSession")
            main.choose("File", "Stop")
            main.find("Automation Status:", "text").wait_for_text("Stopped")
            self.leave()
            self.assert_responses(manager, 1)

        self.with_each_manager(check, mbolTurnOnFwdOnStartup=True)

    def test_it_ends_when_the_session_manager_stops_it(self):
        def check(manager, _):
            manager.say("Stop")
            self.assert_ended()
            self.assertEqual([], manager.responses())

        self.with_each_manager(check)


if __name__ == "__main__":
    desktop_case.main()
