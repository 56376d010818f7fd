"""Deliveries into a list of the test's own, a todo.txt file unless a subclass says otherwise.
TASKLANE_KILLS says how many deliveries are killed."""
import collections
import concurrent.futures
import os
import plistlib
import random
import re
import subprocess
import threading
import time

from desktop import end_processes, wait_for
from program import SAMPLES, ProgramTest

KILLS = int(os.environ.get("TASKLANE_KILLS", "40"))
THEIRS = b"(B) 2020-01-01 Feed the cat +home\r\n\n\xff raw bytes \x00\nx 2020-01-02 done\n"
PHOTO = ("--image", SAMPLES / "photo.jpg")
QUIET = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}


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
        self.addCleanup(end_processes, self.folder)

    def connect(self):
        self.run_program("connect", "todo.txt", self.list)

    def post(self, title, *more):
        return self.run_json("share", "--post", "--title", title, "--text", "note of " + title, *more)["info"]["uuid"]

    def queue(self, *entries):
        (self.shared / "actions.plist").write_bytes(plistlib.dumps({"actions": list(entries)}))

    def agent(self):
        agent = self.start("agent", **QUIET)
        wait_for("the agent", lambda: self.run_json("status", "--json")["agentRuns"])
        return agent

    def lines(self, name=None):
        try:
            return self.list.with_name(name or self.list.name).read_bytes().decode("utf-8", "replace").split("\n")
        except FileNotFoundError:
            return []

    def times(self):
        """How often each identifier is in the list and its archive."""
        return collections.Counter(re.findall(r" uuid:(\S+)", "\n".join(self.lines() + self.lines("done.txt"))))

    def items(self):
        return {item["title"]: item for item in self.run_json("today", "--all", "--json")}

    def stamps(self):
        return [path.stat().st_mtime_ns for path in sorted(self.shared.glob("*.plist"))]

    def assert_theirs(self):
        self.assertTrue(self.list.read_bytes().startswith(THEIRS))

    def assert_once(self, uuids):
        self.assertEqual(self.times(), collections.Counter(uuids))
        self.assertEqual(self.run_json("queue", "--json"), [])

    def arrive(self, uuids):
        wait_for("the tasks", lambda: all(self.times()[uuid] for uuid in uuids))
        wait_for("an empty queue", lambda: not self.actions())

    def arrive_once(self, uuids):
        self.arrive(uuids)
        self.assert_once(uuids)

    def expect_waiting(self, uuid):
        self.run_program("deliver", code=75)
        status = self.run_json("status", "--json")
        self.assertEqual(len(status["waiting"]), 1, status)
        self.assertNotEqual(status["problem"], "")
        self.assertEqual([action["info"]["uuid"] for action in self.actions()], [uuid])

    def mount(self, folder, size="256k"):
        folder.mkdir(parents=True, exist_ok=True)
        mount = ["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", folder]
        if subprocess.run(mount, capture_output=True).returncode:
            self.skipTest("mounting takes root")
        self.addCleanup(subprocess.run, ["umount", "-l", folder], check=True)

    def fill(self, folder):
        with open(folder / "filler", "wb", buffering=0) as file:
            try:
                while True:
                    file.write(bytes(1024))
            except OSError:
                pass

    def kill_deliveries(self, post, patience, together=1):
        """Posts and delivers in turns, and kills deliveries that take longer than some time up to `patience`. One at a
        time delivers: of those that are started `together`, when it is killed the next one goes on."""
        chance = random.Random(KILLS)
        uuids, killed = [], 0
        for number in range(0, KILLS, together):
            uuids += post(number)
            for process in [self.start("deliver", **QUIET) for _ in range(together)]:
                try:
                    process.wait(chance.uniform(0, patience))
                except subprocess.TimeoutExpired:
                    process.kill()
                    killed += process.wait() != 0
        print(f"{killed} deliveries of {len(uuids)} tasks killed before their end", flush=True)
        return uuids

    def post_some_photos(self, number):
        return [self.post(f"title {number}", *(() if number % 8 else PHOTO))]

    def write_beside(self, write, ours, theirs, pause=0.05):
        """An agent delivers while another program writes to the list in a loop, with a title for each turn. Our
        identifiers and its titles."""
        self.agent()
        uuids, titles, stop = [], [], threading.Event()

        def write_on():
            while not stop.is_set():
                title = f"theirs {len(titles)} end"
                write(title)
                titles.append(title)

        with concurrent.futures.ThreadPoolExecutor(1) as pool:
            writer = pool.submit(write_on)
            try:
                while len(uuids) < ours or len(titles) < theirs and not writer.done():
                    uuids.append(self.post(f"ours {len(uuids)}"))
                    stop.wait(random.uniform(0, pause))
            finally:
                stop.set()
            writer.result()
        self.arrive(uuids)
        return uuids, titles

    def check_many_at_once(self):
        self.connect()
        uuids = [self.post(str(i)) for i in range(12)]
        processes = [self.start("deliver", **QUIET) for _ in range(6)]
        self.agent()
        uuids += [self.post(f"more {i}") for i in range(12)]
        for process in processes:
            process.wait(60)
        self.arrive_once(uuids)
        self.assert_theirs()

    def check_ten_thousand(self):
        self.connect()
        uuids = [f"U-{i}" for i in range(10000)]
        self.queue(*({"type": "new", "info": {"uuid": uuid, "title": f"Task {uuid}"}} for uuid in uuids))
        start = time.monotonic()
        self.run_program("deliver")
        print(f"10,000 delivered in {time.monotonic() - start:.2f} s", flush=True)
        self.assert_once(uuids)
        return uuids

    def check_away(self, folder, reason):
        """A list in a folder that comes back."""
        away = folder.with_name("away")
        folder.rename(away)
        uuid = self.post("later", *PHOTO)
        self.expect_waiting(uuid)
        self.assertIn(reason, self.run_program("status"))
        self.agent()
        self.assertFalse(folder.exists())
        away.rename(folder)
        self.arrive_once([uuid])
        wait_for("the reason's end", lambda: "Not delivered" not in self.run_program("status"))
