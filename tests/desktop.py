"""A private desktop for tests: a virtual display with a window manager, a session bus, a container of its own,
and a share sheet on it."""
import contextlib
import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time

TASKLANE = os.environ["TASKLANE"]


def wait_for(what, condition, limit=60.0, pause=0.02):
    """Waits until the condition answers something true, and answers it."""
    deadline = time.monotonic() + limit
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > deadline:
            raise AssertionError(f"waited {limit:g} s in vain for {what}")
        time.sleep(pause)


def end_processes(folder, spared=()):
    """All that were given this folder, of whoever has started them; waits until they are gone."""
    mark = f"={folder}".encode()
    spared = {os.getpid(), *spared}

    def none_is_left():
        found = False
        for path in (path for path in pathlib.Path("/proc").glob("[0-9]*") if int(path.name) not in spared):
            with contextlib.suppress(OSError):  # it has ended
                process = os.pidfd_open(int(path.name))
                try:
                    if mark in (path / "environ").read_bytes():
                        found = True
                        signal.pidfd_send_signal(process, signal.SIGKILL)
                finally:
                    os.close(process)
        return not found

    wait_for("the end of all processes", none_is_left)


class Desktop:
    """Use as a context manager. Programs are started with `environment`."""

    def __init__(self, size="1280x800", bus=False):
        self.size, self.bus = size, bus
        self.programs = []

    def __enter__(self):
        self.folder = tempfile.mkdtemp(prefix="tasklane-desktop-")
        self.environment = {
            **os.environ, "XDG_RUNTIME_DIR": self.folder, "TMPDIR": self.folder,
            "XDG_STATE_HOME": self.folder + "/state",
            "TASKLANE_GROUP_CONTAINERS": self.folder + "/groups",
            "TASKLANE_NOTIFY_FOLDER": self.folder + "/notify", "XDG_SESSION_TYPE": "x11",
            "LANG": "C.UTF-8", "TASKLANE_ANIMATIONS": "0", "TASKLANE_STANDBY": "0"}
        for name in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "LANGUAGE", "LC_ALL",
                     "DBUS_SESSION_BUS_ADDRESS"):
            self.environment.pop(name, None)
        self.environment["NO_AT_BRIDGE"] = "1"
        with contextlib.ExitStack() as onFailure:
            onFailure.callback(self.__exit__)
            self.start_display()
            onFailure.pop_all()
        return self

    def start_display(self):
        reader, writer = os.pipe()
        # -r: no key repeats because its release comes late.
        self.start(["Xvfb", "-displayfd", str(writer), "-screen", "0", self.size + "x24", "-nolisten", "tcp",
                    "-noreset", "-r"], pass_fds=[writer])
        os.close(writer)
        with os.fdopen(reader) as display:
            number = display.readline().strip()
        assert number, "Xvfb has not started"
        self.environment["DISPLAY"] = ":" + number
        if self.bus:
            self.start_bus()
        self.start(["openbox", "--sm-disable"])
        wait_for("the window manager", lambda: "window id" in self.output(
            ["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"]))

    def start_bus(self):
        bus = subprocess.Popen(
            ["dbus-daemon", "--session", "--print-address=1", "--nofork"], env=self.environment,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.programs.append(bus)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        self.environment.pop("NO_AT_BRIDGE")
        self.environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"

    def __exit__(self, *_):
        # Whatever has been started before the display, whose number may be another's at once.
        for program in reversed(self.programs[1:]):
            self.end(program)
        for display in self.programs[:1]:
            end_processes(self.folder, spared=[display.pid])
            self.end(display)
        shutil.rmtree(self.folder, ignore_errors=True)

    def end(self, program):
        program.terminate()
        try:
            program.wait(10)
        except subprocess.TimeoutExpired:
            program.kill()
            program.wait()
        for end in (program.stdout, program.stderr):
            if end:
                end.close()

    def start(self, command, **options):
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        program = subprocess.Popen(command, env=self.environment, **options)
        self.programs.append(program)
        return program

    def output(self, command):
        return subprocess.run(command, env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              text=True).stdout

    def tasklane(self, *arguments, text=None):
        return subprocess.run([TASKLANE, *arguments], env=self.environment, input=text, check=True,
                              stdout=subprocess.PIPE, text=True).stdout

    def publish(self, projects, contexts=()):
        """Publishes projects and contexts by their titles; identifiers are p0, p1, ... and c0, c1, ..."""
        def entries(titles, prefix):
            return {f"{prefix}{i}": {"id": f"{prefix}{i}", "title": title, "path": "Folder"}
                    for i, title in enumerate(titles)}
        import plistlib
        document = plistlib.dumps({
            "projects": entries(projects, "p"), "orderedProjectIDs": [f"p{i}" for i in range(len(projects))],
            "contexts": entries(contexts, "c"), "orderedContextIDs": [f"c{i}" for i in range(len(contexts))]})
        self.tasklane("publish", "containers", "-", text=document.decode())

    def queue(self):
        return json.loads(self.tasklane("queue", "--json"))

    def share(self, *arguments, **options):
        """Opens the sheet; answers its process once its window is on the screen."""
        before = set(self.windows())
        program = self.start([TASKLANE, "share", *arguments], **options)
        def appeared():
            if program.poll() is not None:
                raise AssertionError(f"the share ended with {program.returncode} before its window appeared")
            return set(self.windows()) - before
        try:
            self.window = wait_for("the sheet's window", appeared).pop()
        except AssertionError as failure:
            raise AssertionError(f"{failure}; {self.standing(program)}") from failure
        self.activate()
        return program

    def standing(self, program):
        """What the windows are, and what each thread of a program waits in."""
        threads = [f"{path.parent.name} {path.read_text().strip()}"
                   for path in pathlib.Path(f"/proc/{program.pid}/task").glob("*/wchan")]
        return f"threads {threads}, windows {self.output(['xwininfo', '-root', '-tree'])}"

    def save(self, count=1):
        """Presses Save in the sheet that comes, until the queue has so many entries; answers the last."""
        self.window = wait_for("the sheet's window", self.windows)[0]
        self.activate()
        def saved():
            queued = self.queue()
            if len(queued) < count:
                self.keys("ctrl+Return")
            return queued if len(queued) == count and not self.windows() else None
        return wait_for("the saved item", saved)[-1]["info"]

    def activate(self):
        self.output(["xdotool", "windowactivate", "--sync", self.window])

    def windows(self):
        return self.output(["xdotool", "search", "--onlyvisible", "--name", "^Tasklane$"]).split()

    def keys(self, *names):
        """Presses keys, one after another, as a person does."""
        subprocess.run(["xdotool", "key", "--delay", "40", *names], env=self.environment, check=True)

    def point(self, x, y):
        """Moves the pointer to a place in the window."""
        subprocess.run(["xdotool", "mousemove", "--window", self.window, str(x), str(y)],
                       env=self.environment, check=True)

    def click(self, x, y, button=1, times=1):
        self.point(x, y)
        subprocess.run(["xdotool", "click", "--repeat", str(times), "--delay", "30", str(button)],
                       env=self.environment, check=True)

    def click_until(self, x, y, done, times=1):
        """Clicks until that has its effect: a press right after a change of screen does not count."""
        self.repeat_until(done, lambda: self.click(x, y, times=times))

    def repeat_until(self, done, press):
        def attempt():
            # A late effect may be that the window is gone.
            with contextlib.suppress(subprocess.CalledProcessError):
                press()
            try:
                return wait_for("an effect", done, limit=5)
            except AssertionError:
                return False
        wait_for("a press that counts", attempt)

    def type(self, text):
        subprocess.run(["xdotool", "type", "--delay", "25", text], env=self.environment, check=True)


class WaylandDesktop(Desktop):
    """The same on Wayland, with a keyboard but no pointer."""
    NOBODY = 65534

    def start_display(self):
        # The compositor refuses to run as root.
        user = {"user": self.NOBODY, "group": self.NOBODY, "extra_groups": []} if os.geteuid() == 0 else {}
        self.runtime = tempfile.mkdtemp(prefix="tasklane-wayland-")
        settings = self.runtime + "/settings"
        with open(settings, "w") as file:
            file.write(f'output * resolution {self.size} scale 2\nfor_window [title=".*"] floating enable\n'
                       "input * repeat_delay 600000\n")
        if user:
            os.chown(self.runtime, self.NOBODY, self.NOBODY)
        session = dict(self.environment)
        self.environment.update(XDG_RUNTIME_DIR=self.runtime, WLR_BACKENDS="headless", WLR_RENDERER="pixman",
                                WLR_LIBINPUT_NO_DEVICES="1")
        self.start(["sway", "-c", settings], **user)
        def socket(start, end=""):
            def found():
                return [name for name in os.listdir(self.runtime) if name.startswith(start) and name.endswith(end)]
            return self.runtime + "/" + wait_for("the compositor", found)[0]
        self.environment = {**session, "XDG_SESSION_TYPE": "wayland", "SWAYSOCK": socket("sway-ipc", ".sock"),
                            "WAYLAND_DISPLAY": socket("wayland-").removesuffix(".lock")}
        # A keyboard that stays: programs lose what is typed when the last one is unplugged.
        self.start(["wtype", "-s", "3600000"])
        wait_for("a keyboard", lambda: '"keyboard"' in self.output(["swaymsg", "-t", "get_inputs"]))

    def __exit__(self, *arguments):
        super().__exit__(*arguments)
        shutil.rmtree(self.runtime, ignore_errors=True)

    def nodes(self):
        tree = self.output(["swaymsg", "-t", "get_tree"])
        waiting = [json.loads(tree)] if tree else []  # it gives up soon on a compositor that is busy
        while waiting:
            node = waiting.pop()
            waiting += node["nodes"] + node["floating_nodes"]
            if node.get("app_id"):
                yield node

    def windows(self):
        return [node["id"] for node in self.nodes() if node["name"] == "Tasklane"]

    def activate(self):
        wait_for("the keyboard in the sheet", lambda: any(
            node["focused"] for node in self.nodes() if node["id"] == self.window))

    def keys(self, *names):
        # By one keyboard: the window loses the focus for a moment when another is plugged in.
        words = []
        for name in names:
            *modifiers, key = name.split("+")
            words += [*(word for m in modifiers for word in ("-M", m)), "-k", key,
                      *(word for m in modifiers for word in ("-m", m)), "-s", "40"]
        subprocess.run(["wtype", *words], env=self.environment, check=True)

    def type(self, text):
        subprocess.run(["wtype", text], env=self.environment, check=True)
