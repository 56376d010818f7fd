"""Every system call and every allocation of an operation fails once, and the process is killed and stopped at every
call. Whatever happens: what was confirmed is in the queue once, what failed changed nothing and says so, the exit code
tells which, nothing is left over, and the next operation works.

A short run tries a sample. `scripts/inject` tries all. FAULTS_SEED chooses another sample, FAULTS_ONLY="post openat"
only the cases whose line begins so."""
import concurrent.futures
import json
import os
import pathlib
import plistlib
import random
import re
import shutil
import signal
import subprocess
import tempfile
import unittest

import faults
from program import PROGRAM, SAMPLES

SEED = os.environ.get("FAULTS_SEED", "1")
ALL = "FAULTS_ALL" in os.environ
ONLY = os.environ.get("FAULTS_ONLY", "")
GROUP = pathlib.Path("groups/group.com.kestrelworks.Tasklane")
QUEUE = "com.kestrelworks.Tasklane/actions.plist"
CATALOGUE = "com.kestrelworks.Tasklane/containers.plist"
NOT_DONE = (66, 73, 74, 75)
SAVED_UNSAID = r"was saved|was done"
ENTRY = {"type": "new", "info": {"uuid": "OLD", "title": "Older", "attachments": ["1.jpg"]}}
OLD_CATALOGUE = {"projects": {"h": {"id": "h", "title": "Home"}}, "orderedProjectIDs": ["h"]}
NEW_CATALOGUE = {"contexts": {"d": {"id": "d", "title": "Desk"}}, "orderedContextIDs": ["d"]}
ITEMS = {"items": [{"uuid": "ITEM", "title": "Item"}]}


def read(path):
    return plistlib.loads(path.read_bytes()) if path.exists() else None


def entries(folder):
    return (read(folder / GROUP / QUEUE) or {"actions": []})["actions"]


def adds_one(type, photos=0):
    def isDone(before, after, output):
        (entry,) = after[len(before):]
        if photos:
            assert len(entry["info"]["attachments"]) == photos, entry
        if output:
            assert json.loads(output)["info"]["uuid"] == entry["info"]["uuid"], "another entry was printed"
        return after[:len(before)] == before and entry["type"] == type
    return isDone


class Operation:
    def __init__(self, name, arguments, file, is_done, sample):
        self.name, self.arguments, self.file, self.is_done, self.sample = name, arguments, file, is_done, sample


PHOTO = ["--image", str(SAMPLES / "photo.jpg")]
OPERATIONS = [
    Operation("post", ["share", "--title", "New", "--post"], QUEUE, adds_one("new"), 60),
    Operation("photo", ["share", "--title", "New", *PHOTO, "--project", "Home", "--post"], QUEUE,
              adds_one("new", photos=1), 60),
    Operation("publish", ["publish", "containers", "new.plist"], CATALOGUE, lambda *_: True, 30),
    Operation("complete", ["complete", "ITEM"], QUEUE, adds_one("completed"), 30),
    Operation("clear", ["queue", "clear"], QUEUE, lambda before, after, _: after == [], 30),
]


def prepare(folder):
    shared = folder / GROUP / pathlib.Path(QUEUE).parent
    shared.mkdir(parents=True)
    (folder / "new.plist").write_bytes(plistlib.dumps(NEW_CATALOGUE))
    for name, value in ("actions", {"actions": [ENTRY]}), ("containers", OLD_CATALOGUE), ("items", ITEMS):
        (shared / f"{name}.plist").write_bytes(plistlib.dumps(value))
    attachments = folder / GROUP / "attachments"
    attachments.mkdir()
    shutil.copy(SAMPLES / "photo.jpg", attachments / "1.jpg")
    return folder


