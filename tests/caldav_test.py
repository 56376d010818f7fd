"""What is saved arrives on a calendar server, once, and the server's own lists are published, whatever server, network
and other programs do. TASKLANE_KILLS says how many deliveries are killed."""
import collections
import random
import re
import subprocess
import unittest

from caldav_servers import Front, Radicale, Xandikos
from delivery_test import KILLS, DeliveryTest
from desktop import wait_for
from program import SAMPLES

TASK = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//x//y//EN\r\nBEGIN:VTODO\r\nUID:{uid}\r\n" \
    "DTSTAMP:20260101T000000Z\r\n{more}SUMMARY:{title}\r\nX-THEIRS;X-P=1:kept\r\nEND:VTODO\r\nEND:VCALENDAR\r\n"


class CalDAVTest(DeliveryTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CACHE_HOME"] = str(self.folder / "cache")
        self.secret = self.folder / "secret"

    def serve(self, kind=Radicale, **options):
        self.server = kind(self.folder / kind.__name__, **options).start()
        self.addCleanup(self.server.stop)
        self.server.make_list("tasks", "Tasks")
        if self.server.user:
            self.write_secret(self.server.password)
        return self.server

    def front(self, fault=lambda handler: None):
        front = Front(self.server, fault)
        self.addCleanup(front.stop)
        return front

    def write_secret(self, password):
        self.secret.write_text(password + "\n")
        self.secret.chmod(0o600)

    def connect(self, address=None, *more, code=0):
        login = ["--user", self.server.user, "--password-file", self.secret] if self.server.user else []
        return self.run_program("connect", "caldav", address or self.server.url, *login, "--list", "Tasks", *more, code=code)

    def times(self):
        return collections.Counter(self.server.uids())

    def text_of(self, uid):
        return next(text for text in self.server.texts() if f"UID:{uid}\n" in text.replace("\r", ""))

    def put(self, uid, title, more="", **headers):
        """As another program would."""
        status, text = self.server.request("PUT", f"{self.server.home}tasks/{uid}.ics",
                                           TASK.format(uid=uid, title=title, more=more),
                                           Content_Type="text/calendar", **headers)
        self.assertIn(status, (201, 204), text)

    def published(self):
        return {item["title"]: item for item in self.run_json("today", "--all", "--json")}


class Arrival(CalDAVTest):
    def test_both_ways_with_radicale(self):
        self.check_both_ways(Radicale)

    def test_both_ways_with_xandikos(self):
        self.check_both_ways(Xandikos)

    def check_both_ways(self, kind):
        self.serve(kind)
        self.server.make_list("home", "At home")
        self.put("theirs-1", "Feed the cat", "PRIORITY:5\r\nCATEGORIES:kitchen\r\n")
        self.assertIn("  Tasks  (", self.connect(None, "--every", "1"))
        self.assertLessEqual({"Tasks", "At home"}, {p["title"] for p in self.run_json("catalogue", "projects", "--json")})
        self.assertEqual([c["title"] for c in self.run_json("catalogue", "contexts", "--json")], ["kitchen"])
        uuid = self.post("x Walk, + more; é", "--image", SAMPLES / "photo.jpg", "--context", "kitchen")
        elsewhere = self.post("there", "--project", "At home")
        self.run_program("deliver")
        self.assertEqual(self.server.uids(), sorted(["theirs-1", uuid]))
        self.assertEqual(self.server.uids("home"), [elsewhere])
        text = self.text_of(uuid)
        for line in ("SUMMARY:x Walk\\, + more\\; é", "note of x Walk", "CATEGORIES:kitchen", "ATTACH;"):
            self.assertIn(line, re.sub(r"\r?\n ", "", text))
        receipt = self.run_json("receipts", "--json")[0]
        self.assertTrue(receipt["where"].endswith(f"{self.server.home}tasks/{uuid}.ics"), receipt)
        item = self.published()["Feed the cat"]
        self.run_program("complete", item["uuid"])
        self.run_program("flag", item["uuid"])
        self.run_program("deliver")
        text = self.text_of("theirs-1")
        for line in ("STATUS:COMPLETED", "PRIORITY:1", "X-THEIRS;X-P=1:kept", "CATEGORIES:kitchen"):
            self.assertIn(line, text)
        self.agent()
        self.put("theirs-2", "Of another program")
        wait_for("its task", lambda: "Of another program" in self.published())
        self.put("theirs-2", "Edited by it")
        wait_for("its edit", lambda: "Edited by it" in self.published())
        self.server.request("DELETE", f"{self.server.home}tasks/theirs-2.ics")
        wait_for("its end", lambda: "Edited by it" not in self.published())
        self.arrive([self.post("at once")])


if __name__ == "__main__":
    unittest.main()
