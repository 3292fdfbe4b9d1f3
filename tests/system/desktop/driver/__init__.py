# SPDX-License-Identifier: MIT
"""Operates a desktop program as a user with a screen reader, a keyboard and a mouse does.

    from driver import Desktop, Home

    with Desktop(screen="1280x1024") as desktop:
        home = Home(desktop.new_folder())
        home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1="5550100@sms.example.net")
        program = desktop.run([path_of_relaybird], home)       # environment={"GTK_THEME": ...}
        main = program.window("Relaybird v...")                # waits; "..." matches any rest
        main.choose("Edit", "Settings...")                     # a menu and its entry
        settings = program.window("Settings")
        settings.find("Size", "page tab").click()
        settings.find("Only forward items smaller than:", "check box").click()
        settings.window_id()                                   # the X window, for a screenshot
        settings.find("OK").click()
        settings.wait_gone()
        program.leave()                                        # File, Exit; returns the exit status

Windows and controls are found by their accessible names and roles, and read, through AT-SPI. Input
goes through the X server (xdotool), or is an action that the program offers to assistive tools
(Widget.press). No test sleeps for a fixed time; wait_for() polls for a condition with a deadline.

Needs Debian's python3-gi, at-spi2-core, dbus-daemon, openbox, xdotool, xvfb; xclip for
Desktop.clipboard(), gir1.2-gtk-3.0 for clipboard_keeper, and xsettingsd for theme.
"""

from .desktop import Desktop
from .home import Home
from .program import Program, StartedProgram
from .waiting import TooLate, wait_for
from .widgets import Widget, Window

__all__ = ["Desktop", "Home", "Program", "StartedProgram", "TooLate", "Widget", "Window", "wait_for"]
