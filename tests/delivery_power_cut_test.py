"""The same for a delivery. Whatever is on the disk: each task is in the person's list, whole, or waits in the queue and
will be delivered, once; what has left the queue has its receipt, and no receipt tells of what is not in the list; what is
others' is as they left it. Also where a process was killed before it had flushed the names it had given, and another one
finds them so; FAULTS_ALL has it killed at every call."""
import json
import os
import pathlib
import plistlib
import random
import re
import shutil
import subprocess
import tempfile
import unittest

import delivery_fault_injection_test as delivery
import power_cut_test as power
from delivery_fault_injection_test import MARKED, NEW, OLD, THEIRS, calendar
from program import PROGRAM, SAMPLES

ALL = "FAULTS_ALL" in os.environ
PHOTO = (SAMPLES / "photo.jpg").read_bytes()
GROUP = "groups/group.com.kestrelworks.Tasklane/"
SHARED = GROUP + "com.kestrelworks.Tasklane/"
CHANGES = ("fsync", "fdatasync", "syncfs", "rename", "renameat2", "linkat", "mkdir", "write", "unlink")
ODD = {"type": "future", "info": {"uuid": "ODD"}}  # of a later version, and so set aside
DONE = (0, 65)
MOST_KILLS = 4
MOST_REPLAYS = 8


class Recorded:
    """Deliveries of what waits into one list, the last of which comes to its end."""

    def __init__(self, folder, kill=None):
        self.folder = pathlib.Path(folder)
        self.environment = {**os.environ, "TASKLANE_GROUP_CONTAINERS": f"{folder}/groups", "HOME": f"{folder}/home",
                            "XDG_DATA_HOME": f"{folder}/data", "XDG_CONFIG_HOME": f"{folder}/config",
                            "XDG_STATE_HOME": f"{folder}/state", "TASKLANE_NOTIFY_FOLDER": f"{folder}-notify"}
        for name in ("TODO_DIR", "TODO_FILE", "TODOTXT_CFG_FILE"):
            self.environment.pop(name, None)
        self.write({SHARED + "actions.plist": plistlib.dumps({"actions": [ODD, *delivery.WAITING]}),
                    GROUP + "attachments/1.jpg": PHOTO, "home/x": b""} | self.others())
        self.connect()
        self.recording = power.Recording(folder, **self.environment)
        self.recording.settle()
        self.begin = len(self.recording.steps)
        self.calls = self.recording.run("deliver", kill=kill, codes=DONE)
        if kill:
            self.recording.run("deliver", codes=DONE)

    def write(self, files):
        for path, contents in files.items():
            (self.folder / path).parent.mkdir(parents=True, exist_ok=True)
            (self.folder / path).write_bytes(contents)

    def connect(self):
        pass

    def run(self, *arguments):
        process = subprocess.run([PROGRAM, *arguments], env=self.environment, timeout=60, capture_output=True)
        assert process.returncode in DONE, process

    def replay(self, files):
        """What is wrong after a delivery on what a power cut has left."""
        shutil.rmtree(self.folder)
        self.write({"home/x": b""} | files)
        self.run("deliver")
        after = {str(path.relative_to(self.folder)): path.read_bytes()
                 for path in self.folder.rglob("*") if path.is_file()}
        return self.wrong_with(after, is_over=True)

    def wrong_with(self, files, is_over):
        try:
            return self.what_is_wrong(files, is_over)
        except Exception as broken:  # a file that is not whole
            return broken

    def what_is_wrong(self, files, is_over):
        queue = [entry["info"]["uuid"] for entry in power.actions(files.get(SHARED + "actions.plist"))]
        receipts = files.get(SHARED + "receipts.jsonl", b"").decode(errors="replace").split("\n")[:-1]
        received = {json.loads(line)["uuid"] for line in receipts if line.startswith("{") and line.endswith("}")}
        texts = self.tasks(files)
        for uuid in (OLD, NEW):
            if len(texts[uuid]) > 1:
                return f"{uuid} is {len(texts[uuid])} times in the list"
            if not texts[uuid] and (uuid in received or uuid not in queue or is_over):
                return f"{uuid} is lost; queue {queue}, receipts {received}"
            if texts[uuid] and not self.has_files(files, uuid):
                return f"the files of {uuid} are not whole"
        if not texts[OLD] and files.get(GROUP + "attachments/1.jpg") != PHOTO:
            return "the photo is lost"
        if len(texts[MARKED]) != 1 or not (MARKED in queue or self.is_marked(texts[MARKED][0])):
            return f"the mark is lost: {texts[MARKED]}"
        if ODD["info"]["uuid"] not in queue and not power.actions(files.get(SHARED + "set-aside.plist")):
            return "what was refused is lost"
        if {OLD, NEW, MARKED} - received - set(queue):
            return f"there are no receipts of all; queue {queue}, receipts {received}"
        if is_over and queue:
            return f"{queue} still wait"
        for name in ("containers", "items", "delivery", "set-aside"):
            if SHARED + name + ".plist" in files:
                plistlib.loads(files[SHARED + name + ".plist"])
        return None


