# SPDX-License-Identifier: MIT
"""From the first start to the first forward with an account, over private mail servers, in the window alone."""

import pathlib
import shutil
import sys
import tempfile

import desktop_case
from desktop_case import ADDRESS, MAIN, DesktopCase, show_tab

sys.path.append(str(pathlib.Path(__file__).parents[3] / "support/servers"))
import client  # noqa: E402
import dovecot  # noqa: E402

OWN_ADDRESS = "ann@example.org"
MESSAGE = (f"From: Bob <bob@example.com>\nTo: {OWN_ADDRESS}\nSubject: Dinner at eight\n"
           "Message-ID: <1@example.com>\n\nBring bread.\n")


class FirstAccount(DesktopCase):
    def setUp(self):
        super().setUp()
        scratch = tempfile.TemporaryDirectory(prefix="relaybird-")
        self.addCleanup(scratch.cleanup)
        folder = pathlib.Path(scratch.name)
        folder.chmod(0o711)  # the servers are of another user if this one is root
        (folder / "servers").mkdir()
        self.servers = client.Servers(folder / "servers")
        self.addCleanup(self.servers.close)

    def arrived(self):
        """What has arrived at the server of the address, the oldest first."""
        return client.taken({"folder": self.servers.folder / "sink1"})

    def read_on_server(self):
        """How many messages of the account are marked as read."""
        return len(list((self.servers.maildir("ann") / "cur").glob("*:2,*S*")))

    def password_command(self):
        """Makes one in the home folder, and returns what to type for it."""
        command = self.home.folder / "print-password"
        command.write_text(f"#!/bin/sh\ncat <<'END'\n{dovecot.PASSWORD}\nEND\n", encoding="utf-8")
        command.chmod(0o700)
        return "~/print-password"

    def fill_in(self, setup):
        places = self.servers.places
        setup.find("An account at a mail provider", "radio button").wait_for_state("checked")
        setup.find("Your e-mail address:", "text").enter(OWN_ADDRESS)
        setup.find("Your name:", "text").enter("Ann Example")
        self.choose_in_list(setup, "Sign in with:", "A command that prints the password")
        setup.find("Command:", "text").enter(self.password_command())
        show_tab(setup, "Servers")
        setup.find("Server:", "text").enter("localhost")
        self.choose_in_list(setup, "Encryption:", "STARTTLS")
        setup.find("Port:", "text").enter(places["plain.imap"])
        setup.find("User name:", "text").enter("ann")
        setup.find("Certificate file (only for a server with a certificate authority of its own):",
                   "text").enter(places["ca"])
        show_tab(setup, "Sending")
        self.assertEqual("The account's own server (SMTP)",
                         self.chosen(setup.find("Forwards leave by:", "combo box")))
        setup.find("Server:", "text").enter("localhost")
        self.choose_in_list(setup, "Encryption:", "TLS")
        setup.find("Port:", "text").enter(places["plain.submissions"])
        setup.find("User name:", "text").enter("ann")

    def check_account(self, setup):
        """Presses Test Account and reads its lines."""
        show_tab(setup, "Test")
        setup.find("Test Account", "push button").click()
        result = setup.find("Result:", "text")
        self.wait_until("the end of the test", lambda: "The test is over" in result.text)
        places = self.servers.places
        self.assertEqual([
            f"Mail is read from localhost, port {places['plain.imap']} (STARTTLS); forwards leave by "
            f"localhost, port {places['plain.submissions']} (TLS).",
            "Reading mail:",
            "OK: The server localhost was found.",
            f"OK: It answers at port {places['plain.imap']}.",
            "OK: The connection is encrypted, and the certificate is valid.",
            "OK: Signed in as ann.",
            "OK: The folder INBOX was opened; it has 0 messages, 0 of them unread.",
            "Sending mail:",
            "OK: The server localhost was found.",
            f"OK: It answers at port {places['plain.submissions']}.",
            "OK: The connection is encrypted, and the certificate is valid.",
            "OK: Signed in as ann.",
            f"OK: The server for sending takes mail from {OWN_ADDRESS}.",
            "OK: The test is over: all is well.",
        ], result.text.splitlines())
        self.assertEqual({}, self.home.preferences("mail"))
        self.assertEqual([], self.arrived())

    def send_test_message(self, setup):
        """The address to forward to is asked for, as there is none yet."""
        setup.find("Send a Test Message", "push button").click()
        box = self.program.window("Invalid Email Address")
        box.find(role="text").enter(ADDRESS)
        box.find("OK", "push button").click()
        box.wait_gone()
        self.assertIn(ADDRESS, self.answer("Set Up Mail", "Yes"))
        setup = self.program.window("Set Up Mail")
        result = setup.find("Result:", "text")
        self.wait_until("the test message to leave", lambda: result.text.endswith(
            "OK: 1 message has left this computer, and none waits. Look at the phone or the mailbox "
            "that it went to."))
        (message,) = self.arrived()
        self.assertEqual("Test message from Relaybird", message["Subject"])
        self.assertEqual(ADDRESS, message["To"])
        self.assertIn(OWN_ADDRESS, message["From"])

    def forward_once(self, main):
        self.servers.deliver("ann", 1, MESSAGE.encode())
        main.find("Test (Forward Once)", "push button").click()
        self.answer("Test Explanation:", "OK")
        self.assertIn(f"( 1) {ADDRESS}", self.answer("Please Confirm:", "Yes"))
        self.assertIn("1 unread message was looked at and 1 was forwarded.",
                      self.answer("Test Complete", "OK"))
        self.wait_until("the forward", lambda: len(self.arrived()) == 2)
        forward = self.arrived()[1]
        self.assertEqual("FW: Dinner at eight", forward["Subject"])
        self.assertEqual(ADDRESS, forward["To"])
        self.assertIn("Bring bread.", forward.get_payload())
        self.wait_until("the mark on the server", lambda: self.read_on_server() == 1)

    def test_the_first_start_leads_to_the_first_forward(self):
        shutil.rmtree(self.home.maildir)
        main = self.start_again()
        self.wait_for_line("No mailbox yet.")
        main.find("Set up mail...", "push button").click()
        setup = self.program.window("Set Up Mail")
        self.fill_in(setup)
        self.check_account(setup)
        self.send_test_message(setup)
        setup.find("OK", "push button").click()
        setup.wait_gone()
        watched = f"Watches the inbox of {OWN_ADDRESS} at localhost. Forwards leave by localhost: 0 wait, "
        self.wait_for_line(watched + "1 has left since")
        main = self.program.window(MAIN)
        self.assertEqual([], main.find_all("Set up mail...", "push button"))
        self.forward_once(main)
        self.wait_for_line(watched + "2 have left since")
        main.find("Start Forwarding Email", "push button").click()
        self.assertIn(f"( 1) {ADDRESS}", self.answer("Please Confirm:", "Yes"))
        main.find("Automation Status:", "text").wait_for_text("Running")
        self.leave()
        self.assert_password_is_in_no_file()

    def test_what_has_happened_last_is_in_sight_in_a_long_result(self):
        self.home.write_preferences(mstrFwdToAddress_num=1, mstrFwdToAddress_1=ADDRESS)
        places, user = self.servers.places, self.servers.fresh_user()
        with open(self.home.preference_file, "a", encoding="utf-8") as file:
            file.write(f"[mail]\nstore=account\naddress={OWN_ADDRESS}\n"
                       f"imap_host=localhost\nimap_port={places['plain.imap']}\nimap_security=none\n"
                       f"imap_user={user}\n"
                       f"imap_secret=command\nimap_secret_command=/bin/echo {dovecot.PLAIN_PASSWORD}\n"
                       f"delivery=smtp\nsmtp_host=localhost\nsmtp_port={places['plain.submission']}\n"
                       f"smtp_security=none\nsmtp_user={user}\n")
        self.start_again().choose("Edit", "Set Up Mail...")
        setup = self.program.window("Set Up Mail")
        show_tab(setup, "Test")
        result = setup.find("Result:", "text")
        setup.find("Test Account", "push button").click()
        self.wait_for_end_in_sight(result, "The test is over: all is well.")
        setup.find("Send a Test Message", "push button").click()
        self.answer("Set Up Mail", "Yes")
        self.wait_for_end_in_sight(result, "Look at the phone or the mailbox that it went to.")
        self.program.window("Set Up Mail").find("Cancel", "push button").click()
        setup.wait_gone()
        self.leave()

    def wait_for_end_in_sight(self, field, end):
        def in_sight():
            text = field.text
            _, top, _, height = field.extents
            _, letter_top, _, letter_height = field.accessible.letter_extents(len(text) - 1)
            return (text.endswith(end) and top <= letter_top
                    and letter_top + letter_height <= top + height)

        self.wait_until(f"'{end}' to be in sight", in_sight)

    def assert_password_is_in_no_file(self):
        needle = dovecot.PASSWORD.encode()
        self.assertEqual(["print-password"],
                         [file.name for file in self.home.folder.rglob("*")
                          if file.is_file() and needle in file.read_bytes()])


if __name__ == "__main__":
    desktop_case.main()
