"""What is saved waits for a list that is away, or has no room, and arrives later, once."""
import re
import subprocess
import unittest

from delivery import THEIRS, DeliveryTest
from desktop import wait_for


class Waiting(DeliveryTest):
    def test_for_a_list_that_is_away(self):
        self.connect()
        self.check_away(self.list.parent, "is not there")

    def test_for_a_disk_that_is_unmounted(self):
        self.connect()
        disk = self.list.parent.with_name("disk")
        self.list.parent.rename(disk)
        self.list.parent.mkdir()
        bind = ["mount", "--bind", disk, self.list.parent]
        if subprocess.run(bind, capture_output=True).returncode:
            self.skipTest("mounting takes root")
        self.addCleanup(subprocess.run, ["umount", "-l", self.list.parent], check=True)
        self.agent()
        uuids = []
        for _ in range(2):
            uuids.append(self.post("there"))
            self.arrive(uuids)
            # The agent may still be reading the list that it has just written.
            unmount = ["umount", self.list.parent]
            wait_for("the unmounting", lambda: subprocess.run(unmount, capture_output=True).returncode == 0)
            uuids.append(self.post("while it is away"))
            wait_for("the reason", lambda: "is not there" in self.run_json("status", "--json")["problem"])
            subprocess.run(bind, check=True)
            self.arrive(uuids)
        self.assert_once(uuids)

    def test_for_room_in_the_list(self):
        self.list = self.folder / "small/todo.txt"
        self.mount(self.list.parent)
        self.list.write_bytes(THEIRS)
        self.connect()
        uuid = self.post("later")
        self.fill(self.list.parent)
        self.expect_waiting(uuid)
        self.assertEqual(self.list.read_bytes(), THEIRS)
        (self.list.parent / "filler").unlink()
        self.run_program("deliver")
        self.assert_once([uuid])

    def test_for_room_for_receipts(self):
        self.mount(self.folder / "groups")
        self.shared.mkdir(parents=True)
        self.connect()
        uuid = self.post("later")
        self.fill(self.folder / "groups")
        self.run_program("deliver", code=74)
        (self.folder / "groups/filler").unlink()
        self.run_program("deliver")
        self.assert_once([uuid])

    def test_ten_thousand(self):
        uuids = self.check_ten_thousand()
        self.assertEqual(re.findall(r" uuid:(\S+)", "\n".join(self.lines())), uuids)


if __name__ == "__main__":
    unittest.main()
