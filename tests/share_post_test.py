import contextlib
import json
import os
import plistlib
import random
import resource
import shutil
import signal
import subprocess
import unittest

from program import LIMIT, SAMPLES, ProgramTest

PHOTO = SAMPLES / "photo.jpg"


class SharePost(ProgramTest):
    def post(self, *arguments, **options):
        return self.run_json("share", *arguments, "--post", **options)

    def test_queues_what_is_shared(self):
        self.run_program("publish", "containers", SAMPLES / "containers.plist")
        posted = self.post("--title", "Größe 家 🌱", "--text", "one\ntwo", "--page", "https://a.example/?q=1",
                           "--selection", "chosen", "--item", "--title", "second", "--text", "three",
                           "--project", "Walks", "--context", "Desk")
        info = posted["info"]
        self.assertRegex(info.pop("uuid"), r"^[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$")
        self.assertEqual(posted, {"type": "new", "info": {
            "title": "Größe 家 🌱\nsecond", "notes": "one\ntwo\nthreehttps://a.example/?q=1\n\nchosen",
            "project": "p-walks", "projectName": "Walks", "context": "c-desk", "contextName": "Desk"}})
        self.assertEqual(self.post("--text", "first line\nrest", "--note", "mine")["info"]["title"],
                         "first line\n")
        self.assertEqual(self.actions()[1]["info"]["notes"], "mine")
        self.assertEqual(self.post("--title", "t", "--url", "https://b.example/", "--note", "")["info"].keys(),
                         {"title", "uuid"})
        self.assertEqual(self.run_json("queue", "--json"), self.actions())

    def test_keeps_any_text(self):
        texts = ["", " ", "\r\n\r", "]]>&amp;<key>", "-", "e\u0301\u200d\u202e\ufeff", "a" * 100000,
                 "\U0001f469\u200d\U0001f680 \u05d0 \u0915\u094d\u0937", "%@ %s %n"]
        for text in texts:
            self.post(f"--title={text}")
        self.assertEqual([action["info"]["title"] for action in self.actions()], texts)
        self.post(b"--title=\xff\x01\x1b[31m|\xed\xa0\x80|", "--text", "x")
        title = self.actions()[-1]["info"]["title"]
        self.assertRegex(title, "^\ufffd+\\[31m\\|\ufffd+\\|$")
        self.assertNotIn("\x1b", self.run_program("queue"))

    def test_saves_photos_under_free_names(self):
        self.attachments.mkdir()
        for name in ("1.jpg", "3.jpg"):
            (self.attachments / name).write_bytes(b"theirs")
        document = {"items": [{"attachments": [
            {"type": "public.image", "file": str(PHOTO)}, {"type": "public.file-url", "file": PHOTO.as_uri()},
            {"types": [{"type": "public.url", "url": "https://c.example/"},
                       {"type": "public.image", "file": str(PHOTO)}]}]}]}
        info = self.post("--request", "-", input=json.dumps(document).encode())["info"]
        self.assertEqual(sorted(info["attachments"]), ["2.jpg", "4.jpg"])
        self.assertEqual(info["notes"], "https://c.example/")
        for name in info["attachments"]:
            self.assertEqual((self.attachments / name).read_bytes()[:2], b"\xff\xd8")
        self.assertEqual((self.attachments / "3.jpg").read_bytes(), b"theirs")
        shutil.copy(PHOTO, self.folder / "ph o%20to.jpg")
        self.write("request.json", json.dumps({"items": [{"attachments": [
            {"type": "public.image", "file": "ph o%20to.jpg"}]}]}).encode())
        self.assertEqual(self.post("--request", "request.json")["info"]["attachments"], ["5.jpg"])

    def test_processes_never_share_a_name(self):
        started = [self.start("share", "--image", PHOTO, "--file", PHOTO, "--post") for _ in range(6)]
        names = []
        for process in started:
            output, _ = process.communicate(timeout=LIMIT)
            self.assertEqual(process.returncode, 0)
            names += json.loads(output)["info"]["attachments"]
        self.assertEqual(len(set(names)), 12)
        self.assertEqual(sorted(names), self.names_in(self.attachments))
        self.assertEqual(len(self.actions()), 6)

    def leaves_no_trace(self, actions=0):
        self.assertEqual(len(self.actions()) if (self.shared / "actions.plist").exists() else 0, actions)
        self.assertEqual(self.names_in(self.attachments), [])

    def test_says_of_what_nothing_is_taken(self):
        text = self.write("list.txt", b"milk")
        page = {"type": "public.property-list", "results": {"selection": "chosen"}}
        request = self.write("request.json", json.dumps({"items": [{"title": "T", "attachments": [
            page, {"type": "public.plain-text", "text": "milk"}, {"type": "public.url", "url": "https://example.org/"},
            {"type": "public.file-url", "file": str(PHOTO)}]}]}).encode())
        for arguments, named in ((("--title", "T", "--file", text), [str(text)]),
                                 (("--request", request), ["public.property-list", "public.plain-text"]),
                                 (("--file", PHOTO, "--url", "https://example.org/"), [])):
            self.run_program("share", *arguments, "--post")
            lines = self.error.splitlines()
            self.assertEqual(len(lines), len(named), self.error)
            for line, name in zip(lines, named):
                self.assertRegex(line, f"^tasklane: nothing is taken of .*{name}: .+[.]$")

    def test_leaves_no_trace_when_it_fails(self):
        self.run_program("share", "--image", PHOTO, "--post", "--project", "Nowhere", code=65)
        self.leaves_no_trace()
        cut = self.write("cut.jpg", PHOTO.read_bytes()[:-2000])
        self.run_program("share", "--image", PHOTO, "--image", cut, "--post", code=65)
        self.leaves_no_trace()
        (self.shared / "actions.plist").write_bytes(plistlib.dumps(
            {"actions": [{"type": "new", "info": {"uuid": "big", "title": "x" * 300000}}]}))
        self.run_program("share", "--image", PHOTO, "--post", file_limit=250000, code=74)
        self.leaves_no_trace(actions=1)
        process = self.start(*["share", "--post"] + ["--image", PHOTO] * 40)
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(random.uniform(0, 0.1))
        process.send_signal(signal.SIGTERM)
        process.communicate(timeout=LIMIT)
        self.assertIn(process.returncode, (1, -signal.SIGTERM))
        self.leaves_no_trace(actions=1)

    @unittest.skipIf(os.environ.get("SANITIZER"), "a sanitiser needs some of its own to look at memory")
    def test_says_that_descriptors_ran_out(self):
        needed = None
        for files in range(4, 64):
            process = self.start("share", "--image", PHOTO, "--image", PHOTO, "--post", preexec_fn=(
                lambda: resource.setrlimit(resource.RLIMIT_NOFILE, (files, files))))
            error = process.communicate(timeout=LIMIT)[1]
            if process.returncode == 0:
                needed = files
                break
            self.assertRegex(error, rb"(?m)^tasklane: ", files)
            self.assertEqual(process.returncode, 74, files)
            self.leaves_no_trace()
        self.assertGreater(needed, 10)
        (action,) = self.actions()
        self.assertEqual(len(action["info"]["attachments"]), 2)


if __name__ == "__main__":
    unittest.main()
