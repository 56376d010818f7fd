"""The same for the sheet of a real display: from the moment on at which somebody presses Save."""
import collections
import json
import os
import threading
import unittest

import fault_injection_test as injection
import faults
from desktop import Desktop, wait_for
from program import PROGRAM

SHARE = os.path.join(os.path.dirname(PROGRAM), "PlugIns", "Share.appex", "share")
# What goes between the sheet and its display is the display's.
OF_THE_DISPLAY = {"poll", "ppoll", "recvmsg", "sendmsg", "writev", "epoll_wait", "epoll_pwait", "epoll_ctl", "fcntl"}


def is_of_the_display(request):
    """Sockets, pipes and the like: whatever the toolkit's threads tell each other. Also the console, which is watched."""
    if request.call.name not in ("read", "write"):
        return False
    if request.arguments[0] == 2:
        return True
    try:
        return not os.readlink(f"/proc/{request.pid}/fd/{request.arguments[0]}").startswith("/")
    except OSError:  # another thread has closed it
        return True


class Sheet(injection.Operation):
    """Opens the sheet and presses Save. One at a time has the keyboard."""
    keyboard = threading.Lock()

    def __init__(self, desktop):
        super().__init__("sheet", None, injection.QUEUE, injection.adds_one("new"), 12)
        self.desktop = desktop

    def start(self, case, decide=lambda request: None):
        request = case.folder / "request.json"
        request.write_text(json.dumps({"items": [{"title": "New"}]}))
        places = {name: case.environment[name] for name in (
            "TASKLANE_GROUP_CONTAINERS", "TASKLANE_NOTIFY_FOLDER", "XDG_STATE_HOME", "TASKLANE_LOCK_LIMIT")}
        environment = {**self.desktop.environment, **places, "DBUS_SESSION_BUS_ADDRESS": "disabled:"}
        console = case.folder / "console"
        console.touch()
        counts, calls, saving, ended = collections.Counter(), {}, threading.Event(), threading.Event()

        def since_save(request):
            name = request.call.name
            if not saving.is_set() or name in OF_THE_DISPLAY or is_of_the_display(request):
                return None
            counts[name] += 1
            request = request._replace(call=faults.Call(name, counts[name]))
            calls[request.call] = faults.errors_of(request)
            return decide(request)

        def save():
            windows = wait_for("the sheet", lambda: ended.is_set() or self.desktop.windows())
            if not ended.is_set():
                self.desktop.window = windows[0]
                self.desktop.activate()
                saving.set()
                self.desktop.keys("ctrl+Return")
                # It stays when it could not save, until somebody closes it.
                wait_for("the end of Save", lambda: ended.is_set() or b"It is not saved" in console.read_bytes(), 60)
                if not ended.is_set():
                    self.desktop.keys("Escape")

        with self.keyboard:
            wait_for("the last sheet to go", lambda: not self.desktop.windows())
            person = threading.Thread(target=save)
            person.start()
            outcome = faults.run([SHARE, "--request", str(request)], environment, decide=since_save, limit=30,
                                 console=lambda: console.open("w+b"))
            ended.set()
            person.join()
        return outcome._replace(calls=calls)


class SheetFaults(injection.CallsAndKills, injection.FaultTest):
    @classmethod
    def setUpClass(cls):
        cls.desktop = cls.enterClassContext(Desktop())
        cls.operations = [Sheet(cls.desktop)]


if __name__ == "__main__":
    unittest.main()
