# SPDX-License-Identifier: MIT
"""The accessible role, name, label and description of every control. No control is named by a label
that only precedes it."""

import re

import desktop_case
from desktop_case import DesktopCase, show_tab
from every_window import SETUP_TABS, TABS, every_window

# Containers are listed only if they have a name.
STRUCTURE = ("filler", "menu bar", "page tab list", "panel", "scroll bar", "scroll pane",
             "separator", "table", "tool bar")
# Their number depends on the content.
ENTRIES = "table cell"

FIELDS = [
    "label 'Automation Status:' for 'Automation Status:'",
    "text 'Automation Status:' by 'Automation Status:'",
    "label 'Running Since:' for 'Running Since:'",
    "text 'Running Since:' by 'Running Since:'",
    "label 'Number Forwarded:' for 'Number Forwarded:'",
    "text 'Number Forwarded:' by 'Number Forwarded:'",
    "label 'Minutes to Next Check:' for 'Minutes to Next Check:'",
    "text 'Minutes to Next Check:' by 'Minutes to Next Check:'",
    "label 'Forwards to [1 address]:' for 'Forwards to [1 address]:'",
    "scroll pane 'Forwards to [1 address]:'",
    "text 'Forwards to [1 address]:' by 'Forwards to [1 address]:'",
]
TOOLS = [f"push button '{name}'" for name in (
    "Show/hide navigation panel", "Go back", "Go forward", "Go one level up in document hierarchy",
    "Previous page", "Next page", "Print this page", "Display options dialog")]


def main_window(status, test, *buttons):
    return ["frame 'Relaybird v...'",
            *(f"menu '{menu}'" for menu in ("File", "Edit", "Outbox", "Diagnostics",
                                           "Help")),
            "label 'Watches the Maildir ~/Maildir. Forwards stay in the...'",
            *buttons,
            "push button 'Settings'",
            "push button 'Minimize to System Tray'",
            "icon 'Standard format'",
            "icon 'To a mailbox'",
            "panel 'Status' by 'Status'",
            *FIELDS,
            f"label '{status}'",
            "label 'No delivery command is set: forwards wait in the outbox...'",
            "label 'Status' for 'Status'",
            "panel 'Diagnostics' by 'Diagnostics'",
            test,
            "push button 'View Log'",
            "label 'Diagnostics' for 'Diagnostics'",
            "push button 'Exit'"]


def settings(tab, *page):
    tabs = [f"page tab '{name}'" for name in TABS]
    here = TABS.index(tab) + 1
    return ["dialog 'Settings'", *tabs[:here], *page, *tabs[here:],
            "push button 'OK'", "push button 'Cancel'", "push button 'Apply'"]


def set_up(tab, *page):
    tabs = [f"page tab '{name}'" for name in SETUP_TABS]
    here = SETUP_TABS.index(tab) + 1
    return ["dialog 'Set Up Mail'", *tabs[:here], *page, *tabs[here:],
            "push button 'OK'", "push button 'Cancel'"]


def field(label, role="text"):
    """A field beside its label."""
    return [f"label '{label}' for '{label}'", f"{role} '{label}' by '{label}'"]


def lines(label):
    """A multi-line field below its label."""
    return [f"label '{label}' for '{label}'", f"scroll pane '{label}'",
            f"text '{label}' by '{label}'"]


def manual(tab, *page):
    tabs = [f"page tab '{name}'" for name in ("Contents", "Index", "Search")]
    here = tabs.index(f"page tab '{tab}'") + 1
    return ["frame 'Help: Welcome to Relaybird'", *TOOLS, "scroll pane 'Page'", "panel 'Page'",
            *tabs[:here], *page, *tabs[here:]]


