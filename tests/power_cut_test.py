"""What a power cut leaves. Real operations are recorded, call by call: how the names and the contents below the
container change, and what is flushed. Then the power is cut at each call, and the disk holds what a file system
promises: contents and names that were flushed; of all others any part, in any order, the last write torn. Whatever it
holds, the queue must be whole, with all that had been confirmed by then, each entry with its whole photos."""
import collections
import contextlib
import itertools
import os
import pathlib
import plistlib
import random
import signal
import tempfile
import unittest

import faults
from program import PROGRAM, SAMPLES

QUEUE = "group.com.kestrelworks.Tasklane/com.kestrelworks.Tasklane/actions.plist"
ITEMS = QUEUE.replace("actions", "items")
ATTACHMENTS = "group.com.kestrelworks.Tasklane/attachments/"
MOST_COMBINATIONS = 48
FLUSHES = ("fsync", "fdatasync", "msync", "sync_file_range")

# One step of a recording. A write changes contents[begin:begin + len(bytes)] of a file of now `size` bytes; names are
# set and removed in one step; a flush is of one file or folder; what is confirmed is all that is done by then.
Write = collections.namedtuple("Write", "file begin bytes size")
Names = collections.namedtuple("Names", "changes")  # path -> file, FOLDER or None
Flush = collections.namedtuple("Flush", "target path")
Confirmation = collections.namedtuple("Confirmation", "")
FOLDER = "folder"
Stamp = collections.namedtuple("Stamp", "st_ino st_size st_mtime_ns st_ctime_ns")


def changed_part(old, new):
    """Where two contents begin to differ, and what the new one holds from there to where they are the same again."""
    begin = len(os.path.commonprefix([old, new]))
    end = len(new)
    if len(old) == len(new):
        while end > begin and old[end - 1] == new[end - 1]:
            end -= 1
    return begin, new[begin:end]


class Recording:
    """What processes do below a folder. Files are known by numbers of their own, as the system gives those of files
    that are gone to others; folders by their paths."""

    def __init__(self, top, **environment):
        self.top = top
        self.environment = {**os.environ, "TASKLANE_GROUP_CONTAINERS": top, **environment}
        self.steps = []
        self.numbers = {}  # inode -> number, of the files that there are
        self.unused = itertools.count(1)
        self.names, self.contents = {}, {}
        self.processes = set()  # those that may have files without a name

    def run(self, *arguments, kill=None, codes=(0,)):
        """To its end, or to where it is killed, which confirms nothing. Answers the calls."""
        def decide(request):
            self.before_call(request)
            if request.call == kill:
                os.kill(request.pid, signal.SIGKILL)
        outcome = faults.run([PROGRAM, *map(str, arguments)], self.environment, decide=decide)
        assert outcome.code in (codes if kill is None else (-signal.SIGKILL,)), outcome
        self.look()
        if kill is None:
            self.steps.append(Confirmation())
        return list(outcome.calls)

    def settle(self):
        """What is there by now is on the disk."""
        self.look()
        self.steps += [Flush(number, "") for number in self.numbers.values()]
        folders = ["."] + [path for path, target in self.names.items() if target == FOLDER]
        self.steps += [Flush(path, "") for path in folders]

    def before_call(self, request):
        self.processes.add(request.pid)
        self.look()
        if request.call.name == "syncfs":
            self.settle()
        elif request.call.name.removeprefix("started ") in FLUSHES:
            place = f"/proc/{request.pid}/fd/{request.arguments[0]}"
            path = os.readlink(place)
            self.steps.append(Flush(self.relative(path) if os.path.isdir(place) else self.numbers[os.stat(place).st_ino],
                                    path))
        elif request.call.name == "write" and request.arguments[0] == 1:
            self.steps.append(Confirmation())

    def relative(self, path):
        return os.path.relpath(path, self.top)

    def look(self):
        """Records how names and contents differ from the last look."""
        names, files = self.there_is()
        self.numbers = {inode: self.numbers.get(inode) or next(self.unused) for inode in files}
        for inode, new in files.items():
            number = self.numbers[inode]
            old = self.contents.get(number, b"")
            if new != old:
                self.steps.append(Write(number, *changed_part(old, new), len(new)))
                self.contents[number] = new
        names = {path: self.numbers.get(target, target) for path, target in names.items()}
        changes = {path: names.get(path) for path in names.keys() | self.names.keys()
                   if names.get(path) != self.names.get(path)}
        if changes:
            self.steps.append(Names(changes))
        self.names = names

    def there_is(self):
        """path -> FOLDER or inode, and inode -> contents. Other threads go on meanwhile: until nothing has changed."""
        while True:
            names, files = {}, self.unnamed()
            with contextlib.suppress(FileNotFoundError):
                before = self.stamps()
                for path, stamp in before.items():
                    names[self.relative(path)] = stamp if stamp == FOLDER else stamp.st_ino
                    if stamp != FOLDER:
                        files[stamp.st_ino] = pathlib.Path(path).read_bytes()
                if self.stamps() == before:
                    return names, files

    def stamps(self):
        stamps = {}
        for folder, folders, leaves in os.walk(self.top):
            stamps |= {os.path.join(folder, name): FOLDER for name in folders}
            stamps |= {path: Stamp(*(getattr(os.stat(path), field) for field in Stamp._fields))
                       for path in (os.path.join(folder, name) for name in leaves)}
        return stamps

    def unnamed(self):
        found = {}
        for process in list(self.processes):
            try:
                descriptors = os.listdir(f"/proc/{process}/fd")
            except OSError:  # it has ended
                self.processes.discard(process)
                continue
            for descriptor in descriptors:
                path = f"/proc/{process}/fd/{descriptor}"
                with contextlib.suppress(OSError):  # closed meanwhile
                    if os.readlink(path).startswith(self.top) and os.path.isfile(path):
                        with open(path, "rb") as file:
                            found[os.fstat(file.fileno()).st_ino] = file.read()
        return found

    def item(self):
        return plistlib.loads(self.file(ITEMS))["items"][0]["uuid"]

    def file(self, path):
        return self.contents.get(self.names.get(path))


