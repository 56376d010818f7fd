"""The sheet's process that waits, started, for the next request: who shares must not notice but for the time."""
import os
import pathlib
import resource
import select
import shutil
import signal
import struct
import subprocess
import unittest
import zlib

from desktop import TASKLANE, Desktop, wait_for

PHOTO = pathlib.Path(__file__).resolve().parent.parent / "resources" / "sample" / "photo.jpg"


class SheetStandbyTest(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(Desktop())
        self.desktop.environment.pop("TASKLANE_STANDBY")
        self.place = pathlib.Path(self.desktop.folder) / "tasklane-sheet"
        # The first sheet has the next one's process started.
        first = self.share("--text", "First")
        self.assertEqual(self.window_process(), first.pid)
        self.waiting = self.waiting_process()
        self.desktop.keys("Escape")
        self.assertEqual(first.wait(60), 1)
        self.attachments = pathlib.Path(self.desktop.folder, "groups", "group.com.kestrelworks.Tasklane", "attachments")

    def share(self, *arguments, preexec_fn=None, **environment):
        self.desktop.environment.update(environment)
        return self.desktop.share(*arguments, preexec_fn=preexec_fn)

    def window_process(self):
        return int(self.desktop.output(["xdotool", "getwindowpid", self.desktop.window]))

    def waiting_process(self, other_than=None):
        """The process that waits at the socket, once there is one."""
        def found():
            users = subprocess.run(["pgrep", "-f", "share --standby"], stdout=subprocess.PIPE, text=True).stdout
            mine = [int(pid) for pid in users.split() if int(pid) != other_than and self.is_mine(pid)]
            return self.place.exists() and mine
        return wait_for("the process that waits", found)[0]

    def is_mine(self, pid):
        try:
            environment = pathlib.Path(f"/proc/{pid}/environ").read_bytes().split(b"\0")
        except OSError:
            return False
        return f"XDG_RUNTIME_DIR={self.desktop.folder}".encode() in environment

    def test_waiting_process_serves_next_request(self):
        broken = pathlib.Path(self.desktop.folder) / "broken.png"
        header = b"IHDR" + struct.pack(">IIBBBBB", 8, 8, 8, 2, 0, 0, 0)
        broken.write_bytes(b"\x89PNG\r\n\x1a\n\0\0\0\x0d" + header + struct.pack(">I", zlib.crc32(header)) + b"and no more")
        second = self.desktop.start([TASKLANE, "share", "--text", "Second", "--image", broken.name],
                                    cwd=self.desktop.folder, stderr=subprocess.PIPE, text=True)
        self.desktop.window = wait_for("the sheet's window", self.desktop.windows)[0]
        self.desktop.output(["xdotool", "windowactivate", "--sync", self.desktop.window])
        self.assertEqual(self.window_process(), self.waiting)
        self.desktop.type(" thing")
        self.desktop.keys("ctrl+Return")
        self.assertEqual(second.wait(60), 0)
        self.assertIn("broken.png", second.stderr.read(), "the caller's terminal shows what went wrong")
        second.stderr.close()
        self.assertEqual([a["info"]["title"] for a in self.desktop.queue()], ["Second thing"])
        self.waiting_process(other_than=self.waiting)

    def test_end_of_either_side_is_seen_by_the_other(self):
        caller = self.share("--image", str(PHOTO))
        self.assertEqual(self.window_process(), self.waiting)
        wait_for("the photo", lambda: list(self.attachments.glob("*.jpg")))
        caller.kill()
        wait_for("the sheet to go with its caller", lambda: not self.desktop.windows())
        self.waiting_process(other_than=self.waiting)
        wait_for("the photo's end", lambda: not list(self.attachments.iterdir()))

        caller = self.desktop.start([TASKLANE, "share", "--text", "Lost"], stderr=subprocess.PIPE, text=True)
        self.desktop.window = wait_for("the sheet's window", self.desktop.windows)[0]
        self.assertNotEqual(self.window_process(), caller.pid)
        os.kill(self.window_process(), signal.SIGKILL)
        self.assertEqual(caller.wait(60), 70)
        self.assertRegex(caller.stderr.read(), "^tasklane: The sheet was lost: .+[.]\n$")
        caller.stderr.close()
        self.assertEqual(self.desktop.queue(), [])

    def test_who_waits_holds_nothing_of_who_started_it(self):
        reader, writer = os.pipe()
        with os.fdopen(reader) as end:
            os.kill(self.waiting, signal.SIGKILL)
            caller = self.desktop.start([TASKLANE, "share", "--text", "Last line"], pass_fds=[writer])
            os.close(writer)
            wait_for("the sheet's window", self.desktop.windows)
            self.waiting_process(other_than=self.waiting)
            caller.kill()
            self.assertTrue(select.select([end], [], [], 60)[0], "the pipe has ended with the sheet")

    def test_container_removed_meanwhile(self):
        shutil.rmtree(self.desktop.folder + "/groups", ignore_errors=True)
        caller = self.share("--text", "Anew", "--image", str(PHOTO))
        self.assertEqual(self.window_process(), self.waiting)
        wait_for("the photo", lambda: list(self.attachments.glob("*.jpg")))
        self.desktop.keys("ctrl+Return")
        self.assertEqual(caller.wait(60), 0)
        self.assertEqual([a["info"]["attachments"] for a in self.desktop.queue()], [["1.jpg"]])

    def test_folder_named_from_where_the_caller_works(self):
        self.desktop.environment["TASKLANE_GROUP_CONTAINERS"] = "here"
        caller = self.desktop.start([TASKLANE, "share", "--text", "Near"], cwd=self.desktop.folder)
        self.desktop.window = wait_for("the sheet's window", self.desktop.windows)[0]
        self.assertEqual(self.window_process(), caller.pid)
        self.desktop.activate()
        self.desktop.keys("Escape")
        self.assertEqual(caller.wait(60), 1)
        self.assertEqual(self.waiting_process(), self.waiting)

    def test_two_callers_at_once_get_a_sheet_each(self):
        callers = [self.desktop.start([TASKLANE, "share", "--text", text]) for text in ("One", "Two")]
        for window in wait_for("both sheets", lambda: len(w := self.desktop.windows()) == 2 and w):
            self.desktop.output(["xdotool", "windowactivate", "--sync", window])
            self.desktop.keys("ctrl+Return")
        self.assertEqual([caller.wait(60) for caller in callers], [0, 0])
        self.assertEqual({a["info"]["title"] for a in self.desktop.queue()}, {"One", "Two"})

    def test_who_waits_under_other_conditions_makes_room(self):
        caller = self.share("--text", "Anders", LANGUAGE="de", LANG="de_DE.UTF-8")
        self.assertEqual(self.window_process(), caller.pid)
        german = self.waiting_process(other_than=self.waiting)
        self.desktop.keys("Escape")
        caller.wait(60)
        self.share("--text", "Noch einmal")
        self.assertEqual(self.window_process(), german)

    def test_limits_of_one_caller_are_not_the_next_ones(self):
        def with_limit(soft, hard):
            return lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (soft, hard))

        # Soft limits go with each call, also down and up again.
        few = self.share("--text", "Few", preexec_fn=with_limit(1000, resource.RLIM_INFINITY))
        self.assertEqual(self.window_process(), self.waiting)
        limits = pathlib.Path(f"/proc/{self.waiting}/limits").read_text()
        self.assertRegex(limits, r"Max file size +1000 +unlimited")
        second = self.waiting_process(other_than=self.waiting)
        few.kill()
        wait_for("the sheet to go with its caller", lambda: not self.desktop.windows())
        photo = self.share("--image", str(PHOTO), preexec_fn=lambda: signal.pthread_sigmask(
            signal.SIG_BLOCK, [signal.SIGTERM]))
        self.assertEqual(self.window_process(), second)
        wait_for("the photo", lambda: list(self.attachments.glob("*.jpg")))
        third = self.waiting_process(other_than=second)
        state = pathlib.Path(f"/proc/{third}/status").read_text()
        self.assertRegex(state, r"SigBlk:\t0+\n")
        photo.kill()
        wait_for("the sheet to go with its caller", lambda: not self.desktop.windows())
        # A hard limit cannot be taken back, nor a priority.
        for condition in (with_limit(1000000, 1000000), lambda: os.nice(3)):
            caller = self.share("--text", "Few for good", preexec_fn=condition)
            self.assertEqual(self.window_process(), caller.pid)
            caller.kill()
            wait_for("the sheet to go", lambda: not self.desktop.windows())

    def test_who_waits_and_does_not_answer_is_not_waited_for(self):
        os.kill(self.waiting, signal.SIGSTOP)
        caller = self.share("--text", "At once")
        self.assertEqual(self.window_process(), caller.pid)
        os.kill(self.waiting, signal.SIGCONT)
        self.desktop.keys("ctrl+Return")
        self.assertEqual(caller.wait(60), 0)
        # Awake again, it serves the next one, and has not forgotten itself over the one that hung up.
        self.share("--text", "Next")
        self.assertEqual(self.window_process(), self.waiting)
        self.assertEqual(len(self.desktop.queue()), 1)


if __name__ == "__main__":
    unittest.main()
