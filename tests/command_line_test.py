import datetime
import json
import os
import pathlib
import plistlib
import shutil
import subprocess
import unittest

from program import CATALOGUE, LIMIT, PROGRAM, SAMPLES, ProgramTest, items


class Publishing(ProgramTest):
    def test_takes_every_format_and_keeps_the_order(self):
        text_format = ('{projects = {a = {id = a; title = "Caf\\U00e9"; }; }; '
                       'orderedProjectIDs = (a); }').encode()
        for document, titles in ((CATALOGUE, ["مشروع", "Home", "Jardín 🌱"]), (text_format, ["Café"]),
                                 (plistlib.dumps(CATALOGUE, fmt=plistlib.FMT_BINARY),
                                  ["مشروع", "Home", "Jardín 🌱"])):
            self.publish("containers", document)
            projects = self.run_json("catalogue", "projects", "--json")
            self.assertEqual([project["title"] for project in projects], titles)
        with open(self.shared / "containers.plist", "rb") as file:
            self.assertEqual(plistlib.load(file), CATALOGUE)
        self.assertIn("Jardín 🌱  (Home)", self.run_program("catalogue", "projects"))
        self.run_program("publish", "items", "-", input=plistlib.dumps(items()))
        self.assertEqual(len(self.run_json("today", "--all", "--json")), 2)

    def test_samples_are_publishable(self):
        self.run_program("publish", "containers", SAMPLES / "containers.plist")
        self.run_program("publish", "items", SAMPLES / "items.plist")
        self.assertTrue(self.run_json("catalogue", "contexts", "--json"))
        self.assertTrue(self.run_json("today", "--json"))

    def test_names_all_that_is_wrong_and_changes_nothing(self):
        self.publish("containers", CATALOGUE)
        before = (self.shared / "containers.plist").read_bytes()
        wrong = {"projects": {"a": {"id": "b", "path": 3}, "c": []}, "orderedProjectIDs": ["x", 1],
                 "orderedContextIDs": []}
        self.publish("containers", wrong, code=65)
        for place in ("/projects/a/id", "/projects/a/title", "/projects/a/path", "/projects/c",
                      "/orderedProjectIDs/0", "/orderedProjectIDs/1", "/contexts"):
            self.assertIn(": " + place + " ", self.error)
        wrong = {"items": [{"uuid": ""}, {"uuid": "a", "due": "soon", "flagged": "yes", "children":
                           [{"title": 1}]}], "contentCategories": -1, "dueSoonInterval": "x"}
        self.publish("items", wrong, code=65)
        for place in ("/items/0/uuid", "/items/1/due", "/items/1/flagged",
                      "/items/1/children/0/uuid", "/items/1/children/0/title",
                      "/contentCategories", "/dueSoonInterval"):
            self.assertIn(": " + place + " ", self.error)
        for document in (b"", b"garbage", plistlib.dumps([]), plistlib.dumps(CATALOGUE)[:-9],
                         {}, {"title": "some other file", "orderedProjectIDs": []}):
            self.publish("containers", document, code=65)
        self.run_program("publish", "containers", "missing.plist", code=66)
        self.run_program("publish", "containers", ".", code=66)
        self.assertEqual((self.shared / "containers.plist").read_bytes(), before)
        self.assertEqual(self.names_in(self.shared), ["containers.plist"])

    def test_remarks_on_what_readers_get_along_with(self):
        odd = {**CATALOGUE, "orderedProjectIDs": ["z", "gone"], "project": {}}
        self.publish("containers", odd)
        self.assertRegex(self.error, ': /orderedProjectIDs/1 names "gone"')
        self.assertRegex(self.error, ": /project is not a key")
        self.assertEqual(len(self.run_json("catalogue", "projects", "--json")), 1)
        twins = items(items=[{"uuid": "A", "children": [{"uuid": "B"}]}, {"uuid": "B"}])
        self.publish("items", twins)
        self.assertRegex(self.error, ": /items/1/uuid is the same as that of /items/0/children/0")
        self.publish("containers", CATALOGUE)
        self.assertEqual(self.error, "")


