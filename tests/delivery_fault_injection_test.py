"""The same for a delivery into each kind of list; at each call of one into a todo.txt file other programs write to that
file too. Whatever happens: each task is in the list once or still in the queue, and what belongs to others is as they
left it."""
import copy
import fcntl
import itertools
import json
import os
import pathlib
import plistlib
import re
import shutil
import subprocess
import tempfile
import unittest

import fault_injection_test as injection
import faults
from caldav_servers import Radicale

OLD, NEW, MARKED, FOREIGN = (f"0F2A7C31-0000-4000-8000-00000000000{i}" for i in range(4))
THEIRS = b"(B) 2020-01-01 Feed the cat +home\r\n\n\xff raw bytes \x00\n"
OPEN = b"2020-01-01 Begun before uuid:%s\n" % MARKED.encode()
COMPLETED = rb"x \d{4}-\d\d-\d\d " + OPEN
NOTE = "one\ntwo"
TOLD = r"could not be published|what is done until now stays done"
WAITING = [{"type": "new", "info": {"uuid": OLD, "title": "Older", "attachments": ["1.jpg"]}},
           {"type": "completed", "info": {"uuid": MARKED}},
           {"type": "new", "info": {"uuid": NEW, "title": "Newer", "notes": NOTE}}]


class DeliveryCase(injection.Case):
    def prepare(self):
        super().prepare()
        (self.folder / injection.GROUP / injection.QUEUE).write_bytes(plistlib.dumps({"actions": WAITING}))
        self.data = self.folder / "data" / "tasklane"
        self.environment |= {"HOME": str(self.folder), "XDG_DATA_HOME": str(self.data.parent),
                             "XDG_CONFIG_HOME": str(self.folder / "config"), "XDG_CACHE_HOME": str(self.folder / "cache")}
        for name in ("TODO_DIR", "TODO_FILE", "TODOTXT_CFG_FILE", "TASKRC", "TASKDATA"):
            self.environment.pop(name, None)
        self.written = []
        self.prepare_list()

    def prepare_list(self):
        self.list = self.data / "todo.txt"
        self.list.parent.mkdir(parents=True)
        self.list.write_bytes(THEIRS + OPEN)

    def check(self, outcome):
        said = f"exit {outcome.code}, said: {outcome.error.strip()[-300:]!r}"
        self.check_theirs()
        queue = [entry["info"]["uuid"] for entry in injection.entries(self.folder)]
        assert set(queue) <= {OLD, NEW, MARKED} and len(set(queue)) == len(queue), queue
        for uuid in (OLD, NEW):
            count = self.times(uuid)
            assert count <= 1 and (count or uuid in queue), f"{uuid} is {count} times in the list; {said}"
            if count:
                self.check_files_of(uuid)
        assert MARKED in queue or self.is_marked(), f"the mark is lost; {said}"
        assert self.times(MARKED) == 1, f"the marked task is {self.times(MARKED)} times there; {said}"
        if not self.fault.ends_process and "Fatal glibc error" not in outcome.error:
            assert outcome.code in (0, *injection.NOT_DONE), said
            isTold = queue or self.fault.silences or re.search(TOLD, outcome.error)
            assert not queue if outcome.code == 0 else isTold, f"{queue} are in the queue; {said}"
            assert outcome.code == 0 or self.fault.silences or outcome.error.strip(), f"says nothing; {said}"

    def check_theirs(self):
        lines = self.list.read_bytes()
        assert lines.startswith(THEIRS), f"what is theirs was changed: {lines}"
        for line in self.written:
            assert lines.count(line) == 1, f"{line} is not there once: {lines}"

    def times(self, uuid):
        return self.list.read_bytes().count(b" uuid:%s\n" % uuid.encode())

    def is_marked(self):
        return re.search(COMPLETED, self.list.read_bytes())

    def check_files_of(self, uuid):
        notes = self.list.parent / "notes"
        if uuid == NEW:
            assert (notes / f"{NEW}.txt").read_text() == NOTE + "\n", "the note is not whole"
        else:
            self.check_photo(notes / OLD / "1.jpg")

    @staticmethod
    def check_photo(path):
        assert path.read_bytes().endswith(b"\xff\xd9"), "the photo is not whole"

    def staged(self):
        return [path for path in self.folder.rglob("*") if "tasklane-" in path.name]

    def check_next(self):
        # What could not be removed, by a later delivery.
        if not self.fault.ends_process and not self.fault.lasts and " unlink #" not in self.line:
            assert not self.staged(), f"left over: {self.staged()}"
        self.run_another("deliver")
        self.check(faults.Outcome(0, "", "", {}))
        for uuid in (OLD, NEW):
            self.check_files_of(uuid)
        # After a fault one may stay for a week, until it is sure that nobody fetches it.
        photos = list((self.folder / injection.GROUP / "attachments").glob("*.jpg"))
        assert not photos or not isinstance(self.fault, injection.Nothing), "the photo stays"
        receipts = json.loads(self.run_another("receipts", "--json"))
        assert {receipt["uuid"] for receipt in receipts} == {OLD, NEW, MARKED}, receipts


