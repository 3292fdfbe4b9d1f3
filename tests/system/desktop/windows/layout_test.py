# SPDX-License-Identifier: MIT
"""No control is cut off or overlaps another one: with large fonts, on a high-density screen, in the
smallest windows. Every window fits on a small screen."""

import desktop_case
from desktop_case import DesktopCase
from every_window import every_window

# Visible controls, not containers.
SEEN = ("check box", "combo box", "icon", "label", "page tab", "progress bar", "push button",
        "radio button", "text")


class LayoutCase(DesktopCase):
    def assert_well_laid_out(self, word, window):
        seen = [(each, each.extents) for each in window.walk() if each.role in SEEN]
        self.assertGreater(len(seen), 1, word)
        for widget, box in seen:
            self.assertTrue(is_inside(box, window.extents), f"{word}: {widget} {box} is cut off")
            self.assert_text_fits(word, widget, box)
        for number, (one, its_box) in enumerate(seen):
            for other, other_box in seen[:number]:
                self.assertFalse(overlap(its_box, other_box),
                                 f"{word}: {one} {its_box} covers {other} {other_box}")

    def assert_text_fits(self, word, widget, box):
        """A label that is too narrow does not show its last letters, and a field that is too low cuts
        them off at the top and bottom."""
        text = widget.text.rstrip()
        if widget.role in ("label", "text") and text:
            letter = widget.accessible.letter_extents(
                len(text) - 1 if widget.role == "label" else 0)
            self.assertTrue(is_inside(letter, box),
                            f"{word}: a letter of {widget} at {letter} is outside of {box}")

    def check_every_window(self, environment=None, scale=1):
        self.start(environment, scale)
        for word, window in every_window(self):
            with self.subTest(word):
                self.assert_well_laid_out(word, window)


class LargeFontOnAnOrdinaryScreen(LayoutCase):
    SCREEN = "1280x1024"

    def test_the_log_fits_with_the_number_of_hits(self):
        main = self.start({"GDK_DPI_SCALE": "2"})
        for menu_entry in ("Start", "Stop"):
            main.choose("File", menu_entry)
            if menu_entry == "Start":
                self.answer("Please Confirm:", "Yes")
        log = self.open_log()
        self.desktop.keys("ctrl+f")
        self.desktop.type("turned")
        log.find("Line 1 of 3", "label")
        self.assertTrue(is_inside(log.extents, (0, 0, 1280, 1024)), f"{log.extents}")
        self.assert_well_laid_out("log", log)


class Magnified(LayoutCase):
    SCREEN = "2600x2000"

    def test_at_the_ordinary_size(self):
        self.check_every_window()

    def test_with_a_font_half_as_large_again(self):
        self.check_every_window({"GDK_DPI_SCALE": "1.5"})

    def test_with_a_font_twice_as_large(self):
        self.check_every_window({"GDK_DPI_SCALE": "2"})

    def test_at_twice_the_density(self):
        self.check_every_window({"GDK_SCALE": "2"}, scale=2)


class Resized(LayoutCase):
    SCREEN = "2600x2000"

    def resize(self, window, width, height):
        before = window.extents[2:]
        self.desktop.xdotool("windowsize", window.window_id(), width, height)
        self.wait_until(f"{window} to change its size", lambda: window.extents[2:] != before)

    def test_in_the_largest_and_the_smallest_windows(self):
        self.start()
        for word, window in every_window(self):
            if word != "main" and word != "log" and not word.startswith("settings"):
                continue
            with self.subTest(word):
                self.resize(window, 1500, 1100)
                self.assert_well_laid_out(word + ", large", window)
                self.resize(window, 60, 60)
                self.assert_well_laid_out(word + ", small", window)


class SmallScreen(LayoutCase):
    SCREEN = "1024x768"

    def test_every_window_fits(self):
        self.start()
        for word, window in every_window(self):
            with self.subTest(word):
                self.assertTrue(is_inside(window.extents, (0, 0, 1024, 768)),
                                f"{word} {window.extents}")
                self.assert_well_laid_out(word, window)


def is_inside(inner, outer):
    return (inner[0] >= outer[0] and inner[1] >= outer[1]
            and inner[0] + inner[2] <= outer[0] + outer[2]
            and inner[1] + inner[3] <= outer[1] + outer[3])


def overlap(one, other):
    return (one[0] < other[0] + other[2] and other[0] < one[0] + one[2]
            and one[1] < other[1] + other[3] and other[1] < one[1] + one[3])


if __name__ == "__main__":
    desktop_case.main()
