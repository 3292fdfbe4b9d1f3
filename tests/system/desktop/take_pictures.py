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
COMMAND = "~/bin/send-mail"
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


def set_up_account(program, camera):
    """The tabs for an account. Nothing is asked of its servers."""
    main = program.window(MAIN)
    camera.take(main, "main-new")
    main.find("Set up mail...", "push button").click()
    window = program.window("Set Up Mail")
    window.find("Your e-mail address:", "text").enter("ann@gmail.com")
    for tab in SETUP_TABS:
        show_tab(window, tab)
        camera.take(window, "set-up-" + tab.lower().replace(" ", "-"))
    show_tab(window, SETUP_TABS[0])
    window.find("Your e-mail address:", "text").enter("ann@anns-bakery.example")
    camera.take(window, "set-up-own-domain")
    window.find("Cancel", "push button").click()
    window.wait_gone()


def set_up_maildir(program, camera):
    """The same for a Maildir and a command, and a test of both."""
    program.window(MAIN).choose("Edit", "Set Up Mail...")
    window = program.window("Set Up Mail")
    window.find("A Maildir on this computer", "radio button").click()
    window.find("Your e-mail address:", "text").enter("ann@example.org")
    camera.take(window, "set-up-maildir")
    show_tab(window, "Sending")
    window.find("Command:", "text").enter(COMMAND)
    camera.take(window, "set-up-command")
    show_tab(window, "Test")
    window.find("Test Account", "push button").click()
    result = window.find("Result:", "text")
    wait_for("the end of the test", lambda: "The test is over" in result.text,
             otherwise=program.describe)
    camera.take(window, "set-up-tested")
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


class Household:
    """Homes of a person named Ann, whose forwards are taken by a command of hers. The window shows
    paths in the home folder from there on, so it shows none of a scratch folder."""

    def __init__(self, desktop, help_file):
        self._desktop = desktop
        self._help_file = help_file

    def home(self, **mail):
        home = Home(self._desktop.new_folder())
        home.write_remembered_help(self._help_file)
        home.write_preferences(**PREFERENCES)
        with open(home.preference_file, "a", encoding="utf-8") as file:
            file.write("[mail]\nname=Ann Example\n")
            file.writelines(f"{key}={value}\n" for key, value in mail.items())
        command = home.folder / COMMAND.removeprefix("~/")
        command.parent.mkdir()
        command.write_text("#!/bin/sh\nexec cat >/dev/null\n", encoding="ascii")
        command.chmod(0o700)
        return home


def take_all(program_file, help_file, folder, suffix, environment):
    with Desktop("1280x1024") as desktop:
        household = Household(desktop, help_file)
        camera = Camera(desktop, folder, suffix)

        home = household.home(sendmail=COMMAND)
        for subject, sender in MAIL:
            home.deliver(subject, sender)
        program = desktop.run([program_file], home, environment)
        for part in (main_window, settings, others):
            part(program, camera)
        program.leave()

        home = household.home()
        home.maildir.rename(home.folder / "later")
        program = desktop.run([program_file], home, environment)
        set_up_account(program, camera)
        (home.folder / "later").rename(home.maildir)
        set_up_maildir(program, camera)
        program.leave()


if __name__ == "__main__":
    take_all(*sys.argv[1:4], sys.argv[4] if len(sys.argv) > 4 else "",
             dict(pair.split("=", 1) for pair in sys.argv[5:]))
