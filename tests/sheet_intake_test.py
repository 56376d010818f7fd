"""What was copied, marked or dragged in another program, on its way into the sheet."""
import json
import os
import pathlib
import select
import subprocess
import unittest

from desktop import TASKLANE, Desktop, WaylandDesktop, wait_for

OFFER = os.environ["OFFER"]
PHOTO = pathlib.Path(__file__).resolve().parent.parent / "resources" / "sample" / "photo.jpg"
ADDRESS = "https://p.example/?q=1#x"


class SheetIntake(unittest.TestCase):
    def ends_with(self, program, code):
        wait_for("the sheet to close", lambda: program.poll() is not None)
        self.assertEqual(program.returncode, code)

    def offer(self, desktop, way, types):
        """A program that has something of these types to give, by their contents."""
        arguments = []
        for number, (kind, contents) in enumerate(types.items()):
            path = pathlib.Path(desktop.folder) / f"offered-{number}"
            path.write_bytes(contents if isinstance(contents, bytes) else contents.encode())
            arguments.append(f"{kind}={path}")
        program = desktop.start([OFFER, way, *arguments], stdout=subprocess.PIPE)
        self.hears(program, "ready")
        return program

    def hears(self, program, *words):
        """Waits for the next word that the program says, which is one of these, and answers it."""
        output = program.stdout.fileno()
        wait_for(words, lambda: select.select([output], [], [], 0.1)[0])
        word = os.read(output, 100).decode().strip()
        self.assertIn(word, words)
        return word

    def run_share(self, desktop, *arguments):
        return subprocess.run([TASKLANE, "share", *arguments], env=desktop.environment, capture_output=True, text=True,
                              timeout=120)

    def test_what_was_copied_is_posted_as_if_it_had_been_shared(self):
        photo, jpeg = PHOTO.as_uri(), PHOTO.read_bytes()
        with Desktop() as desktop:
            other = pathlib.Path(desktop.folder) / "a b.pdf"
            other.write_bytes(b"%PDF")
            cases = [
                ("copied", {"text/plain": f"A page\n\n{ADDRESS}"}, "A page", ADDRESS, 0),
                ("selected", {"text/plain": "Größe 家 🌱"}, "Größe 家 🌱", None, 0),
                ("copied", {"text/plain": "one\ntwo", "text/html": "<p>one<br>two", "chromium/x-source-url": ADDRESS},
                 "one\n", "two\n\n" + ADDRESS, 0),
                ("copied", {"text/html": f'<base href="{ADDRESS}"><p>Ä <b>bold</b></p>'}, "Ä bold", ADDRESS, 0),
                ("copied", {"image/jpeg": jpeg, "text/html": "<img src='x'>",
                            "text/x-moz-url-priv": ADDRESS.encode("utf-16-le")}, "", ADDRESS, 1),
                ("copied", {"text/plain": "1\t2", "image/png": "no picture"}, "1\t2", None, 0),
                ("copied", {"text/uri-list": f"{photo}\r\n{other.as_uri()}\r\n", "text/plain": "x"},
                 "a b.pdf", other.as_uri(), 1),
                ("copied", {"x-special/gnome-copied-files": f"cut\n{photo}\n{photo}"}, "", None, 2),
                ("copied", {"text/x-moz-url": f"{ADDRESS}\nA link".encode("utf-16-le"), "text/plain": ADDRESS,
                             "text/html": f"<a href='{ADDRESS}'>A <i>link</i></a>"},
                 "A link", ADDRESS, 0)]
            for way, types, title, notes, pictures in cases:
                with self.subTest(types=list(types)):
                    program = self.offer(desktop, way, types)
                    option = "--clipboard" if way == "copied" else "--selection-clipboard"
                    done = self.run_share(desktop, option, "--post")
                    self.assertEqual(done.returncode, 0, done.stderr)
                    info = json.loads(done.stdout)["info"]
                    self.assertEqual((info["title"], info.get("notes"), len(info.get("attachments", []))),
                                     (title, notes, pictures))
                    program.kill()
                    program.wait()

    def test_nothing_to_share_is_said_with_or_without_a_sheet(self):
        with Desktop() as desktop:
            for types, sentence in ((None, "is on the clipboard"), ({"image/png": "no picture"}, "picture"),
                                    ({"text/plain": "secret", "x-kde-passwordManagerHint": "secret"}, "password"),
                                    ({"text/plain": " \n"}, "is on the clipboard"),
                                    ({"text/uri-list": "file:///nowhere"}, "/nowhere")):
                program = self.offer(desktop, "copied", types) if types else None
                for arguments in ((), ("--post",)):
                    done = self.run_share(desktop, "--clipboard", *arguments)
                    self.assertEqual((done.returncode, done.stdout), (66, ""))
                    self.assertIn(sentence, done.stderr)
                if program:
                    program.kill()
                    program.wait()
            self.assertEqual(desktop.queue(), [])

    def test_the_sheet_opens_with_what_was_copied_on_both_kinds_of_display(self):
        text = "A page\n\nhttps://a.example/?gclid=1&b=2"
        with Desktop() as desktop:
            self.offer(desktop, "copied", {"text/plain": text})
            self.saves(desktop, desktop.share("--clipboard", "--clean-links"), "A page", "https://a.example/?b=2")
            desktop.environment["TASKLANE_STANDBY"] = "1"
            os.chmod(desktop.folder, 0o700)
            for _ in range(2):  # the second in the process that waits since the first
                self.saves(desktop, desktop.share("--clipboard"), "A page", text[8:])
            self.offer(desktop, "copied", {"image/jpeg": PHOTO.read_bytes()})
            self.ends_with_saved(desktop, desktop.share("--clipboard"))
            self.assertEqual(len(desktop.queue()[-1]["info"]["attachments"]), 1)
        with WaylandDesktop() as desktop:
            for way, option in ((["--primary"], "--selection-clipboard"), ([], "--clipboard")):
                desktop.start(["wl-copy", "--foreground", *way, text])
                wait_for("the copied text", lambda: desktop.output(["wl-paste", *way]).strip() == text)
                self.saves(desktop, desktop.share(option), "A page", text[8:])
                done = self.run_share(desktop, option, "--post")
                self.assertEqual(done.returncode, 0, done.stderr)
                self.assertEqual(json.loads(done.stdout)["info"]["notes"], text[8:])
                desktop.output(["wl-copy", "--clear", *way])
            self.ends_with(desktop.start([TASKLANE, "share", "--clipboard"]), 66)

    def ends_with_saved(self, desktop, sheet):
        desktop.keys("ctrl+Return")
        self.ends_with(sheet, 0)

    def saves(self, desktop, sheet, title, notes):
        self.ends_with_saved(desktop, sheet)
        info = desktop.queue()[-1]["info"]
        self.assertEqual((info["title"], info.get("notes")), (title, notes))

    def drag(self, desktop, types, x, y):
        """Drags what is offered to a place in the sheet; what became of it for the other program, which gives it only
        then."""
        program = self.offer(desktop, "dragged", types)
        source = wait_for("the source", lambda: desktop.output(
            ["xdotool", "search", "--onlyvisible", "--pid", str(program.pid)])).strip()
        desktop.output(["xdotool", "windowmove", "--sync", source, "10", "10"])
        desktop.output(["xdotool", "windowactivate", "--sync", source, "mousemove", "--window", source, "80", "80",
                        "mousedown", "1", "mousemove", "--window", source, "100", "100"])
        self.hears(program, "dragging")
        def is_accepted():
            nonlocal x
            x += 1  # a drag that rests is not told of
            desktop.point(x, y)
            return select.select([program.stdout], [], [], 0.1)[0]
        wait_for("the sheet to take it", is_accepted)
        self.hears(program, "accepted")
        desktop.output(["xdotool", "mouseup", "1"])
        return self.hears(program, "moved", "copied", "refused")

    def test_what_is_dropped_goes_where_it_belongs(self):
        in_text, on_bar = (200, 62), (200, 20)
        with Desktop() as desktop:
            sheet = desktop.share("--title", "Buy milk")
            for types, place in (({"text/plain": " today"}, (330, 62)), ({"text/plain": "two litres"}, on_bar),
                                 ({"text/uri-list": ADDRESS, "text/plain": ADDRESS}, in_text),
                                 ({"text/uri-list": PHOTO.as_uri()}, in_text),
                                 ({"image/jpeg": PHOTO.read_bytes()}, on_bar),
                                 ({"text/uri-list": "file:///a%20b.pdf"}, on_bar)):
                self.assertEqual(self.drag(desktop, types, *place), "copied")
            self.saves_all(desktop, sheet, "Buy milk today")

    def saves_all(self, desktop, sheet, title):
        desktop.activate()
        self.saves(desktop, sheet, title, f"two litres\n{ADDRESS}\nfile:///a%20b.pdf")
        self.assertEqual(len(desktop.queue()[-1]["info"]["attachments"]), 2)

    def test_what_is_pasted_goes_where_it_belongs_and_texts_can_be_undone(self):
        with Desktop() as desktop:
            sheet = desktop.share("--title", "Buy milk")
            def height():
                return int(desktop.output(["xwininfo", "-id", desktop.window]).split("Height:")[1].split()[0])
            lines, small = 10, height()
            def paste(types, *keys):
                """Pastes, and waits until that is done, because it is only then that the contents are asked for."""
                self.offer(desktop, "copied", types)
                desktop.keys(*keys, *["Return"] * lines)
                wait_for("a higher sheet", lambda: height() > small)
                desktop.keys(*["BackSpace"] * lines)
                wait_for("the sheet as it was", lambda: height() == small)
            paste({"text/plain": " today"}, "End", "ctrl+v", "ctrl+z", "ctrl+v")
            paste({"image/jpeg": PHOTO.read_bytes()}, "ctrl+v")
            on_row, in_text = ("Tab", "ctrl+v"), ("shift+Tab",)
            paste({"text/plain": "two litres"}, *on_row, *in_text)
            paste({"text/uri-list": ADDRESS}, *on_row, *in_text)
            paste({"text/uri-list": f"{PHOTO.as_uri()}\r\nfile:///a%20b.pdf"}, "ctrl+v")
            self.saves_all(desktop, sheet, "Buy milk today")


if __name__ == "__main__":
    unittest.main()
