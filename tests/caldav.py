"""Deliveries to a calendar server of the test's own."""
import collections

from caldav_servers import Front, Radicale
from delivery import DeliveryTest

TASK = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//x//y//EN\r\nBEGIN:VTODO\r\nUID:{uid}\r\n" \
    "DTSTAMP:20260101T000000Z\r\n{more}SUMMARY:{title}\r\nX-THEIRS;X-P=1:kept\r\nEND:VTODO\r\nEND:VCALENDAR\r\n"


class CalDAVTest(DeliveryTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CACHE_HOME"] = str(self.folder / "cache")
        self.secret = self.folder / "secret"

    def serve(self, kind=Radicale, **options):
        self.server = kind(self.folder / kind.__name__, **options)
        self.addCleanup(self.server.close)
        self.server.start()
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
        return self.run_program("connect", "caldav", address or self.server.url, *login, "--list", "Tasks", *more,
                                code=code)

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
