"""What a person shares from a browser, by the extension's key and context menus, and saves in the sheet."""
import http.server
import pathlib
import struct
import subprocess
import tempfile
import threading
import unittest

from browsers import SOURCES, Chromium, Firefox
from desktop import Desktop, wait_for

PHOTO = (SOURCES / "resources/sample/photo.jpg").read_bytes()
PDF = b"""%PDF-1.4
1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj
2 0 obj<</Type/Pages/Kids[3 0 R]/Count 1>>endobj
3 0 obj<</Type/Page/Parent 2 0 R/MediaBox[0 0 99 99]>>endobj
trailer<</Root 1 0 R>>
"""
# One pixel in a format that browsers show and the sheet does not take.
ICON = struct.pack("<HHHBBBBHHIIIiiHHIIiiII8x", 0, 1, 1, 1, 1, 0, 0, 1, 32, 48, 22, 40, 1, 2, 1, 32, 0, 8, 0, 0, 0, 0)
LARGE = 50 << 20
# What a person marks, each far down a page of its own: paragraphs, and from where to where in the first and the last.
MARKED = {
    "latin": (["He said: “words, one-two & three” there."], 10, 32, "words, one-two & three"),
    "twice": (["first the same words", "second the same words"], 0, 0, None),
    "hebrew": (["לפני שלום עולם, אחרי"], 5, 14, "שלום עולם"),
    "arabic": (["قبل مرحبا بالعالم بعد"], 4, 17, "مرحبا بالعالم"),
    "thai": (["ฉันรักภาษาไทยมาก"], 3, 13, "รักภาษาไทย"),
    "japanese": (["これは日本語の文章です。"], 3, 9, "日本語の文章"),
    "hindi": (["यह हिन्दी का वाक्य है"], 3, 18, "हिन्दी का वाक्य"),
    "paragraphs": (["One two three four five six seven.", "Eight nine ten eleven twelve thirteen fourteen."], 4, 37,
                   "two three four five six seven.\n\nEight nine ten eleven twelve thirteen"),
}


def picture_of(size):
    """The photo with as much behind it as it takes."""
    return PHOTO + bytes(size - len(PHOTO))


class Pages(http.server.BaseHTTPRequestHandler):
    def log_message(self, *_):
        pass

    def do_GET(self):
        path = self.path.partition("?")[0]
        name, _, rest = path[1:].partition("/")
        headers, content, kind = {}, "", "text/html; charset=utf-8"
        if name == "plain":
            content = '<title> A\n page </title><link rel="canonical" href="/plain"><p id="words">Words'
            content += '<p><a id="link" href="/other?q=1">The <b>link</b></a><p><input id="field" value="in a field">'
        elif name == "elsewhere":
            content = '<title>Elsewhere</title><link rel="canonical" href="/">Words'
        elif name == "strict":
            headers["Content-Security-Policy"] = "default-src 'none'; img-src 'self'; sandbox allow-same-origin"
            content = '<title>Strict</title><p id="words">Strict words</p><img id="image" src="/photo.jpg" width="200">'
        elif name == "frame":
            content = '<title>Outer</title><iframe src="/framed" width="500" height="300"></iframe>'
        elif name == "framed":
            content = '<title>Inner</title><p id="words">Framed words</p>'
        elif name == "marked":
            paragraphs = MARKED[rest][0]
            content = f'<title>{rest}</title><div style="height:3000px"></div>' + "".join(
                f'<p dir="auto">{text}</p>' for text in paragraphs) + '<div style="height:3000px"></div>'
        elif name == "pictures":
            headers["Set-Cookie"] = "key=right; SameSite=Strict; HttpOnly; Path=/"
            other = f"http://localhost:{self.server.server_port}"
            content = '<title>Pictures</title>' + "".join(
                f'<img id="{each}" src="{source}" width="120" height="80"> ' for each, source in [
                    ("own", "/photo.jpg?own"), ("other", other + "/free.jpg"), ("drawing", "/drawing.svg"),
                    ("large", "/large.jpg"), ("icon", "/icon.jpg")])
        elif name.endswith(".jpg"):
            content = {"large.jpg": picture_of(LARGE), "icon.jpg": ICON}.get(name, PHOTO)
            kind = "image/jpeg"
            if name != "free.jpg" and "key=right" not in self.headers.get("Cookie", ""):
                self.send_error(403)
                return
        elif name == "drawing.svg":
            kind = "image/svg+xml"
            content = '<svg xmlns="http://www.w3.org/2000/svg" width="120" height="60"><rect width="120" height="60"/></svg>'
        elif name == "paper.pdf":
            content, kind = PDF, "application/pdf"
        content = content if isinstance(content, bytes) else b"<!doctype html>" * (kind[:9] == "text/html") + content.encode()
        self.send_response(200)
        for header, value in {**headers, "Content-Type": kind, "Content-Length": len(content)}.items():
            self.send_header(header, str(value))
        self.end_headers()
        self.wfile.write(content)


