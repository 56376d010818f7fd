"""What is saved arrives on a calendar server, once, and the server's own lists are published, whatever server, network
and other programs do. TASKLANE_KILLS says how many deliveries are killed."""
import collections
import hashlib
import random
import re
import subprocess
import threading
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
        projects, contexts = ([entry["title"] for entry in self.run_json("catalogue", kind, "--json")]
                              for kind in ("projects", "contexts"))
        self.assertLessEqual({"Tasks", "At home"}, set(projects))
        self.assertEqual(contexts, ["kitchen"])
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


class Connecting(CalDAVTest):
    def test_from_any_address(self):
        self.serve()
        elsewhere = {"/", "/ana/", "/ana/tasks/"}
        moved = self.front(lambda handler: (301, {"Location": "/ana/"}) if handler.path == "/.well-known/caldav"
                           else 404 if handler.command == "PROPFIND" and handler.path == "/" else None)
        for address in [self.server.url, moved.url] + [self.server.url + path for path in elsewhere]:
            self.assertIn("  Tasks  (", self.connect(address), address)

    def test_chooses_a_list_for_good(self):
        self.serve()
        login = ["--user", "ana", "--password-command", f"cat '{self.secret}'"]
        self.run_program("connect", "caldav", self.server.url, *login)
        self.server.make_list("aardvark", "Aardvark")
        uuid = self.post("here")
        self.run_program("deliver")
        self.assertEqual(self.server.uids(), [uuid])
        settings = (self.folder / "home/.config/tasklane/config.toml").read_text()
        self.assertNotIn(self.server.password, settings)
        self.run_program("connect", "caldav", self.server.url, *login, "--list", "Nowhere", code=69)
        self.assertRegex(self.error, r'there is no list "Nowhere"; there are "(Tasks|Aardvark)", "')
        self.assertEqual((self.folder / "home/.config/tasklane/config.toml").read_text(), settings)

    def test_says_what_is_wrong(self):
        self.serve()
        self.write_secret("wrong")
        free = self.folder / "free"
        free.write_text("x\n")
        free.chmod(0o644)
        url, file = self.server.url, ["--password-file", self.secret]
        for arguments, code, sentence in (
                (["ftp://example.org/"], 64, "must begin with https://"),
                (["https://ana:pw@example.org/"], 64, "must name nobody"),
                (["example"], 64, "or a mail address"),
                (["ana@example.org"], 64, "password of ana@example.org comes from"),
                ([url, "--user", "ana"], 64, "--password-command or --password-file"),
                ([url, *file], 64, "name with --user whose"),
                ([url, "--user", "ana", *file, "--password-command", "true"], 64, "not from both"),
                ([url, "--every", "often"], 64, "every must be a number of seconds"),
                ([url, "--ca-file", "/nowhere.pem"], 69, "wants to know who asks"),
                ([url, "--user", "ana", *file], 69, "does not accept the user's name or the password"),
                ([url, "--user", "ana", "--password-file", str(free)], 69, "others may use the password file"),
                ([url, "--user", "ana", "--password-command", "echo"], 69, "printed no password"),
                ([url, "--user", "ana", "--password-command", "exit 3"], 69, "ended with 3"),
                (["http://192.0.2.1/", "--user", "ana", *file], 69, "unencrypted"),
                (["http://127.0.0.1:1/"], 69, "nothing answers at http://127.0.0.1:1/"),
                (["http://nowhere.invalid/"], 69, "host nowhere.invalid is not found")):
            with self.subTest(arguments):
                self.run_program("connect", "caldav", *arguments, code=code)
                self.assertIn(sentence, self.error)

    def certificate(self, name, *alternatives):
        """Of an authority of the test's own."""
        def openssl(*arguments):
            subprocess.run(["openssl", *arguments], check=True, capture_output=True, cwd=self.folder)

        if not (self.folder / "ca.pem").exists():
            openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key", "-out", "ca.pem",
                    "-subj", "/CN=Ours")
        openssl("req", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key", "-out", f"{name}.csr",
                "-subj", f"/CN={name}")
        (self.folder / "names").write_text("subjectAltName=" + ",".join(alternatives))
        openssl("x509", "-req", "-in", f"{name}.csr", "-CA", "ca.pem", "-CAkey", "ca.key", "-CAcreateserial",
                "-extfile", "names", "-out", f"{name}.pem")
        return self.folder / name

    def test_only_with_a_certificate_that_is_trusted(self):
        authority = self.folder / "ca.pem"
        self.serve(certificate=self.certificate("good", "IP:127.0.0.1"), authority=authority)
        self.connect(code=69)
        self.assertRegex(self.error, r"certificate of https://127\.0\.0\.1:\d+/ is not trusted .*--ca-file")
        self.connect(None, "--ca-file", authority)
        uuid = self.post("over TLS")
        self.run_program("deliver")
        self.assert_once([uuid])
        self.server.stop()
        self.server.certificate = self.certificate("bad", "DNS:elsewhere.example")
        later = self.post("later")
        process = subprocess.Popen(self.server.command(), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        wait_for("another certificate", lambda: "certificate" in (self.run_program("deliver", code=75), self.error)[1])
        process.terminate()
        process.wait()
        self.server.certificate = self.folder / "good"
        self.server.start()
        self.run_program("deliver")
        self.assert_once([uuid, later])


class Login(CalDAVTest):
    def test_with_a_changed_password(self):
        self.serve()
        self.connect()
        self.agent()
        uuids = [self.post("before")]
        self.arrive(uuids)
        self.server.set_password("another")
        uuids.append(self.post("after"))
        wait_for("the reason", lambda: "does not accept" in self.run_program("status"))
        self.assertEqual(len(self.actions()), 1)
        self.write_secret("another")
        self.arrive(uuids)
        wait_for("an empty queue", lambda: not self.actions())
        self.assert_once(uuids)

    def test_by_digest(self):
        self.serve()
        refused = []

        def digest(handler):
            header = handler.headers.get("Authorization", "")
            values = dict(re.findall(r'(\w+)="?([^",]*)"?', header))

            def md5(text):
                return hashlib.md5(text.encode()).hexdigest()

            if header.startswith("Digest ") and values["nonce"] == "n0nce" and values["response"] == md5(":".join((
                    md5(f"ana:here:{self.server.password}"), "n0nce", values["nc"], values["cnonce"], "auth",
                    md5(f"{handler.command}:{handler.path}")))):
                return lambda: handler.answer(*handler.passed_on(Authorization=self.server.login()))
            refused.append(header)
            return 401, {"WWW-Authenticate": 'Digest realm="here", nonce="n0nce", qop="auth", algorithm=MD5'}

        front = self.front(digest)
        self.connect(front.url)
        uuids = [self.post(str(i)) for i in range(20)]
        refused.clear()
        front.connections = 0
        self.run_program("deliver")
        self.assert_once(uuids)
        self.assertLessEqual(front.connections, 8)
        self.assertLessEqual(len(refused), 8)
        self.assertFalse([header for header in refused if header.startswith("Basic")])

    def test_only_with_the_host_that_was_named(self):
        self.serve()
        other = self.front()
        front = self.front()
        self.connect(front.url)
        uuid = self.post("secret")
        front.fault = lambda handler: ((307, {"Location": other.url + handler.path})
                                       if handler.command == "PUT" else None)
        self.run_program("deliver", code=75)
        self.assertIn("is not given to " + other.url, self.error)
        self.assertTrue(other.seen)
        self.assertFalse([seen for seen in other.seen if "Authorization" in seen[2]])
        front.fault = lambda handler: ((308, {"Location": "/ana/../ana/tasks/" + handler.path.split("/")[-1] + "?x"})
                                       if handler.command == "PUT" and "?" not in handler.path else None)
        self.run_program("deliver")
        self.assert_once([uuid])


class Faults(CalDAVTest):
    def setUp(self):
        super().setUp()
        self.serve()
        self.middle = self.front()
        self.connect(self.middle.url, "--patience", "1")

    def fault_at(self, method, fault, times=10**6):
        """So many of them."""
        left = [times]

        def at(handler):
            if handler.command != method or left[0] == 0:
                return None
            left[0] -= 1
            return fault(handler) if callable(fault) else fault

        self.middle.fault = at

    def test_of_a_server_that_does_not_store(self):
        uuids = []
        for status, headers, sentence in ((401, {}, "does not accept"), (404, {}, "not on the server any more"),
                                          (409, {}, "not on the server any more"), (412, {}, "a moment ago"),
                                          (423, {}, "status 423"), (500, {}, "status 500"), (502, {}, "status 502"),
                                          (503, {"Retry-After": "7"}, "busy"), (507, {}, "no room"),
                                          (302, {"Location": "/ana/tasks/x"}, "without end")):
            with self.subTest(status):
                self.fault_at("PUT", (status, headers))
                uuids.append(self.post(str(status)))
                self.run_program("deliver", code=75)
                self.assertIn(sentence, self.run_program("status"))
                self.middle.fault = lambda handler: None
                self.run_program("deliver")
                self.assert_once(uuids)
        for status, sentence in ((400, "does not take"), (403, "does not allow"), (413, "larger than the server")):
            with self.subTest(status):
                self.fault_at("PUT", status)
                uuids.append(self.post(str(status)))
                self.run_program("deliver", code=65)
                self.assertIn(sentence, self.run_program("status"))
                self.middle.fault = lambda handler: None
                self.run_program("retry")
                self.assert_once(uuids)

    def test_of_a_connection_that_breaks_off(self):
        uuids = [self.post(str(i)) for i in range(12)]
        self.fault_at("PUT", lambda handler: handler.drop_after_storing, 5)
        self.run_program("deliver", code=75)
        self.assertIn("broke off", self.error)
        self.run_program("deliver")
        self.assert_once(uuids)
        # At each kind of request, also in the middle of an answer.
        for method in ("PROPFIND", "REPORT", "GET"):
            self.put(f"theirs-{method}", "theirs")
            uuids.append(f"theirs-{method}")
            self.run_program("deliver")
            self.run_program("complete", f"theirs-{method}")
            half = b"HTTP/1.1 207 x\r\nContent-Length: 99\r\n\r\n<a"
            self.fault_at(method, lambda handler: lambda: handler.wfile.write(half))
            uuids.append(self.post("with " + method))
            self.run_program("deliver", code=75)
            self.middle.fault = lambda handler: None
            self.run_program("deliver")
            self.assert_once(uuids)
            self.assertIn("STATUS:COMPLETED", self.text_of(f"theirs-{method}"))

    def test_of_a_server_that_says_nothing(self):
        released = threading.Event()
        self.addCleanup(released.set)
        self.fault_at("PUT", lambda handler: lambda: (released.wait(60), handler.drop_after_storing()))
        uuid = self.post("slow")
        self.run_program("deliver", code=75)
        self.assertIn("did not answer within 1 seconds", self.error)
        agent = self.agent()
        wait_for("a request of the agent", lambda: sum(seen[0] == "PUT" for seen in self.middle.seen) > 1)
        agent.terminate()
        self.assertEqual(agent.wait(20), 0)
        self.middle.fault = lambda handler: None
        released.set()
        self.run_program("deliver")
        self.assert_once([uuid])

    def test_of_a_server_that_is_away(self):
        uuid = self.post("later")
        self.server.stop()
        self.middle.fault = lambda handler: 502
        self.run_program("deliver", code=75)
        self.agent()
        self.server.start()
        self.middle.fault = lambda handler: None
        self.arrive([uuid])
        wait_for("an empty queue", lambda: not self.actions())
        self.assert_once([uuid])

    def test_of_another_program_at_the_same_task(self):
        self.put("theirs", "Feed the cat")
        self.run_program("deliver")
        self.run_program("flag", "theirs")

        def edit(handler):
            self.put("theirs", "Feed both cats", "LOCATION:kitchen\r\n")

        self.fault_at("PUT", edit, 2)
        self.run_program("deliver")
        text = self.text_of("theirs")
        self.assertIn("SUMMARY:Feed both cats", text)
        self.assertIn("PRIORITY:1", text)
        self.put("theirs", "Unflagged again")
        self.run_program("deliver")
        self.run_program("complete", "theirs")
        self.server.request("DELETE", "/ana/tasks/theirs.ics")
        self.run_program("deliver", code=65)
        self.assertIn("not in the server's lists any more", self.run_program("status"))

    def test_of_what_changed(self):
        """Without sync tokens, with one that the server has forgotten, and without anything."""
        titles = {"both cats"}
        self.put("theirs-0", "both cats")
        plain = lambda handler: None
        forgotten = lambda handler: (403, {}) if b"sync-collection" in handler.body else None

        def without(pattern):
            def fault(handler):
                if handler.command != "PROPFIND":
                    return forgotten(handler)
                status, headers, body = handler.passed_on()
                return status, headers, re.sub(pattern, b"", body, flags=re.S)
            return fault

        for i, fault in enumerate((plain, forgotten, without(rb"<sync-token>.*?</sync-token>"),
                                   without(rb"<sync-token>.*?</sync-token>|<CS:getctag>.*?</CS:getctag>"), plain), 1):
            self.middle.fault = fault
            self.put(f"theirs-{i}", f"cat {i}")
            self.put("theirs-0", f"{i} cats")
            titles = {title for title in titles if " cats" not in title} | {f"cat {i}", f"{i} cats"}
            titles.discard("both cats")
            if i > 1:
                self.server.request("DELETE", f"/ana/tasks/theirs-{i - 1}.ics")
                titles.discard(f"cat {i - 1}")
            self.run_program("deliver")
            self.assertEqual(set(self.published()), titles, i)

    def asked(self):
        """What a first request without a login was followed by."""
        return [method for method, _, headers in self.middle.seen if "Authorization" in headers]

    def test_asks_for_what_has_changed_alone(self):
        for i in range(120):
            self.put(f"theirs-{i}", f"cat {i}")
        self.run_program("deliver")
        self.middle.seen.clear()
        self.run_program("deliver")
        self.assertEqual(self.asked(), ["PROPFIND"])
        self.put("theirs-7", "another cat")
        self.middle.seen.clear()
        self.run_program("deliver")
        self.assertEqual(self.asked(), ["PROPFIND", "PROPFIND", "REPORT", "REPORT"])
        self.assertIn("another cat", self.published())

    def test_of_files_that_are_too_large(self):
        size = (SAMPLES / "photo.jpg").stat().st_size
        limit = b"<C:max-resource-size>%d</C:max-resource-size></prop>" % (size // 2)
        self.middle.fault = lambda handler: (
            (lambda status, headers, body: (status, headers, body.replace(b"</prop>", limit, 1)))(*handler.passed_on())
            if handler.command == "PROPFIND" and handler.headers["Depth"] == "1" else
            413 if handler.command == "PUT" and len(handler.body) > size else None)
        unknown = self.post("of a limit that is not known yet", "--image", SAMPLES / "photo.jpg")
        self.run_program("deliver")
        known = self.post("of a known limit", "--image", SAMPLES / "photo.jpg")
        self.run_program("deliver")
        for uuid in (unknown, known):
            kept = self.folder / "home/.local/share/tasklane/caldav" / uuid / "1.jpg"
            self.assertTrue(kept.read_bytes().startswith(b"\xff\xd8"))
            self.assertIn(f"file://{kept}", re.sub(r"\r?\n ", "", self.text_of(uuid)))
        wait_for("the photos' end", lambda: not self.names_in(self.attachments))

    def test_undo(self):
        first, changed = self.post("first", "--image", SAMPLES / "photo.jpg"), self.post("changed")
        self.run_program("deliver")
        self.run_program("undo", first)
        self.assertEqual(self.server.uids(), [changed])
        self.server.request("PUT", f"/ana/tasks/{changed}.ics", self.text_of(changed).replace("changed", "edited"),
                            Content_Type="text/calendar")
        self.run_program("undo", changed, code=65)
        self.assertIn("has been changed since", self.error)
        self.run_program("deliver")
        self.assert_once([changed])


class ExactlyOnce(CalDAVTest):
    def test_whenever_deliveries_are_killed(self):
        self.serve()
        self.connect()
        chance = random.Random(KILLS)
        uuids, killed = [], 0
        quiet = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        for _ in range((KILLS + 7) // 8):
            uuids += [self.post(f"title {len(uuids)} {i}") for i in range(4)]
            running = [self.start("deliver", **quiet) for _ in range(8)]
            # One at a time delivers, and when it is killed the next one goes on.
            for process in running:
                try:
                    process.wait(chance.uniform(0, 0.1))
                except subprocess.TimeoutExpired:
                    process.kill()
                    killed += process.wait() != 0
        self.run_program("deliver")
        self.assert_once(uuids)
        print(f"{killed} deliveries of {len(uuids)} tasks killed before their end", flush=True)


if __name__ == "__main__":
    unittest.main()
