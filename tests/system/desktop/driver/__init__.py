# SPDX-License-Identifier: MIT
"""Drives a desktop program as a person does who works with a screen reader, a keyboard and a mouse.

    from driver import Desktop, Home

    with Desktop(screen="1280x1024") as desktop:
        home = Home(desktop.new_folder())
        home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1="5550100@sms.example.net")
        program = desktop.run([path_of_relaybird], home)       # environment={"GTK_THEME": ...}
        main = program.window("Relaybird v...")                # waits; "..." for any rest
        main.choose("Edit", "Settings...")                     # a menu and its entry
        settings = program.window("Settings")
        settings.find("Size", "page tab").click()
        settings.find("Only forward items smaller than:", "check box").click()
        settings.window_id()                                   # the X window, for a picture of it
        settings.find("OK").click()
        settings.wait_gone()
        program.leave()                                        # File, Exit; answers the exit status

Windows and controls are found by their accessible names and roles through AT-SPI and read through
it; what is done to them goes through the X server (xdotool), or is an action that the program
offers to assistive tools (Widget.press). Nothing sleeps for a time: whatever has to come is waited
for with a deadline (driver.waiting.wait_for).

Needs Debian's python3-gi, at-spi2-core, dbus-daemon, openbox, xdotool, xvfb; xclip for
Desktop.clipboard(), gir1.2-gtk-3.0 for clipboard_keeper, and xsettingsd for theme.
"""

from .desktop import Desktop
from .home import Home
from .program import Program, StartedProgram
from .waiting import TooLate, wait_for
from .widgets import Widget, Window

__all__ = ["Desktop", "Home", "Program", "StartedProgram", "TooLate", "Widget", "Window", "wait_for"]
