"""The same for a delivery into a todo.txt file, at each of whose calls other programs write to that file too. Whatever
happens: each task is in the list once or still in the queue, and what belongs to others is as they left it."""
import json
import os
import re
import signal
import unittest

import fault_injection_test as injection
import faults
from program import PROGRAM

THEIRS = b"(B) 2020-01-01 Feed the cat +home\r\n\n\xff raw bytes \x00\n"
OPEN = b"2020-01-01 Begun before uuid:MARKED\n"
COMPLETED = rb"x \d{4}-\d\d-\d\d 2020-01-01 Begun before uuid:MARKED\n"
NOTE = "one\ntwo"
TOLD = r"could not be published|what is done until now stays done"
WAITING = [{"type": "completed", "info": {"uuid": "MARKED"}},
           {"type": "new", "info": {"uuid": "NEW", "title": "Newer", "notes": NOTE}}]


class DeliveryCase(injection.Case):
    def prepare(self):
        super().prepare(*WAITING)
        self.environment |= {"HOME": str(self.folder), "XDG_DATA_HOME": str(self.folder / "data"),
                             "XDG_CONFIG_HOME": str(self.folder / "config")}
        for name in ("TODO_DIR", "TODO_FILE", "TODOTXT_CFG_FILE"):
            self.environment.pop(name, None)
        self.list = self.folder / "data" / "tasklane" / "todo.txt"
        self.list.parent.mkdir(parents=True)
        self.list.write_bytes(THEIRS + OPEN)
        self.written = []

    def check(self, outcome):
        said = f"exit {outcome.code}, said: {outcome.error.strip()[-300:]!r}"
        lines = self.list.read_bytes()
        assert lines.startswith(THEIRS), f"what is theirs was changed: {lines}"
        for line in self.written:
            assert lines.count(line) == 1, f"{line} is not there once: {lines}"
        queue = [entry["info"]["uuid"] for entry in injection.entries(self.folder)]
        assert set(queue) <= {"OLD", "NEW", "MARKED"} and len(set(queue)) == len(queue), queue
        for uuid in ("OLD", "NEW"):
            count = len(re.findall(rb" uuid:%s\n" % uuid.encode(), lines))
            assert count <= 1 and (count or uuid in queue), f"{uuid} is {count} times in the list; {said}"
            if count:
                self.check_files_of(uuid)
        assert "MARKED" in queue or re.search(COMPLETED, lines), f"the mark is lost; {said}"
        assert len(re.findall(rb"uuid:MARKED\n", lines)) == 1, lines
        if not self.fault.ends_process and "Fatal glibc error" not in outcome.error:
            assert outcome.code in (0, *injection.NOT_DONE), said
            isTold = queue or self.fault.silences or re.search(TOLD, outcome.error)
            assert not queue if outcome.code == 0 else isTold, f"{queue} are in the queue; {said}"
            assert outcome.code == 0 or self.fault.silences or outcome.error.strip(), f"says nothing; {said}"

    def check_files_of(self, uuid):
        notes = self.list.parent / "notes"
        if uuid == "NEW":
            assert (notes / "NEW.txt").read_text() == NOTE + "\n", "the note is not whole"
        else:
            assert (notes / "OLD" / "1.jpg").read_bytes().endswith(b"\xff\xd9"), "the photo is not whole"

    def staged(self):
        return [path for path in self.list.parent.rglob("*") if "tasklane-" in path.name]

    def check_next(self):
        # What could not be removed, by a later delivery.
        if not self.fault.ends_process and not self.fault.lasts and " unlink #" not in self.line:
            assert not self.staged(), f"left over: {self.staged()}"
        self.run_another("deliver")
        self.check(faults.Outcome(0, "", "", {}))
        for uuid in ("OLD", "NEW"):
            self.check_files_of(uuid)
        # After a fault one may stay for a week, until it is sure that nobody fetches it.
        photos = list((self.folder / injection.GROUP / "attachments").glob("*.jpg"))
        assert not photos or not isinstance(self.fault, injection.Nothing), "the photo stays"
        receipts = json.loads(self.run_another("receipts", "--json"))
        assert {receipt["uuid"] for receipt in receipts} == {"OLD", "NEW", "MARKED"}, receipts


class FolderCase(DeliveryCase):
    """The same into a folder of tasks, where a program has named the file of the task to be completed otherwise."""

    def prepare(self):
        super().prepare()
        self.root = self.folder / "tasks"
        self.root.mkdir()
        self.run_another("connect", "folder", str(self.root))
        for name, uid in ("theirs", "THEIRS"), ("another name", "MARKED"):
            (self.root / f"{name}.ics").write_bytes(self.task(uid))

    @staticmethod
    def task(uid):
        return (f"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:x\r\nBEGIN:VTODO\r\nUID:{uid}\r\nSUMMARY:{uid}\r\n"
                "END:VTODO\r\nEND:VCALENDAR\r\n").encode()

    def check(self, outcome):
        said = f"exit {outcome.code}, said: {outcome.error.strip()[-300:]!r}"
        assert (self.root / "theirs.ics").read_bytes() == self.task("THEIRS"), "what is theirs was changed"
        queue = [entry["info"]["uuid"] for entry in injection.entries(self.folder)]
        for uuid in ("OLD", "NEW"):
            file = self.root / f"{uuid}.ics"
            assert file.exists() or uuid in queue, f"{uuid} is lost; {said}"
            assert not file.exists() or b"END:VCALENDAR" in file.read_bytes(), f"{uuid} is not whole; {said}"
        marked = (self.root / "another name.ics").read_bytes()
        assert b"UID:MARKED" in marked and ("MARKED" in queue or b"STATUS:COMPLETED" in marked), f"the mark is lost; {said}"
        if not self.fault.ends_process and "Fatal glibc error" not in outcome.error:
            assert outcome.code in (0, *injection.NOT_DONE), said
            assert outcome.code != 0 or not queue, f"{queue} are in the queue; {said}"

    def check_files_of(self, uuid):
        if uuid == "OLD":
            photo = self.root / ".attachments" / "OLD" / "1.jpg"
            assert photo.read_bytes().endswith(b"\xff\xd9"), "the photo is not whole"

    def staged(self):
        return []


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


class DeliveryFaults(injection.FaultTest):
    operations = [injection.Operation("deliver", ["deliver"], injection.QUEUE, None, 60)]
    case = DeliveryCase

    def test_a_call_that_fails(self):
        self.try_all(self.failing_calls)

    def test_an_allocation_that_fails(self):
        self.try_all(self.failing_allocations)

    def test_being_killed(self):
        self.try_all(self.kills)

    def test_another_writer(self):
        self.try_all(lambda operation: [Written(call, way) for call in self.without_fault(operation)
                                        for way in ("append", "replace")])


class FolderFaults(injection.FaultTest):
    operations = [injection.Operation("deliver", ["deliver"], injection.QUEUE, None, 60)]
    case = FolderCase

    def test_a_call_that_fails(self):
        self.try_all(self.failing_calls)

    def test_being_killed(self):
        self.try_all(self.kills)


if __name__ == "__main__":
    unittest.main()