class IntoTodoTxt(Recorded):
    LIST = "data/tasklane/todo.txt"

    def others(self):
        return {self.LIST: THEIRS + delivery.OPEN}

    def tasks(self, files):
        lines = files[self.LIST]
        assert lines.startswith(THEIRS), f"what is theirs was changed: {lines}"
        return {uuid: re.findall(rb".* uuid:%s\n" % uuid.encode(), lines) for uuid in (OLD, NEW, MARKED)}

    @staticmethod
    def is_marked(line):
        return re.fullmatch(delivery.COMPLETED, line)

    def has_files(self, files, uuid):
        if uuid == NEW:
            return files.get(f"data/tasklane/notes/{NEW}.txt") == delivery.NOTE.encode() + b"\n"
        return files.get(f"data/tasklane/notes/{OLD}/1.jpg") == PHOTO


class IntoFolder(Recorded):
    def others(self):
        return {"tasks/theirs.ics": calendar("theirs").encode(), "tasks/another name.ics": calendar(MARKED).encode()}

    def connect(self):
        self.run("connect", "folder", str(self.folder / "tasks"))

    def tasks(self, files):
        assert files["tasks/theirs.ics"] == calendar("theirs").encode(), "what is theirs was changed"
        texts = [text for path, text in files.items() if path.endswith(".ics")]
        assert all(text.endswith(b"END:VCALENDAR\r\n") for text in texts), f"not whole: {texts}"
        return {uuid: [text for text in texts if b"UID:%s\r\n" % uuid.encode() in text] for uuid in (OLD, NEW, MARKED)}

    @staticmethod
    def is_marked(text):
        return b"STATUS:COMPLETED" in text

    def has_files(self, files, uuid):
        return uuid == NEW or files.get(f"tasks/.attachments/{OLD}/1.jpg") == PHOTO


class PowerCut(unittest.TestCase):
    def problem(self, recorded, steps, replays=0):
        """What a power cut at some moment of the steps breaks, or none."""
        chance = random.Random(1)
        disk = power.Disk()
        is_over, left = False, {}
        for number, step in enumerate(steps):
            disk.take(step)
            is_over = is_over or isinstance(step, power.Confirmation)
            for _ in range(power.MOST_COMBINATIONS if number >= recorded.begin else 0):
                files = disk.after_power_cut(chance)
                state = is_over, frozenset(files.items())
                if state in left:
                    continue
                left[state] = files
                problem = recorded.wrong_with(files, is_over)
                if problem:
                    return f"step {number} of {len(steps)}, {str(step)[:200]}: {problem}"
        for files in chance.sample(list(left.values()), min(replays, len(left))):
            problem = recorded.replay(files)
            if problem:
                return f"after another delivery: {problem}"
        return None

    def record(self, kind, **options):
        folder = tempfile.TemporaryDirectory(prefix="tasklane-power-")
        self.addCleanup(folder.cleanup)
        return kind(folder.name, **options)

    def check(self, kind):
        recorded = self.record(kind)
        steps = recorded.recording.steps
        flushed = {step.target for step in steps[recorded.begin:] if isinstance(step, power.Flush)}
        self.assertGreater(len(flushed), 6)
        for target in flushed:
            def is_left(number, step):
                return number < recorded.begin or not isinstance(step, power.Flush) or step.target != target
            with self.subTest(unflushed=target):
                left = [step for number, step in enumerate(steps) if is_left(number, step)]
                self.assertIsNotNone(self.problem(recorded, left))
        self.assertIsNone(self.problem(recorded, steps, replays=10**6 if ALL else MOST_REPLAYS))
        kills = recorded.calls
        if not ALL:
            kills = [call for call in kills if call.name in CHANGES]
            kills = random.Random(os.environ.get("FAULTS_SEED", "1")).sample(kills, MOST_KILLS)
        for kill in kills:
            with self.subTest(kill=kill):
                killed = self.record(kind, kill=kill)
                self.assertIsNone(self.problem(killed, killed.recording.steps))

    def test_into_todo_txt(self):
        self.check(IntoTodoTxt)

    def test_into_a_folder(self):
        self.check(IntoFolder)


if __name__ == "__main__":
    unittest.main()
