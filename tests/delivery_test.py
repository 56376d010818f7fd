"""What is saved arrives in the person's own todo.txt file, once, whoever else writes it and whatever ends the delivery.
TASKLANE_KILLS says how many deliveries are killed."""
import collections
import itertools
import os
import pathlib
import plistlib
import random
import re
import shutil
import signal
import statistics
import subprocess
import threading
import time
import unittest

from desktop import wait_for
from program import PROGRAM, SAMPLES, ProgramTest

KILLS = int(os.environ.get("TASKLANE_KILLS", "40"))
THEIRS = b"(B) 2020-01-01 Feed the cat +home\r\n\n\xff raw bytes \x00\nx 2020-01-02 done\n"


class DeliveryTest(ProgramTest):
    def setUp(self):
        super().setUp()
        home = self.folder / "home"
        self.list = home / "tasks" / "todo.txt"
        self.list.parent.mkdir(parents=True)
        self.list.write_bytes(THEIRS)
        self.environment |= {"HOME": str(home), "XDG_CONFIG_HOME": str(home / ".config"),
                             "XDG_DATA_HOME": str(home / ".local/share"), "TASKLANE_DELIVERY": "0"}
        for name in ("TODO_DIR", "TODO_FILE", "TODOTXT_CFG_FILE"):
            self.environment.pop(name, None)
        self.addCleanup(self.end_processes)

    def end_processes(self):
        """Those in this test's surroundings, also the ones that the program has started."""
        mark = f"HOME={self.folder}/".encode()
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if mark in (process / "environ").read_bytes():
                    os.kill(int(process.name), signal.SIGKILL)
            except OSError:
                pass

    def connect(self):
        self.run_program("connect", "todo.txt", self.list)

    def post(self, title, *more):
        return self.run_json("share", "--post", "--title", title, "--text", "note of " + title, *more)["info"]["uuid"]

    def queue(self, *entries):
        (self.shared / "actions.plist").write_bytes(plistlib.dumps({"actions": list(entries)}))

    def agent(self):
        agent = self.start("agent", stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        self.addCleanup(agent.stderr.close)
        self.addCleanup(agent.wait)
        self.addCleanup(agent.kill)
        wait_for("the agent", lambda: self.run_json("status", "--json")["agentRuns"])
        return agent

    def lines(self, name=None):
        path = self.list.with_name(name or self.list.name)
        return path.read_bytes().decode("utf-8", "replace").split("\n") if path.exists() else []

    def times(self):
        """How often each identifier is in the list and its archive."""
        return collections.Counter(re.findall(r" uuid:(\S+)", "\n".join(self.lines() + self.lines("done.txt"))))

    def assert_once(self, uuids):
        self.assertEqual(self.times(), collections.Counter(uuids))
        self.assertEqual(self.run_json("queue", "--json"), [])

    def arrive(self, uuids, limit=60):
        wait_for("the tasks", lambda: all(self.times()[uuid] for uuid in uuids), limit)

    def expect_waiting(self, uuid):
        self.run_program("deliver", code=75)
        status = self.run_json("status", "--json")
        self.assertEqual(len(status["waiting"]), 1, status)
        self.assertNotEqual(status["problem"], "")
        self.assertEqual([action["info"]["uuid"] for action in self.actions()], [uuid])

    def mount(self, folder):
        folder.mkdir(parents=True, exist_ok=True)
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", folder], capture_output=True).returncode:
            self.skipTest("mounting takes root")
        self.addCleanup(subprocess.run, ["umount", "-l", folder], check=True)

    def fill(self, folder):
        with open(folder / "filler", "wb", buffering=0) as file:
            try:
                while True:
                    file.write(bytes(1024))
            except OSError:
                pass


class Arrival(DeliveryTest):
    def test_of_a_save_with_nothing_configured(self):
        del self.environment["TASKLANE_DELIVERY"]
        uuid = self.post("x Walk", "--image", SAMPLES / "photo.jpg")
        self.list = self.folder / "home/.local/share/tasklane/todo.txt"
        self.arrive([uuid])
        self.assertRegex(self.lines()[0], rf"^\d{{4}}-\d\d-\d\d x Walk notes/{uuid}/1.jpg note:notes/{uuid}.txt uuid:")
        self.assertEqual((self.list.parent / f"notes/{uuid}.txt").read_text(), "note of x Walk\n")
        self.assertTrue((self.list.parent / f"notes/{uuid}/1.jpg").read_bytes().startswith(b"\xff\xd8"))
        wait_for("an empty queue", lambda: not self.actions())
        wait_for("the photo's end", lambda: not self.names_in(self.attachments))
        status = self.run_json("status", "--json")
        self.assertEqual((status["waiting"], status["problem"], status["last"]["uuid"]), ([], "", uuid))
        self.assertEqual(status["last"]["where"], f"{self.list}, line 1")
        wait_for("the end of what is written", lambda: subprocess.run(
            [PROGRAM, "check"], env=self.environment, stdout=subprocess.DEVNULL).returncode == 0)
        # Who delivered is still there, hears of the next one, and leaves when nothing comes.
        self.arrive([uuid, self.post("another")])

    def test_at_once_with_an_agent(self):
        self.connect()
        agent = self.agent()
        durations = []
        for i in range(20):
            uuid = self.post(str(i))
            start = time.monotonic()
            while not self.times()[uuid]:
                self.assertLess(time.monotonic() - start, 20)
            durations.append(time.monotonic() - start)
        print(f"line after a post: {statistics.median(durations) * 1000:.1f} ms, median", flush=True)
        self.assertTrue(self.list.read_bytes().startswith(THEIRS))
        second = self.start("agent")
        self.assertIn(b"an agent runs already.", second.communicate()[1])
        self.assertEqual(second.returncode, 75)
        agent.terminate()
        self.assertEqual(agent.wait(20), 0)

    def test_of_the_lists_own_items_and_of_what_is_done_to_them(self):
        self.connect()
        self.assertEqual([entry["title"] for entry in self.run_json("catalogue", "projects", "--json")], ["home"])
        item = next(item for item in self.run_json("today", "--all", "--json") if item["title"] == "Feed the cat")
        self.run_program("complete", item["uuid"])
        self.run_program("deliver")
        self.assertRegex(self.lines()[0], r"^x \d{4}-\d\d-\d\d 2020-01-01 Feed the cat \+home pri:B\r$")
        self.assertEqual(self.list.read_bytes().split(b"\n")[1:], THEIRS.split(b"\n")[1:])
        stamps = [path.stat().st_mtime_ns for path in sorted(self.shared.glob("*.plist"))]
        self.run_program("deliver")
        self.assertEqual(stamps, [path.stat().st_mtime_ns for path in sorted(self.shared.glob("*.plist"))])

    def test_elsewhere_after_another_connect(self):
        self.connect()
        settings = self.folder / "home/.config/tasklane/config.toml"
        own = "# mine\n[today] # what I see\ndue-soon-hours = 3\n"
        settings.write_text(own + settings.read_text())
        self.agent()
        before = self.post("here")
        self.arrive([before])
        other = self.list.with_name("other.txt")
        self.run_program("connect", "todo.txt", os.path.relpath(other, self.folder))
        self.assertEqual(other.read_bytes(), b"")
        text = settings.read_text()
        self.assertTrue(text.startswith(own) and "\n# What the today list shows" in text, text)
        self.list = other
        there = self.post("there")
        self.arrive([there])
        wait_for("an empty queue", lambda: not self.actions())
        self.assert_once([there])
        self.run_program("undo", before, code=65)
        self.assertIn("not connected any more", self.error)


class TakenBack(DeliveryTest):
    def test_undo(self):
        self.connect()
        first, queued = self.post("first"), self.post("queued", "--image", SAMPLES / "photo.jpg")
        self.run_program("undo")
        self.assertEqual(([a["info"]["uuid"] for a in self.actions()], self.names_in(self.attachments)), ([first], []))
        self.run_program("deliver")
        self.run_program("undo")
        self.assertEqual(self.list.read_bytes(), THEIRS)
        self.run_program("deliver")
        self.assertEqual(self.list.read_bytes(), THEIRS, "what was taken back is not looked after")
        self.run_program("undo", first, code=65)
        self.assertIn("taken back already", self.error)
        changed = self.post("changed")
        self.run_program("deliver")
        self.list.write_bytes(self.list.read_bytes().replace(b"changed", b"edited"))
        self.run_program("undo", changed, code=65)
        self.assertIn("has been changed since", self.error)
        self.run_program("undo", "nobody", code=65)
        self.assertEqual(self.times(), {changed: 1})

    def test_set_aside_and_tried_again(self):
        self.connect()
        photo = self.attachments / "7.jpg"
        self.attachments.mkdir(exist_ok=True)
        photo.write_bytes(b"photo")
        refused = {"type": "new", "info": {"uuid": "no/uuid", "title": "odd", "attachments": ["7.jpg"]}}
        self.queue({"type": "future", "info": {"uuid": "U-0"}}, refused,
                   {"type": "completed", "info": {"uuid": "U-1"}}, {"type": "new", "info": {"uuid": "U-2", "title": "t"}})
        self.run_program("deliver", code=65)
        self.assert_once(["U-2"])
        self.assertEqual(len(self.run_json("status", "--json")["setAside"]), 3)
        self.run_program("check", "--repair")
        self.assertTrue(photo.exists())
        self.list.write_bytes(self.list.read_bytes() + b"Back again uuid:U-1\n")
        self.run_program("retry", "no/uuid", code=65)
        self.assertEqual(len(self.run_json("status", "--json")["setAside"]), 3)
        self.run_program("retry", code=65)
        self.assertEqual(self.lines()[-2][:2], "x ")
        aside = self.run_json("status", "--json")["setAside"]
        self.assertEqual([entry["action"] for entry in aside], ["future U-0", 'new "odd"'])


class ExactlyOnce(DeliveryTest):
    def test_whenever_a_delivery_is_killed(self):
        self.connect()
        uuids, killed = [], 0
        chance = random.Random(KILLS)
        shared = subprocess.DEVNULL
        for i in range(KILLS):
            uuids.append(self.post(f"title {i}", *(["--image", SAMPLES / "photo.jpg"] if i % 8 == 0 else [])))
            process = self.start("deliver", stdin=shared, stdout=shared, stderr=shared)
            try:
                process.wait(chance.uniform(0, 0.06))
            except subprocess.TimeoutExpired:
                process.kill()
                killed += process.wait() != 0
        self.run_program("deliver")
        self.assert_once(uuids)
        self.assertTrue(self.list.read_bytes().startswith(THEIRS))
        notes = self.list.parent / "notes"
        self.assertEqual(sorted(path.stem for path in notes.glob("*.txt")), sorted(uuids))
        self.assertEqual(sorted(path.name for path in notes.glob("*/")), sorted(uuids[::8]))
        self.assertLessEqual(set(uuids), {receipt["uuid"] for receipt in self.run_json("receipts", "--json")})
        print(f"{killed} of {KILLS} deliveries killed before their end", flush=True)

    def test_by_many_at_once(self):
        self.connect()
        uuids = [self.post(str(i)) for i in range(12)]
        processes = [self.start("deliver", stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) for _ in range(6)]
        self.agent()
        uuids += [self.post(f"more {i}") for i in range(12)]
        for process in processes:
            process.communicate(timeout=60)
        self.arrive(uuids)
        wait_for("an empty queue", lambda: not self.actions())
        self.assert_once(uuids)

    def test_after_another_program_has_written_an_older_version_back(self):
        self.connect()
        self.agent()
        old = self.list.read_bytes()
        uuid = self.post("overwritten")
        self.arrive([uuid])
        wait_for("an empty queue", lambda: not self.actions())
        self.list.with_name("stale").write_bytes(old)
        os.replace(self.list.with_name("stale"), self.list)
        self.arrive([uuid])
        self.assert_once([uuid])

    def test_after_an_older_version_came_back_late(self):
        """It may be the person's doing, so it is told, and delivered again by hand alone."""
        self.connect()
        old = self.list.read_bytes()
        uuids = [self.post(title, "--image", SAMPLES / "photo.jpg") for title in ("lost", "archived", "kept", "taken back")]
        self.run_program("deliver")
        self.run_program("undo", uuids[3])
        lost, archived, kept = self.lines()[-4:-1]
        wait_for("the end of looking after", lambda:
                 time.time() - (self.shared / "receipts.jsonl").stat().st_mtime > 6)
        self.list.write_bytes(old + kept.encode() + b"\n")
        self.list.with_name("done.txt").write_text("x 2026-11-23 " + archived + "\n")
        self.run_program("deliver")
        self.assertEqual(self.run_json("status", "--json")["missing"], [{"uuid": uuids[0], "title": "lost"}])
        self.assertIn(f"tasklane retry {uuids[0]}", self.run_program("status"))
        for told in ("Delivered again", "It is in the list"):
            self.assertIn(told, self.run_program("retry", uuids[0]))
        self.assertEqual(self.lines()[-2], lost)
        self.assertEqual(self.run_json("status", "--json")["missing"], [])
        self.run_program("retry", uuids[3], code=65)

    @unittest.skipUnless(shutil.which("todo-txt"), "todotxt-cli is not installed")
    def test_beside_todo_sh(self):
        configuration = self.folder / "home/.todo/config"
        configuration.parent.mkdir()
        configuration.write_text(f'export TODO_DIR="{self.list.parent}"\nTODO_FILE="$TODO_DIR/todo.txt"\n'
                                 'DONE_FILE="$TODO_DIR/done.txt"\nREPORT_FILE="$TODO_DIR/report.txt"\n')
        self.list.write_bytes(b"")
        stop, theirs, failures = threading.Event(), [], []

        def todo(*words):
            environment = {**self.environment, "PATH": os.environ["PATH"], "TODOTXT_FORCE": "1"}
            done = subprocess.run(["todo-txt", "-p", "-a", "-f", *words], env=environment, capture_output=True, text=True)
            if "mv:" in done.stderr or "sed:" in done.stderr:
                failures.append(done.stderr)

        def write_on():
            for i in itertools.count():
                if stop.is_set():
                    return
                todo("add", f"theirs {i} end")
                theirs.append(f"theirs {i} end")
                todo("pri", "1", "BC"[i % 2])
                if i % 3 == 0:
                    todo("do", "1")
                    todo("archive")

        writer = threading.Thread(target=write_on)
        writer.start()
        self.agent()
        uuids = []
        try:
            while len(uuids) < 40 or len(theirs) < 25:
                uuids.append(self.post(f"ours {len(uuids)}"))
                stop.wait(random.uniform(0, 0.05))
        finally:
            stop.set()
            writer.join()
        self.arrive(uuids)
        wait_for("an empty queue", lambda: not self.actions())
        self.assertEqual(failures, [])
        self.assert_once(uuids)
        text = "\n".join(self.lines() + self.lines("done.txt"))
        self.assertEqual([line for line in theirs if text.count(line) != 1], [])
        again = collections.Counter(r["uuid"] for r in self.run_json("receipts", "--json"))
        print(f"{len(theirs)} lines of theirs; {sum(again.values()) - len(uuids)} of {len(uuids)} of ours overwritten and "
              "written again", flush=True)


if __name__ == "__main__":
    unittest.main()
