"""The sheet in the hand of somebody who has only a keyboard, or only a pointer."""
import unittest

from desktop import Desktop, WaylandDesktop, wait_for


class SheetKeyboard(unittest.TestCase):
    def ends_with(self, program, code):
        wait_for("the sheet to close", lambda: program.poll() is not None)
        self.assertEqual(program.returncode, code)

    def test_everything_by_keyboard_on_both_kinds_of_display(self):
        for kind in (Desktop, WaylandDesktop):
            with self.subTest(kind=kind.__name__), kind() as desktop:
                self.everything_by_keyboard(desktop)

    def everything_by_keyboard(self, desktop):
        desktop.publish(["Home", "Work", "Homework"], ["Phone"])
        sheet = desktop.share("--title", "Buy milk")
        desktop.keys("End")
        desktop.type(" today")
        # Notes: open, past the back button into the text (nothing was being typed, so it does not take the
        # keyboard by itself), write, go back.
        desktop.keys("Tab", "Return", "Tab", "Tab")
        desktop.type("two litres")
        desktop.keys("Escape")
        # Project: open, search, down into the list, choose.
        desktop.keys("Tab", "Return")
        desktop.type("work")
        desktop.keys("Down", "Down", "Return")
        desktop.keys("ctrl+Return")
        self.ends_with(sheet, 0)
        (action,) = desktop.queue()
        info = action["info"]
        self.assertEqual(info["title"], "Buy milk today")
        self.assertEqual(info["notes"], "two litres")
        self.assertEqual(info["projectName"], "Homework")
        self.assertNotIn("context", info)

    def test_everything_by_pointer(self):
        """A press whose effect comes late is repeated, so that each stands where the next screen has nothing, or ends
        as the test does."""
        a_row, right_button = (200, 120), (370, 22)
        with Desktop() as desktop:
            desktop.publish(["Home", "Work"], ["Phone"])
            sheet = desktop.share("--title", "Buy milk")
            def height():
                shown = desktop.output(["xwininfo", "-id", desktop.window]).partition("Height:")[2]
                return int(shown.split()[0]) if shown else None
            small = height()
            # The picker's window is higher than the sheet's, by which its coming and going is seen.
            desktop.click_until(200, small - 66, lambda: height() != small)
            desktop.click_until(*a_row, lambda: height() == small)
            desktop.click_until(200, small - 22, lambda: height() != small)
            desktop.click_until(*right_button, lambda: height() in (small, None))  # None
            desktop.click_until(*right_button, lambda: sheet.poll() is not None)  # Save
            self.ends_with(sheet, 0)
            (action,) = desktop.queue()
            self.assertIn(action["info"]["projectName"], ("Home", "Work"))
            self.assertNotIn("context", action["info"])

    def close_by_the_desktops_key(self, desktop):
        """The window manager may miss its own key while it takes in a new window."""
        for _ in range(3):
            desktop.keys("alt+F4")
            try:
                wait_for("the window to go", lambda: desktop.window not in desktop.windows(), limit=10)
                return
            except AssertionError:
                continue

    def test_closing_the_window_cancels_and_losing_the_focus_does_not(self):
        with Desktop() as desktop:
            first = desktop.share("--title", "First")
            first_window = desktop.window
            second = desktop.share("--title", "Second")
            self.close_by_the_desktops_key(desktop)
            self.ends_with(second, 1)
            self.assertIsNone(first.poll())
            desktop.output(["xdotool", "windowactivate", "--sync", first_window])
            desktop.keys("ctrl+Return")
            self.ends_with(first, 0)
            self.assertEqual([a["info"]["title"] for a in desktop.queue()], ["First"])


if __name__ == "__main__":
    unittest.main()
