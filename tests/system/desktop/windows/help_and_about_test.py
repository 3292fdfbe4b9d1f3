# SPDX-License-Identifier: MIT
"""The window of the manual, the search for a missing manual, and the about box."""

import collections
import os
import shutil
import unittest

import desktop_case
from desktop_case import MAIN, DesktopCase, show_tab

CHOOSER = '"Please locate help file (rbx.chm)"'
NOT_FOUND = "Help file (rbx.chm) not found:"
HELP = "Help: ..."
OPENERS = ("/usr/bin/xdg-open", "/usr/bin/gio")
TOOLS = ("gnome-control-center", "kinfocenter", "hardinfo2", "hardinfo")


def middle(window):
    left, top, width, height = window.extents
    return left + width // 2, top + height // 2


class HelpCase(DesktopCase):
    def open_help(self):
        self.program.window(MAIN).choose("Help", "Help Index...")
        return self.program.window(HELP)

    def start_without_manual(self):
        """Starts a copy of the program that has no manual in its folder."""
        self.program_file = shutil.copy(self.program_file, self.home.folder)
        self.home.write_remembered_help("/nowhere/rbx.chm")
        return self.start()

    def choose_manual(self, path):
        chooser = self.program.window(CHOOSER)
        self.desktop.type(str(path))  # the slash opens the field for a path
        self.wait_until("the path", lambda: any(
            each.text == str(path) for each in chooser.find_all(role="text")))
        self.desktop.keys("Return")
        chooser.wait_gone()

    def wait_for_page(self, window, title):
        """Waits for a page; the title of the window is that of the page."""
        self.wait_until(f"the page '{title}'", lambda: window.name == "Help: " + title)

    def search_for(self, window, words):
        """Searches by the keyboard, and returns the field."""
        field = show_tab(window, "Search").find("Search for", "text")
        field.enter(words)
        self.desktop.keys("Return")
        return field