WINDOWS = {
    "main": main_window("Current Status - Automatic forwarding turned off", "push button 'Test (Forward Once)'",
                        "push button 'Start Forwarding Email'",
                        "push button 'Stop Forwarding Email': Forwarding is off. disabled"),
    "settings, General": settings(
        "General",
        *lines("Forward to the following address(es) (separate with..."),
        "push button 'Check validity of addresses'",
        "label 'How often to forward mail (minutes):' for 'How often to forward mail (minutes):'",
        "text 'How often to forward mail (minutes):' by 'How often to forward mail (minutes):'"
        ": (0.25 hours)",
        "label '(0.25 hours)'",
        "label 'Maximum number of emails to forward:' for 'Maximum number of emails to forward:'",
        "text 'Maximum number of emails to forward:' by 'Maximum number of emails to forward:'",
        "label 'Other preferences:'",
        "check box 'Ignore existing unread messages'",
        "check box 'Address using \"BCC\" instead of \"To\"'",
        "label 'Startup options:'",
        "check box 'Automatically turn on Email Forwarding when program starts'",
        "check box 'Forward Email once immediately upon turning on forwarding'"),
    "settings, Size": settings(
        "Size",
        "label 'Message size:'",
        "check box 'Only forward items smaller than:' for 'Only forward items smaller than:'",
        "text 'Only forward items smaller than:' by 'Only forward items smaller than:'"
        ": (megabytes)",
        "label '(megabytes)'",
        "check box 'Include attachments when forward mail'"),
    "settings, Sender": settings(
        "Sender",
        "label 'Received from:'",
        "panel 'Filter By Sender:' by 'Filter By Sender:'",
        "radio button 'Forward Messages Received From Anyone'",
        "radio button 'Forward All Messages Except From ...'",
        "radio button 'Only Forward Messages From ...'",
        *lines("List of Email Addresses or Names (separated with..."),
        "push button 'Get Name from Global Address List'"
        ": There is no Global Address List here to take names from....",
        "label 'Filter By Sender:' for 'Filter By Sender:'"),
    "settings, Text": settings(
        "Text",
        "label 'Filter based on subject / message body text:'",
        "check box 'Only forward Email containing the following text:'",
        "label 'Text To Search:' for 'Text To Search:'",
        "combo box 'Text To Search:' by 'Text To Search:'",
        "label 'Type of Match:' for 'Type of Match:'",
        "combo box 'Type of Match:' by 'Type of Match:'",
        *lines("Text/phrases to look for in emails (separate with...")),
    "settings, Cell Phone": settings(
        "Cell Phone",
        "label 'Format Messages for cell phone or standard email:'",
        "push button 'Cell phone format' by 'Cell phone format'"
        ": Use this setting if you are forwarding your emails to a...",
        "label 'Cell phone format' for 'Cell phone format'",
        "label 'Use this setting if you are forwarding your emails to a...'",
        "push button 'Standard format' by 'Standard format'"
        ": This will forward the entire message, including CC list...",
        "label 'Standard format' for 'Standard format'",
        "label 'This will forward the entire message, including CC list...'",
        "label 'Selection:'",
        "label 'Emails to be forwarded using standard formatting'",
        "radio button 'Cell phone format'",
        "radio button 'Standard format'"),
    "set-up, Your Mail": set_up(
        "Your Mail",
        "label 'Where is your mail?'",
        "radio button 'An account at a mail provider'",
        "radio button 'A Maildir on this computer'",
        *field("Your e-mail address:"),
        *field("Your name:"),
        *field("Sign in with:", "combo box"),
        *field("Password:", "password text"),
        "label 'The server for reading mail is not known yet: enter it...'"),
    "set-up, Servers": set_up(
        "Servers",
        "label 'Reading mail (IMAP)'",
        *field("Server:"),
        *field("Port:"),
        *field("Encryption:", "combo box"),
        *field("User name:"),
        *field("Folder to watch:"),
        *field("Certificate file (only for a server with a certificate...")),
    "set-up, Sending": set_up(
        "Sending",
        *field("Forwards leave by:", "combo box"),
        *field("Server:"),
        *field("Port:"),
        *field("Encryption:", "combo box"),
        *field("User name:"),
        "check box 'Keep a copy of each forward in the account's Sent folder'",
        *field("Address book (a vCard file, optional):")),
    "set-up, Test": set_up(
        "Test",
        "label 'The server for reading mail is not known yet: enter it...'",
        "push button 'Test Account'",
        "push button 'Stop': No test is running. disabled",
        *lines("Result:"),
        "label 'A test message goes to the addresses that mail is...'",
        "push button 'Send a Test Message'"),
    "log": ["frame 'Activity Log'",
            "label 'Find:' for 'Find:'",
            "text 'Find:' by 'Find:'",
            "push button 'Previous'",
            "push button 'Next'",
            "scroll pane 'Activity Log'",
            "panel 'Activity Log'",
            "list 'Activity Log'",
            "push button 'Copy to Clipboard'",
            "push button 'Save As...'",
            "push button 'Close'"],
    "about": ["dialog 'About Relaybird'",
              "icon 'Relaybird'",
              "label 'Relaybird v...'",
              "label 'This application monitors and selectively forwards your...'",
              "label 'Relaybird comes without guarantees of any kind: you use...'",
              "label 'Copyright (c) 2026 The Relaybird maintainers'",
              "label 'Version:' for 'Version:'",
              "text 'Version:' by 'Version:'",
              "label 'Web page:'",
              "link 'https://relaybird.org/'",
              "push button 'System Info...'",
              "push button 'OK'"],
    "the question at the start": ["alert 'Please Confirm:'",
                                  "label 'Please confirm that you would like Relaybird to forward...'",
                                  "push button 'Yes'",
                                  "push button 'No'"],
    "the question about the tray": ["alert 'Minimize to System Tray'",
                                    "label 'This option will place Relaybird in the Windows System...'",
                                    "push button 'Yes'",
                                    "push button 'No'",
                                    "push button 'Cancel'"],
    "the explanation of the test": ["alert 'Test Explanation:'",
                                    "label 'This will run through one cycle of checking/forwarding...'",
                                    "push button 'OK'",
                                    "push button 'Cancel'"],
    "the box of a refused value": ["alert 'Relaybird'",
                                   "label 'Problem - Invalid value for how often to forward mail.'",
                                   "push button 'OK'"],
}
IDLE = "Currently Idle - Waiting for next inbox check..."
NO_TEST = "There can be no test while forwarding is on, or while..."
RUNNING = main_window(IDLE, f"push button 'Test (Forward Once)': {NO_TEST} disabled",
                      "push button 'Start Forwarding Email': Forwarding is on already. disabled",
                      "push button 'Stop Forwarding Email'")
