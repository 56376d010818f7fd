#!/usr/bin/env python3
"""Delivery to a todo.txt file, to Taskwarrior and to a calendar server beside what it is compared with, in one run:
delivery_bench.py TASKLANE."""
import json
import os
import pathlib
import plistlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import uuid

TASKLANE = os.path.abspath(sys.argv[1])
LINES = b"".join(b"2026-01-01 Task number %d +project uuid:OLD-%d\n" % (i, i) for i in range(10000))


def timed(work):
    start = time.perf_counter()
    work()
    return (time.perf_counter() - start) * 1000


def report(what, ours, other, theirs):
    print(f"{what}: {ours:.1f} ms; {other}: {theirs:.1f} ms; ratio {ours / theirs:.2f}")


def compare_with_import(home, run, queue, publish):
    task = ["task", "rc.confirmation=off", "rc.hooks=off", "rc.gc=off", "rc.verbose=nothing"]

    def begin():
        shutil.rmtree(home / ".task", ignore_errors=True)
        (home / ".taskrc").write_text("data.location=~/.task\n")
        run(TASKLANE, "connect", "taskwarrior")

    wholes, imports = [], []
    for _ in range(5):
        begin()
        entries = queue(1000)
        wholes.append(timed(lambda: run(TASKLANE, "deliver")))
        published = min(publish()[0] for _ in range(3))
        begin()
        (home / "tasks.json").write_text(json.dumps([{"uuid": entry["uuid"].lower(), "description": entry["title"]}
                                                     for entry in entries]))
        imports.append(timed(lambda: run(*task, "import", home / "tasks.json")))
    report("1,000 tasks into Taskwarrior, without publishing them afterwards", min(wholes) - published, "task import",
           min(imports))


VDIRSYNCER = """[general]
status_path = "{home}/vdirsyncer"
[pair p]
a = "local"
b = "remote"
collections = [["p", "theirs", "theirs"]]
[storage local]
type = "filesystem"
path = "{home}"
fileext = ".ics"
[storage remote]
type = "caldav"
url = "{url}/ana/"
username = "ana"
password.fetch = ["command", "cat", "{home}/secret"]
item_types = ["VTODO"]
"""
TASK = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//x//y//EN\r\nBEGIN:VTODO\r\nUID:{0}\r\n" \
    "DTSTAMP:20260101T000000Z\r\nSUMMARY:Task {0}\r\nSTATUS:NEEDS-ACTION\r\nEND:VTODO\r\nEND:VCALENDAR\r\n"


def compare_with_vdirsyncer(home, run, queue, count=1000):
    """The server stores one task at a time, so that its own share is the most of all three."""
    sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests"))
    os.environ.setdefault("TASKLANE", TASKLANE)
    from caldav_servers import Radicale
    server = Radicale(home / "radicale").start()
    try:
        for name in ("ours", "theirs", "bare"):
            server.make_list(name, name)
        (home / "secret").write_text(server.password + "\n")
        (home / "secret").chmod(0o600)
        (home / "theirs").mkdir()
        for i in range(count):
            (home / f"theirs/T-{i}.ics").write_text(TASK.format(f"T-{i}"))
        (home / "vdir").write_text(VDIRSYNCER.format(home=home, url=server.url))
        run("vdirsyncer", "-verror", "-c", home / "vdir", "discover")
        theirs = timed(lambda: run("vdirsyncer", "-verror", "-c", home / "vdir", "sync"))
        run(TASKLANE, "connect", "caldav", server.url, "--user", "ana", "--password-file", home / "secret",
            "--list", "ours")
        queue(count)
        ours = timed(lambda: run(TASKLANE, "deliver"))
        bare = timed(lambda: [server.request("PUT", f"/ana/bare/T-{i}.ics", TASK.format(f"T-{i}"),
                                             Content_Type="text/calendar", If_None_Match="*") for i in range(count)])
        assert len(server.uids("ours")) == len(server.uids("theirs")) == count
    finally:
        server.stop()
    report(f"{count} tasks to Radicale", ours, "vdirsyncer", theirs)
    report(f"{count} tasks to Radicale", ours, "as many bare requests, one after the other", bare)