class Help(HelpCase):
    def test_it_opens_without_a_question_at_the_first_page(self):
        self.start()
        window = self.open_help()
        self.wait_for_page(window, "Welcome to Relaybird")
        window.find("Contents", "page tab").wait_for_state("selected")
        window.close()
        self.leave()

    def test_the_index_leads_to_a_page(self):
        self.start()
        window = self.open_help()
        index = show_tab(window, "Index")
        index.find(role="text").enter("Warranty")
        index.find("Find", "push button").click()
        self.wait_for_page(window, "About and licence")

    def test_the_search_leads_to_a_page(self):
        self.start()
        window = self.open_help()
        show_tab(window, "Index").find(role="text").focus()
        self.desktop.keys("ctrl+Next")
        search = window.find("Search", "page tab")
        search.wait_for_state("selected")
        search.find(role="text").enter("merchantability")
        search.find("Search", "push button").click()
        self.wait_for_page(window, "About and licence")
        window.find("1 page found", "label")

    def test_a_search_says_how_many_pages_it_found_and_leaves_the_keys_in_the_field(self):
        self.start()
        window = self.open_help()
        field = self.search_for(window, "outbox")
        self.wait_until("the outcome", lambda: field.description)
        self.assertRegex(field.description, r"^[1-9]\d* pages found$")
        window.find(field.description, "label")
        found = window.find("Pages found", "table").find_all(role="table cell")
        self.assertEqual(f"{len(found)} pages found", field.description)
        names = [each.name for each in found]
        self.assertIn("Welcome to Relaybird", names)
        self.assertNotIn("Relaybird Help", names, "the first page by its other name")
        window.activate()
        field.wait_for_state("focused")
        self.desktop.type("console")
        field.wait_for_text("console")

    def test_a_search_without_hits_says_so_and_keeps_the_page(self):
        self.start()
        window = self.open_help()
        self.wait_for_page(window, "Welcome to Relaybird")
        field = self.search_for(window, "xyzzyq")
        window.find("Nothing found", "label")
        self.wait_until("the outcome", lambda: field.description == "Nothing found")
        self.assertEqual(
            [], window.find("Pages found", "table").find_all(role="table cell"))
        self.assertEqual("Help: Welcome to Relaybird", window.name)

    def test_blanks_are_not_searched_for(self):
        self.start()
        window = self.open_help()
        field = self.search_for(window, "  ")
        field.enter(" xyzzyq ")
        self.desktop.keys("Return")
        field.wait_for_text("xyzzyq")
        window.find("Nothing found", "label")

    def test_escape_closes_it_whatever_has_the_focus(self):
        self.start()
        for part in (lambda window: window.find("Contents", "panel"),
                     lambda window: show_tab(window, "Index").find(role="text"),
                     lambda window: show_tab(window, "Search").find(role="text")):
            window = self.open_help()
            part(window).focus()
            self.desktop.keys("Escape")
            window.wait_gone()
        self.leave()

    def test_escape_in_its_options_closes_only_those(self):
        self.start()
        window = self.open_help()
        window.find("Display options dialog").click()
        options = self.program.window("Help Browser Options")
        self.desktop.keys("Escape")
        options.wait_gone()
        self.assertTrue(window.is_showing())
        self.leave()

    def test_the_second_opening_is_like_the_first(self):
        self.start()
        looks = []
        for _ in range(2):
            window = self.open_help()
            self.wait_for_page(window, "Welcome to Relaybird")
            window.point()  # waits until it no longer moves
            tools = [each.name for each in
                     window.find(role="tool bar").find_all(role="push button")]
            parts = [each.name for each in window.find_all(role="scroll pane")]
            looks.append((window.extents[2:], tools, parts))
            window.close()
        self.assertEqual(looks[0], looks[1])
        self.assertIn("Print this page", looks[0][1])
        self.assertEqual(["Page", "Contents"], looks[0][2])
        self.leave()

    def test_it_opens_over_the_main_window_also_after_another_window(self):
        main = self.start()
        self.open_log().close()
        window = self.open_help()
        window.point()  # waits until it no longer moves
        for one, other in zip(middle(main), middle(window)):
            self.assertAlmostEqual(one, other, delta=20, msg=f"{main.extents} {window.extents}")

    def test_leaving_closes_it(self):
        self.start()
        self.open_help()
        self.leave()

    def check_that_the_end_closes(self, tool, title):
        self.start()
        self.open_help().find(tool).click()
        self.program.window(title)
        self.program.terminate()
        self.assertEqual(0, self.program.wait(), self.program.output())

    def test_the_end_of_the_program_closes_its_options(self):
        self.check_that_the_end_closes("Display options dialog", "Help Browser Options")

    def test_the_end_of_the_program_closes_its_print_dialog(self):
        self.check_that_the_end_closes("Print this page", "Print")

    def test_a_missing_manual_is_reported_and_cancel_ends_it(self):
        self.start_without_manual().choose("Help", "Help Index...")
        self.assertIn("The help file could not be found.", self.answer(NOT_FOUND, "Cancel"))
        self.leave()
        self.assertIn("/nowhere", self.home.remembered_help_file.read_text())

    def test_a_chosen_manual_is_used_and_remembered(self):
        moved = self.home.folder / "moved.chm"
        os.symlink(self.help_file, moved)
        self.start_without_manual().choose("Help", "Help Index...")
        self.answer(NOT_FOUND, "OK")
        self.choose_manual(moved)
        self.program.window(HELP)
        self.leave()
        self.assertIn(str(moved), self.home.remembered_help_file.read_text())

    def test_a_chosen_manual_that_cannot_be_read_can_be_replaced(self):
        damaged = self.home.folder / "damaged.chm"
        damaged.write_text("no manual")
        self.start_without_manual().choose("Help", "Help Index...")
        self.answer(NOT_FOUND, "OK")
        self.choose_manual(damaged)
        self.assertIn(f"{damaged} cannot be opened.", self.answer("Error", "Cancel"))
        self.program.window(MAIN).choose("Help", "Help Index...")
        self.answer("Error", "OK")
        self.choose_manual(self.help_file)
        self.wait_for_page(self.program.window(HELP), "Welcome to Relaybird")
        self.leave()
        self.assertIn(self.help_file, self.home.remembered_help_file.read_text())

    def test_another_manual_takes_the_place_of_the_open_one(self):
        first = shutil.copy(self.help_file, self.home.folder)
        self.home.write_remembered_help(first)
        self.start()
        window = self.open_help()
        os.remove(first)
        self.program.window(MAIN).choose("Help", "Help Index...")
        self.answer(NOT_FOUND, "OK")
        self.choose_manual(self.help_file)
        window.wait_gone()
        self.wait_for_page(self.program.window(HELP), "Welcome to Relaybird")
        self.leave()


