# SPDX-License-Identifier: MIT
"""The appearance of controls, measured on the screen: the size of pictures beside text, the alignment
of captions, the titles of frames, and read-only fields."""

import collections

import desktop_case
from desktop_case import MAIN, DesktopCase
from driver.theme import contrast, ground

READ_ONLY = ("Running Since:", "Number Forwarded:", "Minutes to Next Check:",
             "Forwards to [1 address]:")
# The share of pixels with mixed colours at the edges of a drawing. With more it looks blurred.
SMEARED = 0.15
# The colour of the book in the contents of the manual; nothing else there is orange.
COVER = (0xF6, 0xA0, 0x2D)


class Pictures(DesktopCase):
    SCREEN = "2600x2000"

    def sides(self, main):
        return {each.extents[2:] for each in main.find_all(role="icon")}

    def pixels(self, widget):
        return self.desktop.pixels([self.program.scale * each for each in widget.extents])

    def smeared(self, widget):
        """The share of the pixels that have none of the picture's own colours."""
        counted = collections.Counter(colour for row in self.pixels(widget) for colour in row)
        pure = sum(number for _, number in counted.most_common(6))
        return 1 - pure / sum(counted.values())

    def is_doubled(self, rows):
        """Whether the picture was scaled up by doubling its pixels."""
        return all(upper == lower and upper[::2] == upper[1::2]
                   for upper, lower in zip(rows[::2], rows[1::2]))

    def drawing(self, widget, is_part):
        """The part of a widget that contains all pixels of certain colours."""
        rows = self.pixels(widget)
        places = [(x, y) for y, row in enumerate(rows)
                  for x, colour in enumerate(row) if is_part(colour)]
        if not places:
            return []
        left, top = map(min, zip(*places))
        right, bottom = map(max, zip(*places))
        return [row[left:right + 1] for row in rows[top:bottom + 1]]

    def wait_for_drawing(self, widget, side, is_part):
        """The same, as soon as its longer side has that length. Painting is later than the change of
        the accessibility tree."""
        def right_one():
            rows = self.drawing(widget, is_part)
            return rows and abs(max(len(rows), len(rows[0])) - side) <= 1.5 and rows

        return self.wait_until(f"a drawing of {side} pixels in {widget}", right_one)

    def check_manual(self, size):
        """`size` is the scale of the font; 1 is the ordinary size."""
        self.desktop.xdotool("mousemove", 2599, 1999)  # away from the tools
        self.program.window(MAIN).choose("Help", "Help Index...")
        manual = self.program.window("Help: ...")
        manual.point()  # waits until it no longer moves
        tools = manual.find(role="tool bar").find_all(role="push button")
        self.assertEqual(8, len(tools))
        for tool in tools:
            below = ground(self.desktop, [self.program.scale * each for each in tool.extents])
            drawing = self.wait_for_drawing(
                tool, 22 * size, lambda colour, below=below: contrast(below, colour) > 1.5)
            self.assertFalse(self.is_doubled(drawing), tool)
        book = self.wait_for_drawing(manual.find("Contents", "scroll pane"), 10 * size,
                                     lambda colour: colour == COVER)
        self.assertFalse(self.is_doubled(book), "the book of the contents")
        manual.close()

    def check(self, environment, side, scale=1):
        main = self.start(environment, scale)
        self.assertEqual({(side, side)}, self.sides(main))
        for picture in main.find_all(role="icon"):
            self.assertLess(self.smeared(picture), SMEARED, picture)
            self.assertFalse(self.is_doubled(self.pixels(picture)), picture)
        main.choose("Help", "About...")
        about = self.program.window("About Relaybird")
        self.assertEqual({(side * 4 // 3, side * 4 // 3)}, self.sides(about))
        self.desktop.keys("Escape")
        about.wait_gone()
        self.check_manual(scale * side / 48)
        settings = self.open_settings("Cell Phone")
        for name in ("Cell phone format", "Standard format"):
            button = settings.find(name, "push button")
            self.assertGreaterEqual(button.extents[2], side * 4 // 3, name)
        self.desktop.keys("Escape")
        settings.wait_gone()
        self.leave()

    def test_they_have_their_size_beside_ordinary_text(self):
        self.check({}, 48)

    def test_they_scale_with_the_font_and_stay_sharp(self):
        for letters, side in (("1.25", 60), ("1.5", 72), ("2", 96)):
            with self.subTest(letters):
                self.check({"GDK_DPI_SCALE": letters}, side)

    def test_they_are_sharp_at_twice_the_density(self):
        self.check({"GDK_SCALE": "2"}, 48, scale=2)


class Captions(DesktopCase):
    """The caption of a picture button, one without descenders."""

    def rows_of(self, main, left, right):
        """The first and the last painted row of the button "Start", between two fractions of its
        width."""
        x, y, width, height = main.find("Start Forwarding Email", "push button").extents
        edge = 6
        box = (x + int(left * width), y + edge, int((right - left) * width), height - 2 * edge)
        below = ground(self.desktop, box)
        rows = [number for number, row in enumerate(self.desktop.pixels(box))
                if any(contrast(below, colour) > 2 for colour in row)]
        return rows[0], rows[-1]

    def test_they_are_centred_beside_their_pictures(self):
        for environment in ({"GTK_THEME": "Adwaita"}, {"GTK_THEME": "Adwaita:dark"},
                            {"GDK_DPI_SCALE": "1.5"}):
            with self.subTest(environment):
                main = self.start(environment)
                picture = self.rows_of(main, 0.1, 0.48)
                caption = self.rows_of(main, 0.54, 0.95)
                self.assertGreater(picture[1] - picture[0], caption[1] - caption[0])
                self.assertLessEqual(abs(sum(picture) - sum(caption)) / 2, 1.5,
                                     f"rows {picture} and {caption}")
                self.leave()


class Frames(DesktopCase):
    CLEAR = 8

    def assert_title_clear(self, window, name):
        frame, title = window.find(name, "panel").extents, window.find(name, "label").extents
        self.assertGreaterEqual(title[0] - frame[0], self.CLEAR, f"{frame} {title}")
        self.assertLess(title[0] - frame[0], 4 * self.CLEAR, f"{frame} {title}")
        # The border of the frame continues to its corner.
        line = self.desktop.pixels((frame[0], title[1] + title[3] // 2 - 3, self.CLEAR // 2, 6))
        below = ground(self.desktop, title)
        self.assertTrue(any(all(colour != below for colour in row[1:]) for row in line), line)

    def test_titles_keep_clear_of_the_corners(self):
        main = self.start()
        for size in (None, (1200, 900)):
            if size:
                before = main.extents
                self.desktop.xdotool("windowsize", main.window_id(), *size)
                self.wait_until("another size", lambda: main.extents[2:] != before[2:])
            self.assert_title_clear(main, "Status")
            self.assert_title_clear(main, "Diagnostics")
        self.assert_title_clear(self.open_settings("Sender"), "Filter By Sender:")


class ReadOnly(DesktopCase):
    """The status field has its own colours."""

    def inside(self, field):
        left, top, width, height = field.extents
        return ground(self.desktop, (left + 4, top + 4, width - 8, height - 8))

    def test_fields_that_are_not_edited_look_alike_and_not_like_those_that_are(self):
        for theme in ("Adwaita", "Adwaita:dark", "HighContrast", "HighContrastInverse"):
            with self.subTest(theme):
                main = self.start({"GTK_THEME": theme})
                fields = [main.find(name, "text") for name in READ_ONLY]
                self.assertFalse(any(field.has("editable") for field in fields))
                grounds = {self.inside(field) for field in fields}
                self.assertEqual(1, len(grounds), grounds)
                edited = self.open_settings("General").find("How often to forward mail (minutes):",
                                                            "text")
                self.assertTrue(edited.has("editable"))
                self.assertNotIn(self.inside(edited), grounds)
                self.desktop.keys("Escape")
                self.program.window(MAIN)
                self.leave()

    def test_their_text_can_be_copied(self):
        main = self.start()
        field = main.find("Running Since:", "text")
        self.desktop.clear_clipboard()
        field.focus()
        self.desktop.keys("ctrl+a", "ctrl+c")
        self.wait_until("the text", lambda: self.desktop.clipboard() == "-")


if __name__ == "__main__":
    desktop_case.main()
