"""Many shared at once, without a sheet, and what is sorted out of a shared text before."""
import json
import unittest

from program import SAMPLES, ProgramTest

PHOTO = SAMPLES / "photo.jpg"


class ShareBatch(ProgramTest):
    def post(self, text, *arguments, **options):
        return self.run_json("share", "--batch", "-", "--post", *arguments, input=text.encode(), **options)

    def refuses(self, text, *sentences):
        before = self.actions() if (self.shared / "actions.plist").exists() else []
        self.run_program("share", "--batch", "-", "--post", input=text.encode(), code=65)
        for sentence in sentences:
            self.assertIn(sentence, self.error)
        self.assertEqual(self.actions() if (self.shared / "actions.plist").exists() else [], before)
        self.assertEqual(self.names_in(self.attachments), [])

    def infos(self, entries):
        self.assertEqual(len({entry["info"].pop("uuid") for entry in entries}), len(entries))
        self.assertEqual({entry["type"] for entry in entries}, {"new"})
        return [(entry["info"]["title"], entry["info"].get("notes")) for entry in entries]

    def test_a_list_with_bullets(self):
        text = ("\ufeff- a\n\n* b \r\n+ [ ] c\n1. d\n12) e\n• f\n"
                "- Trip\n    with Ana\n\tand Bo\n\t- Tickets\n\t\t* Seats\n\t  by the aisle\n  - [x] Passport\n"
                "    valid until May\n    - Photo\n- -g\n- [y] h\n- #1: \"+x\" 🌱")
        posted = self.post(text)
        self.assertEqual(self.actions(), posted)
        self.assertEqual(self.infos(posted), [
            ("a", None), ("b", None), ("c", None), ("d", None), ("e", None), ("f", None),
            ("Trip", "with Ana\nand Bo"), ("Tickets", "Trip"), ("Seats", "Trip › Tickets\nby the aisle"),
            ("Photo", "Trip › Passport"), ("-g", None), ("[y] h", None), ("#1: \"+x\" 🌱", None)])

    def test_requests_and_items_a_line_with_one_project(self):
        self.run_program("publish", "containers", SAMPLES / "containers.plist")
        lines = [{"title": "one", "text": "note"}, {"items": [{"title": "two"}, {"title": "three"}]},
                 {"title": "four", "attachments": [{"type": "public.image", "file": str(PHOTO)},
                                                   {"type": "public.url", "url": "https://a.example/?gclid=1&b=2"}]}]
        posted = self.post("\n".join(map(json.dumps, lines)), "--project", "Walks", "--context", "Desk",
                           "--clean-links")
        self.assertEqual({(e["info"]["project"], e["info"]["context"]) for e in posted}, {("p-walks", "c-desk")})
        self.assertEqual(self.infos(posted), [("one", "note"), ("two\nthree", None), ("four", "https://a.example/?b=2")])
        self.assertEqual(posted[2]["info"]["attachments"], self.names_in(self.attachments))
        self.assertIn("gclid", self.error)

    def test_a_bad_line_keeps_all_from_being_saved_unless_it_may_be_left_out(self):
        photo = json.dumps({"title": "kept", "attachments": [{"type": "public.image", "file": str(PHOTO)}]})
        broken = self.write("broken.jpg", PHOTO.read_bytes()[:2000])
        bad = [("{\"title\": 1}", "title must be a string"), ("{\"title\"", "no JSON"), ("- x", "no JSON"),
               ("{\"items\": [], \"clipboard\": \"copied\"}", "clipboard"),
               ("{\"attachments\": [{\"type\": \"public.image\", \"file\": \"nowhere.jpg\"}]}", "nowhere.jpg"),
               (json.dumps({"attachments": [{"type": "public.image", "file": str(broken)}]}), "broken.jpg")]
        for line, sentence in bad:
            self.refuses(f"{photo}\n\n{line}\n{photo}\n", "Line 3: ", sentence, "--skip-bad-lines")
        for text, sentence in (("- a\nb\n", "Line 2: it begins with no bullet"), ("- a\n-\n", "Line 2: "),
                               ("  note\n- a", "Line 1: "), ("", "no item"), ("- [x] done", "Line 1 is done")):
            self.refuses(text, sentence)
        text = "\n".join([photo] + [line for line, _ in bad] + [photo])
        self.assertEqual(self.infos(self.post(text, "--skip-bad-lines")), [("kept", None)] * 2)
        self.assertEqual([f"Line {i}: " in self.error for i in range(1, 9)], [False] + [True] * 6 + [False])
        self.assertEqual(len(self.names_in(self.attachments)), 2)

    def test_all_or_nothing_where_the_disk_ends(self):
        self.post("- before")
        self.run_program("share", "--batch", "-", "--post", code=74, file_limit=20000,
                         input="\n".join(f"- {i} {'x' * 50}" for i in range(1000)).encode())
        self.assertEqual([action["info"]["title"] for action in self.actions()], ["before"])
        self.assertEqual(len(self.post("\n".join(f"- {i}" for i in range(1000)))), 1000)
        self.assertEqual(len(self.actions()), 1001)

    def test_does_not_go_with_what_contradicts_it(self):
        for arguments in (("--batch", "-"), ("--batch", "-", "--post", "--title", "t"), ("--skip-bad-lines",),
                          ("--batch", "-", "--post", "--note", "n"), ("--batch", "-", "--post", "--clipboard"),
                          ("--clipboard", "--selection-clipboard"), ("--clipboard", "--text", "t"),
                          ("--clipboard", "--snapshot", "x.png"), ("--clipboard", "--post")):
            self.run_program("share", *arguments, code=64)
        self.run_program("share", "--batch", "nowhere", "--post", code=66)

    def test_sorts_a_link_out_of_a_text_and_cleans_addresses_where_asked(self):
        text = "A page\n\nhttps://a.example/?utm_source=x&id=1#top"
        for arguments, address in (((), text[8:]), (("--clean-links",), "https://a.example/?id=1#top")):
            info = self.run_json("share", "--text", text, "--post", *arguments)["info"]
            self.assertEqual((info["title"], info["notes"]), ("A page", address))
            self.assertEqual(self.error.count("utm_source"), len(arguments))
        document = json.dumps({"items": [{"text": text}]}).encode()
        info = self.run_json("share", "--request", "-", "--post", input=document)["info"]
        self.assertEqual((info["title"], info["notes"]), ("A page\n", text[7:]))


if __name__ == "__main__":
    unittest.main()