MANUAL = {
    "Contents": manual("Contents", "scroll pane 'Contents'", "panel 'Contents'"),
    "Index": manual("Index",
                    "text 'Find in the index'",
                    "push button 'Find': Display all index items that contain given substring....",
                    "push button 'Show all': Show all items in index",
                    "label '(some) of (some)'",
                    "scroll pane 'Index'",
                    "table 'Index'"),
    "Search": manual("Search",
                     "text 'Search for'",
                     "combo box 'Search in'",
                     "check box 'Case sensitive'",
                     "check box 'Whole words only'",
                     "push button 'Search': Search contents of help book(s) for all occurrences of...",
                     "scroll pane 'Pages found'",
                     "table 'Pages found'"),
}
OPTIONS = ["dialog 'Help Browser Options'",
           "label 'Normal font:' for 'Normal font:'",
           "label 'Fixed font:' for 'Fixed font:'",
           "label 'Font size:' for 'Font size:'",
           "combo box 'Normal font:'",
           "text 'Normal font:' by 'Normal font:'",
           "combo box 'Fixed font:'",
           "text 'Fixed font:' by 'Fixed font:'",
           "spin button 'Font size:' by 'Font size:'",
           "label 'Preview:' for 'Preview:'",
           "scroll pane 'Preview:'",
           "panel 'Preview:' by 'Preview:'",
           "push button 'OK'",
           "push button 'Cancel'"]
QUESTION = "You don't seem to have a valid Email address set in the..."


def described(widget):
    """A control as one line: ROLE 'NAME' [by 'LABEL'] [for 'CONTROL'] [: DESCRIPTION] [disabled]."""
    words = f"{widget.role} '{short(widget.name)}'"
    words += "".join(f" by '{short(each.name)}'" for each in widget.labels)
    words += "".join(f" for '{short(each.name)}'" for each in widget.labelled)
    if widget.description and widget.description != widget.name:
        words += f": {short(widget.description)}"
    return words if widget.has("sensitive") else words + " disabled"