class Texts(ProgramTest):
    # What a terminal obeys, of what XML carries.
    HOSTILE = "a\tb\x9b31mc\u202ed\u2066e\u2028f\u0085g\n"

    def test_a_list_shows_no_character_that_a_terminal_obeys(self):
        self.publish("containers", {"projects": {"p": {"id": "p", "title": self.HOSTILE}}, "contexts": {},
                                    "orderedProjectIDs": ["p"], "orderedContextIDs": []})
        self.assertEqual(self.run_program("catalogue", "projects"), "a b 31mc d e f g\n")

    def test_dates_are_told_as_the_person_reads_them_and_written_as_files_need_them(self):
        now = datetime.datetime.now(datetime.timezone.utc)
        # A zone in which it is about noon, so that the day does not end meanwhile.
        self.environment["TZ"] = f"<HERE>{now.hour - 12}"
        local = now - datetime.timedelta(hours=now.hour - 12)
        due = local.strftime("%Y-%m-%d-23:30:00 ") + f"{-100 * (now.hour - 12):+05}"
        self.publish("items", {"items": [{"uuid": "A", "title": "a", "due": due}], "dueSoonInterval": 0.0,
                               "contentCategories": 2, "usesCustomPerspective": False})
        for locale, words in (("C", "today 23:30"), ("de_DE.UTF-8", "heute 23:30"), ("fa_IR.UTF-8", "امروز ۲۳:۳۰"),
                              ("th_TH.UTF-8", "วันนี้ 23:30"), ("tr_TR.UTF-8", "bugün 23:30")):
            self.environment["LC_ALL"] = locale
            self.assertIn(f"  due {words}  A\n", self.run_program("today"))
            self.assertEqual(self.run_json("today", "--json")[0]["due"], due, locale)
            self.run_program("flag", "A")
            self.assertEqual(self.actions()[0]["info"]["due"], due, locale)
            self.run_program("unflag", "A")

    def test_short_commands_load_no_library_for_texts_or_pictures(self):
        self.publish("items", items())
        self.environment["LD_DEBUG"] = "libs"
        slow = ("libicu", "libjpeg", "libpng", "libheif", "libwebp", "libtiff", "libgif", "image_codecs",
                "libtoml")

        def loaded():
            return [name for name in slow if name in self.error]

        for command in (("share", "--post", "--title", "t", "--text", "é"), ("queue",), ("queue", "--json"),
                        ("flag", "ROOT"), ("watch", "actions", "--count", "0"), ("today", "--json")):
            self.run_program(*command)
            self.assertIn("calling init", self.error)
            self.assertEqual(loaded(), [], command)
        self.run_program("today", "--all")
        self.assertEqual(loaded(), ["libicu"], "a date for a person needs it")


class Sheet(ProgramTest):
    def test_is_the_extensions_program_with_the_request(self):
        application = self.folder / "Tasklane.app"
        extension = application / "PlugIns" / "Share.appex" / "share"
        extension.parent.mkdir(parents=True)
        shutil.copy(PROGRAM, application)
        shutil.copy(pathlib.Path(PROGRAM).parent / "Info.plist", application)
        extension.write_text('#!/bin/sh\necho "$# $@"\ncat\nexit 7\n')
        extension.chmod(0o755)
        self.environment["DISPLAY"] = ":99"
        shutil.copy(SAMPLES / "photo.jpg", self.folder)
        arguments = ["share", "--title", "T", "--item", "--text", "x", "--page", "https://a/", "--selection", "s",
                     "--image", "photo.jpg", "--snapshot", "it.png", "--scale", "2"]
        shown = subprocess.run([application / "tasklane", *arguments], env=self.environment, cwd=self.folder,
                               capture_output=True, timeout=LIMIT)
        self.assertEqual((shown.returncode, shown.stderr), (7, b""))
        first, document = shown.stdout.split(b"\n", 1)
        self.assertEqual(first, b"4 --snapshot it.png --scale 2")
        request = json.loads(document)
        self.assertEqual(request, {"items": [{"title": "T"}, {"text": "x", "attachments": [
            {"type": "public.property-list", "results": {"url": "https://a/", "selection": "s"}},
            {"type": "public.image", "file": (self.folder / "photo.jpg").as_uri()}]}]})
        extension.unlink()
        shown = subprocess.run([application / "tasklane", "share"], env=self.environment, capture_output=True,
                               timeout=LIMIT)
        self.assertEqual(shown.returncode, 66)


