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
CHANGES = ("fsync", "rename", "link", "linkat", "unlink", "mkdir", "flock", "fchmod", "fchown", "write", "pwrite64")
GROUP = pathlib.Path("groups/group.com.kestrelworks.Tasklane")
QUEUE = "com.kestrelworks.Tasklane/actions.plist"
CATALOGUE = "com.kestrelworks.Tasklane/containers.plist"
NOT_DONE = (65, 66, 73, 74, 75)
NOT_TRUE = r"is called|has the identifier"  # there is such a project and such an item
ENTRY = {"type": "new", "info": {"uuid": "OLD", "title": "Older", "attachments": ["1.jpg"]}}
OLD_CATALOGUE = {"projects": {"h": {"id": "h", "title": "Home"}}, "orderedProjectIDs": ["h"]}
NEW_CATALOGUE = {"contexts": {"d": {"id": "d", "title": "Desk"}}, "orderedContextIDs": ["d"]}
ITEMS = {"items": [{"uuid": "ITEM", "title": "Item"}]}


def read(path):
    return plistlib.loads(path.read_bytes()) if path.exists() else None


def entries(folder):
    return (read(folder / GROUP / QUEUE) or {"actions": []})["actions"]


def is_taken(before, after, output):
    handed = [entry for entry in json.loads(output) if entry["type"] != Stop.ACTION]
    assert [entry["info"]["uuid"] for entry in handed] == [entry["info"]["uuid"] for entry in before], handed
    assert all(os.path.exists(path) for entry in handed for path in entry["attachmentFiles"]), handed
    return after == []


def adds_one(type, photos=0, note=""):
    def isDone(before, after, output):
        (entry,) = after[len(before):]
        if photos:
            assert len(entry["info"]["attachments"]) == photos, entry
        assert entry["info"].get("notes", "") == note, entry
        if output:
            assert json.loads(output)["info"]["uuid"] == entry["info"]["uuid"], "another entry was printed"
        return after[:len(before)] == before and entry["type"] == type
    return isDone


class Operation:
    def __init__(self, name, arguments, file, is_done, sample):
        self.name, self.arguments, self.file, self.is_done, self.sample = name, arguments, file, is_done, sample
        self.takes_photos = "--image" in (arguments or [])

    def start(self, case, **options):
        arguments = [str(case.folder / a) if a == "new.plist" else a for a in self.arguments]
        return faults.run([PROGRAM, *arguments], case.environment, **options)


ADDRESS = "https://example.org/"
PHOTO = ["--image", str(SAMPLES / "photo.jpg")]
OPERATIONS = [
    Operation("post", ["share", "--title", "New", "--post"], QUEUE, adds_one("new"), 60),
    Operation("photo", ["share", "--title", "New", *PHOTO, *PHOTO, "--project", "Home", "--post"], QUEUE,
              adds_one("new", photos=2), 60),
    Operation("address", ["share", "--url", ADDRESS, "--post"], QUEUE, adds_one("new", note=ADDRESS), 15),
    Operation("publish", ["publish", "containers", "new.plist"], CATALOGUE, lambda *_: True, 30),
    Operation("complete", ["complete", "ITEM"], QUEUE, adds_one("completed"), 30),
    Operation("clear", ["queue", "clear"], QUEUE, lambda before, after, _: after == [], 30),
    Operation("take", ["queue", "take"], QUEUE, is_taken, 30),
]


