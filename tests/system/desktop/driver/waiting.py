# SPDX-License-Identifier: MIT
"""Waiting for what will be so, and no longer than that."""

import time

from gi.repository import GLib

# Far more than anything takes on an idle machine: a loaded one with sanitizers is slow.
PATIENCE = 30
# Between two looks.
PAUSE = 0.01


class TooLate(AssertionError):
    """What was waited for did not come."""


def wait_for(what, look, patience=PATIENCE, otherwise=None):
    """Looks until look() gives something true, and answers that.

    What look() raises because a window has gone or a program is busy counts as not yet. `otherwise`
    is asked for words about what is there instead when it is too late.
    """
    deadline = time.monotonic() + patience
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
            words = f"waited {patience} s in vain for {what}"
            words += f" ({problem})" if problem else ""
            words += f"; instead:\n{otherwise()}" if otherwise else ""
            raise TooLate(words)
        _answer_calls()
        time.sleep(PAUSE)


def _answer_calls():
    """Lets what this process itself offers on a bus answer the program."""
    context = GLib.MainContext.default()
    while context.iteration(False):
        pass
