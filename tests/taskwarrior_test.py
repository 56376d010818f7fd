"""What is saved arrives in the person's own Taskwarrior, once, whoever else uses it and whatever ends the delivery."""
import collections
import json
import pathlib
import shutil
import subprocess
import time
import unittest

from delivery import PHOTO, DeliveryTest
from desktop import wait_for
from program import PROGRAM


@unittest.skipUnless(shutil.which("task"), "taskwarrior is not installed")
class TaskwarriorTest(DeliveryTest):
    def setUp(self):
        super().setUp()
        for name in ("TASKRC", "TASKDATA"):
            self.environment.pop(name, None)
        self.home = self.folder / "home"
        self.data = self.home / "data"
        (self.home / ".taskrc").write_text("data.location=~/data\n")
        self.task("add", "theirs", "project:Home.Garden", "+out_side")
        self.run_program("connect", "taskwarrior")

    def task(self, *words):
        return subprocess.run(["task", "rc.confirmation=off", "rc.verbose=nothing", "rc.context=", *words],
                              env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True).stdout

    def tasks(self):
        return json.loads(self.task("rc.gc=off", "export"), strict=False)

    def times(self):
        return collections.Counter(task["uuid"].upper() for task in self.tasks() if "theirs" not in task["description"])

    def test_both_directions(self):
        agent = self.agent()
        uuid = self.post("ours", "--project", "Home.Garden", "--context", "out side", *PHOTO)
        self.arrive([uuid])
        ours = next(task for task in self.tasks() if task["uuid"].upper() == uuid)
        self.assertEqual((ours["project"], ours["tags"]), ("Home.Garden", ["out_side"]))
        note, photo = (annotation["description"] for annotation in ours["annotations"])
        self.assertEqual(note, "note of ours")
        self.assertTrue(pathlib.Path(photo).read_bytes().startswith(b"\xff\xd8"))
        self.task("ours", "modify", "due:today+23h", "priority:H")
        wait_for("the flag", lambda: self.items().get("ours", {}).get("flagged"))
        self.run_program("complete", uuid)
        self.run_program("unflag", uuid)
        wait_for("its end", lambda: self.task("status:completed", "uuids").strip().decode().upper() == uuid)
        wait_for("the flag's end", lambda: not self.task("priority:H", "uuids").strip())
        self.run_program("undo", uuid, code=65)
        self.assertIn("changed since", self.error)
        self.assert_once([uuid])
        self.assert_idle(agent)

    def assert_idle(self, process):
        """Its own looks at the list do not call for others."""
        def wakeups():
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            return int(status.split("\nvoluntary_ctxt_switches:")[1].split()[0])

        def are_few():
            before, end = wakeups(), time.monotonic() + 1
            wait_for("a second", lambda: time.monotonic() > end)
            return wakeups() - before < 5
        wait_for("the agent's rest", are_few)

    def test_for_data_that_are_away(self):
        self.check_away(self.data, "does not exist")

    def test_for_room(self):
        small = self.folder / "small"
        self.mount(small, "4m")
        self.environment["TASKDATA"] = str(small)
        self.run_program("connect", "taskwarrior")
        del self.environment["TASKDATA"]
        uuids = [self.post(f"later {i}") for i in range(6)]
        (small / "filler").write_bytes(bytes((4 << 20) - 200_000))
        self.run_program("deliver", code=75)
        self.assertIn("no room left", self.error)
        (small / "filler").unlink()
        self.run_program("deliver")
        self.environment["TASKDATA"] = str(small)
        self.assert_once(uuids)
        self.assertEqual([task["uuid"].upper() for task in self.tasks()], uuids, "not in the order of the saves")

    def test_of_a_task_that_an_import_would_alter(self):
        uuid = "0F2A7C31-2222-4444-8888-0123456789AB"
        with open(self.data / "pending.data", "ab") as file:
            file.write(b'[description:"not \xff text" entry:"1700000000" status:"pending" uuid:"%s"]\n' % uuid.lower().encode())
        self.run_program("deliver")
        self.assertIn("not \ufffd text", self.items())
        self.queue(*({"type": type, "info": {"uuid": uuid}} for type in ("flagged", "unflagged")))
        self.run_program("deliver", code=65)
        (aside,) = self.run_json("status", "--json")["setAside"]
        self.assertEqual(aside["action"], "flagged " + uuid)
        self.assertIn("bytes that are no text", aside["reason"])
        self.assertIn(b"not \xff text", self.task("rc.gc=off", "export"))

    def test_whenever_a_delivery_is_killed(self):
        uuids = self.kill_deliveries(lambda number: [self.post(f"title {number}")], 0.15)
        # An import goes on when who has started it is killed, and holds up the next delivery.
        wait_for("the end of the last import", lambda: not self.run_json("status", "--json")["waiting"] or
                 subprocess.run([PROGRAM, "deliver"], env=self.environment, capture_output=True) and False)
        self.assert_once(uuids)

    def test_beside_task_itself(self):
        uuids, theirs = self.write_beside(lambda title: self.task("add", title), 15, 25)
        self.assert_once(uuids)
        kept = collections.Counter(task["description"] for task in self.tasks() if "theirs" in task["description"])
        self.assertEqual(kept, collections.Counter(["theirs", *theirs]))
        wait_for("all of them", lambda: theirs[-1] in self.items())


if __name__ == "__main__":
    unittest.main()
