"""What is saved arrives on a calendar server, and the server's own lists are published, wherever the server is and
whatever it asks of its users."""
import hashlib
import re
import subprocess
import unittest

from caldav import CalDAVTest
from caldav_servers import Radicale, Xandikos
from delivery import PHOTO
from desktop import wait_for


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
        uuid = self.post("x Walk, + more; é", *PHOTO, "--context", "kitchen")
        elsewhere = self.post("there", "--project", "At home")
        self.run_program("deliver")
        self.assertEqual(self.server.uids(), sorted(["theirs-1", uuid]))
        self.assertEqual(self.server.uids("home"), [elsewhere])
        text = self.text_of(uuid)
        for line in ("SUMMARY:x Walk\\, + more\\; é", "note of x Walk", "CATEGORIES:kitchen", "ATTACH;"):
            self.assertIn(line, re.sub(r"\r?\n ", "", text))
        receipt = self.run_json("receipts", "--json")[0]
        self.assertTrue(receipt["where"].endswith(f"{self.server.home}tasks/{uuid}.ics"), receipt)
        item = self.items()["Feed the cat"]
        self.run_program("complete", item["uuid"])
        self.run_program("flag", item["uuid"])
        self.run_program("deliver")
        text = self.text_of("theirs-1")
        for line in ("STATUS:COMPLETED", "PRIORITY:1", "X-THEIRS;X-P=1:kept", "CATEGORIES:kitchen"):
            self.assertIn(line, text)
        self.agent()
        self.put("theirs-2", "Of another program")
        wait_for("its task", lambda: "Of another program" in self.items())
        self.put("theirs-2", "Edited by it")
        wait_for("its edit", lambda: "Edited by it" in self.items())
        self.server.request("DELETE", f"{self.server.home}tasks/theirs-2.ics")
        wait_for("its end", lambda: "Edited by it" not in self.items())
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
        self.arrive_once(uuids)

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


if __name__ == "__main__":
    unittest.main()
