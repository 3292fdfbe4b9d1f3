# SPDX-License-Identifier: MIT
"""The program while the delivery command hangs."""

import desktop_case
from delivery_case import RefusedForwards


class HungDelivery(RefusedForwards):
    """The delivery command does not return."""

    def test_the_window_answers_and_the_program_ends_at_once(self):
        for subject in ("First", "Second"):
            self.home.deliver(subject)
        self.start_forwarding()
        settings = self.open_settings()
        settings.find("Cancel", "push button").click()
        settings.wait_gone()
        self.leave()
        self.assertEqual(2, len(self.home.forwards()))


if __name__ == "__main__":
    desktop_case.main()
