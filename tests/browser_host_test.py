"""The program that browsers start: what it takes from a browser, what it refuses, and what it makes of it. A stand-in for
the command line keeps what it is given."""
import base64
import hashlib
import json
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import unittest

HOST = pathlib.Path(os.environ["TASKLANE"]).parent / "tasklane-browser-host"
SOURCES = pathlib.Path(__file__).resolve().parent.parent
EXTENSION = json.loads((SOURCES / "extension/manifest.json").read_text(encoding="utf-8"))
LIMIT = 60
STAND_IN = """#!/bin/sh
cd "$(dirname "$0")"
cat >request
echo "$@" >arguments
ps -o sid= -p $$ >session
picture=$(sed -n 's/.*"file":"\\([^"]*\\)".*/\\1/p' request)
[ -z "$picture" ] || cat "$picture" >picture
[ ! -e sentence ] || { cat sentence >&2; exit 65; }
"""


def chromium_identifier():
    """As Chromium makes it of the manifest's key."""
    digest = hashlib.sha256(base64.b64decode(EXTENSION["key"])).hexdigest()[:32]
    return "".join(chr(ord("a") + int(digit, 16)) for digit in digest)


GECKO = EXTENSION["browser_specific_settings"]["gecko"]["id"]
OURS = [f"chrome-extension://{chromium_identifier()}/"]


def frame(message):
    text = message if isinstance(message, bytes) else json.dumps(message).encode()
    return struct.pack("=I", len(text)) + text


def share(**words):
    return frame({"type": "share", **words})


def answers(output):
    found = []
    while output:
        length, = struct.unpack_from("=I", output)
        assert len(output) >= 4 + length, output
        found.append(json.loads(output[4:4 + length]))
        output = output[4 + length:]
    return found


def page(url, **more):
    return {"type": "public.property-list", "results": {"url": url, **more}}


class BrowserHostTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tasklane-host-"))
        self.addCleanup(shutil.rmtree, self.folder)
        shutil.copy(HOST, self.folder)
        program = self.folder / "tasklane"
        program.write_text(STAND_IN)
        program.chmod(0o755)

    def run_host(self, sent, arguments=tuple(OURS)):
        """Its answers and its exit code, and the request that was handed over, if any."""
        request = self.folder / "request"
        request.unlink(missing_ok=True)
        host = subprocess.run([self.folder / HOST.name, *arguments], input=sent, stdout=subprocess.PIPE,
                              timeout=LIMIT)
        return answers(host.stdout), host.returncode, json.loads(request.read_bytes()) if request.exists() else None

    def test_what_a_share_becomes(self):
        cases = [
            ({"title": "T", "url": "https://e.org/?a=b#c"}, {"title": "T", "attachments": [page("https://e.org/?a=b#c")]}),
            ({"url": "u", "canonical": "c", "selection": "שלום\n\"x\""},
             {"attachments": [page("u", canonical="c", selection="שלום\n\"x\"")]}),
            ({"title": "T", "url": "", "selection": "s"}, {"title": "T", "text": "s"}),
            ({"title": "T", "url": "file:///etc/passwd"}, {"title": "T", "attachments": [page("file:///etc/passwd")]}),
        ]
        for said, item in cases:
            with self.subTest(said=said):
                self.assertEqual(self.run_host(share(**said)), ([{"state": "accepted"}], 0, {"items": [item]}))
        self.assertEqual((self.folder / "arguments").read_text(), "share --detach --request -\n")
        self.assertNotEqual(int((self.folder / "session").read_text()), os.getsid(0))

    def test_a_picture_comes_in_pieces(self):
        picture = os.urandom(3 << 20)
        pieces = [frame({"type": "picture", "bytes": base64.b64encode(picture[at:at + (1 << 20)]).decode()})
                  for at in range(0, len(picture), 1 << 20)]
        said, code, request = self.run_host(b"".join(pieces) + share(title="T"))
        self.assertEqual((said, code), ([{"state": "accepted"}], 0))
        attachment, = request["items"][0]["attachments"]
        self.assertEqual(attachment["type"], "public.image")
        self.assertEqual((self.folder / "picture").read_bytes(), picture)

    def test_what_is_refused(self):
        nested = b'{"a":' * 200_000
        cases = {
            "nothing": (b"", None),
            "half a length": (b"\1\0", "ends after 2 of 4"),
            "4 GB announced": (b"\xff\xff\xff\xff{}", "announces a message of 4294967295 bytes"),
            "more announced than sent": (struct.pack("=I", 50 << 20) + b'{"type"', "ends after 7 of 52428800"),
            "less announced than sent": (struct.pack("=I", 5) + b'{"type":"hello"}', "no JSON"),
            "no message": (frame(b""), "no JSON"),
            "bad UTF-8": (frame(b'{"type":"share","title":"\xff"}'), "no JSON in UTF-8"),
            "half a surrogate pair": (frame(b'{"type":"share","title":"\\ud800"}'), "no JSON"),
            "no object": (frame(["share"]), "must be an object"),
            "a string": (frame("share"), "must be an object"),
            "no type": (frame({"title": "T"}), "no known type"),
            "unknown type": (frame({"type": "run", "title": "T"}), "no known type"),
            "unknown key": (share(title="T", command="rm"), 'unknown key "command"'),
            "a file's path": (share(title="T", file="/etc/passwd"), 'unknown key "file"'),
            "a whole request": (frame({"items": [{"attachments": [{"type": "public.image", "file": "/etc/passwd"}]}]}),
                                "strings alone"),
            "a path for a picture": (frame({"type": "picture", "bytes": "/etc/pa.wd"}), "no base64"),
            "a picture as a word": (share(title="T", picture="/etc/passwd"), 'unknown key "picture"'),
            "a number": (share(title=1), "strings alone"),
            "a key twice": (frame(b'{"type":"share","title":"a","title":"b"}'), '"title" twice'),
            "nested": (frame(nested), "strings alone"),
            "nested arrays": (frame(b"[" * (8 << 20)), "must be an object"),
            "nothing to share": (share(title="", url=""), "shares nothing"),
            "text behind": (frame(b'{"type":"hello"} {}'), "no JSON"),
        }
        for name, (sent, error) in cases.items():
            with self.subTest(name):
                said, code, request = self.run_host(sent)
                self.assertIsNone(request)
                if error is None:
                    self.assertEqual((said, code), ([], 0))
                    continue
                self.assertEqual((said[-1]["state"], code), ("failed", 65))
                self.assertIn(error, said[-1]["error"])

    def test_whom_it_serves(self):
        other = "chrome-extension://" + "a" * 32 + "/"
        cases = [(OURS, True), (["/usr/lib/mozilla/x.json", GECKO], True), ([], False), ([other], False),
                 ([OURS[0] + "x"], False), (["/x.json", "other@example.org"], False), ([GECKO], False),
                 ([other, OURS[0]], False)]
        for arguments, served in cases:
            with self.subTest(arguments=arguments):
                said, code, request = self.run_host(frame({"type": "hello"}) + share(title="T"), arguments)
                self.assertEqual([each["state"] for each in said], ["here", "accepted"] if served else ["failed"])
                self.assertEqual((code, request is not None), (0, True) if served else (64, False))

    def test_what_the_command_line_says_is_passed_on(self):
        (self.folder / "sentence").write_text("a line\ntasklane: This cannot be shared: no picture.\n")
        said, code, _ = self.run_host(share(title="T"))
        self.assertEqual((said, code), ([{"state": "failed", "error": "This cannot be shared: no picture."}], 70))
        (self.folder / "tasklane").unlink()
        said, code, _ = self.run_host(share(title="T"))
        self.assertIn("cannot start", said[0]["error"])

    def test_a_browser_that_does_not_listen(self):
        host = subprocess.Popen([self.folder / HOST.name, *OURS], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        host.stdout.close()
        host.communicate(share(title="T"), timeout=LIMIT)
        self.assertEqual(host.returncode, 0)
        self.assertTrue((self.folder / "request").exists())

    def test_the_manifests_name_this_extension(self):
        templates = SOURCES / "apps/browser-host"
        chromium = json.loads((templates / "chromium/com.kestrelworks.tasklane.json.in").read_text())
        firefox = json.loads((templates / "firefox/com.kestrelworks.tasklane.json.in").read_text())
        self.assertEqual(chromium["allowed_origins"], OURS)
        self.assertEqual(firefox["allowed_extensions"], [GECKO])


if __name__ == "__main__":
    unittest.main()
