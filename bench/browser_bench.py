#!/usr/bin/env python3
"""What a browser's host adds to a share, and the way from the key in Chromium to the sheet beside `tasklane share`, taken in
turns: browser_bench.py TASKLANE [COUNT]."""
import json
import os
import pathlib
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile

from delivery_bench import TASKLANE, report, timed

COUNT = int(sys.argv[2]) if len(sys.argv) > 2 else 30
SOURCES = pathlib.Path(__file__).resolve().parent.parent
os.environ.update(TASKLANE=TASKLANE, TASKLANE_DELIVERY="0")
sys.path.insert(0, str(SOURCES / "tests"))
from browser_host_test import HOST, OURS, frame, share  # noqa: E402
from browsers import KEYS, Chromium  # noqa: E402
from desktop import Desktop, wait_for  # noqa: E402


def own_megabytes(process):
    rollup = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text()
    return sum(int(line.split()[1]) for line in rollup.splitlines() if line.startswith("Private_")) / 1024


def host(folder):
    """Beside a command line that does nothing."""
    shutil.copy(HOST, folder)
    shutil.copy("/bin/true", folder / "tasklane")
    sent = share(title="T", url="https://example.org/")

    def run(*command):
        subprocess.run(command, input=sent, stdout=subprocess.DEVNULL, check=True)
    pairs = [(timed(lambda: run(folder / HOST.name, *OURS)), timed(lambda: run(folder / "tasklane")))
             for _ in range(10 * COUNT)]
    with_host, without = map(min, zip(*pairs))
    waiting = subprocess.Popen([folder / HOST.name, *OURS], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    waiting.stdin.write(frame({"type": "hello"}))
    waiting.stdin.flush()
    waiting.stdout.read(struct.unpack("=I", waiting.stdout.read(4))[0])
    print(f"the host adds {with_host - without:.1f} ms and {own_megabytes(waiting.pid):.1f} MB")
    waiting.communicate()


class Windows:
    """The windows on a desktop, as its window manager tells of them."""

    def __init__(self, desktop):
        self.desktop = desktop
        self.told = subprocess.Popen(["xprop", "-root", "-spy", "_NET_CLIENT_LIST"], env=desktop.environment,
                                     stdout=subprocess.PIPE, text=True)
        self.count = self.next()

    def next(self):
        return len(self.told.stdout.readline().split(","))

    def wait_for(self, count):
        while self.next() != count:
            pass

    def time_of_sheet(self, action):
        def shown():
            action()
            self.wait_for(self.count + 1)
        taken = timed(shown)
        self.desktop.window = wait_for("the sheet", self.desktop.windows)[0]
        self.desktop.activate()
        self.desktop.keys("Escape")
        self.wait_for(self.count)
        return taken


def sheets(folder, standby):
    """Until the sheet's window is there."""
    page = folder / "page.html"
    page.write_text("<!doctype html><title>A page</title>Words")
    request = folder / "request.json"
    request.write_text(json.dumps({"items": [{"title": "A page", "attachments": [
        {"type": "public.property-list", "results": {"url": page.as_uri()}}]}]}))
    with Desktop() as desktop:
        desktop.environment.update(HOME=desktop.folder, TASKLANE_STANDBY=standby)
        place = pathlib.Path(desktop.folder, "tasklane-sheet")
        with Chromium(desktop, folder) as browser:
            browser.open(page.as_uri())
            windows = Windows(desktop)

            def by_key():
                desktop.output(["xdotool", "key", KEYS])

            def by_command():
                desktop.start([TASKLANE, "share", "--request", str(request)])
            times = {by_key: [], by_command: []}
            for _ in range(COUNT + 1):
                for action, each in times.items():
                    browser.activate()
                    each.append(windows.time_of_sheet(action))
                    if standby == "1":
                        wait_for("the next sheet's process", place.exists)
            windows.told.terminate()
            key, command = (statistics.median(each[1:]) for each in times.values())
            kind = "that waits" if standby == "1" else "that is started"
            report(f"from the key to a sheet {kind}", key, "tasklane share", command)


def main():
    with tempfile.TemporaryDirectory(prefix="tasklane-bench-") as name:
        folder = pathlib.Path(name)
        host(folder)
        subprocess.run([SOURCES / "scripts/package-extension", folder], check=True)
        for standby in ("0", "1"):
            sheets(folder, standby)


if __name__ == "__main__":
    main()
