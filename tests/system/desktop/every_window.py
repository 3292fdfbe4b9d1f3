# SPDX-License-Identifier: MIT
"""Opens every window and tab, one after the other."""

SETUP_TABS = ("Your Mail", "Servers", "Sending", "Test")
TABS = ("General", "Size", "Sender", "Text", "Cell Phone")


def every_window(case):
    """Yields a name and the window for each window, and closes it afterwards. The program must be
    running, with one address and forwarding off."""
    main = case.program.window("Relaybird v...")
    yield "main", main
    settings = case.open_settings()
    for tab in TABS:
        page = settings.find(tab, "page tab")
        page.click()
        page.wait_for_state("selected")
        yield "settings, " + tab, settings
    case.desktop.keys("Escape")
    settings.wait_gone()
    main.choose("Edit", "Set Up Mail...")
    setup = case.program.window("Set Up Mail")
    for tab in SETUP_TABS:
        page = setup.find(tab, "page tab")
        page.click()
        page.wait_for_state("selected")
        yield "set-up, " + tab, setup
    case.desktop.keys("Escape")
    setup.wait_gone()
    yield from _closed(case, "log", case.open_log())
    main.choose("Help", "About...")
    yield from _closed(case, "about", case.program.window("About Relaybird"))
    main.choose("File", "Start")
    yield from _closed(case, "the question at the start", case.program.window("Please Confirm:"))
    main.find("Minimize to System Tray", "push button").click()
    yield from _closed(case, "the question about the tray",
                       case.program.window("Minimize to System Tray"))
    main.find("Test (Forward Once)").click()
    yield from _closed(case, "the explanation of the test",
                       case.program.window("Test Explanation:"))
    yield from _closed(case, "the box of a refused value", _refuse(case, case.open_settings()))


def _refuse(case, settings):
    page = settings.find("General", "page tab")
    page.click()
    page.wait_for_state("selected")
    settings.find("How often to forward mail (minutes):", "text").enter("0")
    settings.find("OK", "push button").click()
    return case.program.window("Relaybird")


def _closed(case, word, window):
    yield word, window
    window.activate()
    case.desktop.keys("Escape")
    window.wait_gone()
    case.program.window("Relaybird v...")
