# SPDX-License-Identifier: MIT
"""demo_test.py CONSOLE: the demonstrations that a newcomer runs, over a console that is built already.

They click and set controls by name, so they show too whether a control has been renamed.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).parents[2] / "script/demo"
PATIENCE = 90  # seconds


class Demonstration(unittest.TestCase):
    def output_of(self, *mailbox):
        """What the script prints; whatever it leaves is removed."""
        with tempfile.TemporaryDirectory() as folder:
            os.chmod(folder, 0o711)  # the servers are of another user if this one is root
            result = subprocess.run(
                [SCRIPT, *mailbox], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                timeout=PATIENCE, check=False,
                env={"PATH": "/usr/bin:/bin:/usr/sbin:/sbin", "HOME": folder, "TMPDIR": folder, "TZ": "UTC",
                     "RELAYBIRD_CONSOLE": CONSOLE})
        text = result.stdout.decode("utf-8", "replace")
        self.assertEqual(0, result.returncode, text)
        self.assertIn("\nAll files are in ", text)
        return text

    def check_forwards(self, text):
        listed = re.findall(r"^ *\d+ bytes  \S+  (.*)$", text, re.MULTILINE)
        self.assertEqual(20, len(listed), text)
        self.assertIn("FW: Lunch on Friday?", listed)
        self.assertNotIn("FW: Only today", listed)  # the sender is left out
        self.assertNotIn("FW: The whole archive", listed)  # too large
        self.assertIn("\nTo: 5550100@sms.example.net, ann@elsewhere.example\n", text)

    def test_shows_the_forwards_of_a_maildir(self):
        text = self.output_of()
        self.assertIn("\n== 20 forwards wait in ", text)
        self.check_forwards(text)

    def test_sets_an_account_up_and_shows_what_has_arrived(self):
        text = self.output_of("account")
        self.assertIn("\ntest: OK: The test is over: all is well.\n", text)
        self.assertIn("\n== 20 forwards have arrived at the server of the addresses, in ", text)
        self.check_forwards(text)


if __name__ == "__main__":
    CONSOLE = sys.argv.pop(1)
    unittest.main()
