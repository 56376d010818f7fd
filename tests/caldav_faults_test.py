"""What is saved arrives on a calendar server once, whatever server, network and other programs do."""
import re
import threading
import unittest

from caldav import CalDAVTest
from delivery import PHOTO
from desktop import wait_for
from program import SAMPLES


class Faults(CalDAVTest):
    def setUp(self):
        super().setUp()
        self.serve()
        self.middle = self.front()
        self.connect(self.middle.url, "--patience", "60")

    def be_patient(self, seconds):
        """Only for what never answers: a busy machine takes its time."""
        settings = self.folder / "home/.config/tasklane/config.toml"
        text, changes = re.subn(r'patience = "\d+"', f'patience = "{seconds}"', settings.read_text())
        self.assertEqual(changes, 1, text)
        settings.write_text(text)

    def fault_at(self, method, fault, times=10**6):
        """So many of them, whichever of the server's threads come to them."""
        left = iter(range(times))

        def at(handler):
            if handler.command != method or next(left, None) is None:
                return None
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
            self.fault_at(method, lambda handler: handler.drop_in_the_middle)
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
        self.be_patient(5)
        self.run_program("deliver", code=75)
        self.assertIn("did not answer within 5 seconds", self.error)
        agent = self.agent()
        wait_for("a request of the agent", lambda: sum(seen[0] == "PUT" for seen in self.middle.seen) > 1)
        agent.terminate()
        self.assertEqual(agent.wait(60), 0)
        self.be_patient(60)
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
        self.arrive_once([uuid])

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
            self.assertEqual(set(self.items()), titles, i)

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
        self.assertIn("another cat", self.items())

    def test_of_files_that_are_too_large(self):
        size = (SAMPLES / "photo.jpg").stat().st_size
        limit = b"<C:max-resource-size>%d</C:max-resource-size></prop>" % (size // 2)
        self.middle.fault = lambda handler: (
            (lambda status, headers, body: (status, headers, body.replace(b"</prop>", limit, 1)))(*handler.passed_on())
            if handler.command == "PROPFIND" and handler.headers["Depth"] == "1" else
            413 if handler.command == "PUT" and len(handler.body) > size else None)
        unknown = self.post("of a limit that is not known yet", *PHOTO)
        self.run_program("deliver")
        known = self.post("of a known limit", *PHOTO)
        self.run_program("deliver")
        for uuid in (unknown, known):
            kept = self.folder / "home/.local/share/tasklane/caldav" / uuid / "1.jpg"
            self.assertTrue(kept.read_bytes().startswith(b"\xff\xd8"))
            self.assertIn(f"file://{kept}", re.sub(r"\r?\n ", "", self.text_of(uuid)))
        wait_for("the photos' end", lambda: not self.names_in(self.attachments))

    def test_undo(self):
        first, changed = self.post("first", *PHOTO), self.post("changed")
        self.run_program("deliver")
        self.run_program("undo", first)
        self.assertEqual(self.server.uids(), [changed])
        self.server.request("PUT", f"/ana/tasks/{changed}.ics", self.text_of(changed).replace("changed", "edited"),
                            Content_Type="text/calendar")
        self.run_program("undo", changed, code=65)
        self.assertIn("has been changed since", self.error)
        self.run_program("deliver")
        self.assert_once([changed])
        last = self.post("without a list for new ones")
        self.run_program("deliver")
        settings = self.folder / "home/.config/tasklane/config.toml"
        settings.write_text(re.sub(r"(?m)^list = .*", 'list = "Nowhere"', settings.read_text()))
        self.run_program("undo", last)
        self.assertEqual(self.server.uids(), [changed])


class ExactlyOnce(CalDAVTest):
    def test_whenever_a_delivery_is_killed(self):
        self.serve()
        self.connect()
        uuids = self.kill_deliveries(lambda number: [self.post(f"title {number} {i}") for i in range(4)], 0.1, together=8)
        self.run_program("deliver")
        self.assert_once(uuids)


if __name__ == "__main__":
    unittest.main()
