# SPDX-License-Identifier: MIT
"""Takes a picture of every window and tab: take_pictures.py PROGRAM HELP_FILE FOLDER [SUFFIX
[NAME=VALUE...]]. The values are added to the program's environment, e.g. GTK_THEME=Adwaita:dark."""

import pathlib
import subprocess
import sys

from desktop_case import MAIN, show_tab
from driver import Desktop, Home, wait_for

PREFERENCES = {
    "mstrFwdToAddress_num": 2,
    "mstrFwdToAddress_1": "5550100@sms.example.net",
    "mstrFwdToAddress_2": "ann@elsewhere.example",
    "mbolFormatForCellPhone": True,
    "mbolFwdUponStart": True,
    "mbolMaxFwdSize": True,
    "mintSenderFilter": 502,
    "mcolSenderList_num": 2,
    "mcolSenderList_1": "offers.example",
    "mcolSenderList_2": "news@example.com",
    "mbolFilterText": True,
    "mintMatchType": 201,
    "mintTextToCheck": 102,
    "mstrTextToMatch_num": 3,
    "mstrTextToMatch_1": "urgent",
    "mstrTextToMatch_2": "boarding pass",
    "mstrTextToMatch_3": "Friday",
}
MAIL = (
    ("Lunch on Friday?", "Anna Example <anna@example.org>"),
    ("Your boarding pass", "Airline <checkin@airline.example>"),
    ("Photos of the garden", "Bob Example <bob@example.com>"),
    ("Urgent: the roof leaks", "Carol Example <carol@example.com>"),
    ("Only today", "Shop <shop@offers.example>"),
)
FORWARDED = 3
SETUP_TABS = ("Your Mail", "Servers", "Sending", "Test")
TABS = ("General", "Size", "Sender", "Text", "Cell Phone")


class Camera:
    def __init__(self, desktop, folder, suffix):
        self._desktop = desktop
        self._folder = pathlib.Path(folder)
        self._suffix = suffix
        self._away = [int(side) - 1 for side in desktop.screen.split("x")]

    def take(self, window, name):
        """Saves a picture of the window, without the window manager's frame, as soon as nothing in it
        changes any more."""
        self._desktop.xdotool("mousemove", "--sync", *self._away)
        number = window.window_id()
        before, now = None, self._pixels(number)
        while before != now:
            before, now = now, self._pixels(number)
        subprocess.run(
            ["import", "-window", number, "-strip", "+dither", "-colors", "128",
             str(self._folder / f"{name}{self._suffix}.png")],
            env=self._desktop.environment, check=True, timeout=60)

    def _pixels(self, number):
        return subprocess.run(["import", "-window", number, "rgb:-"],
                              env=self._desktop.environment, check=True, timeout=60,
                              stdout=subprocess.PIPE).stdout


def main_window(program, camera):
    main = program.window(MAIN)
    camera.take(main, "main-stopped")
    main.choose("File", "Start")
    box = program.window("Please Confirm:")
    camera.take(box, "question")
    box.find("Yes", "push button").click()
    main.find("Number Forwarded:", "text").wait_for_text(str(FORWARDED))
    wait_for("the end of the check", lambda: "Currently Idle" in main.tree(),
             otherwise=program.describe)
    camera.take(main, "main-running")


def settings(program, camera):
    program.window(MAIN).choose("Edit", "Settings...")
    window = program.window("Settings")
    for tab in TABS:
        show_tab(window, tab)
        camera.take(window, "settings-" + tab.lower().replace(" ", "-"))
    window.find("Cancel", "push button").click()
    window.wait_gone()


def set_up(program, camera):
    program.window(MAIN).choose("Edit", "Set Up Mail...")
    window = program.window("Set Up Mail")
    camera.take(window, "set-up-maildir")
    window.find("An account at a mail provider", "radio button").click()
    window.find("Your e-mail address:", "text").enter("ann@gmail.com")
    for tab in SETUP_TABS:
        show_tab(window, tab)
        camera.take(window, "set-up-" + tab.lower().replace(" ", "-"))
    window.find("Cancel", "push button").click()
    window.wait_gone()


def others(program, camera):
    main = program.window(MAIN)
    main.find("View Log ", "push button").click()
    camera.take(program.window("Activity Log"), "log")
    main = program.window(MAIN)
    main.choose("Help", "About...")
    about = program.window("About Relaybird")
    camera.take(about, "about")
    program.desktop.keys("Escape")
    about.wait_gone()
    program.window(MAIN).choose("Help", "Help Index...")
    camera.take(program.window("Help: ..."), "help")


def take_all(program_file, help_file, folder, suffix, environment):
    with Desktop("1280x1024") as desktop:
        home = Home(desktop.new_folder())
        home.write_remembered_help(help_file)
        home.write_preferences(**PREFERENCES)
        # Forwards are delivered at once; otherwise the window would show the path of a scratch outbox.
        with open(home.preference_file, "a", encoding="utf-8") as file:
            file.write("[mail]\nsendmail=/bin/true\n")
        for subject, sender in MAIL:
            home.deliver(subject, sender)
        program = desktop.run([program_file], home, environment)
        camera = Camera(desktop, folder, suffix)
        for part in (main_window, settings, set_up, others):
            part(program, camera)
        program.leave()


if __name__ == "__main__":
    take_all(*sys.argv[1:4], sys.argv[4] if len(sys.argv) > 4 else "",
             dict(pair.split("=", 1) for pair in sys.argv[5:]))
