"""The sheet when its process, its display or its disk fails: nothing is lost in silence, and nothing is left over."""
import contextlib
import fcntl
import os
import pathlib
import shutil
import signal
import subprocess
import unittest

from desktop import TASKLANE, Desktop, WaylandDesktop, wait_for

PHOTO = pathlib.Path(__file__).resolve().parent.parent / "resources" / "sample" / "photo.jpg"


class SheetFaultsTest(unittest.TestCase):
    def open_desktop(self, kind=Desktop):
        desktop = kind()
        self.enterContext(desktop)
        self.group = pathlib.Path(desktop.folder, "groups", "group.com.kestrelworks.Tasklane")
        self.attachments = self.group / "attachments"
        return desktop

    @staticmethod
    def height(desktop):
        return desktop.output(["xwininfo", "-id", desktop.window]).split("Height:")[1].split()[0]

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
                self.assertEqual(sheet.wait(60), 1)
                self.assertEqual(list(self.attachments.iterdir()), [])
        sheet = self.share_photo(desktop, preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        sheet.send_signal(signal.SIGHUP)
        desktop.keys("ctrl+Return")
        self.assertEqual(sheet.wait(60), 0, "what nohup protects lives on")

    def test_lost_display(self):
        for kind, server in ((Desktop, "Xvfb"), (WaylandDesktop, "sway")):
            with self.subTest(kind=kind.__name__):
                desktop = self.open_desktop(kind)
                sheet = self.share_photo(desktop, stderr=subprocess.PIPE, text=True)
                next(p for p in desktop.programs if p.args[0] == server).kill()
                self.assertEqual(sheet.wait(60), 70)
                self.assertIn("The display is gone", sheet.stderr.read())
                sheet.stderr.close()
                self.assertEqual(list(self.attachments.iterdir()), [])

    def resume(self, process):
        """So that it notices that the sheet is gone."""
        with contextlib.suppress(ProcessLookupError):
            os.kill(process, signal.SIGCONT)

    def test_save_waits_for_a_photo_until_pressed_again(self):
        desktop = self.open_desktop()
        sheet = desktop.start([TASKLANE, "share", "--title", "Buy milk"] + ["--image", str(PHOTO)] * 40)
        def decoders():
            found = {sheet.pid}
            for line in subprocess.check_output(["ps", "-eo", "ppid=,pid=,comm="], text=True).splitlines():
                parent, process, name = line.split(maxsplit=2)
                if int(parent) in found and name.startswith("picture-d"):  # not one that is only being started
                    found.add(int(process))
            return found - {sheet.pid}
        for process in wait_for("the decoder", decoders):
            with contextlib.suppress(ProcessLookupError):
                os.kill(process, signal.SIGSTOP)
                self.addCleanup(self.resume, process)
        desktop.window = wait_for("the sheet's window", desktop.windows)[0]
        desktop.activate()
        before = self.height(desktop)
        desktop.keys("ctrl+Return", "ctrl+Return")
        wait_for("the notice", lambda: self.height(desktop) != before)
        self.assertIsNone(sheet.poll(), "a double click is one press")
        desktop.repeat_until(lambda: sheet.poll() is not None, lambda: desktop.keys("ctrl+Return"))
        self.assertEqual(sheet.returncode, 0)
        (action,) = desktop.queue()
        names = action["info"].get("attachments", [])
        self.assertLess(len(names), 40)
        self.assertEqual(sorted(names), sorted(path.name for path in self.attachments.iterdir()))

    def test_full_disk_keeps_the_entry_for_the_next_start(self):
        desktop = self.open_desktop()
        desktop.publish(["Home"], ["Phone"])
        shared = self.group / "com.kestrelworks.Tasklane"
        queue = shared / "actions.plist"
        sheet = self.share_photo(desktop, stderr=subprocess.PIPE, text=True)
        desktop.keys("End")
        desktop.type(" today")
        queue.mkdir()
        desktop.keys("ctrl+Return", "ctrl+Return")
        drafts = pathlib.Path(desktop.folder, "state", "tasklane", "drafts")
        wait_for("the draft", lambda: list(drafts.glob("*/draft.plist")))
        self.assertIsNone(sheet.poll(), "the sheet stays open")
        desktop.keys("Escape")
        self.assertEqual(sheet.wait(60), 74)
        self.assertIn("It is not saved", sheet.stderr.read())
        sheet.stderr.close()
        self.assertEqual(list(self.attachments.iterdir()), [])
        queue.rmdir()

        (document,) = drafts.glob("*/draft.plist")
        document.rename(drafts / "aside")
        document.symlink_to(document)  # for once it cannot even be looked at
        sheet = desktop.share("--text", "")
        desktop.keys("Escape")
        self.assertEqual(sheet.wait(60), 1)
        (drafts / "aside").rename(document)

        sheet = desktop.share("--text", "")
        # The offer's buttons come before the text.
        desktop.keys("shift+Tab", "shift+Tab", "Return")
        wait_for("the photo", lambda: list(self.attachments.glob("*.jpg")))
        desktop.keys("ctrl+Return")
        self.assertEqual(sheet.wait(60), 0)
        (action,) = desktop.queue()
        self.assertEqual(action["info"]["title"], "Buy milk today")
        self.assertEqual(action["info"]["attachments"], ["1.jpg"])
        self.assertEqual(list(drafts.iterdir()), [])

    def test_waiting_for_a_lock_the_sheet_stays_alive(self):
        desktop = self.open_desktop()
        desktop.environment["TASKLANE_LOCK_LIMIT"] = "120"
        drafts = pathlib.Path(desktop.folder, "state", "tasklane", "drafts")
        desktop.publish(["Home"])
        desktop.tasklane("share", "--title", "First", "--post")
        def save_under_a_lock(**options):
            sheet = desktop.share("--title", "Buy milk", **options)
            before = self.height(desktop)
            desktop.keys("ctrl+Return")
            wait_for("the notice", lambda: self.height(desktop) != before)
            return sheet
        locks = [open(path) for path in (self.group / ".coordination").glob("*actions.plist.lock")]
        for lock in locks:
            self.addCleanup(lock.close)
            fcntl.flock(lock, fcntl.LOCK_EX)
        self.assertEqual(len(locks), 1)
        sheet = save_under_a_lock()
        desktop.keys("Escape")
        self.assertEqual(sheet.wait(60), 1, "Cancel ends the wait")
        self.assertFalse(list(drafts.glob("*")))

        sheet = save_under_a_lock()
        sheet.send_signal(signal.SIGTERM)
        self.assertEqual(sheet.wait(60), 75, "and so does a signal, which keeps the text")
        (draft,) = drafts.iterdir()
        shutil.rmtree(draft)

        desktop.environment["TASKLANE_LOCK_LIMIT"] = "2"
        sheet = save_under_a_lock(stderr=subprocess.PIPE, text=True)
        wait_for("the limit", lambda: list(drafts.glob("*/draft.plist")))
        self.assertIsNone(sheet.poll())
        fcntl.flock(locks[0], fcntl.LOCK_UN)
        desktop.keys("ctrl+Return")
        self.assertEqual(sheet.wait(60), 0)
        self.assertEqual(sheet.stderr.read().count("Waiting for"), 1, "the limit is waited for once")
        sheet.stderr.close()
        self.assertEqual([action["info"]["title"] for action in desktop.queue()], ["First", "Buy milk"])

    def test_killed_sheet_leaves_nothing_for_long(self):
        desktop = self.open_desktop()
        sheet = self.share_photo(desktop)
        sheet.kill()
        sheet.wait(60)
        self.assertEqual([path.name for path in self.attachments.iterdir()], ["1.jpg"])
        sheet = desktop.share("--title", "Next", "--image", str(PHOTO))
        wait_for("the photo", lambda: (self.attachments / "2.jpg").exists())
        desktop.keys("ctrl+Return")
        self.assertEqual(sheet.wait(60), 0)
        self.assertEqual([path.name for path in self.attachments.iterdir()], ["2.jpg"])


if __name__ == "__main__":
    unittest.main()
