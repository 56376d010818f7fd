#!/usr/bin/env python3
"""Delivery to a todo.txt file beside what it is compared with, in one run: delivery_bench.py TASKLANE."""
import os
import pathlib
import plistlib
import statistics
import subprocess
import sys
import tempfile
import time

TASKLANE = os.path.abspath(sys.argv[1])
LINES = b"".join(b"2026-01-01 Task number %d +project uuid:OLD-%d\n" % (i, i) for i in range(10000))


def timed(work):
    start = time.perf_counter()
    work()
    return (time.perf_counter() - start) * 1000


def report(what, ours, other, theirs):
    print(f"{what}: {ours:.1f} ms; {other}: {theirs:.1f} ms; ratio {ours / theirs:.2f}")


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
            uuid = output.split(b'"uuid": "')[1].split(b'"')[0]
            while uuid not in todo.read_bytes():
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

    def drain(count):
        (shared / "receipts.jsonl").unlink(missing_ok=True)  # nothing of before is looked after
        todo.write_bytes(LINES)
        (shared / "actions.plist").write_bytes(plistlib.dumps({"actions": [
            {"type": "new", "info": {"uuid": f"{count}-{time.time_ns()}-{i}", "title": f"Task {i}"}}
            for i in range(count)]}))
        return timed(lambda: run(TASKLANE, "deliver"))

    def rewrite():
        contents = todo.read_bytes()
        with open(home / "fresh", "wb") as file:
            file.write(contents)
            os.fsync(file.fileno())
        os.replace(home / "fresh", todo)

    for count in (2500, 5000, 10000):
        print(f"draining {count} into 10,000 lines: {min(drain(count) for _ in range(3)):.1f} ms")
    report("draining 10,000", min(drain(10000) for _ in range(3)), "reading and durably writing the list alone",
           min(timed(rewrite) for _ in range(5)))
    (shared / "receipts.jsonl").unlink()
    todo.write_bytes(LINES)
    report("publishing 10,000 tasks", timed(lambda: run(TASKLANE, "deliver")), "nothing new",
           min(timed(lambda: run(TASKLANE, "deliver")) for _ in range(5)))
    # Last, because who delivers in the background stays for a while.
    alone = statistics.median(timed(lambda: run(*post)) for _ in range(30))
    environment["TASKLANE_DELIVERY"] = "1"
    beside = statistics.median(timed(lambda: run(*post)) for _ in range(30))
    report("share --post that starts a delivery or finds one", beside, "alone", alone)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory(prefix="tasklane-bench-", ignore_cleanup_errors=True) as place:
        main(pathlib.Path(place))