def main(folder):
    home, groups = folder / "home", folder / "groups"
    shared = groups / "group.com.kestrelworks.Tasklane/com.kestrelworks.Tasklane"
    shared.mkdir(parents=True)
    (home / ".todo").mkdir(parents=True)
    todo = home / "todo.txt"
    (home / ".todo/config").write_text(f'export TODO_DIR="{home}"\nTODO_FILE="$TODO_DIR/todo.txt"\n'
                                      'DONE_FILE="$TODO_DIR/done.txt"\nREPORT_FILE="$TODO_DIR/report.txt"\n')
    environment = {**os.environ, "HOME": str(home), "XDG_CONFIG_HOME": str(home / ".config"),
                   "XDG_DATA_HOME": str(home / ".local/share"), "XDG_STATE_HOME": str(folder / "state"),
                   "TASKLANE_GROUP_CONTAINERS": str(groups), "TASKLANE_NOTIFY_FOLDER": str(folder / "notify"),
                   "TASKLANE_DELIVERY": "0"}

    def run(*command):
        subprocess.run(command, env=environment, check=True, stdout=subprocess.DEVNULL)

    todo.write_bytes(b"")
    post = [TASKLANE, "share", "--post", "--title", "Buy milk"]
    agent = subprocess.Popen([TASKLANE, "agent"], env=environment)
    try:
        while b"agent runs" not in subprocess.run([TASKLANE, "status"], env=environment, capture_output=True).stdout:
            time.sleep(0.01)
        waits, whole = [], []
        for _ in range(30):
            start = time.perf_counter()
            output = subprocess.run(post, env=environment, check=True, capture_output=True).stdout
            posted = time.perf_counter()
            key = output.split(b'"uuid": "')[1].split(b'"')[0]
            while key not in todo.read_bytes():
                pass
            waits.append((time.perf_counter() - posted) * 1000)
            whole.append((time.perf_counter() - start) * 1000)
        add = statistics.median(timed(lambda: run("todo-txt", "-p", "add", "Buy milk")) for _ in range(30))
        report("end of a post to its line, with an agent", statistics.median(waits), "todo.sh add", add)
        report("a whole post and its line", statistics.median(whole), "todo.sh add", add)
        private = sum(int(line.split()[1]) for line in open(f"/proc/{agent.pid}/smaps_rollup")
                      if line.startswith("Private"))
        print(f"the agent's own memory: {private / 1024:.1f} MB")
    finally:
        agent.terminate()
        agent.wait()

    def queue(count):
        (shared / "receipts.jsonl").unlink(missing_ok=True)  # nothing of before is looked after
        entries = [{"uuid": str(uuid.uuid4()).upper(), "title": f"Task {i}"} for i in range(count)]
        (shared / "actions.plist").write_bytes(plistlib.dumps({"actions": [{"type": "new", "info": info} for info in entries]}))
        return entries

    def drain(count):
        todo.write_bytes(LINES)
        queue(count)
        return timed(lambda: run(TASKLANE, "deliver"))

    def publish():
        """Milliseconds and peak megabytes."""
        (shared / "items.plist").unlink(missing_ok=True)
        start = time.perf_counter()
        process = subprocess.Popen([TASKLANE, "deliver"], env=environment, stdout=subprocess.DEVNULL)
        usage = os.wait4(process.pid, 0)[2]
        return (time.perf_counter() - start) * 1000, usage.ru_maxrss / 1024

    def rewrite():
        contents = todo.read_bytes()
        with open(home / "fresh", "wb") as file:
            file.write(contents)
            os.fsync(file.fileno())
        os.replace(home / "fresh", todo)

    for count in (2500, 5000, 10000):
        print(f"draining {count} into 10,000 lines: {min(drain(count) for _ in range(3)):.1f} ms")
    whole = min(drain(10000) for _ in range(5))
    (shared / "receipts.jsonl").unlink()
    published = min(publish()[0] for _ in range(5))
    report("draining 10,000, without publishing the 20,000 afterwards", whole - published,
           "reading and durably writing the list alone", min(timed(rewrite) for _ in range(5)))
    todo.write_bytes(LINES)
    measured = [publish() for _ in range(5)]
    report("publishing 10,000 tasks", min(duration for duration, _ in measured), "nothing new",
           min(timed(lambda: run(TASKLANE, "deliver")) for _ in range(5)))
    print(f"its peak memory: {max(memory for _, memory in measured):.1f} MB")
    todo.write_bytes(LINES[:1000])
    if shutil.which("task"):
        compare_with_import(home, run, queue, publish)
        run(TASKLANE, "connect", "todo.txt", todo)
    if shutil.which("radicale") and shutil.which("vdirsyncer"):
        compare_with_vdirsyncer(home, run, queue)
        run(TASKLANE, "connect", "todo.txt", todo)
    # Last, because who delivers in the background stays for a while.
    alone = statistics.median(timed(lambda: run(*post)) for _ in range(30))
    environment["TASKLANE_DELIVERY"] = "1"
    beside = statistics.median(timed(lambda: run(*post)) for _ in range(30))
    report("share --post that starts a delivery or finds one", beside, "alone", alone)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="tasklane-bench-", ignore_cleanup_errors=True) as place:
        main(pathlib.Path(place))
