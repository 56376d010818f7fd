"""The sheet in the hand of somebody who has only a keyboard, or only a pointer."""
import unittest

from desktop import Desktop, wait_for


class SheetKeyboard(unittest.TestCase):
    def ends_with(self, program, code):
        wait_for("the sheet to close", lambda: program.poll() is not None)
        self.assertEqual(program.returncode, code)

    def test_everything_by_keyboard(self):
        with Desktop() as desktop:
            desktop.publish(["Home", "Work", "Homework"], ["Phone"])
            sheet = desktop.share("--title", "Buy milk")
            desktop.keys("End")
            desktop.type(" today")
            # Notes: open, write, go back.
            desktop.keys("Tab", "Return")
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

    def test_escape_clears_the_search_then_goes_back_then_cancels(self):
        with Desktop() as desktop:
            desktop.publish(["Home"])
            sheet = desktop.share("--title", "Buy milk")
            desktop.keys("Tab", "Tab", "Return")
            desktop.type("ho")
            desktop.keys("Escape", "Escape")
            self.assertIsNone(sheet.poll())
            desktop.keys("Escape")
            self.ends_with(sheet, 1)
            self.assertEqual(desktop.queue(), [])

    def test_closing_the_window_cancels_and_losing_the_focus_does_not(self):
        with Desktop() as desktop:
            first = desktop.share("--title", "First")
            first_window = desktop.window
            second = desktop.share("--title", "Second")
            self.assertIsNone(first.poll())
            desktop.output(["xdotool", "windowactivate", "--sync", first_window])
            desktop.keys("alt+F4")
            self.ends_with(first, 1)
            desktop.output(["xdotool", "windowactivate", "--sync", desktop.window])
            desktop.keys("ctrl+Return")
            self.ends_with(second, 0)
            self.assertEqual([a["info"]["title"] for a in desktop.queue()], ["Second"])


if __name__ == "__main__":
    unittest.main()