class Case:
    """One operation with one fault, in a container of its own."""

    def __init__(self, operation, fault):
        self.operation, self.fault = operation, fault
        self.line = f"{operation.name} {fault}"

    def run(self):
        """What went wrong, or none."""
        with tempfile.TemporaryDirectory(prefix="tasklane-faults-") as folder:
            self.folder = prepare(pathlib.Path(folder))
            self.environment = {**os.environ, "TASKLANE_GROUP_CONTAINERS": folder + "/groups",
                                "TASKLANE_LOCK_LIMIT": "20"}
            self.before = entries(self.folder)
            try:
                outcome = self.fault.run(self)
                self.check(outcome)
                self.check_next()
            except (AssertionError, ValueError, OSError, subprocess.TimeoutExpired) as problem:
                return f"{self.line}: {problem or type(problem).__name__}"
        return None

    def start(self, **options):
        arguments = [str(self.folder / a) if a == "new.plist" else a for a in self.operation.arguments]
        return faults.run([PROGRAM, *arguments], self.environment, **options)

    def changed(self, output):
        """Whether the operation's effect is there, whole; anything but all or nothing is an error."""
        file = self.folder / GROUP / self.operation.file
        if self.operation.file == CATALOGUE:
            found = read(file)
            assert found in (OLD_CATALOGUE, NEW_CATALOGUE), f"the catalogue holds {found}"
            return found == NEW_CATALOGUE
        after = [entry for entry in entries(self.folder) if entry["type"] != Stop.ACTION]
        if after == self.before:
            return False
        assert self.operation.is_done(self.before, after, output), f"the queue holds {after}"
        return True

    def check(self, outcome):
        said = f"exit {outcome.code}, said: {outcome.error.strip()[-300:]!r}"
        changed = self.changed(outcome.output if outcome.code == 0 else "")
        if self.fault.ends_process and outcome.code == -signal.SIGKILL:
            assert changed or not outcome.output, "printed, but not saved"
            return
        if outcome.code == 0:
            assert changed, f"not done; {said}"
        else:
            assert outcome.code in NOT_DONE, said
            assert re.search(r"(^|\n)tasklane: .+\.\n$", outcome.error), f"says nothing; {said}"
            assert not changed or re.search(SAVED_UNSAID, outcome.error), f"done; {said}"
        self.check_files()

    def check_next(self):
        before = entries(self.folder)
        if self.operation.file == CATALOGUE:
            self.run_another("publish", "containers", str(self.folder / "new.plist"))
        self.run_another("share", "--title", "Next", "--post")
        after = entries(self.folder)
        assert after[:-1] == before and after[-1]["info"]["title"] == "Next", f"after the next operation: {after}"
        self.check_files()

    def run_another(self, *arguments):
        process = subprocess.run([PROGRAM, *arguments], env=self.environment, timeout=60, capture_output=True)
        assert process.returncode == 0, f"the next operation fails: {process.stderr.decode()}"

    def check_files(self):
        group = self.folder / GROUP
        found = {str(path.relative_to(group)) for path in group.rglob("*") if not path.is_dir()}
        found = {name for name in found if not name.startswith(".coordination/")}
        named = {"attachments/" + name for entry in entries(self.folder)
                 for name in entry["info"].get("attachments", [])}
        if self.operation.name == "clear":
            named.add("attachments/1.jpg")
        expected = {QUEUE, CATALOGUE, QUEUE.replace("actions", "items"), *named}
        assert found <= expected, f"left over: {sorted(found - expected)}"
        assert named <= found or self.operation.name == "clear", f"missing: {sorted(named - found)}"
        for name in named & found:
            assert (group / name).read_bytes().endswith(b"\xff\xd9"), f"{name} is not whole"


class FailingCall:
    ends_process = False

    def __init__(self, call, error):
        self.call, self.error = call, error

    def __str__(self):
        return f"{self.call.name} #{self.call.occurrence} {self.error}"

    def run(self, case):
        return case.start(decide=lambda request: self.error if request.call == self.call else None)


class Kill(FailingCall):
    ends_process = True

    def __init__(self, call):
        super().__init__(call, "kill")

    def run(self, case):
        def decide(request):
            if request.call == self.call:
                request.process.kill()
        return case.start(decide=decide)


class Stop(FailingCall):
    """Another process works meanwhile: it ends, or waits until the stopped one goes on."""
    ACTION = "flagged"

    def __init__(self, call):
        super().__init__(call, "stop")

    def run(self, case):
        others = []

        def decide(request):
            if request.call != self.call or others:
                return
            process = request.process
            process.send_signal(signal.SIGSTOP)
            faults.wait_until_stopped(process)
            others.append(subprocess.Popen([PROGRAM, "flag", "ITEM"], env=case.environment,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE))
            faults.wait_until_ended_or_locked(others[0])
            process.send_signal(signal.SIGCONT)
        outcome = case.start(decide=decide)
        for other in others:
            _, error = other.communicate(timeout=60)
            assert other.returncode == 0, f"the other process ended with {other.returncode}: {error.decode()}"
            assert sum(entry["type"] == self.ACTION for entry in entries(case.folder)) <= 1
        return outcome


class FailingAllocation:
    ends_process = False

    def __init__(self, number):
        self.number = number

    def __str__(self):
        return f"allocation {self.number}"

    def run(self, case):
        return case.start(failing_allocation=self.number)


class Faults(unittest.TestCase):
    def try_all(self, make):
        """Tries `make(operation's calls)`, or a sample of them, for every operation."""
        chance = random.Random(SEED)
        cases = []
        for operation in OPERATIONS:
            possible = [Case(operation, fault) for fault in make(operation)]
            if not ALL and not ONLY:
                possible = chance.sample(possible, min(len(possible), operation.sample))
            cases += [case for case in possible if case.line.startswith(ONLY)]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            problems = [problem for problem in pool.map(Case.run, cases) if problem]
        print(f"{len(cases)} cases, seed {SEED}", flush=True)
        self.assertEqual(problems, [], "\n" + "\n".join(problems))

    def without_fault(self, operation, **options):
        """The calls or allocations of an operation to which nothing happens."""
        found = []
        class Nothing:
            ends_process = False
            def __str__(self):
                return "without a fault"
            def run(self, case):
                outcome = case.start(**options)
                found.append(outcome.calls)
                return outcome
        self.assertIsNone(Case(operation, Nothing()).run())
        return found[0]

    def test_being_killed(self):
        self.try_all(lambda operation: [Kill(call) for call in self.without_fault(operation)
                                        if operation.name != "photo"])

    def test_being_stopped(self):
        self.try_all(lambda operation: [Stop(call) for call in self.without_fault(operation)])


if __name__ == "__main__":
    unittest.main()