class Disk:
    """What may be on the disk at a moment of a recording: what is surely there, and what may have come too."""

    def __init__(self):
        self.contents, self.names = {}, {"": FOLDER}
        self.writes = collections.defaultdict(list)  # file -> not yet flushed, in their order
        self.changes = []  # not yet flushed, each a path and what it leads to; those of one step stay together

    def take(self, step):
        if isinstance(step, Write):
            self.writes[step.file].append(step)
        elif isinstance(step, Names):
            self.changes.append(step.changes)
        elif isinstance(step, Flush) and isinstance(step.target, str):
            folder = "" if step.target == "." else step.target
            flushed = [change for change in self.changes if any(os.path.dirname(path) == folder for path in change)]
            self.changes = [change for change in self.changes if change not in flushed]
            for change in flushed:
                self.apply_names(self.names, change)
        elif isinstance(step, Flush):
            self.contents[step.target] = self.written(step.target, self.writes.pop(step.target, []))

    @staticmethod
    def apply_names(names, change):
        for path, target in change.items():
            if target is None:
                names.pop(path, None)
            else:
                names[path] = target

    def written(self, file, writes):
        contents = bytearray(self.contents.get(file, b""))
        for write in writes:
            end = write.begin + len(write.bytes)
            contents.extend(bytes(max(0, end - len(contents))))
            contents[write.begin:end] = write.bytes
            del contents[write.size:]
        return bytes(contents)

    def after_power_cut(self, chance):
        """One disk that the cut may leave: path -> contents."""
        names = dict(self.names)
        for change in self.some(self.changes, chance):
            self.apply_names(names, change)
        contents = dict(self.contents)
        for file, writes in self.writes.items():
            kept = self.some(writes, chance)
            if kept and chance.random() < 0.5:
                last = kept[-1]
                kept[-1] = last._replace(bytes=last.bytes[:chance.randrange(len(last.bytes) + 1)])
            contents[file] = self.written(file, kept)
        def reachable(path):
            folder = os.path.dirname(path)
            return not path or names.get(folder) == FOLDER and reachable(folder)
        return {path: contents.get(target, b"") for path, target in names.items()
                if target != FOLDER and reachable(path)}

    @staticmethod
    def some(steps, chance):
        kind = chance.randrange(4)
        if kind == 0:
            return []
        if kind == 1:
            return list(steps)
        if kind == 2:
            return list(steps[:chance.randrange(len(steps) + 1)])
        return [step for step in steps if chance.random() < 0.5]


def actions(queue):
    return plistlib.loads(queue)["actions"] if queue else []


class PowerCut(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        photo = SAMPLES / "photo.jpg"
        with tempfile.TemporaryDirectory(prefix="tasklane-power-") as folder:
            cls.recording = Recording(folder)
            cls.recording.run("share", "--title", "First of all", "--post")
            cls.recording.run("publish", "items", SAMPLES / "items.plist")
            item = cls.recording.item()
            cls.recording.run("share", "--title", "With photos", "--image", photo, "--post")
            cls.recording.run("complete", item)
            cls.recording.run("share", "--title", "With another", "--image", photo, "--post")
            cls.recording.run("flag", item)

    def problem(self, steps):
        """What a power cut at some moment of the steps breaks, or none."""
        chance = random.Random(1)
        disk = Disk()
        # What a file has held since it was last confirmed. Nothing is a content too: before the first there is no file.
        possible = {QUEUE: [None], ITEMS: [None]}
        for number, step in enumerate(steps):
            disk.take(step)
            if isinstance(step, Confirmation):
                possible = {path: contents[-1:] for path, contents in possible.items()}
            elif isinstance(step, Names):
                for path in possible.keys() & step.changes.keys():
                    possible[path].append(self.recording.contents[step.changes[path]])
            for _ in range(MOST_COMBINATIONS if disk.changes or any(disk.writes.values()) else 1):
                problem = self.wrong_with(disk.after_power_cut(chance), possible)
                if problem:
                    return f"step {number} of {len(steps)}, {str(step)[:200]}: {problem}"
        return None

    def wrong_with(self, files, possible):
        for path, contents in possible.items():
            if files.get(path) not in contents:
                return f"{path} holds {files.get(path)} instead of one of {contents}"
        for name in (name for entry in actions(files.get(QUEUE)) for name in entry["info"].get("attachments", [])):
            if files.get(ATTACHMENTS + name) != self.recording.file(ATTACHMENTS + name):
                return f"{name} is {'not whole' if ATTACHMENTS + name in files else 'missing'}"
        return None

    def test_leaves_all_that_was_confirmed(self):
        self.assertEqual(len(actions(self.recording.file(QUEUE))), 5)
        self.assertIsNone(self.problem(self.recording.steps))

    def test_would_show_each_flush_that_is_missing(self):
        """Nor is one made in vain: each costs time."""
        flushes = [step for step in self.recording.steps if isinstance(step, Flush)]
        self.assertGreater(len(flushes), 12)
        for flush in flushes:
            with self.subTest(flush=flush):
                self.assertIsNotNone(self.problem([step for step in self.recording.steps if step is not flush]))


if __name__ == "__main__":
    unittest.main()
