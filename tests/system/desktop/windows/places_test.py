# SPDX-License-Identifier: MIT
"""Windows keep their size and position, also in the next run."""

import desktop_case
from desktop_case import MAIN, DesktopCase


class PlacesCase(DesktopCase):
    @property
    def places_file(self):
        return self.home.state / "rbx" / "windows.ini"

    def write_places(self, text):
        self.places_file.parent.mkdir(parents=True, exist_ok=True)
        self.places_file.write_text(text, encoding="utf-8")

    def geometry(self, window):
        """Left, top, width and height according to the X server."""
        words = self.desktop.xdotool("getwindowgeometry", "--shell", window.window_id())
        values = dict(line.split("=") for line in words.split())
        return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))

    def settled(self, window):
        """Its place, as soon as the window manager and the program agree on it."""
        window.point()
        return self.geometry(window)

    def put(self, window, left, top, width, height):
        number = window.window_id()
        self.desktop.xdotool("windowsize", "--sync", number, width, height)
        self.desktop.xdotool("windowmove", "--sync", number, left, top)
        self.wait_until("the size", lambda: self.geometry(window)[2:] == (width, height))
        return self.settled(window)

    def each_window(self):
        """Opens each window that keeps its place, and closes it again."""
        main = self.program.window(MAIN)
        yield "main", main
        log = self.open_log()
        yield "log", log
        main.activate()
        settings = self.open_settings()
        yield "settings", settings
        self.desktop.keys("F1")
        manual = self.program.window("Help: ...")
        yield "help", manual
        manual.activate()
        self.desktop.keys("ctrl+w")
        manual.wait_gone()
        settings.activate()
        self.desktop.keys("Escape")
        settings.wait_gone()


class Places(PlacesCase):
    WANTED = {"main": (50, 60, 800, 600), "log": (150, 260, 1000, 500),
              "settings": (250, 160, 900, 700), "help": (100, 200, 950, 650)}

    def test_every_window_returns_to_its_place_and_stays_there(self):
        self.start()
        left = {name: self.put(window, *self.WANTED[name]) for name, window in self.each_window()}
        self.leave()
        for run in range(2):
            self.start()
            found = {name: self.settled(window) for name, window in self.each_window()}
            self.assertEqual(left, found, f"run {run}")
            self.leave()

    def test_the_settings_keep_their_place_within_a_run(self):
        self.start()
        settings = self.open_settings()
        place = self.put(settings, 250, 160, 900, 700)
        self.desktop.keys("Escape")
        settings.wait_gone()
        self.assertEqual(place, self.settled(self.open_settings()))

    def test_a_maximised_window_is_maximised_again_and_restores_its_size(self):
        main = self.start()
        place = self.put(main, 50, 60, 800, 600)
        screen = self.desktop.screen.split("x")
        self.maximise(main)
        self.wait_until("the window to fill the screen",
                        lambda: self.geometry(main)[2] > int(screen[0]) - 20)
        main.point()
        self.leave()
        main = self.start()
        self.wait_until("the window to fill the screen",
                        lambda: self.geometry(main)[2] > int(screen[0]) - 20)
        self.maximise(main)
        self.wait_until("the size to be back", lambda: self.geometry(main)[2:] == place[2:])

    def maximise(self, window):
        """Maximises or restores the window by a double click on its title."""
        left, top, width, _ = window.extents
        self.desktop.xdotool("mousemove", left + width // 2, top + 8,
                             "click", "--repeat", 2, "--delay", 50, 1)


class UnusablePlaces(PlacesCase):
    def assert_opens_as_at_first(self, text):
        main = self.start()
        first = self.settled(main)
        self.leave()
        self.write_places(text)
        self.assertEqual(first, self.settled(self.start()), text)
        self.leave()

    def test_a_broken_file_is_ignored(self):
        self.assert_opens_as_at_first("[frmRelaybird]\nplace=12,wide,3\n\x01[")

    def test_a_place_on_a_missing_screen_is_not_used(self):
        self.assert_opens_as_at_first("[frmRelaybird]\nplace=5000,60,800,575,0\n")

    def test_a_window_is_not_made_smaller_than_its_content(self):
        self.assert_opens_as_at_first("[frmRelaybird]\nplace=50,60,210,110,0\n")


if __name__ == "__main__":
    desktop_case.main()
