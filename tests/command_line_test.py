import datetime
import contextlib
import fcntl
import json
import os
import pathlib
import plistlib
import shutil
import signal
import subprocess
import threading
import unittest

from program import LIMIT, PROGRAM, SAMPLES, ProgramTest

CATALOGUE = {
    "projects": {
        "h": {"id": "h", "title": "Home"},
        "g": {"id": "g", "title": "Jardín 🌱", "path": "Home"},
        "z": {"id": "z", "title": "مشروع"},
        "hidden": {"id": "hidden", "title": "Not offered"},
    },
    "orderedProjectIDs": ["z", "h", "g"],
    "contexts": {"d": {"id": "d", "title": "Desk"}},
    "orderedContextIDs": ["d"],
}


def items(**settings):
    leaf = {"uuid": "LEAF", "title": "Grandchild", "flagged": False}
    branch = {"uuid": "BRANCH", "title": "Child\nof two lines", "children": [leaf]}
    return {
        "items": [
            {"uuid": "ROOT", "title": "Água", "subtitle": "家", "inbox": True, "children": [branch]},
            {"uuid": "DUE", "title": "Due long ago", "due": "2015-03-14-09:26:53 -0700"},
        ],
        "dueSoonInterval": 3600.0, "contentCategories": 0, "usesCustomPerspective": False,
        **settings,
    }


def without_moments(value):
    """JSON of items as the file has them, without what is told beside their dates."""
    if isinstance(value, dict):
        return {key: without_moments(member) for key, member in value.items()
                if key not in ("dueDate", "deferDate", "completedDate")}
    return [without_moments(member) for member in value] if isinstance(value, list) else value


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


