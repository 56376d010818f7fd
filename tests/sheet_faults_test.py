"""The sheet when its process, its display or its disk fails: nothing is lost in silence, and nothing is left over."""
import os
import pathlib
import signal
import subprocess
import unittest

from desktop import Desktop, WaylandDesktop, wait_for

PHOTO = pathlib.Path(__file__).resolve().parent.parent / "resources" / "sample" / "photo.jpg"


class SheetFaultsTest(unittest.TestCase):
    def open_desktop(self, kind=Desktop):
        desktop = kind()
        self.enterContext(desktop)
        self.group = pathlib.Path(desktop.folder, "groups", "group.com.kestrelworks.Tasklane")
        self.attachments = self.group / "attachments"
        return desktop

    def share_photo(self, desktop, *arguments, **options):
        sheet = desktop.share("--title", "Buy milk", "--image", str(PHOTO), *arguments, **options)
        wait_for("the photo", lambda: list(self.attachments.glob("*.jpg")))
        return sheet

    def test_request_to_end_cancels(self):
        desktop = self.open_desktop()
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(signal=number):
                sheet = self.share_photo(desktop)
                sheet.send_signal(number)
                self.assertEqual(sheet.wait(20), 1)
                self.assertEqual(list(self.attachments.iterdir()), [])
        sheet = self.share_photo(desktop, preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        sheet.send_signal(signal.SIGHUP)
        desktop.keys("ctrl+Return")
        self.assertEqual(sheet.wait(20), 0, "what nohup protects lives on")

    def test_lost_display(self):
        for kind, server in ((Desktop, "Xvfb"), (WaylandDesktop, "sway")):
            with self.subTest(kind=kind.__name__):
                desktop = self.open_desktop(kind)
                sheet = self.share_photo(desktop, stderr=subprocess.PIPE, text=True)
                next(p for p in desktop.programs if p.args[0] == server).kill()
                self.assertEqual(sheet.wait(20), 70)
                self.assertIn("The display is gone", sheet.stderr.read())
                sheet.stderr.close()
                self.assertEqual(list(self.attachments.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
