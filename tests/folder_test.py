"""What is saved arrives in the person's own folder of tasks, once, whichever calendar programs share it and whatever ends
the delivery."""
import collections
import contextlib
import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import unittest

from delivery import PHOTO, QUIET, DeliveryTest
from desktop import wait_for


def vtodo(uid, title, more=""):
    return (f"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:theirs\r\nBEGIN:VTODO\r\nUID:{uid}\r\nDTSTAMP:20260101T000000Z\r\n"
            f"SUMMARY:{title}\r\n{more}X-THEIRS;X-P=\"a:b\":kept\r\nBEGIN:VALARM\r\nACTION:DISPLAY\r\nDESCRIPTION:x\r\n"
            "TRIGGER:-PT1H\r\nEND:VALARM\r\nEND:VTODO\r\nEND:VCALENDAR\r\n")


class FolderTest(DeliveryTest):
    def setUp(self):
        super().setUp()
        self.root = self.folder / "home/tasks"
        self.make_list("home", "My home")
        self.make_list("work")
        self.theirs = {self.root / "home/their own name.ics": vtodo("THEIRS", "Feed the cat", "CATEGORIES:pets\r\n"),
                       self.root / "home/.hidden.ics": vtodo("HIDDEN", "hidden"), self.root / "home/tmpx8.tmp": "BEGIN:",
                       self.root / "home/broken.ics": "BEGIN:VCALENDAR\r\nBEGIN:VTODO\r\nUID:BROKEN\r\n",
                       self.root / "home/event.ics": "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:E\nEND:VEVENT\nEND:VCALENDAR\n",
                       self.root / "home/color": "#ff0000\n"}
        for path, text in self.theirs.items():
            path.write_text(text, newline="")

    def make_list(self, name, title=None):
        (self.root / name).mkdir(parents=True)
        if title:
            (self.root / name / "displayname").write_text(title + "\n")

    def connect(self, *more, code=0):
        return self.run_program("connect", "folder", self.root, *(more or ("--list", "My home")), code=code)

    def texts(self, folder=None):
        """By the name of the file, those of ours."""
        texts = {}
        for path in (folder or self.root).rglob("*.ics"):
            if path not in self.theirs:
                with contextlib.suppress(FileNotFoundError):
                    texts[path.stem] = path.read_bytes().decode("utf-8")
        return texts

    def times(self, folder=None):
        return collections.Counter(re.search(r"^UID:(.*)\r$", text, re.M)[1] for text in self.texts(folder).values())

    def assert_theirs(self):
        for path, text in self.theirs.items():
            self.assertEqual(path.read_bytes().decode("utf-8"), text)


class Arrival(FolderTest):
    def test_of_saves_and_of_the_lists_own_items(self):
        self.assertIn("My home", self.connect())
        self.assertIn("broken.ics: line 3: the END of VTODO is missing", self.error)
        self.assertEqual([(p["id"], p["title"]) for p in self.run_json("catalogue", "projects", "--json")],
                         [("home", "My home"), ("work", "work")])
        self.assertEqual([c["title"] for c in self.run_json("catalogue", "contexts", "--json")], ["pets"])
        self.assertEqual(list(self.items()), ["Feed the cat"])
        uuid = self.post("x A; b, c", "--project", "work", "--context", "pets", *PHOTO)
        self.assertIn("attachments stay in", self.run_program("deliver", "--dry-run"))
        self.run_program("deliver")
        self.assert_once([uuid])
        text = (self.root / f"work/{uuid}.ics").read_bytes().decode().replace("\r\n ", "")
        address = (self.root / f".attachments/{uuid}/1.jpg").as_uri()
        for line in ("SUMMARY:x A\\; b\\, c", "DESCRIPTION:note of x A\\; b\\, c", "CATEGORIES:pets",
                     f'ATTACH;FMTTYPE=image/jpeg;FILENAME="1.jpg":{address}'):
            self.assertIn(f"\r\n{line}\r\n", text)
        self.assertEqual(self.items()["x A; b, c"]["subtitle"], "work")
        status = self.run_json("status", "--json")
        self.assertEqual(status["last"]["where"], str(self.root / f"work/{uuid}.ics"))
        self.assert_theirs()
        stamps = self.stamps()
        self.run_program("deliver")
        self.assertEqual(stamps, self.stamps())
        self.run_program("complete", "THEIRS")
        self.run_program("flag", "THEIRS")
        self.run_program("complete", uuid)
        self.run_program("deliver")
        cat = next(iter(self.theirs))
        now = r"\d{8}T\d{6}Z\r\n"
        expected = re.escape(self.theirs.pop(cat)).replace("DTSTAMP:20260101T000000Z\\\r\\\n", "DTSTAMP:" + now)
        expected = expected.replace("BEGIN:VALARM", "(?P<added>(?:.*\r\n)*?)BEGIN:VALARM")
        match = re.fullmatch(expected, cat.read_bytes().decode())
        self.assertIsNotNone(match, cat.read_text())
        self.assertEqual(sorted(re.findall("^[A-Z-]+", match["added"], re.M)), [
            "COMPLETED", "LAST-MODIFIED", "PERCENT-COMPLETE", "PRIORITY", "SEQUENCE", "STATUS"])
        self.assertIn("STATUS:COMPLETED\r\n", self.texts()[uuid])
        self.theirs[cat] = cat.read_bytes().decode()
        self.assert_theirs()

    def test_in_the_chosen_list_of_a_folder_that_may_be_begun(self):
        shutil.rmtree(self.root)
        self.theirs = {}
        self.connect("--list", "nobody's", code=69)
        self.connect("--list", "tasks")
        self.run_program("complete", "nobody", code=65)
        uuid = self.post("first")
        self.run_program("deliver")
        self.assertEqual(list(self.texts()), [uuid])
        self.make_list("another")
        other = self.post("second", "--project", "tasks")
        self.run_program("deliver")
        self.assertEqual({path.parent for path in self.root.rglob("*.ics")}, {self.root})
        self.assert_once([uuid, other])

    def test_at_once_with_an_agent_which_hears_of_changes(self):
        self.connect()
        self.agent()
        uuid = self.post("ours")
        self.arrive([uuid])
        self.make_list("new")
        (self.root / "new/N.ics").write_text(vtodo("N", "From outside"))
        wait_for("its item", lambda: "From outside" in self.items())
        path = self.root / "new/N.ics"
        path.write_text(path.read_text().replace("From outside", "Renamed in place"))
        wait_for("its title", lambda: "Renamed in place" in self.items())
        path.unlink()
        wait_for("its end", lambda: "Renamed in place" not in self.items())