class Queue(ProgramTest):
    def setUp(self):
        super().setUp()
        self.publish("items", items(contentCategories=1 | 16))

    def test_holds_what_is_asked_for_items(self):
        self.run_program("complete", "LEAF")
        self.run_program("flag", "ROOT")
        self.run_program("unflag", "DUE")
        self.assertEqual([(action["type"], action["info"]["uuid"]) for action in self.actions()],
                         [("completed", "LEAF"), ("flagged", "ROOT"), ("unflagged", "DUE")])
        self.assertEqual(self.actions()[0]["info"]["title"], "Grandchild")
        self.assertEqual(without_moments(self.run_json("queue", "--json")), self.actions())
        today = self.run_json("today", "--json")
        self.assertEqual([item["uuid"] for item in today], ["ROOT", "DUE"])
        child = today[0]["children"][0]["children"][0]
        self.assertIn("completed", child)
        self.assertTrue(today[0]["isEffectivelyFlagged"] and today[0]["hasIncompleteChildren"])
        self.assertTrue(today[1]["isPastDue"] and not today[1]["isDueToday"])
        self.assertEqual((today[1]["due"], today[1]["dueDate"]),
                         ("2015-03-14-17:26:53 +0100", "2015-03-14T16:26:53Z"))
        self.run_program("uncomplete", "LEAF")
        self.run_program("unflag", "ROOT")
        self.assertEqual([action["type"] for action in self.actions()], ["unflagged"])
        self.run_program("flag", "nobody", code=65)
        self.run_program("queue", "clear")
        self.assertEqual(self.actions(), [])
        self.assertEqual(self.run_json("queue", "--json"), [])

    def test_shows_whatever_others_put_there(self):
        odd = [{"type": "archived", "info": {"uuid": "x", "when": plistlib.datetime.datetime(
            2026, 1, 2, 3, 4, 5), "bytes": b"\0\xff", "big": 2**64 - 1, "real": 1.5}}, {"info": 1}]
        (self.shared / "actions.plist").write_bytes(plistlib.dumps({"actions": odd}))
        shown = self.run_json("queue", "--json")
        self.assertEqual(shown[0]["info"], {"uuid": "x", "when": "2026-01-02T03:04:05Z",
                                            "bytes": "AP8=", "big": 2**64 - 1, "real": 1.5})
        self.assertEqual(shown[1], {"type": None, "info": 1})
        self.run_program("flag", "ROOT")
        self.assertEqual(self.actions()[:2], odd, "written back as they were")

    def test_survives_a_damaged_file(self):
        self.run_program("flag", "ROOT")
        path = self.shared / "actions.plist"
        damaged = path.read_bytes()[:-20]
        path.write_bytes(damaged)
        self.run_program("queue", code=65)
        self.run_program("flag", "DUE")
        self.assertIn("actions.plist.damaged-1", self.error)
        self.assertEqual((self.shared / "actions.plist.damaged-1").read_bytes(), damaged)
        self.assertEqual([action["info"]["uuid"] for action in self.actions()], ["DUE"])

    def test_keeps_a_file_that_holds_no_queue(self):
        path = self.shared / "actions.plist"
        self.run_program("flag", "ROOT")
        for number, contents in enumerate(({"actions": "none"}, ["no", "dictionary"]), 1):
            path.write_bytes(plistlib.dumps(contents))
            self.run_program("flag", "DUE")
            kept = self.shared / f"actions.plist.damaged-{number}"
            self.assertEqual(plistlib.loads(kept.read_bytes()), contents)
            self.assertEqual([action["info"]["uuid"] for action in self.actions()], ["DUE"])

    def test_survives_a_full_disk(self):
        self.publish("items", items(filler="x"))
        big = {"type": "new", "info": {"uuid": "big", "title": "x" * 60000}}
        path = self.shared / "actions.plist"
        path.write_bytes(plistlib.dumps({"actions": [big]}))
        before = path.read_bytes()
        self.run_program("flag", "ROOT", file_limit=40000, code=74)
        self.assertIn("Error writing plist data to file://", self.error)
        self.assertEqual(path.read_bytes(), before)
        self.assertEqual(self.names_in(self.shared), ["actions.plist", "items.plist"])
        self.run_program("flag", "ROOT")
        self.assertEqual(len(self.actions()), 2)

    def test_loses_nothing_to_others(self):
        published = [{"uuid": f"{i}"} for i in range(80)]
        self.publish("items", {"items": published})

        def flag(start):
            for i in range(start, 80, 8):
                self.run_program("flag", i)

        threads = [threading.Thread(target=flag, args=(start,)) for start in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual({action["info"]["uuid"] for action in self.actions()},
                         {item["uuid"] for item in published})

    def test_is_taken_in_one_step(self):
        photo = (SAMPLES / "photo.jpg").read_bytes()
        self.attachments.mkdir(parents=True)
        for name in ("1.jpg", "2.jpg"):
            (self.attachments / name).write_bytes(photo)
        queued = [{"type": "new", "info": {"uuid": "A", "attachments": ["1.jpg", "../x", "gone.jpg"]}},
                  {"type": "archived", "info": {"uuid": "B", "attachments": ["1.jpg"]}}, {"info": 1}]
        (self.shared / "actions.plist").write_bytes(plistlib.dumps({"actions": queued}))
        for nowhere in ("/dev/full", "a pipe that nobody reads", "a pipe that is closed"):
            if nowhere == "/dev/full":
                output = os.open(nowhere, os.O_WRONLY)
            else:
                kept, output = os.pipe()
                if nowhere.endswith("closed"):
                    os.close(kept)
                else:
                    os.set_blocking(output, False)
                    with contextlib.suppress(BlockingIOError):
                        while os.write(output, b"x" * 4096):
                            pass
                    os.set_blocking(output, True)
            with self.subTest(nowhere):
                process = self.start("queue", "take", stdout=output)
                self.assertIn(b"still in the queue, what was printed included", process.communicate(timeout=LIMIT)[1])
                self.assertEqual(process.returncode, 74)
                self.assertEqual(self.actions(), queued)
                self.assertEqual(self.names_in(self.attachments / "taken"), [])
            os.close(output)
        taken = self.run_json("queue", "take")
        self.assertEqual([entry["info"] for entry in taken], [entry["info"] for entry in queued])
        self.assertEqual(self.actions(), [])
        paths = taken[0]["attachmentFiles"]
        self.assertEqual(taken[1]["attachmentFiles"], paths)
        self.assertEqual([pathlib.Path(path).read_bytes() for path in paths], [photo])
        self.assertEqual(self.names_in(self.attachments), ["2.jpg", "taken"])
        self.assertEqual(self.run_json("queue", "take"), [])

    def test_loses_nothing_to_a_taker(self):
        added, taken = [], []
        adding = threading.Event()

        def add(start):
            for number in range(start, start + 25):
                added.append(self.run_json("share", "--post", "--title", number)["info"]["uuid"])

        def take():
            while adding.is_set():
                taken.extend(entry["info"]["uuid"] for entry in self.run_json("queue", "take"))

        adding.set()
        adders = [threading.Thread(target=add, args=(start,)) for start in (0, 100, 200)]
        takers = [threading.Thread(target=take) for _ in range(2)]
        for thread in adders + takers:
            thread.start()
        for thread in adders:
            thread.join()
        adding.clear()
        for thread in takers:
            thread.join()
        left = [action["info"]["uuid"] for action in self.actions()]
        self.assertEqual(len(added), 75)
        self.assertEqual(sorted(taken + left), sorted(added))

    def test_held_by_somebody_is_told_by_a_code_of_its_own(self):
        for name in ("actions", "containers"):
            self.publish(name, CATALOGUE) if name == "containers" else self.run_program("flag", "ROOT")
            lock = self.shared.parent / ".coordination" / f"{self.shared.name}%2F{name}.plist.lock"
            with lock.open() as file:
                fcntl.flock(file, fcntl.LOCK_EX)
                for arguments in ({"actions": (("queue",), ("today",), ("check",), ("flag", "DUE"), ("queue", "take")),
                                   "containers": (("catalogue", "projects"),
                                                  ("share", "--post", "--title", "T", "--project", "Home"))}[name]):
                    self.environment["TASKLANE_LOCK_LIMIT"] = "0.1"
                    self.run_program(*arguments, code=75)
                    self.assertIn("try again", self.error.splitlines()[-1])
        with lock.with_name(lock.name.replace("containers", "actions")).open() as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.environment["TASKLANE_LOCK_LIMIT"] = "1.2"
            self.run_program("share", "--post", "--title", "T", code=75)
            self.assertEqual(self.error.count("Waiting for"), 1, "the limit is waited for once")
        for limit, is_told in (("abc", True), ("3s", True), ("-1", True), ("inf", True), ("", False), ("2.5", False)):
            self.environment["TASKLANE_LOCK_LIMIT"] = limit
            self.run_program("queue")
            self.assertEqual(f'TASKLANE_LOCK_LIMIT is "{limit}"' in self.error, is_told, self.error)

    def test_is_watched(self):
        watcher = self.start("watch", "actions", "--count", "4")
        self.assertEqual(watcher.stdout.readline(), b"watching\n")
        for command in ("flag", "unflag", "complete"):
            self.run_program(command, "ROOT")
        self.publish("containers", CATALOGUE)
        self.run_program("queue", "clear")
        output, error = watcher.communicate(timeout=LIMIT)
        self.assertEqual((output, error), (b"actions changed\n" * 4, b""))
        self.assertEqual(watcher.returncode, 0)
        watcher = self.start("watch", "items")
        self.assertEqual(watcher.stdout.readline(), b"watching\n")
        watcher.send_signal(signal.SIGTERM)
        watcher.communicate(timeout=LIMIT)
        self.assertEqual(watcher.returncode, -signal.SIGTERM)


class Check(ProgramTest):
    def test_says_what_is_wrong_and_mends_what_can_be(self):
        entry = {name: {"type": "new", "info": {"uuid": name}} for name in "ABCD"}
        unknown = self.shared.parent / "<<UNKNOWN>>"
        unknown.mkdir()
        self.attachments.mkdir()
        self.assertEqual(self.run_program("check", code=65).count("\n"), 1, self.error)
        self.assertEqual(self.run_program("check", "--repair").count("\n"), 1, self.error)
        self.assertEqual(self.run_program("check"), "Everything is in order.\n")

        def write(path, *entries):
            path.write_bytes(plistlib.dumps({"actions": list(entries)}))

        named = {"type": "new", "info": {"uuid": "A", "attachments": ["7.jpg"]}}
        write(self.shared / "actions.plist", named, entry["B"])
        write(self.shared / "actions.plist.damaged-1", entry["B"], entry["C"], entry["B"])
        (self.shared / "actions.plist.damaged-2").write_bytes(plistlib.dumps({"actions": []})[:-9])
        (self.shared / "items.plist").write_bytes(b"garbage")
        os.mkfifo(self.shared / "containers.plist")
        (self.shared / "notes.txt").write_text("mine")
        unknown.mkdir()
        write(unknown / "actions.plist", entry["D"])
        for name, mode in (("8.jpg", 0o600), ("9.jpg", 0o1600)):  # one was queued, the other never
            (self.attachments / name).touch()
            (self.attachments / name).chmod(mode)
        mendable = {("set-aside", "actions.plist.damaged-1"), ("unknown-folder", "<<UNKNOWN>>")}
        lost = {("orphan", "9.jpg")}
        stays = {("set-aside", "actions.plist.damaged-2"), ("damaged", "items.plist"),
                 ("stranger", "containers.plist"), ("stranger", "notes.txt"),
                 ("dangling", "7.jpg")}

        def found(*arguments, code=65):
            shown = self.run_json("check", "--json", *arguments, code=code)
            self.assertTrue(all(finding["problem"] for finding in shown))
            return {(finding["kind"], pathlib.Path(finding["path"]).name): finding["mended"]
                    for finding in shown}

        self.assertEqual(found(), dict.fromkeys(mendable | lost | stays, False))
        self.assertEqual(self.actions(), [named, entry["B"]])
        self.assertEqual(found("--repair"),
                         {**dict.fromkeys(mendable | lost, True), **dict.fromkeys(stays, False)})
        self.assertEqual(os.listdir(self.attachments), ["8.jpg"])
        self.assertEqual(self.actions()[:2], [named, entry["B"]])
        self.assertCountEqual(self.actions()[2:], [entry["B"], entry["C"], entry["D"]])
        self.assertEqual(found("--repair"), dict.fromkeys(stays, False))
        self.assertFalse(unknown.exists())


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
        self.assertEqual(gone.returncode, 64)
        self.assertEqual(self.names_in(self.shared), [])
        self.assertIn("share", self.run_program("--help"))

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
