"""What programs share by a word: tasklane: addresses, files and web addresses, and the hand-over to a process
of its own."""
import os
import pathlib
import shutil
import signal
import unittest

from desktop import TASKLANE, Desktop, wait_for
from program import SAMPLES, ProgramTest


class Refused(ProgramTest):
    def test_addresses_that_are_refused(self):
        private = self.folder / "private.txt"
        private.write_text("secret")
        for address, code, sentence in [
                ("tasklane:", 65, "only tasklane:add"),
                ("tasklane:complete?uuid=1", 65, 'asks for "complete"'),
                ("tasklane:add?title=a&post=1", 65, 'it has "post"'),
                ("tasklane:add?file=/etc/passwd", 65, 'it has "file"'),
                (f"tasklane:add?url={private.as_uri()}", 65, "only http and https"),
                ("tasklane:add?url=javascript:alert(1)", 65, "only http and https"),
                ("tasklane:add?title=a&title=b", 65, "title twice"),
                ("tasklane:add?title=100%", 65, "a percent sign as %25"),
                ("tasklane:add?title=%FF", 65, "not encoded as UTF-8"),
                ("tasklane:add?title=a%00b", 65, "null character"),
                ("tasklane:add?title=C#", 65, "must be written as %23"),
                ("tasklane:add?title=a", 64, "no display")]:
            with self.subTest(address):
                self.run_program("share", address, code=code)
                self.assertIn(sentence, self.error)
        for arguments in (["--post"], ["--title", "t"], ["https://example.org/"]):
            self.run_program("share", "tasklane:add?title=a", *arguments, code=64)
        self.assertFalse((self.shared / "actions.plist").exists())

    def test_words_without_a_window(self):
        report = self.folder / "Größe 1.txt"
        report.write_text("text")
        picture = self.folder / "without-suffix"
        shutil.copy(SAMPLES / "photo.jpg", picture)
        (self.folder / "broken.jpg").write_bytes(b"no picture")
        (self.folder / "10:30").mkdir()
        address = "file://" + str(self.folder).replace(" ", "%20")
        for words, title, notes, pictures in [
                ([report], "Größe 1.txt", f"{address}/Gr%C3%B6%C3%9Fe%201.txt", 0),
                ([picture, picture.as_uri()], "", None, 2),
                (["https://a.example/?q=%C3%A9"], "", "https://a.example/?q=%C3%A9", 0),
                (["broken.jpg", "10:30"], "broken.jpg, 10:30", f"{address}/broken.jpg\n{address}/10:30", 0),
                (["--title", "mine", "--text", "t", "--", report, "https://a.example/"], "mine",
                 f"t\n{report.as_uri()}\nhttps://a.example/", 0)]:
            info = self.run_json("share", "--post", *words)["info"]
            self.assertEqual((info["title"], info.get("notes"), len(info.get("attachments", []))),
                             (title, notes, pictures))
        self.run_program("share", "--post", "missing.txt", code=66)


class Sheets(unittest.TestCase):
    def test_addresses_open_the_sheet(self):
        with Desktop() as desktop:
            for count, (address, title, notes) in enumerate([
                    ("tasklane:add?title=Buy%20milk+%2B%20tea&text=two%0Alitres&url=https%3A%2F%2Fe.example%2F%3Fa%3Db%2525",
                     "Buy milk + tea", "two\nlitres\nhttps://e.example/?a=b%25"),
                    ("tasklane://add/?title=%E5%AE%B6|[x]", "家|[x]", None),
                    ("tasklane:add?url=http://e.example/%3Fq=1&title=Größe x", "Größe x", "http://e.example/?q=1")], 1):
                with self.subTest(address):
                    desktop.start([TASKLANE, "share", address])
                    info = desktop.save(count)
                    self.assertEqual((info["title"], info.get("notes")), (title, notes))

    def test_detached_sheet_needs_neither_starter_nor_files(self):
        with Desktop() as desktop:
            desktop.environment["TASKLANE_STANDBY"] = "1"
            for count in (1, 2):
                if count == 2:  # by the process that waits now
                    wait_for("the next sheet's process", pathlib.Path(desktop.folder, "tasklane-sheet").exists)
                picture = pathlib.Path(desktop.folder, "picture.jpg")
                shutil.copy(SAMPLES / "photo.jpg", picture)
                starter = desktop.start([TASKLANE, "share", "--detach", "--title", "t", str(picture)],
                                        start_new_session=True)
                self.assertEqual(starter.wait(60), 0)
                picture.unlink()
                try:
                    os.killpg(starter.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                self.assertEqual(len(desktop.save(count)["attachments"]), 1)


if __name__ == "__main__":
    unittest.main()
