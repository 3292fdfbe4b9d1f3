# SPDX-License-Identifier: MIT
"""Setting up mail, from the first start to the line at the top of the main window."""

import shutil

import desktop_case
from desktop_case import MAIN, DesktopCase, show_tab


class SetUp(DesktopCase):
    def open(self):
        self.program.window(MAIN).choose("Edit", "Set Up Mail...")
        return self.program.window("Set Up Mail")

    def test_the_first_start_leads_to_a_mailbox(self):
        shutil.move(self.home.maildir, self.home.folder / "Mail")
        main = self.start()
        self.wait_for_line("No mailbox yet.")
        main.find("Set up mail...", "push button").click()
        setup = self.program.window("Set Up Mail")
        setup.find("A Maildir on this computer", "radio button").click()
        setup.find("Folder:", "text").enter("~/Mail")
        show_tab(setup, "Sending")
        self.choose_in_list(setup, "Forwards leave by:", "Nothing: they stay in the outbox")
        setup.find("OK", "push button").click()
        setup.wait_gone()
        self.assertEqual({"store": "maildir", "maildir": f"{self.home.folder}/Mail"},
                         self.home.preferences("mail"))
        self.wait_for_line("Watches the Maildir ~/Mail. Forwards stay in the outbox")
        self.assertEqual([], self.program.window(MAIN).find_all("Set up mail...", "push button"))
        self.leave()

    def test_a_maildir_is_set_up_without_a_mouse(self):
        shutil.move(self.home.maildir, self.home.folder / "Mail")
        self.start()
        self.desktop.keys("alt+u")
        setup = self.program.window("Set Up Mail")
        self.desktop.keys("alt+m")
        setup.find("A Maildir on this computer", "radio button").wait_for_state("checked")
        for name, text in (("Your e-mail address:", "ann@example.org"), ("Your name:", "Ann"),
                           ("Folder:", "~/Mail")):
            self.desktop.keys("Tab")
            field = setup.find(name, "text")
            field.wait_for_state("focused")
            self.desktop.keys("ctrl+a")
            self.desktop.type(text)
            field.wait_for_text(text)
        for tab in ("Servers", "Sending", "Test"):
            self.desktop.keys("ctrl+Next")
            setup.find(tab, "page tab").wait_for_state("selected")
        self.desktop.keys("alt+t")
        self.wait_until("the step of the Maildir",
                        lambda: "~/Mail was opened" in setup.find("Result:", "text").text)
        self.wait_until("OK", lambda: setup.find("OK", "push button").has("sensitive"))
        self.desktop.keys("Return")
        setup.wait_gone()
        self.assertEqual(f"{self.home.folder}/Mail", self.home.preferences("mail")["maildir"])
        self.assertEqual("ann@example.org", self.home.preferences("mail")["address"])
        self.leave()

    def test_a_start_without_a_mailbox_offers_it(self):
        shutil.move(self.home.maildir, self.home.folder / "Mail")
        main = self.start()
        main.choose("File", "Start")
        self.answer("Error", "OK")
        self.answer("Set Up Mail", "Yes")
        self.program.window("Set Up Mail").find("Cancel", "push button").click()
        self.leave()

    def test_a_wrong_setting_leads_to_the_dialog_instead_of_ending_the_program(self):
        self.home.write_preferences()
        with open(self.home.preference_file, "a", encoding="utf-8") as file:
            file.write("[mail]\nstore=account\naddress=ann@firm.example\n"
                       "imap_host=mail.firm.example\nimap_port=many\n")
        main = self.start_again()
        self.wait_for_line("The mail settings have a mistake: imap_port=many is not known")
        main.find("Set up mail...", "push button").click()
        setup = self.program.window("Set Up Mail")
        show_tab(setup, "Servers")
        self.assertEqual("mail.firm.example", setup.find("Server:", "text").text)
        show_tab(setup, "Your Mail")
        setup.find("A Maildir on this computer", "radio button").click()
        show_tab(setup, "Sending")
        self.choose_in_list(setup, "Forwards leave by:", "Nothing: they stay in the outbox")
        setup.find("OK", "push button").click()
        setup.wait_gone()
        self.wait_for_line("Watches the Maildir ~/Maildir. Forwards stay in the outbox")
        self.assertEqual("993", self.home.preferences("mail")["imap_port"])
        self.leave()

    def test_an_address_brings_its_servers_and_what_to_do(self):
        self.start()
        setup = self.open()
        setup.find("Your e-mail address:", "text").enter("ann@icloud.com")
        self.wait_until("the remark", lambda: "needs an app password" in setup.tree())
        self.assertTrue(setup.find("App password:", "password text"))
        show_tab(setup, "Servers")
        self.assertEqual("imap.mail.me.com", setup.find("Server:", "text").text)
        self.assertEqual("ann", setup.find("User name:", "text").text)
        show_tab(setup, "Sending")
        self.assertEqual("ann@icloud.com", setup.find("User name:", "text").text)
        setup.find("Cancel", "push button").click()
        setup.wait_gone()
        self.assertEqual({}, self.home.preferences("mail"))
        self.leave()

    def test_what_is_missing_is_said_and_its_page_shown(self):
        self.start()
        setup = self.open()
        setup.find("Your e-mail address:", "text").enter("ann@firm.example")
        setup.find("OK", "push button").click()
        self.answer("Set Up Mail", "OK")
        setup = self.program.window("Set Up Mail")
        setup.find("Servers", "page tab").wait_for_state("selected")
        setup.find("Cancel", "push button").click()
        self.leave()

    def test_a_test_shows_its_lines(self):
        self.start()
        setup = self.open()
        setup.find("A Maildir on this computer", "radio button").click()
        show_tab(setup, "Sending")
        self.choose_in_list(setup, "Forwards leave by:", "Nothing: they stay in the outbox")
        show_tab(setup, "Test")
        setup.find("Test Account", "push button").click()
        self.wait_until("the end of the test",
                        lambda: "The test is over: all is well." in setup.find("Result:", "text").text)
        self.assertIn("was opened; it has 0 messages.", setup.find("Result:", "text").text)
        setup.find("Cancel", "push button").click()
        setup.wait_gone()
        self.leave()


if __name__ == "__main__":
    desktop_case.main()
