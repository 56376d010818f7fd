"""What is saved arrives in the person's own todo.txt file, once, whoever else writes it and whatever ends the delivery."""
import collections
import os
import shutil
import statistics
import subprocess
import time
import unittest

from delivery import PHOTO, THEIRS, DeliveryTest
from desktop import wait_for
from program import PROGRAM


class Arrival(DeliveryTest):
    def test_of_a_save_with_nothing_configured(self):
        del self.environment["TASKLANE_DELIVERY"]
        uuid = self.post("x Walk", *PHOTO)
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
                self.assertLess(time.monotonic() - start, 60)
            durations.append(time.monotonic() - start)
        print(f"line after a post: {statistics.median(durations) * 1000:.1f} ms, median", flush=True)
        self.assert_theirs()
        second = self.start("agent")
        self.assertIn(b"an agent runs already.", second.communicate()[1])
        self.assertEqual(second.returncode, 75)
        agent.terminate()
        self.assertEqual(agent.wait(60), 0)

    def test_of_the_lists_own_items_and_of_what_is_done_to_them(self):
        self.connect()
        self.assertEqual([entry["title"] for entry in self.run_json("catalogue", "projects", "--json")], ["home"])
        self.run_program("complete", self.items()["Feed the cat"]["uuid"])
        self.run_program("deliver")
        self.assertRegex(self.lines()[0], r"^x \d{4}-\d\d-\d\d 2020-01-01 Feed the cat \+home pri:B\r$")
        self.assertEqual(self.list.read_bytes().split(b"\n")[1:], THEIRS.split(b"\n")[1:])
        stamps = self.stamps()
        self.run_program("deliver")
        self.assertEqual(stamps, self.stamps())

    def test_elsewhere_after_another_connect(self):
        self.connect()
        settings = self.folder / "home/.config/tasklane/config.toml"
        own = "# mine\n[today] # what I see\ndue-soon-hours = 3\n"
        settings.write_text(own + settings.read_text())
        self.agent()
        before = self.post("here")
        self.arrive([before])
        other = self.list.with_name("other.txt")
        # The agent may be at it still, and publishes then.
        self.run_program("connect", "todo.txt", os.path.relpath(other, self.folder), code=(0, 75))
        self.assertEqual(other.read_bytes(), b"")
        text = settings.read_text()
        self.assertTrue(text.startswith(own) and "\n# What the today list shows" in text, text)
        self.list = other
        there = self.post("there")
        self.arrive_once([there])
        self.run_program("undo", before, code=65)
        self.assertIn("not connected any more", self.error)


class TakenBack(DeliveryTest):
    def test_undo(self):
        self.connect()
        first, queued = self.post("first"), self.post("queued", *PHOTO)
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
        archived, killed = self.post("archived"), self.post("killed", *PHOTO)
        (left,) = (action for action in self.actions() if action["info"]["uuid"] == killed)
        self.run_program("deliver")
        lines = self.list.read_bytes().splitlines(keepends=True)
        self.list.write_bytes(b"".join(lines[:-2] + lines[-1:]))
        self.list.with_name("done.txt").write_bytes(b"x " + lines[-2])
        self.run_program("undo", archived, code=65)
        self.assertIn("archived in", self.error)
        self.queue(left)
        self.run_program("undo")
        self.assertEqual(self.actions(), [])
        self.run_program("undo", "nobody", code=65)
        self.assertEqual(self.times(), {changed: 1, archived: 1})

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
        # The newest, or it alone when it is named.
        self.run_program("undo")
        self.assertEqual(self.times()["U-2"], 0)
        self.run_program("undo", "no/uuid")
        self.assertEqual([entry["action"] for entry in self.run_json("status", "--json")["setAside"]], ["future U-0"])
        self.assertFalse(photo.exists())
        delivered = int(time.time())
        wait_for("the next second", lambda: time.time() >= delivered + 1)
        self.queue(refused)
        self.run_program("deliver", code=65)
        self.assertIn('"odd"', self.run_program("undo"))


class ExactlyOnce(DeliveryTest):
    def test_whenever_a_delivery_is_killed(self):
        self.connect()
        uuids = self.kill_deliveries(self.post_some_photos, 0.06)
        self.run_program("deliver")
        self.assert_once(uuids)
        self.assert_theirs()
        notes = self.list.parent / "notes"
        self.assertEqual(sorted(path.stem for path in notes.glob("*.txt")), sorted(uuids))
        self.assertEqual(sorted(path.name for path in notes.glob("*/")), sorted(uuids[::8]))
        self.assertLessEqual(set(uuids), {receipt["uuid"] for receipt in self.run_json("receipts", "--json")})

    def test_by_many_at_once(self):
        self.check_many_at_once()

    def test_after_another_program_has_written_an_older_version_back(self):
        self.connect()
        self.agent()
        old = self.list.read_bytes()
        uuid = self.post("overwritten")
        self.arrive([uuid])
        self.list.with_name("stale").write_bytes(old)
        os.replace(self.list.with_name("stale"), self.list)
        self.arrive_once([uuid])

    def test_after_an_older_version_came_back_late(self):
        """It may be the person's doing, so it is told, and delivered again by hand alone."""
        self.connect()
        old = self.list.read_bytes()
        uuids = [self.post(title, *PHOTO) for title in ("lost", "archived", "kept", "taken back")]
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
        failures = []

        def todo(*words):
            environment = {**self.environment, "PATH": os.environ["PATH"], "TODOTXT_FORCE": "1"}
            done = subprocess.run(["todo-txt", "-p", "-a", "-f", *words], env=environment, capture_output=True, text=True)
            if "mv:" in done.stderr or "sed:" in done.stderr:
                failures.append(done.stderr)

        def write(title):
            todo("add", title)
            number = int(title.split()[1])
            todo("pri", "1", "BC"[number % 2])
            if number % 3 == 0:
                todo("do", "1")
                todo("archive")

        uuids, theirs = self.write_beside(write, 40, 25)
        self.assertEqual(failures, [])
        self.assert_once(uuids)
        text = "\n".join(self.lines() + self.lines("done.txt"))
        self.assertEqual([line for line in theirs if text.count(line) != 1], [])
        again = collections.Counter(r["uuid"] for r in self.run_json("receipts", "--json"))
        print(f"{len(theirs)} lines of theirs; {sum(again.values()) - len(uuids)} of {len(uuids)} of ours overwritten and "
              "written again", flush=True)


if __name__ == "__main__":
    unittest.main()
