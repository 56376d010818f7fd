#!/usr/bin/env python3
"""Delivery to a folder of tasks beside writing the same files, in one run: folder_bench.py TASKLANE [COUNT]."""
import os
import pathlib
import plistlib
import resource
import shutil
import subprocess
import sys
import tempfile

from delivery_bench import TASKLANE, report, timed

COUNT = int(sys.argv[2]) if len(sys.argv) > 2 else 1000


def main(place):
    root, groups = place / "tasks", place / "groups"
    shared = groups / "group.com.kestrelworks.Tasklane/com.kestrelworks.Tasklane"
    shared.mkdir(parents=True)
    (root / "home").mkdir(parents=True)
    environment = {**os.environ, "HOME": str(place), "XDG_CONFIG_HOME": str(place / ".config"),
                   "XDG_DATA_HOME": str(place / ".local/share"), "XDG_STATE_HOME": str(place / "state"),
                   "TASKLANE_GROUP_CONTAINERS": str(groups), "TASKLANE_NOTIFY_FOLDER": str(place / "notify"),
                   "TASKLANE_DELIVERY": "0"}

    def run(*command):
        subprocess.run([TASKLANE, *command], env=environment, check=True, stdout=subprocess.DEVNULL)

    def queue(*entries):
        (shared / "actions.plist").write_bytes(plistlib.dumps({"actions": list(entries)}))

    def write_alone(texts):
        """Each durable, under its name or not at all, and the names durable at last."""
        folder = place / "alone"
        folder.mkdir()
        for name, text in texts.items():
            with open(folder / "staging", "wb") as file:
                file.write(text)
                file.flush()
                os.fsync(file.fileno())
            os.link(folder / "staging", folder / name)
            os.unlink(folder / "staging")
        descriptor = os.open(folder, os.O_RDONLY)
        os.fsync(descriptor)
        os.close(descriptor)

    run("connect", "folder", str(root))
    ours, theirs, changes = [], [], []
    for _ in range(3):
        shutil.rmtree(root / "home")
        shutil.rmtree(place / "alone", ignore_errors=True)
        (root / "home").mkdir()
        (shared / "receipts.jsonl").unlink(missing_ok=True)
        queue(*({"type": "new", "info": {"uuid": f"U-{i}", "title": f"Task {i}", "note": "two\nlines"}}
                for i in range(COUNT)))
        ours.append(timed(lambda: run("deliver")))
        texts = {path.name: path.read_bytes() for path in (root / "home").glob("*.ics")}
        assert len(texts) == COUNT
        theirs.append(timed(lambda: write_alone(texts)))
        queue(*({"type": "completed", "info": {"uuid": f"U-{i}"}} for i in range(COUNT // 10)))
        changes.append(timed(lambda: run("deliver")))
    report(f"delivering {COUNT} new tasks", min(ours), "writing, flushing and linking the same files", min(theirs))
    print(f"completing {COUNT // 10} of them: {min(changes):.1f} ms")

    for i in range(10000):
        (root / f"home/L-{i}.ics").write_bytes(
            b"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:theirs\r\nBEGIN:VTODO\r\nUID:L-%d\r\nDTSTAMP:20260101T000000Z\r\n"
            b"CREATED:20260101T000000Z\r\nSUMMARY:Task number %d\r\nDUE;TZID=Europe/Berlin:20270105T100000\r\n"
            b"CATEGORIES:one,two\r\nPRIORITY:5\r\nSTATUS:NEEDS-ACTION\r\nEND:VTODO\r\nEND:VCALENDAR\r\n" % (i, i))
    for path in (root / "home").glob("U-*"):
        path.unlink()

    def publish():
        (shared / "items.plist").unlink()
        run("deliver")

    report("publishing 10,000 tasks", min(timed(publish) for _ in range(5)), "nothing new",
           min(timed(lambda: run("deliver")) for _ in range(5)))
    print(f"the most memory: {resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024:.1f} MB")


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="tasklane-bench-", ignore_cleanup_errors=True) as place:
        main(pathlib.Path(place))
