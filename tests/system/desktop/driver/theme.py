# SPDX-License-Identifier: MIT
"""The theme in a desktop's settings, and the contrast of text on the screen."""

import collections
import os
import signal
import subprocess

from .waiting import wait_for

# The background of a theme may be a gradient.
_SAME_GROUND = 1.3


class ThemeSetting:
    """Sets the theme of all programs on a desktop by XSETTINGS, as desktops do, within a `with`
    block."""

    def __init__(self, desktop, theme):
        self._desktop = desktop
        self._file = os.path.join(desktop.new_folder(), "xsettingsd.conf")
        self._write(theme)
        self._service = None

    def __enter__(self):
        # pylint: disable-next=consider-using-with
        self._service = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", "--", "xsettingsd", "-c", self._file],
            env=self._desktop.environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return self

    def __exit__(self, *_):
        self._service.terminate()
        self._service.wait()

    def change(self, theme):
        """Changes the theme while programs run."""
        self._write(theme)
        wait_for("the settings to be served", self._handles_signal)
        self._service.send_signal(signal.SIGHUP)

    def _write(self, theme):
        with open(self._file, "w", encoding="ascii") as file:
            file.write(f'Net/ThemeName "{theme}"\n')

    def _handles_signal(self):
        """Whether xsettingsd handles SIGHUP; until then the signal would end it."""
        with open(f"/proc/{self._service.pid}/status", encoding="ascii") as file:
            caught = next(line for line in file if line.startswith("SigCgt:"))
        return int(caught.split()[1], 16) >> (signal.SIGHUP - 1) & 1


def ground(desktop, box):
    """The most frequent colour of a box of the screen."""
    return _counted(desktop, box).most_common(1)[0][0]


def contrast_of_text(desktop, box):
    """The contrast ratio (WCAG 2.1) of the background of a box and the text on it, without the
    borders; 1 if there is no text."""
    left, top, width, height = box
    edge = 3
    counted = _counted(desktop, (left + edge, top + edge, width - 2 * edge, height - 2 * edge))
    below = counted.most_common(1)[0][0]
    shades = [(contrast(below, colour), number) for colour, number in counted.items()]
    shades = [(ratio, number) for ratio, number in shades if ratio > _SAME_GROUND]
    # Anti-aliased edges have many shades, all closer to the background than the text colour.
    # Rare colours are not text but, for example, a caret.
    frequent = max((number for _, number in shades), default=0) / 3
    return max((ratio for ratio, number in shades if number >= frequent), default=1)


def contrast(one, other):
    """WCAG 2.1, "contrast ratio"."""
    darker, lighter = sorted((luminance(one), luminance(other)))
    return (lighter + 0.05) / (darker + 0.05)


def luminance(colour):
    """WCAG 2.1, "relative luminance": from 0 for black to 1 for white."""
    red, green, blue = (_linear(part / 255) for part in colour)
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def _linear(share):
    return share / 12.92 if share <= 0.03928 else ((share + 0.055) / 1.055) ** 2.4


def _counted(desktop, box):
    return collections.Counter(colour for row in desktop.pixels(box) for colour in row)