class TakenBack(FolderTest):
    def test_undo_and_what_is_refused(self):
        self.connect()
        first, changed = (self.post(name, *PHOTO) for name in ("first", "changed"))
        self.run_program("deliver")
        path = self.root / f"home/{changed}.ics"
        path.write_bytes(path.read_bytes().replace(b"SUMMARY:changed", b"SUMMARY:edited"))
        self.run_program("undo", changed, code=65)
        self.assertIn(f"has been changed since; it is {path}", self.error)
        self.run_program("undo", first)
        self.assertEqual(self.times(), {changed: 1})
        self.assertEqual([folder.name for folder in (self.root / ".attachments").iterdir()], [changed])
        self.run_program("deliver")
        self.assert_once([changed])
        path.unlink()
        self.run_program("undo", changed, code=65)
        self.queue({"type": "new", "info": {"uuid": "../odd", "title": "odd"}},
                   {"type": "completed", "info": {"uuid": "gone"}}, {"type": "flagged", "info": {"uuid": "BROKEN"}},
                   {"type": "new", "info": {"uuid": "U-2", "title": "t"}})
        self.run_program("deliver", code=65)
        self.assertEqual(self.times()["U-2"], 1)
        self.assertEqual(len(self.run_json("status", "--json")["setAside"]), 3)
        self.assert_theirs()


class WaitingForAFolder(FolderTest):
    def test_that_is_away(self):
        self.connect()
        self.check_away(self.root, "Not delivered")

    def test_that_is_full(self):
        shutil.rmtree(self.root)
        self.theirs = {}
        self.mount(self.root)
        self.connect("--list", "tasks")
        uuids = [self.post("small"), self.post("photo", *PHOTO)]
        self.fill(self.root)
        self.run_program("deliver", code=75)
        self.assertEqual(len(self.actions()), 2)
        self.assertEqual(self.times(), {})
        (self.root / "filler").unlink()
        self.run_program("deliver")
        self.assert_once(uuids)

    def test_ten_thousand(self):
        self.check_ten_thousand()


class ExactlyOnce(FolderTest):
    def test_whenever_a_delivery_is_killed(self):
        self.connect()
        uuids = self.kill_deliveries(self.post_some_photos, 0.06)
        self.run_program("deliver")
        self.assert_once(uuids)
        self.assert_theirs()
        self.assertEqual(set(self.texts()), set(uuids))
        self.assertEqual(sorted(path.name for path in (self.root / ".attachments").iterdir()), sorted(uuids[::8]))

    def test_completing_a_repeating_task_killed_and_repeated(self):
        self.connect()
        path = self.root / "work/R.ics"
        path.write_text(vtodo("R", "Water", "DUE;VALUE=DATE:20260101\r\nRRULE:FREQ=WEEKLY\r\n"), newline="")
        entry = {"type": "completed", "info": {"uuid": "R"}}
        for pause in (0.005, 0.01, 0.015, 0.02, 0.03):
            self.queue(entry)
            process = self.start("deliver", **QUIET)
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.wait(pause)
            process.kill()
            process.wait()
        self.queue(entry)
        self.run_program("deliver")
        texts = self.texts()
        self.assertEqual(len(texts), 2, texts)
        self.assertNotIn("RRULE", texts.pop("R"))
        (uid, text), = texts.items()
        self.assertIn("DUE;VALUE=DATE:20260108\r\n", text)
        self.assertIn(f"UID:{uid}\r\n", text)

    def test_by_many_at_once(self):
        self.check_many_at_once()