class Usage(ProgramTest):
    def test_mistakes_are_told_plainly(self):
        (self.folder / "text.txt").write_text("no picture")
        (self.folder / "cut.jpg").write_bytes((SAMPLES / "photo.jpg").read_bytes()[:20])
        for code, arguments in (
                (64, []), (64, ["frobnicate"]), (64, ["queue", "empty"]), (64, ["watch", "mail"]),
                (64, ["catalogue"]), (64, ["complete"]), (64, ["watch", "items", "--count", "x"]),
                (64, ["share", "--title", "a", "--title", "b"]),
                (64, ["share", "--selection", "s"]), (64, ["share", "--project", "Home"]),
                (64, ["share", "--post", "--snapshot", "x.png"]),
                (64, ["share", "--text", "x", "--scale", "2"]),
                (64, ["share", "--text", "x", "--snapshot", "x.png", "--scale", "nan"]),
                (64, ["share", "--request", "-", "--title", "a"]),
                (64, ["share", "--title", "no display"]),
                (65, ["share", "--post", "--url", "example"]),
                (65, ["share", "--post", "--page", "example"]),
                (65, ["share", "--post", "--image", "text.txt"]),
                (65, ["share", "--post", "--file", "cut.jpg"]),
                (66, ["share", "--post", "--image", "missing.jpg"]),
                (66, ["share", "--post", "--file", "."]),
                (66, ["share", "--post", "--request", "missing.json"])):
            with self.subTest(arguments=arguments):
                self.run_program(*arguments, code=code)
                self.assertEqual(self.error.count("\n"), 1, self.error)
        self.environment["DISPLAY"] = ":9999"
        gone = self.start("share", "--title", "no such display")
        self.assertIn(b"--post", gone.communicate(timeout=LIMIT)[1])
        # Built without a screen there is no sheet's program either.
        sheet = pathlib.Path(PROGRAM).parent / "PlugIns/Share.appex/share"
        self.assertEqual(gone.returncode, 64 if sheet.exists() else 66)
        self.assertEqual(self.names_in(self.shared), [])
        self.assertIn("share", self.run_program("--help"))

    def test_every_command_is_described_with_examples(self):
        def look(command, path):
            name = " ".join((*path, command["name"]))
            self.assertTrue(command["examples"] and command["description"], name)
            for example in command["examples"]:
                self.assertIn(example, self.run_program(*name.split()[1:], "--help"))
                self.assertRegex(example, "tasklane .|systemctl")
            for below in command["commands"]:
                look(below, (*path, command["name"]))
        look(json.loads(self.run_program("describe")), ())
        self.assertRegex(self.run_program("--version"), r"^tasklane \d+[.]\d+\n$")

    def test_output_that_goes_nowhere_is_told(self):
        with open("/dev/full", "wb") as full:
            for arguments, code in ((["--help"], 74), (["queue"], 74),
                                    (["share", "--post", "--title", "saved"], 0)):
                process = self.start(*arguments, stdout=full)
                self.assertIn(b"could not be ", process.communicate(timeout=LIMIT)[1])
                self.assertEqual(process.returncode, code, "what is saved is saved")
        for closed in ((1,), (2,), (0, 1, 2)):
            nowhere = dict.fromkeys(("stdin", "stdout", "stderr"), subprocess.DEVNULL)
            process = self.start("share", "--post", "--title", "saved", **nowhere,
                                 preexec_fn=lambda: [os.close(number) for number in closed])
            self.assertEqual(process.wait(LIMIT), 0)
        self.assertEqual([action["info"]["title"] for action in self.actions()], ["saved"] * 4)

    def test_a_container_that_cannot_be_made(self):
        (self.folder / "file").write_text("")
        self.environment["TASKLANE_GROUP_CONTAINERS"] = str(self.folder / "file" / "groups")
        for arguments in (["queue"], ["paths"], ["share", "--post", "--title", "x"]):
            self.run_program(*arguments, code=73)

    def test_wrong_requests_name_the_place(self):
        for place, request in (
                ("the document", []), ("/items", {}), ("/item ", {"item": []}),
                ("/items ", {"items": {}}), ("/items/0 ", {"items": ["x"]}),
                ("/items/0/titel", {"items": [{"titel": "x"}]}),
                ("/items/0/title", {"items": [{"title": 1}]}),
                ("/items/1/attachments/0/type", {"items": [{}, {"attachments": [{}]}]}),
                ("/items/0/attachments/0/type", self.attachment(type="public.imge", file="x")),
                ("/items/0/attachments/0 ", self.attachment(type="public.url")),
                ("/items/0/attachments/0 ", self.attachment(type="public.url", url="u:x", file="x")),
                ("/items/0/attachments/0/url", self.attachment(type="public.url", url="x")),
                ("/items/0/attachments/0/url", self.attachment(type="public.image", url="u:x")),
                ("/items/0/attachments/0/results", self.attachment(type="public.property-list",
                                                                   results="x")),
                ("/items/0/attachments/0/results/url", self.attachment(
                    type="public.property-list", results={"url": 5, "selection": None})),
                ("/items/0/attachments/0/types/1/type",
                 self.attachment(types=[{"type": "public.url", "url": "u:x"}, {"type": ""}])),
                ("line 1, column 2", "{"), ("UTF-8", b'{"items": [{"title": "\xff"}]}')):
            document = request if isinstance(request, (str, bytes)) else json.dumps(request)
            document = document if isinstance(document, bytes) else document.encode()
            with self.subTest(place=place, document=document):
                self.run_program("share", "--post", "--request", "-", input=document, code=65)
                self.assertIn(place, self.error)
        missing = json.dumps(self.attachment(type="public.image", file="missing.png"))
        self.run_program("share", "--post", "--request", "-", input=missing.encode(), code=66)
        self.assertIn("/items/0/attachments/0/file", self.error)
        self.run_program("share", "--post", "--request", "-", input=b'{"items":' + b"[" * 100000,
                         code=65)
        self.assertEqual(self.names_in(self.shared), [])
        self.assertEqual(self.names_in(self.attachments), [])

    @staticmethod
    def attachment(**keys):
        return {"items": [{"attachments": [keys]}]}


if __name__ == "__main__":
    unittest.main()
