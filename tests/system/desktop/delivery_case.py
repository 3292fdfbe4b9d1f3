# SPDX-License-Identifier: MIT
"""Shared by the tests in which a command delivers the forwards."""

from gi.repository import GLib

from desktop_case import DesktopCase
from driver.bus_service import BusService

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

# Status 67 is EX_NOUSER of sysexits.h, a permanent failure.
REFUSAL = "echo 'no such user' >&2; exit 67"


class RefusedForwards(DesktopCase):
    """Deliveries that block until a file appears, and are then refused."""

    def refuse(self):
        """Makes deliveries fail permanently as soon as the file "now" exists."""
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