class Case:
    """One operation with one fault, in a container of its own."""

    def __init__(self, operation, fault):
        self.operation, self.fault = operation, fault
        self.line = f"{operation.name} {fault}"

    def run(self):
        """What went wrong, or none."""
        with tempfile.TemporaryDirectory(prefix="tasklane-faults-", ignore_cleanup_errors=True) as folder:
            self.folder = pathlib.Path(folder)
            self.environment = {**os.environ, "TASKLANE_GROUP_CONTAINERS": folder + "/groups",
                                "TASKLANE_NOTIFY_FOLDER": folder + "/notify", "XDG_STATE_HOME": folder + "/state",
                                "TASKLANE_LOCK_LIMIT": "20"}
            self.prepare()
            self.before = entries(self.folder)
            try:
                outcome = self.fault.run(self)
                self.check(outcome)
                self.check_next()
            except (AssertionError, ValueError, OSError, subprocess.TimeoutExpired) as problem:
                return f"{self.line}: {problem or type(problem).__name__}"
        return None

    def prepare(self, *more):
        shared = self.folder / GROUP / pathlib.Path(QUEUE).parent
        shared.mkdir(parents=True)
        (self.folder / "new.plist").write_bytes(plistlib.dumps(NEW_CATALOGUE))
        for name, value in (("actions", {"actions": [ENTRY, *more]}), ("containers", OLD_CATALOGUE),
                            ("items", ITEMS)):
            (shared / f"{name}.plist").write_bytes(plistlib.dumps(value))
        attachments = self.folder / GROUP / "attachments"
        attachments.mkdir()
        shutil.copy(SAMPLES / "photo.jpg", attachments / "1.jpg")

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
        takes = self.operation.is_done is is_taken
        changed = self.changed(outcome.output if outcome.code == 0 or takes else "")
        # The C library ends the process itself when it has no memory for a thread's variables.
        if self.fault.ends_process and outcome.code == -signal.SIGKILL or "Fatal glibc error" in outcome.error:
            assert changed or not outcome.output or takes, "printed, but not saved"
            return
        if outcome.code == 0:
            assert changed, f"not done; {said}"
        else:
            assert outcome.code in NOT_DONE and not re.search(NOT_TRUE, outcome.error), said
            assert self.fault.silences or re.search(r"(^|\n)(tasklane|share|It is not saved): .+\.\n", outcome.error), \
                f"says nothing; {said}"
            assert not changed, f"done; {said}"
        if not (self.operation.takes_photos and self.fault.lasts):
            self.check_files()

    def check_next(self):
        before = entries(self.folder)
        if self.operation.file == CATALOGUE:
            self.run_another("publish", "containers", str(self.folder / "new.plist"))
        # Whoever attaches a photo removes those that nobody owns any more.
        self.run_another("share", "--title", "Next", "--post", *(PHOTO if self.operation.takes_photos else []))
        after = entries(self.folder)
        assert after[:-1] == before and after[-1]["info"]["title"] == "Next", f"after the next operation: {after}"
        self.check_files()

    def run_another(self, *arguments):
        process = subprocess.run([PROGRAM, *arguments], env=self.environment, timeout=60, capture_output=True)
        assert process.returncode == 0, f"the next operation fails: {process.stderr.decode()}"
        return process.stdout.decode()

    def check_files(self):
        group = self.folder / GROUP
        found = {str(path.relative_to(group)) for path in group.rglob("*") if not path.is_dir()}
        found = {name for name in found if not name.startswith(".coordination/")}
        named = {"attachments/" + name for entry in entries(self.folder)
                 for name in entry["info"].get("attachments", [])}
        if self.operation.name in ("clear", "take"):
            named.add("attachments/1.jpg")
            named |= {name for name in found if re.fullmatch(r"attachments/taken/[0-9A-F-]+/1.jpg", name)}
        expected = {QUEUE, CATALOGUE, QUEUE.replace("actions", "items"), *named}
        assert found <= expected, f"left over: {sorted(found - expected)}"
        assert named <= found or self.operation.name in ("clear", "take"), f"missing: {sorted(named - found)}"
        for name in named & found:
            assert (group / name).read_bytes().endswith(b"\xff\xd9"), f"{name} is not whole"


class FailingCall:
    ends_process = False
    silences = False
    lasts = False

    def __init__(self, call, error):
        self.call, self.error = call, error

    def __str__(self):
        return f"{self.call.name} #{self.call.occurrence} {self.error}"

    def run(self, case):
        # Threads take turns as they please: the call of this number may be another one than was recorded.
        def decide(request):
            if request.call == self.call and self.error in faults.errors_of(request):
                return self.error
        return case.operation.start(case, decide=decide)


class FailingFromThen(FailingCall):
    """As on a full disk, or when something is used up. What cannot be removed then is removed by a later sheet."""
    lasts = True

    def __str__(self):
        return super().__str__() + " from then on"

    @property
    def silences(self):
        return self.call.name == "write"  # the console too

    def run(self, case):
        name, first = self.call

        def decide(request):
            if request.call.name == name and request.call.occurrence >= first and \
                    self.error in faults.errors_of(request):
                return self.error
        return case.operation.start(case, decide=decide)


