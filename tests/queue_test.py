import contextlib
import fcntl
import os
import pathlib
import plistlib
import signal
import threading
import unittest

from program import CATALOGUE, LIMIT, SAMPLES, ProgramTest, items


def without_moments(value):
    """JSON of items as the file has them, without what is told beside their dates."""
    if isinstance(value, dict):
        return {key: without_moments(member) for key, member in value.items()
                if key not in ("dueDate", "deferDate", "completedDate")}
    return [without_moments(member) for member in value] if isinstance(value, list) else value


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

    def test_keeps_a_file_that_holds_no_queue(self):
        path = self.shared / "actions.plist"
        self.run_program("flag", "ROOT")
        for number, contents in enumerate((path.read_bytes()[:-20], plistlib.dumps({"actions": "none"}),
                                           plistlib.dumps(["no", "dictionary"])), 1):
            path.write_bytes(contents)
            if number == 1:
                self.run_program("queue", code=65)
            self.run_program("flag", "DUE")
            self.assertIn(f"actions.plist.damaged-{number}", self.error)
            self.assertEqual((self.shared / f"actions.plist.damaged-{number}").read_bytes(), contents)
            self.assertEqual([action["info"]["uuid"] for action in self.actions()], ["DUE"])

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


if __name__ == "__main__":
    unittest.main()
