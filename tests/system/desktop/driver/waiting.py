# SPDX-License-Identifier: MIT
"""Polling for a condition, with a deadline."""

import time

from gi.repository import GLib

# Far more than needed on an idle machine; a loaded one with sanitizers is slow.
TIMEOUT = 30
# The interval of polling.
PAUSE = 0.01


class TooLate(AssertionError):
    """The condition was not met in time."""


def wait_for(what, look, timeout=TIMEOUT, otherwise=None):
    """Calls look() until it returns a true value, and returns that value.

    Errors of look() because a window is gone or a program is busy count as false. `otherwise`
    returns a description of the present state for the message of the failure.
    """
    deadline = time.monotonic() + timeout
    problem = None
    while True:
        try:
            found = look()
            if found:
                return found
            problem = None
        except (GLib.Error, TooLate) as error:
            problem = error
        if time.monotonic() > deadline:
            words = f"waited {timeout} s in vain for {what}"
            words += f" ({problem})" if problem else ""
            words += f"; instead:\n{otherwise()}" if otherwise else ""
            raise TooLate(words)
        _handle_calls()
        time.sleep(PAUSE)


def _handle_calls():
    """Handles calls to the bus services of this process."""
    context = GLib.MainContext.default()
    while context.iteration(False):
        pass