def calendar(uid):
    return (f"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:x\r\nBEGIN:VTODO\r\nUID:{uid}\r\nDTSTAMP:20200101T000000Z\r\n"
            f"SUMMARY:{uid}\r\nEND:VTODO\r\nEND:VCALENDAR\r\n")


class CalendarCase(DeliveryCase):
    """Tasks as iCalendar texts, which texts_of finds by their UID."""

    def times(self, uuid):
        return len(self.texts_of(uuid))

    def is_marked(self):
        return "STATUS:COMPLETED" in self.texts_of(MARKED)[0]


class FolderCase(CalendarCase):
    """A program has named the file of the task to be completed otherwise."""

    def prepare_list(self):
        self.root = self.folder / "tasks"
        self.root.mkdir()
        self.run_another("connect", "folder", str(self.root))
        for name, uid in ("theirs", FOREIGN), ("another name", MARKED):
            (self.root / f"{name}.ics").write_bytes(calendar(uid).encode())

    def check_theirs(self):
        assert (self.root / "theirs.ics").read_bytes() == calendar(FOREIGN).encode(), "what is theirs was changed"

    def texts_of(self, uuid):
        texts = [path.read_text() for path in self.root.glob("*.ics")]
        assert all("END:VCALENDAR" in text for text in texts), "a file is not whole"
        return [text for text in texts if f"UID:{uuid}\n" in text]

    def check_files_of(self, uuid):
        if uuid == OLD:
            self.check_photo(self.root / ".attachments" / OLD / "1.jpg")


class TaskwarriorCase(DeliveryCase):
    def prepare_list(self):
        (self.folder / ".taskrc").write_text(f"data.location={self.folder}/tasks\n")
        theirs = [{"uuid": uuid.lower(), "description": uuid, "entry": "20200101T000000Z"} for uuid in (FOREIGN, MARKED)]
        self.task("import", "-", input=json.dumps(theirs).encode())
        self.run_another("connect", "taskwarrior")
        self.theirs = self.found(FOREIGN)

    def task(self, *words, input=b""):
        return subprocess.run(["task", "rc.confirmation=off", "rc.verbose=nothing", "rc.gc=off", *words], timeout=60,
                              env=self.environment, input=input, stdout=subprocess.PIPE, check=True).stdout

    def found(self, uuid):
        return [task for task in json.loads(self.task("export")) if task["uuid"].upper() == uuid]

    def check_theirs(self):
        assert self.found(FOREIGN) == self.theirs, "what is theirs was changed"

    def times(self, uuid):
        return len(self.found(uuid))

    def is_marked(self):
        return self.found(MARKED)[0]["status"] == "completed"

    def check_files_of(self, uuid):
        if uuid == OLD:
            self.check_photo(self.data / "taskwarrior" / OLD.lower() / "1.jpg")

    def is_import_over(self):
        """One goes on when who has started it is killed."""
        try:
            with open(self.data / "taskwarrior.lock") as lock:
                fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            return False
        except FileNotFoundError:
            pass
        return True