def short(text):
    """The beginning of a text in whole words, with versions and counts replaced."""
    words = re.sub(r"\bv[0-9][0-9.]*", "v...", " ".join(text.split()))
    words = re.sub(r"^[0-9]+ of [0-9]+$", "(some) of (some)", words)
    return words if len(words) <= 60 else words[:57].rpartition(" ")[0] + "..."


class Labels(DesktopCase):
    maxDiff = None

    def assert_described(self, wanted, window):
        seen = [each for each in window.walk() if each.role != ENTRIES]
        self.assertEqual([], [f"{each!r} at {each.extents}" for each in seen
                              if each.role not in STRUCTURE and not each.name.strip()],
                         "has no name")
        self.assertEqual("\n".join(wanted),
                         "\n".join(described(each) for each in seen
                                   if each.role not in STRUCTURE or each.name.strip()))

    def test_each_control_is_named_by_its_own_label(self):
        self.start()
        left = set(WINDOWS)
        for word, window in every_window(self):
            with self.subTest(word):
                left.discard(word)
                self.assert_described(WINDOWS[word], window)
        self.assertEqual(set(), left)

    def test_also_while_forwarding_is_on(self):
        main = self.start()
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.find(IDLE, "label")
        self.assert_described(RUNNING, main)

    def test_also_in_the_manual(self):
        self.start().choose("Help", "Help Index...")
        window = self.program.window("Help: ...")
        for tab, wanted in MANUAL.items():
            with self.subTest(tab):
                show_tab(window, tab)
                self.assert_described(wanted, window)

    def test_also_in_the_options_of_the_manual(self):
        self.start().choose("Help", "Help Index...")
        self.program.window("Help: ...").find("Display options dialog", "push button").click()
        self.assert_described(OPTIONS, self.program.window("Help Browser Options"))

    def test_each_menu_entry_has_a_name(self):
        main = self.start()
        entries = [entry for menu in main.find_all(role="menu")
                   for entry in menu.walk(hidden=True) if entry.role != "separator"]
        self.assertEqual([], [entry for entry in entries if not entry.name.strip()])
        self.assertLess(set("File Edit Outbox Help Start About...".split()),
                        {entry.name for entry in entries})

    def test_also_in_a_question_for_a_line(self):
        self.start(mstrFwdToAddress_num=0).choose("File", "Start")
        self.assert_described(["dialog 'Invalid Email Address'",
                          f"label '{QUESTION}' for '{QUESTION}'",
                          f"text '{QUESTION}' by '{QUESTION}'",
                          "push button 'OK'",
                          "push button 'Cancel'"],
                         self.program.window("Invalid Email Address"))

    def test_a_disabled_button_says_why(self):
        main = self.start()
        main.choose("File", "Start")
        self.answer("Please Confirm:", "Yes")
        main.activate()
        self.assert_tip(main.find("Test (Forward Once)", "push button"),
                        "There can be no test while")

    def test_a_button_without_effect_says_why(self):
        self.start()
        self.assert_tip(self.open_settings("Sender").find("Get Name from Global Address List"),
                        "There is no Global Address List here")

    def assert_tip(self, widget, begin):
        """Rests the mouse there; the text of the tool tip must be the description too."""
        self.assertTrue(widget.description.startswith(begin), widget.description)
        left, top = widget.point()
        self.wait_until("no tool tip", lambda: not self.tips())
        for place in ((left + 3, top), (left, top)):
            self.desktop.xdotool("mousemove", "--sync", *place)
        self.wait_until(f"a tool tip over {widget}", self.tips)
        self.desktop.xdotool("mousemove", "--sync", 0, 0)

    def tips(self):
        """The X windows of tool tips. They have no title, so GTK sets the program's name."""
        return self.desktop.xdotool("search", "--onlyvisible", "--all",
                                    "--pid", self.program.process.pid,
                                    "--name", r"^org\.relaybird\.Relaybird$").split()

    def test_a_description_follows_its_source(self):
        self.start()
        page = self.open_settings("General")
        field = page.find("How often to forward mail (minutes):", "text")
        field.enter("90")
        self.wait_until("the description", lambda: field.description == "(1.5 hours)")


if __name__ == "__main__":
    desktop_case.main()