class HelpColours(HelpCase):
    def colours_of(self, name):
        """The brightness of the background, of the darkest and of the brightest pixel."""
        left, top, width, height = self.program.window(HELP).find(name, "scroll pane").extents
        rows = self.desktop.pixels((left + 2, top + 2, width - 20, height - 20))
        counted = collections.Counter(pixel for row in rows for pixel in row)
        bright = [sum(pixel) // 3 for pixel in counted]
        return sum(counted.most_common(1)[0][0]) // 3, min(bright), max(bright)

    def wait_for_colours(self, right):
        self.wait_for_page(self.open_help(), "Welcome to Relaybird")
        for part in ("Page", "Contents"):
            self.wait_until(f"the colours of '{part}'",
                            lambda part=part: right(*self.colours_of(part)))

    def test_the_page_is_dark_with_light_text_in_a_dark_theme(self):
        self.start({"GTK_THEME": "Adwaita:dark"})
        self.wait_for_colours(lambda ground, _, brightest: ground < 80 and brightest > 220)

    def test_the_page_is_light_with_dark_text_in_a_light_theme(self):
        self.start({"GTK_THEME": "Adwaita"})
        self.wait_for_colours(lambda ground, darkest, _: ground > 220 and darkest < 80)


class LargeFont(HelpCase):
    SCREEN = "2560x1600"

    def test_all_tabs_and_texts_of_fields_are_visible(self):
        self.start({"GDK_DPI_SCALE": "2"})
        window = self.open_help()
        self.wait_for_page(window, "Welcome to Relaybird")
        window.point()  # waits until it no longer moves
        page = window.find("Page", "scroll pane").extents
        for name in ("Contents", "Index", "Search"):
            left, _, width, _ = window.find(name, "page tab").extents
            self.assertGreater(left, window.extents[0])
            self.assertLess(left + width, page[0], f"the tab '{name}'")
        self.assertGreater(page[2], window.extents[2] // 3)
        for tab in ("Index", "Search"):
            field = show_tab(window, tab).find(role="text")
            field.enter("gypsy")
            self.assertGreater(field.extents[3], field.accessible.letter_extents(0)[3], tab)


class LargeFontOnASmallScreen(LargeFont):
    SCREEN = "640x480"


class About(DesktopCase):
    def open_about(self):
        self.program.window(MAIN).choose("Help", "About...")
        return self.program.window("About Relaybird")

    def test_it_names_the_program_and_closes(self):
        main = self.start()
        about = self.open_about()
        labels = [label.name for label in about.find_all(role="label")]
        self.assertRegex(labels[0], r"^Relaybird  v\d+\.\d+\.\d+$")
        self.assertEqual([], [label for label in labels if "\r" in label])
        self.assertIn("without guarantees", labels[2])
        about.find("OK").click()
        about.wait_gone()
        self.assertTrue(main.is_showing())

    def test_the_version_can_be_copied(self):
        self.start()
        about = self.open_about()
        version = about.find("Version:", "text")
        self.assertFalse(version.has("editable"))
        self.assertEqual("Relaybird  v" + version.text, about.find_all(role="label")[0].name)
        self.desktop.clear_clipboard()
        version.focus()
        self.desktop.keys("ctrl+a", "ctrl+c")
        self.wait_until("the version", lambda: self.desktop.clipboard() == version.text)

    def install_browser(self):
        """Installs a browser that records the address; returns its path and that of its record."""
        shown = self.home.folder / "shown"
        browser = self.home.folder / "browser"
        browser.write_text(f'#!/bin/sh\necho "$1" >"{shown}"\n', encoding="ascii")
        browser.chmod(0o755)
        entries = self.home.folder / "data" / "applications"
        entries.mkdir(parents=True)
        (entries / "browser.desktop").write_text(
            f"[Desktop Entry]\nType=Application\nName=Browser\nExec={browser} %u\n"
            "MimeType=x-scheme-handler/https;\n", encoding="ascii")
        (self.home.config / "mimeapps.list").write_text(
            "[Default Applications]\nx-scheme-handler/https=browser.desktop\n", encoding="ascii")
        return browser, shown

    @unittest.skipUnless(any(os.path.exists(opener) for opener in OPENERS),
                         "this machine has nothing that opens pages")
    def test_the_link_is_reached_and_followed_by_the_keys(self):
        browser, shown = self.install_browser()
        self.start({"BROWSER": str(browser)})
        about = self.open_about()
        link = about.find("https://relaybird.org/")
        for _ in about.walk():
            if link.has("focused"):
                break
            before = about.focused()
            self.desktop.keys("Tab")
            self.wait_until("the keys to go on", lambda: about.focused() != before)
        self.assertTrue(link.has("focused"))
        self.desktop.keys("space")
        self.wait_until("the page", lambda: shown.exists() and
                        shown.read_text(encoding="ascii") == "https://relaybird.org/\n")

    @unittest.skipIf(any(os.path.exists("/usr/bin/" + tool) for tool in TOOLS),
                     "this machine has a tool, which would open")
    def test_a_desktop_without_a_tool_says_that_there_is_no_information(self):
        self.start()
        about = self.open_about()
        about.find("System Info...").click()
        self.assertEqual("System Information Is Unavailable At This Time",
                         self.answer("Relaybird", "OK"))
        about.find("OK").click()
        about.wait_gone()


if __name__ == "__main__":
    desktop_case.main()