class CalDAVCase(CalendarCase):
    """For each case a user of a server that all share."""
    users = itertools.count()
    most_users = 5000
    server = None

    def prepare_list(self):
        self.list = copy.copy(self.server)
        self.list.user = f"u{next(self.users)}"
        self.list.home = f"/{self.list.user}/"
        self.list.make_list("tasks", "Tasks")
        for uid in FOREIGN, MARKED:
            status, text = self.list.request("PUT", f"{self.list.home}tasks/{uid}.ics", calendar(uid),
                                             Content_Type="text/calendar")
            assert status == 201, text
        self.theirs = self.texts_of(FOREIGN)
        secret = self.folder / "secret"
        secret.write_text(self.server.password)
        secret.chmod(0o600)
        self.run_another("connect", "caldav", self.server.url, "--user", self.list.user, "--password-file", str(secret),
                         "--patience", "20")

    def texts_of(self, uuid):
        return [text for text in self.list.texts() if f"UID:{uuid}\n" in text.replace("\r", "")]

    def check_theirs(self):
        assert self.texts_of(FOREIGN) == self.theirs, "what is theirs was changed"

    def check_files_of(self, uuid):
        if uuid == OLD:
            assert "ATTACH;" in self.texts_of(OLD)[0], "the photo is missing"


class Written(injection.FailingCall):
    """Another program writes to the list at the moment of a call."""

    def __init__(self, call, way):
        super().__init__(call, way)

    def run(self, case):
        def decide(request):
            if request.call != self.call or case.written:
                return
            line = b"2020-02-02 Theirs, later\n"
            if self.error == "append":
                try:
                    file = os.open(case.list, os.O_WRONLY | os.O_APPEND | os.O_NONBLOCK)
                except BlockingIOError:  # whoever opens it now waits until the delivery has gone on
                    return
                os.write(file, line)
                os.close(file)
            else:
                fresh = case.list.with_name("fresh")
                fresh.write_bytes(case.list.read_bytes() + line)
                os.replace(fresh, case.list)
            case.written.append(line)
        return case.operation.start(case, decide=decide)


class DeliveryFaults(injection.CallsAndKills, injection.FaultTest):
    operations = [injection.Operation("deliver", ["deliver"], injection.QUEUE, None, 60)]
    case = DeliveryCase

    def test_an_allocation_that_fails(self):
        self.try_all(self.failing_allocations)

    def test_another_writer(self):
        self.try_all(lambda operation: [Written(call, way) for call in self.without_fault(operation)
                                        for way in ("append", "replace")])


class FolderFaults(injection.CallsAndKills, injection.FaultTest):
    operations = DeliveryFaults.operations
    case = FolderCase


class ImportOperation(injection.Operation):
    def start(self, case, **options):
        return super().start(case, are_others_over=case.is_import_over, **options)


@unittest.skipUnless(shutil.which("task"), "taskwarrior is not installed")
class TaskwarriorFaults(injection.CallsAndKills, injection.FaultTest):
    operations = [ImportOperation("deliver", ["deliver"], injection.QUEUE, None, 12)]
    case = TaskwarriorCase

    def without_fault(self, operation, **options):
        """The calls of Taskwarrior itself are its own, but for its start."""
        calls = super().without_fault(operation, **options)
        if not isinstance(calls, dict):
            return calls
        return {call: errors for call, errors in calls.items()
                if not call.name.startswith("started ") or call.name == "started execve"}

    def test_an_allocation_that_fails(self):
        self.try_all(self.failing_allocations)


@unittest.skipUnless(shutil.which("radicale"), "radicale is not installed")
class CalDAVFaults(injection.CallsAndKills, injection.FaultTest):
    operations = [injection.Operation("deliver", ["deliver"], injection.QUEUE, None, 12)]
    case = CalDAVCase

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="tasklane-radicale-")
        cls.addClassCleanup(folder.cleanup)
        server = Radicale(pathlib.Path(folder.name))
        (server.folder / "users").write_text("".join(f"u{i}:{server.password}\n" for i in range(CalDAVCase.most_users)))
        server.user = "u0"
        CalDAVCase.server = server.start()
        cls.addClassCleanup(server.close)


if __name__ == "__main__":
    unittest.main()