class BrowserShares:
    @classmethod
    def setUpClass(cls):
        cls.packages = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory(prefix="tasklane-packages-")))
        subprocess.run([SOURCES / "scripts/package-extension", cls.packages], check=True)
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Pages)
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        cls.addClassCleanup(lambda: (server.shutdown(), server.server_close(), thread.join()))
        cls.server = f"http://127.0.0.1:{server.server_port}"
        cls.desktop, cls.browser = cls.start(cls.enterClassContext)

    @classmethod
    def start(cls, enter):
        """A desktop with the browser on it."""
        desktop = enter(Desktop())
        # Without a bus a browser would start one, which outlives the display.
        desktop.environment.update(HOME=desktop.folder, DBUS_SESSION_BUS_ADDRESS="disabled:")
        return desktop, enter(cls.Browser(desktop, cls.packages))

    def open(self, path):
        self.browser.open(self.server + path)

    def sheet(self):
        self.desktop.window = wait_for("the sheet's window", self.desktop.windows)[0]
        self.desktop.activate()

    def save(self):
        """Saves what the sheet shows; its title, note and attachments."""
        before = len(self.desktop.queue())
        self.desktop.keys("ctrl+Return")
        wait_for("the saved item", lambda: len(self.desktop.queue()) > before)
        wait_for("the sheet's end", lambda: not self.desktop.windows())
        saved = self.desktop.queue()[-1]["info"]
        return saved["title"], saved.get("notes", ""), saved.get("attachments", [])

    def shared(self, trigger, *arguments):
        trigger(*arguments)
        self.sheet()
        title, note, attachments = self.save()
        return title, note.replace(self.server, ""), len(attachments)

    def select(self, selector):
        self.browser.ask(f"getSelection().selectAllChildren(document.querySelector('{selector}'))")

    def test_pages_and_links(self):
        press, choose = self.browser.press, self.browser.choose
        self.open("/plain?session=1")
        self.assertEqual(self.shared(press), ("A page", "/plain", 0))
        self.assertEqual(self.shared(choose, "link", "#link"), ("The link", "/other?q=1", 0))
        self.select("#words")
        self.assertEqual(self.shared(choose, "selection", "#words"), ("A page", "/plain#:~:text=Words\n\nWords", 0))
        self.browser.ask("document.querySelector('#field').select()")
        self.assertEqual(self.shared(press), ("A page", "/plain\n\nin a field", 0))
        self.open("/elsewhere?x=1#place")
        self.assertEqual(self.shared(press), ("Elsewhere", "/elsewhere?x=1#place", 0))
        self.open("/strict")
        self.select("#words")
        self.assertEqual(self.shared(press), ("Strict", "/strict#:~:text=Strict%20words\n\nStrict words", 0))
        self.open("/frame")
        self.browser.ask("const inner = frames[0]; inner.focus(); inner.getSelection().selectAllChildren("
                         "inner.document.querySelector('#words'))")
        self.assertEqual(self.shared(press), ("Outer", "/frame\n\nFramed words", 0))

    def test_what_no_script_may_enter(self):
        self.open("/paper.pdf")
        title, note, _ = self.shared(self.browser.press)
        self.assertEqual(note, "/paper.pdf")
        self.assertTrue(title)
        self.browser.open(self.own_page)
        title, note, _ = self.shared(self.browser.choose, "page", "body")
        self.assertEqual(note, self.own_page)
        self.assertTrue(title)

    def test_an_address_leads_back_to_the_words(self):
        for name, (paragraphs, start, end, words) in MARKED.items():
            with self.subTest(name):
                self.open("/marked/" + name)
                if words is None:  # those of the second paragraph, which the first has too
                    words, start = "the same words", 7
                    first = last = "document.querySelectorAll('p')[1].firstChild"
                    end = start + len(words)
                else:
                    first = "document.querySelector('p').firstChild"
                    last = "[...document.querySelectorAll('p')].at(-1).firstChild"
                self.browser.ask(f"getSelection().setBaseAndExtent({first}, {start}, {last}, {end})")
                title, note, _ = self.shared(self.browser.press)
                address, _, selection = note.partition("\n\n")
                self.assertEqual((title, selection), (name, words))
                self.assertIn(":~:text=", address)
                if name == "twice":
                    self.assertIn("text=second-,", address)
                self.browser.open("about:blank")
                self.open(address)
                wait_for("the words", lambda: self.browser.ask("return scrollY") > 1000)

    def test_pictures(self):
        self.open("/pictures")
        self.assertEqual(self.shared(self.browser.choose, "image", "#own"), ("Pictures", "/pictures", 1))
        self.assertEqual(self.shared(self.browser.choose, "image", "#drawing"), ("Pictures", "/pictures", 1))
        self.assertEqual(self.shared(self.browser.choose, "image", "#large"), ("Pictures", "/pictures", 1))
        self.assertEqual(self.shared(self.browser.choose, "image", "#icon"), ("Pictures", "/icon.jpg", 0))
        title, note, attachments = self.shared(self.browser.choose, "image", "#other")
        self.assertEqual((title, attachments), ("Pictures", 0))
        self.assertRegex(note, "^http://localhost:[0-9]+/free.jpg$")
        self.open("/strict")
        self.assertEqual(self.shared(self.browser.choose, "image", "#image"), ("Strict", "/strict", 1))

    def test_without_the_program_and_without_the_browser(self):
        self.desktop, self.browser = self.start(self.enterContext)
        manifests = pathlib.Path(self.browser.manifests)
        manifests.rename(manifests.with_suffix(".away"))
        self.open("/plain")
        self.browser.press()
        wait_for("the explanation", lambda: any(a.endswith("/problem.html") for a in self.browser.addresses()))
        self.assertEqual(self.desktop.windows(), [])

        manifests.with_suffix(".away").rename(manifests)
        self.desktop.keys("ctrl+w")
        wait_for("the page", lambda: len([a for a in self.browser.addresses() if self.server in a or "problem" in a]) == 1)
        self.open("/pictures")
        self.browser.choose("image", "#own")
        self.sheet()
        self.browser.kill()
        title, _, attachments = self.save()
        self.assertEqual((title, len(attachments)), ("Pictures", 1))


class ChromiumShares(BrowserShares, unittest.TestCase):
    Browser, own_page = Chromium, "chrome://version/"


class FirefoxShares(BrowserShares, unittest.TestCase):
    Browser, own_page = Firefox, "about:support"


if __name__ == "__main__":
    unittest.main()