class Kill(FailingCall):
    ends_process = True

    def __init__(self, call):
        super().__init__(call, "kill")

    def run(self, case):
        def decide(request):
            if request.call == self.call:
                os.kill(request.pid, signal.SIGKILL)
        return case.operation.start(case, decide=decide)


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
            os.kill(request.pid, signal.SIGSTOP)
            faults.wait_until_stopped(request.pid)
            others.append(subprocess.Popen([PROGRAM, "flag", "ITEM"], env=case.environment,
                                           stdout=subprocess.PIPE, stderr=subprocess.PIPE))
            faults.wait_until_ended_or_locked(others[0])
            os.kill(request.pid, signal.SIGCONT)
        outcome = case.operation.start(case, decide=decide)
        for other in others:
            _, error = other.communicate(timeout=60)
            assert other.returncode == 0, f"the other process ended with {other.returncode}: {error.decode()}"
            assert sum(entry["type"] == self.ACTION for entry in entries(case.folder)) <= 1
        return outcome


class LostLock(FailingCall):
    """The lock file is removed while the process is on the way to its lock, which then keeps nobody out."""

    def __init__(self, call):
        super().__init__(call, "lock file removed")

    def run(self, case):
        lock = case.folder / GROUP / ".coordination" / (case.operation.file.replace("/", "%2F") + ".lock")
        missing = []

        def decide(request):
            if request.call == self.call:
                # Other files are locked too, of which some are gone with their holder.
                if os.readlink(f"/proc/{request.pid}/fd/{request.arguments[0]}") == str(lock):
                    lock.unlink()
            elif request.call.name == "rename" and not lock.exists() and \
                    faults.text_at(request, 1).endswith(case.operation.file):  # photos are replaced at any time
                missing.append(request.call)
        outcome = case.operation.start(case, decide=decide)
        assert not missing, "the file is replaced without a lock"
        return outcome


class FailingAllocation:
    ends_process = False
    silences = False
    lasts = True

    def __init__(self, number):
        self.number = number

    def __str__(self):
        return f"allocation {self.number}"

    def run(self, case):
        return case.operation.start(case, failing_allocation=self.number)


class Nothing:
    ends_process = False
    silences = False
    lasts = False

    def __init__(self, **options):
        self.options = options

    def __str__(self):
        return "without a fault"

    def run(self, case):
        self.outcome = case.operation.start(case, **self.options)
        return self.outcome


def sample(cases, count, chance):
    """So many, first of all one of each call that changes what is on the disk."""
    chance.shuffle(cases)
    calls = [getattr(case.fault, "call", None) for case in cases]
    first = [case for case, call, before in zip(cases, calls, range(len(calls)))
             if call and call.name in CHANGES and call not in calls[:before]]
    others = [case for case in cases if case not in first]
    return (first + others)[:count]


class FaultTest(unittest.TestCase):
    operations = OPERATIONS
    case = Case

    def try_all(self, faults_of):
        """Tries each fault that `faults_of` answers for an operation, or a sample of them."""
        chance = random.Random(SEED)
        cases = []
        for operation in self.operations:
            possible = [self.case(operation, fault) for fault in faults_of(operation)]
            if not ALL and not ONLY:
                possible = sample(possible, operation.sample, chance)
            cases += [case for case in possible if case.line.startswith(ONLY)]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            problems = [problem for problem in pool.map(self.case.run, cases) if problem]
        print(f"{len(cases)} cases, seed {SEED}", flush=True)
        self.assertEqual(len(problems), 0, "\n" + "\n".join(problems))

    def without_fault(self, operation, **options):
        """The calls or allocations of an operation to which nothing happens."""
        nothing = Nothing(**options)
        self.assertIsNone(self.case(operation, nothing).run())
        return nothing.outcome.calls

    def failing_calls(self, operation):
        return [kind(call, error) for call, errors in self.without_fault(operation).items()
                for error in errors for kind in (FailingCall, FailingFromThen)
                if (kind, error) != (FailingFromThen, "EINTR")]  # which is tried until it succeeds

    def failing_allocations(self, operation):
        return [FailingAllocation(number + 1)
                for number in range(self.without_fault(operation, failing_allocation=0))]

    def kills(self, operation):
        return [Kill(call) for call in self.without_fault(operation)]

    def stops(self, operation):
        return [Stop(call) for call in self.without_fault(operation)]


class CallsAndKills:
    """What every kind of operation is tried with; beside FaultTest."""

    def test_a_call_that_fails(self):
        self.try_all(self.failing_calls)

    def test_being_killed(self):
        self.try_all(self.kills)


class Faults(CallsAndKills, FaultTest):
    def test_a_lock_file_that_is_removed(self):
        self.try_all(lambda operation: [LostLock(call) for call in self.without_fault(operation)
                                        if call.name == "flock"])

    def test_an_allocation_that_fails(self):
        self.try_all(self.failing_allocations)

    def test_being_stopped(self):
        self.try_all(self.stops)


if __name__ == "__main__":
    unittest.main()