@unittest.skipUnless(shutil.which("todoman"), "todoman is not installed")
class BesideTodoman(FolderTest):
    def setUp(self):
        super().setUp()
        for path in list(self.theirs):
            path.unlink()
        self.theirs = {}
        settings = pathlib.Path(self.environment["XDG_CONFIG_HOME"]) / "todoman/config.py"
        settings.parent.mkdir(parents=True)
        settings.write_text(f'path = "{self.root}/*"\ndate_format = "%Y-%m-%d"\ntime_format = "%H:%M"\n'
                            f'default_list = "My home"\ncache_path = "{self.folder}/cache"\n')

    def todo(self, *words):
        return subprocess.run(["todoman", *words], env=self.environment | {"PATH": os.environ["PATH"]},
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True).stdout

    def todos(self):
        return {todo["summary"]: todo for todo in json.loads(self.todo("--porcelain", "list", "--status", "ANY"))}

    def test_both_directions(self):
        self.connect()
        self.agent()
        title = "x (A) +p @c; two\nlines, “日本語” 🌱 " + "a" * 200
        ours = self.post(title, *PHOTO)
        self.arrive([ours])
        todo = self.todos()[title]
        self.assertEqual((todo["list"], todo["completed"], todo["description"]), ("My home", False, "note of " + title))
        self.todo("new", "--priority", "high", "--due", "2026-01-05", "--list", "work", "From todoman")
        wait_for("its item", lambda: "From todoman" in self.items())
        item = self.items()["From todoman"]
        self.assertTrue(item["flagged"], item)
        self.assertTrue(item["due"].startswith("2026-01-0"), item)
        self.run_program("complete", item["uuid"])
        self.run_program("flag", ours)
        wait_for("its end", lambda: self.todos()["From todoman"]["completed"])
        wait_for("the flag", lambda: self.todos()[title]["priority"] == 1)
        self.todo("done", str(self.todos()[title]["id"]))
        wait_for("the completed item", lambda: "completed" in self.items().get(title, {}))
        self.run_program("uncomplete", ours)
        wait_for("it open again", lambda: not self.todos()[title]["completed"])
        self.assertIn("ATTACH", self.texts()[ours])
        self.assertIn(ours, self.times())

    def test_at_the_same_time(self):
        self.connect()

        def write(title):
            self.todo("new", "--list", "My home", title)
            todo = random.choice(list(self.todos().values()))
            if not todo["completed"]:
                self.todo("done", str(todo["id"]))

        uuids, made = self.write_beside(write, 20, 8, pause=0.1)
        titles = collections.Counter(re.findall(r"^SUMMARY:(.*)\r$", "\n".join(self.texts().values()), re.M))
        self.assertEqual(titles, collections.Counter(made + [f"ours {i}" for i in range(len(uuids))]))
        self.assertEqual({uuid: self.times()[uuid] for uuid in uuids}, dict.fromkeys(uuids, 1))


@unittest.skipUnless(shutil.which("vdirsyncer"), "vdirsyncer is not installed")
class BesideVdirsyncer(FolderTest):
    def test_both_directions(self):
        for path in list(self.theirs):
            path.unlink()
        self.theirs = {}
        far = self.folder / "far"
        settings = self.folder / "vdirsyncer"
        settings.write_text(f"""[general]
status_path = "{self.folder}/status"
[pair tasks]
a = "near"
b = "far"
collections = ["from a", "from b"]
metadata = ["displayname"]
conflict_resolution = "a wins"
[storage near]
type = "filesystem"
path = "{self.root}"
fileext = ".ics"
[storage far]
type = "filesystem"
path = "{far}"
fileext = ".ics"
""")

        def sync(*commands):
            for command in commands or ("sync",):
                subprocess.run(["vdirsyncer", "-c", settings, command], check=True, input=b"y\n" * 20,
                               env=self.environment | {"PATH": os.environ["PATH"]}, capture_output=True)

        self.connect()
        uuids = [self.post(f"ours {i}", *PHOTO) for i in range(3)]
        self.run_program("deliver")
        sync("discover", "metasync", "sync")
        self.assertEqual(self.times(far), collections.Counter(uuids))
        self.assertEqual(sorted(path.name for path in far.iterdir()), ["home", "work"])
        (far / "work/F.ics").write_text(vtodo("F", "From far", "DUE;VALUE=DATE:20260105\r\n"), newline="")
        path = far / f"home/{uuids[0]}.ics"
        path.write_bytes(path.read_bytes().replace(b"SUMMARY:ours 0", b"SUMMARY:renamed"))
        sync()
        self.run_program("deliver")
        self.assertLess({"From far", "renamed"}, set(self.items()))
        self.run_program("complete", "F")
        self.run_program("flag", uuids[0])
        self.run_program("deliver")
        sync()
        texts = self.texts(far)
        self.assertIn("STATUS:COMPLETED\r\n", texts["F"])
        self.assertIn('X-THEIRS;X-P="a:b":kept\r\n', texts["F"])
        self.assertIn("PRIORITY:1\r\n", texts[uuids[0]])
        self.run_program("undo", uuids[1])
        sync()
        self.assertEqual(self.times(far), collections.Counter([uuids[0], uuids[2], "F"]))


if __name__ == "__main__":
    unittest.main()
