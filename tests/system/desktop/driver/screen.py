# SPDX-License-Identifier: MIT
"""The colours of the pixels on the screen."""

import mmap
import struct


class Screen:
    """Reads the file of Xvfb's frame buffer (X window dump, version 7)."""

    def __init__(self, path):
        with open(path, "rb") as file:
            self._memory = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        fields = struct.unpack(">25I", self._memory[:100])
        size, colours = fields[0], fields[19]
        self._line = fields[12]
        self._start = size + 12 * colours
        bits, masks = fields[11], fields[14:17]
        if bits != 32 or masks != (0xFF0000, 0xFF00, 0xFF):
            raise RuntimeError(f"a screen of {bits} bits for a pixel, masks {masks}")

    def pixels(self, box):
        """Rows of (red, green, blue) in a box of left, top, width and height."""
        left, top, width, height = box
        rows = []
        for y in range(top, top + height):
            start = self._start + y * self._line + 4 * left
            row = self._memory[start:start + 4 * width]
            rows.append(list(zip(row[2::4], row[1::4], row[0::4])))
        return rows
